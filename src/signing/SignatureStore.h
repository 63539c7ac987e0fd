#pragma once

#include <QImage>
#include <QList>
#include <QString>

#include <optional>

// The signatures the person chose to remember: one PNG file each,
// "signature-<milliseconds since 1970>.png", in a folder of their own; the
// folder's contents are the list. Nothing here throws or complains: a save
// that fails returns nothing, an unreadable file is left out of the list.
class SignatureStore {
public:
    struct Saved {
        QString id;   // the file's name
        QString path; // the whole path
        QImage image;
    };

    // ~/.local/share/Quirebook/Signatures (the generic data location).
    static SignatureStore &shared();
    // A store on any folder (made, with its parents, when missing).
    explicit SignatureStore(QString folder);

    const QString &folder() const { return m_folder; }
    // The new file's path, or nothing when it couldn't be written.
    std::optional<QString> save(const QImage &image) const;
    // Every ".png" in the folder that decodes, by name (oldest first).
    QList<Saved> list() const;
    void remove(const Saved &saved) const;

private:
    QString m_folder;
};
