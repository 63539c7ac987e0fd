#pragma once

#include <QString>

#include <atomic>
#include <functional>

// The folder tools (Split, pictures) fill a new folder piece by piece, each
// piece through the safe write. What they share: a folder left empty goes,
// and a failure partway keeps the complete pieces (as a cancel does) and
// says how many there are.
namespace ResultFolder {

enum class Pieces { Files, Pictures };

// Removes the folder when it goes out of scope still empty: a job that
// saved nothing leaves no folder behind.
class EmptyGuard {
public:
    explicit EmptyGuard(QString folder)
        : m_folder(std::move(folder))
    {
    }
    ~EmptyGuard();
    EmptyGuard(const EmptyGuard &) = delete;
    EmptyGuard &operator=(const EmptyGuard &) = delete;

private:
    QString m_folder;
};

// Calls fill(saved); fill adds one to `saved` for each piece that is
// complete on disk, put in place with its folder's sync left to the end
// (SafeWrite::Pending::Folder::SyncLater): the folder is synced once, when
// fill returns or throws. A failure other than a cancel is thrown again with
// "Saved <n> of <total> files in the folder “<folder>”." (or "Nothing was
// saved.") after its own sentence.
void fill(const QString &folder, int total, Pieces pieces,
          const std::function<void(std::atomic<int> &saved)> &fill);

} // namespace ResultFolder
