#include "core/Output.h"

#include "engine/PDFError.h"
#include "engine/PDFOps.h"
#include "engine/SafeWrite.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

#include <unistd.h>

namespace Output {

std::optional<QString> folder(const PDFFile &file)
{
    const QString dir = QFileInfo(file.path).absolutePath();
    if (::access(QFile::encodeName(dir).constData(), W_OK | X_OK) != 0)
        return std::nullopt;
    return dir;
}

QString resultName(const PDFFile &file, const QString &suffix)
{
    return suffix.isEmpty() ? file.name() : file.name() + u' ' + suffix;
}

std::optional<QString> besideURL(const PDFFile &file, const QString &suffix, const QString &ext)
{
    const auto dir = folder(file);
    if (!dir)
        return std::nullopt;
    return PDFOps::uniqueURL(*dir, resultName(file, suffix), ext);
}

std::optional<QString> pdfURL(const PDFFile &file, const QString &suffix, Dialogs *dialogs)
{
    if (auto beside = besideURL(file, suffix, QStringLiteral("pdf")))
        return beside;
    if (!dialogs)
        return std::nullopt;
    return dialogs->savePDF(resultName(file, suffix), QString());
}

QString chosenURL(const QString &chosen, const QString &base, const QString &ext)
{
    const QFileInfo info(chosen);
    if (info.isDir())
        return PDFOps::uniqueURL(info.absoluteFilePath(), base, ext);
    if (!chosen.endsWith(u'/'))
        return PDFOps::uniqueURL(info.absolutePath(), info.completeBaseName(), info.suffix());

    // "out/": a folder is meant, made here when it isn't there yet. Only
    // the last step: a mistyped path shouldn't leave a trail of folders.
    const QString typed = QDir::cleanPath(chosen);
    const QFileInfo folder(typed);
    if (folder.exists())
        throw PDFError::failed(
            QCoreApplication::translate("Output", "“%1” is a file, not a folder.").arg(typed));
    if (!QFileInfo(folder.absolutePath()).isDir())
        throw PDFError::failed(
            QCoreApplication::translate(
                "Output", "Couldn't make the folder “%1”, because “%2” doesn't exist.")
                .arg(typed, folder.path()));
    if (!QDir().mkdir(folder.absoluteFilePath()))
        throw PDFError::failed(
            QCoreApplication::translate("Output",
                                        "Couldn't make the folder “%1”. Check that you can write "
                                        "to the folder it goes in.")
                .arg(typed));
    return PDFOps::uniqueURL(folder.absoluteFilePath(), base, ext);
}

QString newFolder(const PDFFile &file, const QString &suffix)
{
    const auto dir = folder(file);
    if (!dir)
        throw PDFError::failed(
            QCoreApplication::translate("Output", "Quirebook can't write next to “%1”. Copy the "
                                                  "file to your Desktop or Documents first.")
                .arg(file.fileName()));
    // A run killed while filling a result folder left its hidden temporary
    // file there; this run writes elsewhere, so the earlier folders (and the
    // source's own) are swept now.
    SafeWrite::removeStale(*dir);
    const QString path =
        PDFOps::uniqueURL(*dir, resultName(file, suffix), QString(), [](const QString &taken) {
            if (QFileInfo(taken).isDir())
                SafeWrite::removeStale(taken);
        });
    if (!QDir().mkdir(path))
        throw PDFError::failed(
            QCoreApplication::translate("Output", "Couldn't create the folder “%1”.")
                .arg(QFileInfo(path).fileName()));
    return path;
}

} // namespace Output
