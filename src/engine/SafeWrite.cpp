#include "engine/SafeWrite.h"

#include "engine/PDFError.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QIODevice>
#include <QSet>
#include <QUuid>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <future>
#include <mutex>
#include <system_error>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("SafeWrite", text);
}

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
        if (g_slots[size_t(i)].used.load() ||
            !g_slots[size_t(i)].used.compare_exchange_strong(expected, true))
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

bool diskFull(int error)
{
    return error == ENOSPC || error == EDQUOT;
}

QString temporaryPath(const QString &folder)
{
    return folder + QStringLiteral("/.quirebook-") +
           QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper() + QStringLiteral(".pdf");
}

// The new names in a folder are only durable once the folder is. A folder
// we may not open for reading, or one whose file system can't sync
// folders, is taken as it is. The error, or 0.
int folderSyncError(const QString &folder)
{
    const int dirFd =
        ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dirFd < 0)
        return 0;
    const bool synced = ::fsync(dirFd) == 0 || errno == EINVAL;
    const int error = synced ? 0 : errno;
    ::close(dirFd);
    return error;
}

// Once per folder and run: a split writes thousands of parts into one.
void sweepOnce(const QString &folder)
{
    static std::mutex mutex;
    static QSet<QString> swept;
    // Held while sweeping: a piece made on another thread meanwhile could
    // be taken for a stale one in the moment before it is locked.
    std::lock_guard lock(mutex);
    if (swept.contains(folder))
        return;
    swept.insert(folder);
    SafeWrite::removeStale(folder);
}

// Writes through the target; the target keeps the error for the save.
class TargetDevice : public QIODevice {
public:
    explicit TargetDevice(SafeWrite::Target &target)
        : m_target(target)
    {
        open(QIODevice::WriteOnly | QIODevice::Unbuffered);
    }

protected:
    qint64 readData(char *, qint64) override { return -1; }
    qint64 writeData(const char *data, qint64 size) override
    {
        return m_target.append(data, size) ? size
                                           : -1; // encoders are C code: nothing may be thrown
    }

private:
    SafeWrite::Target &m_target;
};

} // namespace

namespace SafeWrite {

struct Target::Private {
    QByteArray name; // the temporary path, encoded
    QString failure; // the sentence for anything but a full disk
    QString destinationName;
    int fd = -1;
    int slot = -1;
    int error = 0; // the first errno seen
    qint64 written = 0;
    bool synced = false;
    // A piece's fsync, running beside the work while the piece waits to be
    // put in place: 0 or the errno.
    std::future<int> syncing;
    QByteArray buffer;
    std::unique_ptr<TargetDevice> device;

    static constexpr qsizetype kBuffer = 1 << 18;

    [[noreturn]] void fail(int errorNumber)
    {
        if (!error)
            error = errorNumber ? errorNumber : EIO;
        throw PDFError::failed(message());
    }

    QString message() const { return diskFull(error) ? diskFullText(destinationName) : failure; }

    void flush()
    {
        if (error)
            fail(error);
        const char *data = buffer.constData();
        qsizetype left = buffer.size();
        while (left > 0) {
            const ssize_t n = ::write(fd, data, size_t(left));
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                fail(n < 0 ? errno : ENOSPC); // a write of nothing means no room
            data += n;
            left -= n;
        }
        buffer.clear();
    }

    // Everything on the disk; throws otherwise. The file stays open and
    // locked until it is put in place.
    void sync()
    {
        flush();
        if (::fsync(fd) != 0)
            fail(errno);
        synced = true;
    }

    // The fsync started on a thread of its own: the thread that made the
    // file goes on with the next while the disk catches up.
    void startSync()
    {
        flush();
        try {
            syncing =
                std::async(std::launch::async, [file = fd] { return ::fsync(file) ? errno : 0; });
        } catch (const std::system_error &) {
            sync(); // no thread to be had: synced here instead
        }
    }

    // Waits for the fsync startSync() began; throws when it failed.
    void finishSync()
    {
        const int result = syncing.get();
        if (result != 0)
            fail(result);
        synced = true;
    }

    // The file closed (and so unlocked); throws otherwise.
    void close()
    {
        const int fdToClose = fd;
        fd = -1;
        if (::close(fdToClose) != 0 && errno != EINTR)
            fail(errno);
    }

    ~Private()
    {
        if (syncing.valid())
            syncing.wait();         // it still reads fd
        ::unlink(name.constData()); // gone already after a successful rename
        if (fd >= 0)
            ::close(fd);
        releaseSlot(slot);
    }
};

Target::Target(std::unique_ptr<Private> p)
    : d(std::move(p))
{
}

Target::~Target() = default;

void Target::write(const char *data, qint64 size)
{
    if (d->error)
        d->fail(d->error);
    if (size <= 0)
        return;
    d->written += size;
    if (d->buffer.size() + size > Private::kBuffer) {
        d->flush();
        if (size >= Private::kBuffer) {
            d->buffer = QByteArray::fromRawData(data, qsizetype(size));
            d->flush();
            return;
        }
    }
    d->buffer.append(data, qsizetype(size));
}

void Target::write(const QByteArray &bytes)
{
    write(bytes.constData(), bytes.size());
}

bool Target::append(const char *data, qint64 size) noexcept
{
    try {
        write(data, size);
        return true;
    } catch (...) {
        return false;
    }
}

QIODevice &Target::device()
{
    if (!d->device)
        d->device = std::make_unique<TargetDevice>(*this);
    return *d->device;
}

qint64 Target::size() const
{
    return d->written;
}

void Target::restart()
{
    if (d->error)
        d->fail(d->error);
    d->buffer.clear();
    d->written = 0;
    if (::ftruncate(d->fd, 0) != 0 || ::lseek(d->fd, 0, SEEK_SET) != 0)
        d->fail(errno);
}

Pending::Pending(const QString &destination, const std::function<void(Target &)> &writeTo,
                 const QString &failureMessage, const QString &creationMessage)
{
    const QFileInfo info(destination);
    const QString folder = info.absolutePath();
    sweepOnce(folder);

    auto p = std::make_unique<Target::Private>();
    p->failure = failureMessage;
    p->destinationName = info.fileName();
    // Another process sweeping this folder may take the new file for a
    // stale one in the moment before it is locked and remove it: locked, it
    // must still be there, or it is made again under another name.
    for (;;) {
        p->name = QFile::encodeName(temporaryPath(folder));
        p->slot = claimSlot(p->name);
        p->fd = ::open(p->name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
        if (p->fd < 0) {
            p->error = errno;
            if (diskFull(p->error))
                throw PDFError::failed(p->message());
            if (PDFError::outOfFileHandles(p->error))
                throw PDFError::failed(PDFError::tooManyFilesText());
            throw PDFError::failed(creationMessage.isEmpty() ? failureMessage : creationMessage);
        }
        struct stat status {};
        if (::flock(p->fd, LOCK_EX) != 0 || ::fstat(p->fd, &status) != 0 || status.st_nlink > 0)
            break;
        ::close(p->fd);
        p->fd = -1;
        releaseSlot(p->slot);
    }
    m_target.reset(new Target(std::move(p)));
    Target::Private &d = *m_target->d;

    try {
        writeTo(*m_target);
    } catch (...) {
        // Writers wrap what they catch in sentences of their own; a full
        // disk underneath is still a full disk.
        if (d.error)
            throw PDFError::failed(d.message());
        try {
            throw;
        } catch (const PDFError &) {
            throw;
        } catch (...) {
            throw PDFError::failed(failureMessage);
        }
    }
    if (d.device && d.device->isOpen())
        d.device->close();
    // Its fsync runs beside the next piece's work; put in place, it is
    // waited for before the rename.
    d.startSync();
}

Pending::Pending(Pending &&) noexcept = default;
Pending &Pending::operator=(Pending &&) noexcept = default;
Pending::~Pending() = default;

void Pending::commit(const QString &destination, Folder folder)
{
    if (!m_target)
        return;
    Target::Private &d = *m_target->d;
    if (d.syncing.valid())
        d.finishSync();
    else if (!d.synced)
        d.sync();

    // rename() replaces an existing destination atomically. The file is
    // still locked, so no sweep takes it for a stale one meanwhile.
    const QFileInfo info(destination);
    const QByteArray destinationName = QFile::encodeName(info.absoluteFilePath());
    if (std::rename(d.name.constData(), destinationName.constData()) != 0) {
        d.error = errno;
        throw PDFError::failed(d.message());
    }
    try {
        d.close();
    } catch (const PDFError &) {
        ::unlink(destinationName.constData());
        throw;
    }
    if (folder == Folder::SyncLater)
        return;
    if (const int error = folderSyncError(info.absolutePath())) {
        ::unlink(destinationName.constData());
        d.error = error;
        throw PDFError::failed(d.message());
    }
}

void syncFolder(const QString &folder, const QString &failureMessage)
{
    if (const int error = folderSyncError(folder))
        throw PDFError::failed(diskFull(error) ? diskFullText(QFileInfo(folder).fileName())
                                               : failureMessage);
}

void write(const QString &destination, const std::function<void(Target &)> &writeTo,
           const QString &failureMessage, const QString &creationMessage)
{
    Pending(destination, writeTo, failureMessage, creationMessage).commit(destination);
}

QString diskFullText(const QString &name)
{
    return tr("There isn't enough space on the disk to save “%1”.").arg(name);
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
