#include "tasks/Convert.h"

#include "core/Output.h"
#include "engine/PDFError.h"
#include "tasks/DrawingSource.h"

#include <QCoreApplication>

namespace {
QString tr(const char *text)
{
    return QCoreApplication::translate("Convert", text);
}
} // namespace

DrawingSource drawingSourceFor(const PDFFile &file)
{
    std::optional<DrawingDocument::Source> source;
    {
        const auto doc = file.freshForWork();
        source = DrawingDocument::sourceFor(*doc);
    }
    const auto drawing = source ? DrawingDocument::open(*source) : nullptr;
    if (!drawing)
        throw PDFError::notOpened(file.fileName());
    return {*source, drawing->pageCount()};
}

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

QString formatLabel()
{
    return tr("Format");
}
QString qualityLabel()
{
    return tr("Quality");
}
QString picturesNote()
{
    return tr("Every page becomes one picture, saved together in a new folder.");
}
QString textNote()
{
    return tr("Saves all the text in the PDF as a plain text file.");
}
QString savePicturesTitle()
{
    return tr("Save Pictures");
}
QString saveTextTitle()
{
    return tr("Save Text");
}
QString jobTitle(Mode mode)
{
    return mode == Mode::Images ? tr("Saving") : tr("Reading");
}

QString noFolderText()
{
    return tr(
        "Quirebook can't write next to this file. Copy it to your Desktop or Documents first.");
}

QString resolutionRefusal()
{
    return tr("The resolution must be a number from %1 to %2.")
        .arg(Request::kMinDpi)
        .arg(Request::kMaxDpi);
}

QString qualityRefusal()
{
    return tr("The quality must be a whole number from 0 to 100.");
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

std::optional<QString> Request::validate() const
{
    if (!(dpi >= kMinDpi && dpi <= kMaxDpi))
        return resolutionRefusal();
    if (!(quality >= 0 && quality <= 1))
        return qualityRefusal();
    return std::nullopt;
}

QString destination(const PDFFile &file, const Request &request)
{
    if (request.mode == Mode::Images)
        return Output::newFolder(file, QStringLiteral("pictures"));
    const auto beside = Output::besideURL(file, QString(), QStringLiteral("txt"));
    if (!beside)
        throw PDFError::failed(noFolderText());
    return *beside;
}

Outcome run(const PDFFile &file, const Request &request, const QString &destination,
            const Progress &progress, const IsCancelled &isCancelled)
{
    if (const auto problem = request.validate())
        throw PDFError::failed(*problem);
    if (request.mode == Mode::Images)
        return pictures(file, destination, request, progress, isCancelled);
    return text(file, destination, progress, isCancelled);
}

} // namespace Convert
