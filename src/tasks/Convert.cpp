#include "Convert.h"

#include "Output.h"
#include "PDFError.h"
#include "PDFOps.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

namespace {
QString tr(const char *text) { return QCoreApplication::translate("Convert", text); }
} // namespace

namespace Convert {

QString label(Mode mode)
{
    switch (mode) {
    case Mode::Images: return tr("Pictures");
    case Mode::Text: return tr("Text");
    }
    return {};
}

QList<Resolution> resolutions()
{
    return {{tr("Screen (72 dpi)"), 72}, {tr("Good (150 dpi)"), 150}, {tr("Print (300 dpi)"), 300}};
}

QString formatLabel() { return tr("Format"); }
QString qualityLabel() { return tr("Quality"); }
QString picturesNote() { return tr("Every page becomes one picture, saved together in a new folder."); }
QString textNote() { return tr("Saves all the text in the PDF as a plain text file."); }
QString savePicturesTitle() { return tr("Save Pictures"); }
QString saveTextTitle() { return tr("Save Text"); }
QString picturesJobTitle() { return tr("Saving"); }
QString textJobTitle() { return tr("Reading"); }

QString noFolderText()
{
    return tr("Quirebook can't write next to this file. Copy it to your Desktop or Documents first.");
}

QString noTextText()
{
    return tr("There's no text in this PDF — it's probably a scan. Use Make Searchable first, then "
              "try again.");
}

QString extension(PDFOps::ImageFormat format)
{
    return format == PDFOps::ImageFormat::Jpeg ? QStringLiteral("jpg") : QStringLiteral("png");
}

QString pictureName(const QString &baseName, int pageNumber, int pageCount,
                    PDFOps::ImageFormat format)
{
    const int width = int(QString::number(std::max(pageCount, 1)).size());
    return QStringLiteral("%1 page %2.%3")
        .arg(baseName)
        .arg(pageNumber, width, 10, QLatin1Char('0'))
        .arg(extension(format));
}

QString picturesFolder(const PDFFile &file)
{
    return Output::newFolder(file, QStringLiteral("pictures"));
}

QString textDestination(const PDFFile &file)
{
    const auto folder = Output::folder(file);
    if (!folder)
        throw PDFError::failed(noFolderText());
    return PDFOps::uniqueURL(*folder, file.name(), QStringLiteral("txt"));
}

QString textDestination(const PDFFile &file, const QString &chosen)
{
    const QFileInfo info(chosen);
    if (info.isDir())
        return PDFOps::uniqueURL(info.absoluteFilePath(), file.name(), QStringLiteral("txt"));
    return PDFOps::uniqueURL(info.absolutePath(), info.completeBaseName(), info.suffix());
}

} // namespace Convert
