#pragma once

#include <QByteArray>
#include <QImage>
#include <QList>
#include <QRectF>
#include <QSize>
#include <QSizeF>
#include <QString>

#include <array>
#include <optional>

class DrawingDocument;

namespace PDFOps {

// The picture formats pages can be saved as; the raw value names a case in
// lists and on the command line.
enum class ImageFormat { Png, Jpeg };
inline constexpr std::array<ImageFormat, 2> kImageFormats{ImageFormat::Png, ImageFormat::Jpeg};
QString rawValue(ImageFormat format); // "PNG", "JPEG"
std::optional<ImageFormat> imageFormat(const QString &rawValue);

// The bitmap size of a page whose upright visible size is `points`: each
// side times dpi / 72, rounded half away from zero, at least 1.
QSize pixelSize(QSizeF points, double dpi);

// One word as the text layer reports it: its text, its box on the page, a
// space after it, and whether it ends its line.
struct TextWord {
    QString text;
    QRectF box;
    bool spaceAfter = false;
    bool endsLine = false;
};

// A page's words turned into plain text in reading order: lines joined by
// line breaks, a blank line between blocks, words broken at a line end
// joined again, right-to-left runs put in logical order.
QString assembleText(const QList<TextWord> &words);

// Draws page `index` (see DrawingDocument::render).
std::optional<QImage> render(const DrawingDocument &doc, int index, double dpi);

// Saves a bitmap as PNG or JPEG with the resolution recorded, through the
// safe write, leaving the folder's sync to the caller (one after many
// pictures, SafeWrite::syncFolder); quality (0…1) matters for JPEG only. Throws PDFError::failed
// "Couldn't create <name>.", "Couldn't write <name>." or the disk-full
// sentence.
void writeImage(const QImage &image, const QString &path, ImageFormat format, double dpi,
                double quality);

} // namespace PDFOps
