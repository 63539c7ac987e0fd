#include "tasks/Compress.h"

#include "core/Format.h"
#include "engine/PDFError.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace {
QString tr(const char *text)
{
    return QCoreApplication::translate("Compress", text);
}
} // namespace

namespace Compress {

QList<LevelCard> levelCards()
{
    return {
        {CompressionLevel::Small, tr("Smallest"),
         tr("Photos at screen quality. Best for emailing.")},
        {CompressionLevel::Balanced, tr("Balanced"), tr("Good for reading and sharing.")},
        {CompressionLevel::High, tr("High quality"), tr("Keeps photos sharp. Best for printing.")},
    };
}

QString currentSize(qint64 bytes)
{
    return tr("Current size: ") + Format::bytes(bytes);
}

QString note()
{
    return tr("Pictures are shrunk; text stays sharp and searchable. Links, bookmarks and the "
              "title are kept. Your original is never changed.");
}

QString button()
{
    return tr("Compress");
}
QString jobTitle()
{
    return tr("Compressing");
}
QString suffix()
{
    return QStringLiteral("compressed");
}

Outcome outcome(const PDFOps::CompressResult &result, const QString &sourceFileName,
                const QString &destination)
{
    Outcome shown;
    shown.urls = {destination};
    if (result.keptOriginal) {
        shown.title = tr("Already as small as it gets");
        shown.detail = tr("Compressing wouldn't make “%1” smaller, so the copy is unchanged (%2).")
                           .arg(sourceFileName, Format::bytes(result.before));
    } else {
        shown.title = tr("%1 → %2  (%3% smaller)")
                          .arg(Format::bytes(result.before), Format::bytes(result.after))
                          .arg(result.percent());
        shown.detail = QFileInfo(destination).fileName();
    }
    return shown;
}

Outcome run(const PDFFile &file, const Request &request, const QString &destination,
            const Progress &progress, const IsCancelled &isCancelled)
{
    if (const auto problem = request.validate())
        throw PDFError::failed(*problem);
    const auto doc = file.fresh();
    if (!doc)
        throw PDFError::notOpened(file.fileName());
    const auto result =
        PDFOps::compress(*doc, file.path, request.level, destination, progress, isCancelled);
    return outcome(result, file.fileName(), destination);
}

} // namespace Compress
