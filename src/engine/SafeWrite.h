#pragma once

#include <QString>

#include <functional>
#include <memory>

class QIODevice;

// Results are never written in place: the whole file goes to a hidden
// ".quirebook-<UUID>.pdf" beside the destination, which is then renamed
// onto it. Every write, the flush, the file's fsync and its close are
// checked before the rename, and the folder is synced after it, so a full
// disk, a crash or a power cut leaves either the old state or the whole new
// file, never a cut-off one under the result's name. The temporary file is
// removed in every case we live through; while it is being written it is
// locked, so a later run can tell a stale one (left by a killed process)
// from one still in use.
namespace SafeWrite {

// The hidden temporary file a result is being written into. Writes are
// buffered; the first failure is kept and fails the whole save.
class Target {
public:
    ~Target();
    Target(const Target &) = delete;
    Target &operator=(const Target &) = delete;

    // Appends bytes; throws PDFError at once when the file can't take them.
    void write(const char *data, qint64 size);
    void write(const QByteArray &bytes);
    // The same without throwing, for writers that may write from a
    // destructor or from C code: false once anything failed, and the
    // failure is still the save's.
    bool append(const char *data, qint64 size) noexcept;
    // The same file as a device, for writers that want one (picture
    // encoders). A failed write there returns -1 and fails the save later.
    QIODevice &device();
    // Bytes written so far.
    qint64 size() const;
    // Throws away what was written, to write something else instead.
    void restart();

private:
    friend class Pending;
    struct Private;
    explicit Target(std::unique_ptr<Private> d);
    std::unique_ptr<Private> d;
};

// A result written in full under its hidden temporary name, not yet given
// its own. Folder tools make their pieces on several threads this way and
// put them in place one by one, in order, on the thread that names them.
// One that is never put in place is removed.
class Pending {
public:
    // Makes the temporary file beside `destination`, calls write(target)
    // and starts its sync, which commit() awaits. Throws as write() does.
    Pending(const QString &destination, const std::function<void(Target &)> &write,
            const QString &failureMessage, const QString &creationMessage = {});
    Pending(Pending &&) noexcept;
    Pending &operator=(Pending &&) noexcept;
    ~Pending();

    // Renames the file to `destination` (in the same folder as the one
    // given above, perhaps under another name) and syncs the folder, or
    // leaves the folder to one syncFolder() after the last piece of many.
    // Throws as SafeWrite::write does.
    enum class Folder { Sync, SyncLater };
    void commit(const QString &destination, Folder folder = Folder::Sync);

private:
    std::unique_ptr<Target> m_target;
};

// Makes the temporary file beside `destination`, calls write(target), and
// when everything reached the disk, renames it onto the destination.
// Throws PDFError: the disk-full sentence when the disk or quota is full,
// `failureMessage` for any other failure of the writing, syncing or renaming,
// `creationMessage` (or `failureMessage`) when the file can't be made at all.
// A PDFError thrown by `write` goes on unchanged unless a write failed first.
void write(const QString &destination, const std::function<void(Target &)> &write,
           const QString &failureMessage, const QString &creationMessage = {});

// "There isn't enough space on the disk to save “<name>”."
QString diskFullText(const QString &name);

// Makes the names given in `folder` durable (one fsync of the folder).
// Throws PDFError with `failureMessage` when the folder can't be synced.
void syncFolder(const QString &folder, const QString &failureMessage);

// Removes ".quirebook-" files in the folder that no live process holds.
void removeStale(const QString &folder);

// Removes every temporary file this process is writing; safe to call from
// a signal handler.
void removeAllInProgress() noexcept;

} // namespace SafeWrite
