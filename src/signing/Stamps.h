#pragma once

#include <QColor>
#include <QImage>
#include <QList>
#include <QPointF>
#include <QString>

#include <optional>

// Pictures to place on a page, each with a transparent background
// (premultiplied RGBA, QImage::Format_RGBA8888_Premultiplied, first row at
// the top): a line of text, a signature drawn as pen strokes, and a photo of
// a signature on paper with the paper taken away. Text and strokes are drawn
// at 3 pixels per point, so such a picture is (pixel width ÷ 3) points wide
// at its natural size. Nothing is returned where there is nothing to draw.
namespace Stamps {

inline constexpr double kPixelsPerPoint = 3.0;

// One pen stroke: points in points, y growing upwards.
using Stroke = QList<QPointF>;

struct Ink {
    QString name; // "Black", "Blue"
    QColor color;
};
// The inks the signature sheet offers, in order; index 0 is the default.
const QList<Ink> &inkColors();

// The text in the user-interface sans-serif font at 3 × size pixels,
// regular or semibold, with a 6-pixel transparent margin all round.
// Nothing for an empty text.
std::optional<QImage> text(const QString &text, double size, const QColor &color, bool bold);

// The strokes with round caps and joins, in an image of the strokes' box
// plus 6 points each side at 3 pixels per point; a one-point stroke is a dot.
// Nothing without a single point.
std::optional<QImage> signature(const QList<Stroke> &strokes, double lineWidth, const QColor &ink);

// The ink of a photographed signature, recoloured in `ink`, the paper made
// transparent, cropped to the ink plus 4 pixels; worked on at most 1400
// pixels on the long side. Nothing when no ink is found.
std::optional<QImage> signatureFromPhoto(const QImage &photo, const QColor &ink);

} // namespace Stamps
