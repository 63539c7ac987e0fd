#include "Output.h"

#include "PDFError.h"
#include "PDFOps.h"

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

std::optional<QString> pdfURL(const PDFFile &file, const QString &suffix, Dialogs *dialogs)
{
    const QString base = file.name() + u' ' + suffix;
    if (const auto dir = folder(file))
        return PDFOps::uniqueURL(*dir, base, QStringLiteral("pdf"));
    if (!dialogs)
        return std::nullopt;
    return dialogs->savePDF(base, QString());
}

QString newFolder(const PDFFile &file, const QString &suffix)
{
    const auto dir = folder(file);
    if (!dir)
        throw PDFError::failed(
            QCoreApplication::translate("Output", "Quirebook can't write next to “%1”. Copy the "
                                                  "file to your Desktop or Documents first.")
                .arg(file.fileName()));
    const QString path = PDFOps::uniqueURL(*dir, file.name() + u' ' + suffix, QString());
    if (!QDir().mkdir(path))
        throw PDFError::failed(QCoreApplication::translate("Output", "Couldn't create the folder “%1”.")
                                   .arg(QFileInfo(path).fileName()));
    return path;
}

} // namespace Output
