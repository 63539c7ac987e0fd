#include "support/FolderWatch.h"

#include <QDir>
#include <QFile>

#include <cerrno>
#include <csignal>

#include <poll.h>
#include <sys/inotify.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Fixtures {

FolderWatch::FolderWatch()
    : m_inotify(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK))
{
}

FolderWatch::~FolderWatch()
{
    if (m_process >= 0)
        ::close(m_process);
    if (m_inotify >= 0)
        ::close(m_inotify);
}

bool FolderWatch::watch(const QString &folder)
{
    if (m_watches.contains(folder))
        return true;
    const int wd = ::inotify_add_watch(m_inotify, QFile::encodeName(folder).constData(),
                                       IN_CREATE | IN_MOVED_TO | IN_ONLYDIR);
    if (wd < 0)
        return false;
    m_watches.insert(folder, wd);
    return true;
}

bool FolderWatch::attach(qint64 pid)
{
    m_process = int(::syscall(SYS_pidfd_open, pid_t(pid), 0));
    return m_process >= 0;
}

QString FolderWatch::awaitEntry(const QString &folder, const QString &prefix)
{
    // Watching before looking, so nothing made in between is missed.
    if (!watch(folder))
        return {};
    const int wd = m_watches.value(folder);
    const QStringList present = QDir(folder).entryList(
        {prefix + u'*'}, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    if (!present.isEmpty())
        return present.first();

    alignas(inotify_event) char buffer[64 * 1024];
    pollfd fds[2] = {{m_inotify, POLLIN, 0}, {m_process, POLLIN, 0}};
    for (;;) {
        // Events already queued count even when the process has just ended.
        ssize_t length;
        while ((length = ::read(m_inotify, buffer, sizeof buffer)) > 0) {
            for (char *at = buffer; at < buffer + length;) {
                const auto *event = reinterpret_cast<const inotify_event *>(at);
                at += sizeof(inotify_event) + event->len;
                if (event->wd != wd || event->len == 0)
                    continue;
                const QString name = QFile::decodeName(event->name);
                if (name.startsWith(prefix))
                    return name;
            }
        }
        if (fds[1].revents != 0)
            return {};
        const int ready = ::poll(fds, m_process >= 0 ? 2 : 1, 10 * 60 * 1000);
        if (ready == 0 || (ready < 0 && errno != EINTR))
            return {};
    }
}

} // namespace Fixtures
