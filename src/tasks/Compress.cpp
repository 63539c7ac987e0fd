#include "Compress.h"

#include "Format.h"
#include "PDFError.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace {
QString tr(const char *text) { return QCoreApplication::translate("Compress", text); }
} // namespace

namespace Tasks {

QList<CompressLevelCard> compressLevelCards()
{
    return {
        {CompressionLevel::Small, tr("Smallest"), tr("Photos at screen quality. Best for emailing.")},
        {CompressionLevel::Balanced, tr("Balanced"), tr("Good for reading and sharing.")},
        {CompressionLevel::High, tr("High quality"), tr("Keeps photos sharp. Best for printing.")},
    };
}

QString compressCurrentSize(qint64 bytes) { return tr("Current size: ") + Format::bytes(bytes); }

QString compressNote()
{
    return tr("Pictures are shrunk; text stays sharp and searchable. Links, bookmarks and the "
              "title are kept. Your original is never changed.");
}

QString compressButton() { return tr("Compress"); }
QString compressJobTitle() { return tr("Compressing"); }
QString compressSuffix() { return QStringLiteral("compressed"); }

Outcome compressOutcome(const PDFOps::CompressResult &result, const QString &sourceFileName,
                        const QString &destination)
{
    Outcome outcome;
    outcome.urls = {destination};
    if (result.keptOriginal) {
        outcome.title = tr("Already as small as it gets");
        outcome.detail = tr("Compressing wouldn't make “%1” smaller, so the copy is unchanged (%2).")
                             .arg(sourceFileName, Format::bytes(result.before));
    } else {
        outcome.title = tr("%1 → %2  (%3% smaller)")
                            .arg(Format::bytes(result.before), Format::bytes(result.after))
                            .arg(result.percent());
        outcome.detail = QFileInfo(destination).fileName();
    }
    return outcome;
}

Outcome compress(const PDFFile &file, CompressionLevel level, const QString &destination,
                 const Progress &progress, const IsCancelled &isCancelled)
{
    const auto doc = file.fresh();
    if (!doc)
        throw PDFError::unreadable(file.fileName());
    const auto result =
        PDFOps::compress(*doc, file.path, level, destination, progress, isCancelled);
    return compressOutcome(result, file.fileName(), destination);
}

} // namespace Tasks
