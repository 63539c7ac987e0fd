#include "signing/SignatureStore.h"

#include "engine/PDFError.h"
#include "engine/SafeWrite.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QImageReader>
#include <QImageWriter>
#include <QStandardPaths>

#include <utility>

SignatureStore &SignatureStore::shared()
{
    static SignatureStore store(
        QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
        QStringLiteral("/Quirebook/Signatures"));
    return store;
}

SignatureStore::SignatureStore(QString folder)
    : m_folder(std::move(folder))
{
    QDir().mkpath(m_folder);
}

std::optional<QString> SignatureStore::save(const QImage &image) const
{
    if (image.isNull())
        return std::nullopt;
    const QString name =
        QStringLiteral("signature-%1.png").arg(QDateTime::currentMSecsSinceEpoch());
    const QString path = QDir(m_folder).filePath(name);
    const QString failure =
        QCoreApplication::translate("SignatureStore", "Couldn't save the signature “%1”.")
            .arg(name);
    try {
        // Through the safe write, so a full disk never leaves half a PNG.
        SafeWrite::write(
            path,
            [&](SafeWrite::Target &out) {
                QImageWriter writer(&out.device(), "png");
                if (!writer.write(image))
                    throw PDFError::failed(failure);
            },
            failure);
    } catch (const PDFError &) {
        return std::nullopt;
    }
    return path;
}

QList<SignatureStore::Saved> SignatureStore::list() const
{
    const QDir dir(m_folder);
    QStringList names = dir.entryList(QDir::Files | QDir::Hidden | QDir::System, QDir::NoSort);
    names.sort(Qt::CaseSensitive);
    QList<Saved> saved;
    for (const QString &name : std::as_const(names)) {
        if (!name.endsWith(QLatin1String(".png"), Qt::CaseSensitive))
            continue;
        const QString path = dir.filePath(name);
        QImageReader reader(path);
        reader.setDecideFormatFromContent(true);
        QImage image = reader.read();
        if (image.isNull())
            continue;
        saved.append({name, path, std::move(image)});
    }
    return saved;
}

void SignatureStore::remove(const Saved &saved) const
{
    QFile::remove(saved.path);
}
