#pragma once

#include "core/Job.h"
#include "core/PDFFile.h"

#include <QObject>
#include <QUuid>

#include <functional>
#include <optional>

class Workspace;

// What every one-file tool screen's model shares: the workspace, the
// screen's job, and following the chosen file. When another file is
// chosen the job goes back to idle, so a result is never shown beside a
// file it isn't about; any change of the files (an owner password given,
// say) is passed on as changed().
class ToolModel : public QObject {
    Q_OBJECT
public:
    explicit ToolModel(Workspace &workspace, QObject *parent = nullptr);

    Workspace &workspace() const { return m_ws; }
    Job &job() { return m_job; }

Q_SIGNALS:
    void changed();

protected:
    using FileWork = std::function<Outcome(const PDFFile &, const QString &destination,
                                           const Progress &, const IsCancelled &)>;
    // Runs `work` on the chosen file towards "<name> <suffix>.pdf" beside it
    // (the save panel when its folder can't be written). False when there
    // is no chosen file or no place was given.
    bool startTowardsPDF(const QString &suffix, const QString &title, FileWork work);
    // Runs `work` on the chosen file towards a place the tool settles first,
    // here on the interface thread (a new folder, say); when that throws
    // PDFError, the job shows why and nothing runs.
    bool startTowards(const std::function<QString(const PDFFile &)> &settle, const QString &title,
                      FileWork work);

    Workspace &m_ws;
    Job m_job;

private:
    void followSelection();

    std::optional<QUuid> m_fileID;
};
