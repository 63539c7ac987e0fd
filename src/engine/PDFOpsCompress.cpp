#include "engine/PDFOpsCompress.h"

#include "engine/PDFError.h"
#include "engine/SafeWrite.h"
#include "engine/internal/Rebuilder.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QImageWriter>

#include <algorithm>
#include <cmath>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("PDFOps", text);
}

// Puts the source file's bytes into the result instead of what was written.
void copyBytes(const QString &original, SafeWrite::Target &out)
{
    out.restart();
    QFile in(original);
    if (!in.open(QIODevice::ReadOnly))
        throw PDFError::notOpened(QFileInfo(original).fileName());
    while (!in.atEnd()) {
        const QByteArray chunk = in.read(1 << 20);
        if (chunk.isEmpty() && in.error() != QFileDevice::NoError)
            throw PDFError::unreadable(QFileInfo(original).fileName());
        out.write(chunk);
    }
}

} // namespace

namespace PDFOps {

QString rawValue(CompressionLevel level)
{
    switch (level) {
    case CompressionLevel::Small: return QStringLiteral("small");
    case CompressionLevel::Balanced: return QStringLiteral("balanced");
    case CompressionLevel::High: return QStringLiteral("high");
    }
    return {};
}

std::optional<CompressionLevel> compressionLevel(const QString &raw)
{
    for (CompressionLevel level : allCompressionLevels())
        if (rawValue(level) == raw)
            return level;
    return std::nullopt;
}

QList<CompressionLevel> allCompressionLevels()
{
    return {CompressionLevel::Small, CompressionLevel::Balanced, CompressionLevel::High};
}

std::optional<ImageFilter> makeFilter(CompressionLevel level)
{
    if (!QImageWriter::supportedImageFormats().contains("jpeg"))
        return std::nullopt;
    ImageFilter filter;
    filter.name = QStringLiteral("Quirebook ") + rawValue(level);
    switch (level) {
    case CompressionLevel::Small:
        filter.quality = 40, filter.dpi = 96, filter.maxPixel = 1200;
        break;
    case CompressionLevel::Balanced:
        filter.quality = 60, filter.dpi = 144, filter.maxPixel = 2000;
        break;
    case CompressionLevel::High:
        filter.quality = 80, filter.dpi = 220, filter.maxPixel = 3200;
        break;
    }
    return filter;
}

int CompressResult::percent() const
{
    if (before < 1)
        return 0;
    const double saved = double(std::max<qint64>(before - after, 0)) / double(before) * 100.0;
    return int(std::round(saved)); // halves away from zero
}

CompressResult compress(PDFDocument &doc, const QString &original, CompressionLevel level,
                        const QString &destination, const Progress &progress,
                        const IsCancelled &isCancelled)
{
    const auto filter = makeFilter(level);
    if (!filter)
        throw PDFError::failed(tr("Couldn't set up the compressor."));
    rebuilding::check(doc, QFileInfo(destination).fileName());

    CompressResult result;
    const QFileInfo source(original);
    result.before = source.isFile() ? std::max<qint64>(source.size(), 0) : 0;

    rebuilding::Settings settings;
    settings.filter = filter;
    settings.bestCompression = true;
    // The destination is written once, through the temporary file: either
    // with the rebuilt document or, when that isn't smaller, the source's
    // own bytes.
    SafeWrite::write(
        destination,
        [&](SafeWrite::Target &out) {
            rebuilding::buildAndWrite(doc, out, settings, progress, isCancelled);
            const qint64 after = out.size();
            if (after >= 1 && after < result.before) {
                result.after = after;
                result.keptOriginal = false;
            } else {
                copyBytes(original, out);
                result.after = result.before;
                result.keptOriginal = true;
            }
        },
        tr("Couldn't create the file here. Check that you can write to that folder."));
    return result;
}

} // namespace PDFOps
