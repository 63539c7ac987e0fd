#pragma once

// A disk of a few megabytes that can really run full: a tmpfs mounted on a
// temporary folder for as long as the object lives (root only, as in CI).

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

namespace Fixtures {

class SmallDisk {
public:
    // Mounts a tmpfs of at least `bytes` (whole pages); see unavailable().
    explicit SmallDisk(qint64 bytes);
    ~SmallDisk();
    SmallDisk(const SmallDisk &) = delete;
    SmallDisk &operator=(const SmallDisk &) = delete;

    // Why there is no disk (not root, mount refused); empty when mounted.
    QString unavailable() const { return m_unavailable; }
    QString path() const { return m_dir.path(); }
    QString filePath(const QString &name) const { return m_dir.filePath(name); }

    qint64 freeBytes() const;
    // Writes the file "filler" so that `leave` bytes stay free (less than a
    // page more when `leave` isn't whole pages). False when that can't be done.
    bool fill(qint64 leave);
    // Every file and folder on the disk, hidden ones too, relative to path().
    QStringList entries() const;

private:
    QTemporaryDir m_dir;
    QString m_unavailable;
    bool m_mounted = false;
};

} // namespace Fixtures
