#pragma once

// Catching a running program in the act: raw inotify on folders and a pidfd
// on the process, so a test acts on the very event it waits for (a file
// appearing) instead of guessing with timers how fast the machine is.

#include <QHash>
#include <QString>

namespace Fixtures {

class FolderWatch {
public:
    FolderWatch();
    ~FolderWatch();
    FolderWatch(const FolderWatch &) = delete;
    FolderWatch &operator=(const FolderWatch &) = delete;

    // Entries made in `folder` from now on are noticed.
    bool watch(const QString &folder);
    // The process the waits end with.
    bool attach(qint64 pid);

    // The name of an entry of `folder` starting with `prefix`: one there
    // now, or the next one made (created or moved in). Empty when the
    // process ends first (or after 10 minutes, as a last resort).
    QString awaitEntry(const QString &folder, const QString &prefix);

private:
    int m_inotify = -1;
    int m_process = -1;
    QHash<QString, int> m_watches; // folder → watch descriptor
};

} // namespace Fixtures
