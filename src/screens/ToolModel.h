#pragma once

#include "Job.h"

#include <QObject>
#include <QUuid>

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
    Workspace &m_ws;
    Job m_job;

private:
    void followSelection();

    std::optional<QUuid> m_fileID;
};
