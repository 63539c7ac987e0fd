#include "SafeWrite.h"

#include "PDFError.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QUuid>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace {

// Paths being written, for the signal handler: fixed slots, no allocation.
constexpr int kSlots = 64;
constexpr size_t kPathMax = 4096;
struct Slot {
    std::atomic<bool> used{false};
    char path[kPathMax]{};
};
std::array<Slot, kSlots> g_slots;

int claimSlot(const QByteArray &path)
{
    if (size_t(path.size()) >= kPathMax)
        return -1;
    for (int i = 0; i < kSlots; ++i) {
        bool expected = false;
        if (g_slots[size_t(i)].used.load() || !g_slots[size_t(i)].used.compare_exchange_strong(expected, true))
            continue;
        std::memcpy(g_slots[size_t(i)].path, path.constData(), size_t(path.size()) + 1);
        return i;
    }
    return -1;
}

void releaseSlot(int slot)
{
    if (slot >= 0)
        g_slots[size_t(slot)].used.store(false);
}

// Holds the temporary file open and locked for as long as it lives.
class TemporaryFile {
public:
    explicit TemporaryFile(const QString &path) : m_name(QFile::encodeName(path))
    {
        m_slot = claimSlot(m_name);
        m_fd = ::open(m_name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
        if (m_fd >= 0)
            ::flock(m_fd, LOCK_EX | LOCK_NB);
    }
    ~TemporaryFile()
    {
        ::unlink(m_name.constData()); // gone already after a successful rename
        if (m_fd >= 0)
            ::close(m_fd);
        releaseSlot(m_slot);
    }
    bool created() const { return m_fd >= 0; }

private:
    QByteArray m_name;
    int m_fd = -1;
    int m_slot = -1;
};

QString tr(const char *text) { return QCoreApplication::translate("SafeWrite", text); }

} // namespace

namespace SafeWrite {

QString temporaryPath(const QString &destination)
{
    const QString folder = QFileInfo(destination).absolutePath();
    return folder + QStringLiteral("/.quirebook-")
         + QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper() + QStringLiteral(".pdf");
}

void write(const QString &destination, const std::function<void(const QString &)> &writeTo,
           const QString &failureMessage)
{
    const QString folder = QFileInfo(destination).absolutePath();
    // Once per folder and run: a split writes thousands of parts into one.
    static std::mutex swept;
    static QSet<QString> sweptFolders;
    bool sweep = false;
    {
        std::lock_guard lock(swept);
        sweep = !sweptFolders.contains(folder);
        sweptFolders.insert(folder);
    }
    if (sweep)
        removeStale(folder);
    const QString temporary = temporaryPath(destination);
    TemporaryFile guard(temporary);
    if (!guard.created())
        throw PDFError::failed(failureMessage);
    try {
        writeTo(temporary);
    } catch (const PDFError &) {
        throw;
    } catch (...) {
        throw PDFError::failed(failureMessage);
    }
    // rename() replaces an existing destination atomically.
    if (std::rename(QFile::encodeName(temporary).constData(),
                    QFile::encodeName(destination).constData())
        != 0) {
        const QString reason = QString::fromLocal8Bit(std::strerror(errno));
        throw PDFError::failed(tr("Couldn't save “%1”: %2.")
                                   .arg(QFileInfo(destination).fileName(), reason));
    }
}

void removeStale(const QString &folder)
{
    const QDir dir(folder);
    const auto entries = dir.entryList({QStringLiteral(".quirebook-*")},
                                       QDir::Files | QDir::Hidden | QDir::NoSymLinks);
    for (const QString &name : entries) {
        const QByteArray path = QFile::encodeName(dir.filePath(name));
        const int fd = ::open(path.constData(), O_RDONLY | O_CLOEXEC);
        if (fd < 0)
            continue;
        // A file nobody holds locked was left by a process that died.
        if (::flock(fd, LOCK_EX | LOCK_NB) == 0)
            ::unlink(path.constData());
        ::close(fd);
    }
}

void removeAllInProgress() noexcept
{
    for (auto &slot : g_slots)
        if (slot.used.load())
            ::unlink(slot.path);
}

} // namespace SafeWrite
