#pragma once

#include "core/Job.h"

#include <QList>
#include <QObject>
#include <QString>

class Workspace;
struct PDFFile;

// What the Merge screen's controls say and do, without the widgets: the
// rows' captions, the footer, when "Merge…" may be pressed, the name it
// proposes, and the sequence save panel → job.
class MergeModel : public QObject {
    Q_OBJECT
public:
    explicit MergeModel(Workspace &workspace, QObject *parent = nullptr);

    Workspace &workspace() const { return m_ws; }
    Job &job() { return m_job; }

    // "3 pages · 1.2 MB", then " · picture" and " · restricted" as they apply.
    static QString rowCaption(const PDFFile &file);
    // "2 files · 7 pages"
    QString footerSummary() const;
    bool anyRestricted() const;
    // Not running, at least two files, none restricted.
    bool canMerge() const;
    QString suggestedName() const;
    // Where the save panel opens: the first file's folder.
    QString startFolder() const;

    // Asks where to save, then merges the files as they are at that moment.
    void merge();
    // Moves rows (workspace order) to stand before `destination`.
    void move(const QList<qsizetype> &rows, qsizetype destination);
    // The open panel, pictures allowed.
    void addFiles();

Q_SIGNALS:
    // Something the screen shows may have changed.
    void changed();

private:
    Workspace &m_ws;
    Job m_job;
};
