#include "support/SmallDisk.h"

#include <QDirIterator>
#include <QFile>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/statvfs.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace Fixtures {

SmallDisk::SmallDisk(qint64 bytes)
{
    if (::geteuid() != 0) {
        m_unavailable = u"mounting a small tmpfs needs root (CI runs these tests as root)"_s;
        return;
    }
    if (!m_dir.isValid()) {
        m_unavailable = u"no temporary folder to mount on"_s;
        return;
    }
    const QByteArray options = "size=" + QByteArray::number(bytes) + ",mode=0755";
    if (::mount("tmpfs", QFile::encodeName(m_dir.path()).constData(), "tmpfs", MS_NOSUID | MS_NODEV,
                options.constData()) != 0) {
        m_unavailable =
            u"mounting a tmpfs failed: "_s + QString::fromLocal8Bit(std::strerror(errno));
        return;
    }
    m_mounted = true;
}

SmallDisk::~SmallDisk()
{
    if (!m_mounted)
        return;
    const QByteArray path = QFile::encodeName(m_dir.path());
    // Lazily when something still holds it, so no mount outlives the test.
    if (::umount2(path.constData(), 0) != 0)
        ::umount2(path.constData(), MNT_DETACH);
}

qint64 SmallDisk::freeBytes() const
{
    struct statvfs disk {};
    if (::statvfs(QFile::encodeName(m_dir.path()).constData(), &disk) != 0)
        return -1;
    return qint64(disk.f_bavail) * qint64(disk.f_frsize);
}

bool SmallDisk::fill(qint64 leave)
{
    const qint64 page = ::sysconf(_SC_PAGESIZE);
    // Whole pages only: tmpfs hands out pages, so a part-page would take one more.
    qint64 missing = (freeBytes() - leave) / page * page;
    if (!m_mounted || missing < 0)
        return false;
    const int fd = ::open(QFile::encodeName(filePath(u"filler"_s)).constData(),
                          O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (fd < 0)
        return false;
    const QByteArray chunk(1 << 20, 'x');
    while (missing > 0) {
        const ssize_t written =
            ::write(fd, chunk.constData(), size_t(std::min<qint64>(missing, chunk.size())));
        if (written <= 0)
            break;
        missing -= written;
    }
    ::close(fd);
    const qint64 left = freeBytes();
    return left >= leave && left < leave + page;
}

QStringList SmallDisk::entries() const
{
    QStringList found;
    QDirIterator it(m_dir.path(),
                    QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext())
        found << it.next().mid(m_dir.path().size() + 1);
    found.sort();
    return found;
}

} // namespace Fixtures
