#pragma once

#include "engine/PDFDocument.h"
#include "engine/Progress.h"

#include <QList>
#include <QString>

#include <functional>
#include <optional>

// How hard pictures are squeezed.
enum class CompressionLevel { Small, Balanced, High };

// What the image recompression of one level does.
struct ImageFilter {
    QString name;        // "Quirebook balanced"
    int quality = 60;    // JPEG quality, 1 to 100
    double dpi = 144;    // most pixels per inch at an image's largest placement
    int maxPixel = 2000; // longest side at most
};

namespace PDFOps {

// "small", "balanced", "high".
QString rawValue(CompressionLevel level);
// The level of a raw value; nothing for anything else.
std::optional<CompressionLevel> compressionLevel(const QString &rawValue);
// Every level, smallest first.
QList<CompressionLevel> allCompressionLevels();

// The filter of a level. Nothing when pictures can't be encoded here
// (no JPEG writer).
std::optional<ImageFilter> makeFilter(CompressionLevel level);

struct CompressResult {
    qint64 before = 0;         // the source file's size in bytes (0 when unknown)
    qint64 after = 0;          // the written file's size
    bool keptOriginal = false; // compressing didn't help: the result is a copy of the source
    // How much smaller, rounded: 0 when before is unknown, never negative.
    int percent() const;
};

// Makes a smaller copy of `original` at `destination`: the document is
// rebuilt (see rebuild) with every picture resampled and re-encoded by the
// level's filter, and written with object streams and the best Flate
// compression. If that isn't smaller than the source file, the destination
// gets the source file's bytes unchanged instead. `doc` is a fresh document
// opened from `original`, and is used up.
// Throws PDFError as rebuild does, and failed("Couldn't set up the
// compressor.") when the level's filter can't be made.
CompressResult compress(PDFDocument &doc, const QString &original, CompressionLevel level,
                        const QString &destination, const Progress &progress,
                        const IsCancelled &isCancelled);

} // namespace PDFOps
