#include "signing/Stamps.h"

#include <QFont>
#include <QFontDatabase>
#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>
#include <QPen>

#include <algorithm>
#include <array>
#include <cmath>

namespace Stamps {

namespace {

constexpr QImage::Format kFormat = QImage::Format_RGBA8888_Premultiplied;

// A zero-filled picture, or nothing when its memory can't be had.
std::optional<QImage> blank(int width, int height)
{
    QImage image(width, height, kFormat);
    if (image.isNull())
        return std::nullopt;
    image.fill(0);
    return image;
}

constexpr int kTextMargin = 6;      // pixels
constexpr double kStrokeMargin = 6; // points
constexpr int kMaxWorkingSide = 1400;
constexpr int kMinPaper = 100;
constexpr int kSolidBelow = 40;
constexpr int kAlphaCutOff = 24;
constexpr int kCropPadding = 4;

} // namespace

std::optional<QImage> text(const QString &text, double size, const QColor &color, bool bold)
{
    if (text.isEmpty())
        return std::nullopt;
    QFont font(QFontDatabase::systemFont(QFontDatabase::GeneralFont).family());
    font.setPixelSize(std::max(1, int(std::lround(size * kPixelsPerPoint))));
    font.setWeight(bold ? QFont::DemiBold : QFont::Normal);

    // Measured against a picture of the same kind, so the layout drawn
    // later is the one measured.
    const QImage probe(1, 1, kFormat);
    constexpr int flags = Qt::AlignLeft | Qt::AlignTop;
    const QRectF layoutBox(0, 0, 4000, 1000);
    const QRectF measured = QFontMetricsF(font, &probe).boundingRect(layoutBox, flags, text);

    auto image = blank(int(std::ceil(measured.width())) + 2 * kTextMargin,
                       int(std::ceil(measured.height())) + 2 * kTextMargin);
    if (!image)
        return std::nullopt;
    QPainter painter(&*image);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing);
    painter.setFont(font);
    painter.setPen(color);
    painter.drawText(layoutBox.translated(kTextMargin - measured.x(), kTextMargin - measured.y()),
                     flags, text);
    painter.end();
    return image;
}

std::optional<QImage> signature(const QList<Stroke> &strokes, double lineWidth, const QColor &ink)
{
    bool any = false;
    double minX = 0, maxX = 0, minY = 0, maxY = 0;
    for (const Stroke &stroke : strokes) {
        for (const QPointF &p : stroke) {
            if (!any) {
                minX = maxX = p.x();
                minY = maxY = p.y();
                any = true;
            }
            minX = std::min(minX, p.x());
            maxX = std::max(maxX, p.x());
            minY = std::min(minY, p.y());
            maxY = std::max(maxY, p.y());
        }
    }
    if (!any)
        return std::nullopt;

    const int width = int((maxX - minX + 2 * kStrokeMargin) * kPixelsPerPoint);
    const int height = int((maxY - minY + 2 * kStrokeMargin) * kPixelsPerPoint);
    auto image = blank(width, height);
    if (!image)
        return std::nullopt;

    // Points are y-up; the picture's first row is its top.
    const double heightInPoints = height / kPixelsPerPoint;
    const auto place = [&](const QPointF &p) {
        return QPointF(p.x() - minX + kStrokeMargin,
                       heightInPoints - (p.y() - minY + kStrokeMargin));
    };

    QPainter painter(&*image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(kPixelsPerPoint, kPixelsPerPoint);
    painter.setPen(QPen(ink, lineWidth, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(Qt::NoBrush);
    for (const Stroke &stroke : strokes) {
        if (stroke.isEmpty())
            continue;
        QPainterPath path(place(stroke.first()));
        if (stroke.size() == 1) {
            // A tap: a tiny segment, so the round caps make a dot.
            path.lineTo(place(stroke.first() + QPointF(0.1, 0)));
        } else {
            for (qsizetype i = 1; i < stroke.size(); ++i)
                path.lineTo(place(stroke.at(i)));
        }
        painter.drawPath(path);
    }
    painter.end();
    return image;
}

std::optional<QImage> signatureFromPhoto(const QImage &photo, const QColor &ink)
{
    if (photo.isNull() || !ink.isValid())
        return std::nullopt;

    const double scale =
        std::min(1.0, double(kMaxWorkingSide) / std::max(photo.width(), photo.height()));
    const int w = std::max(1, int(photo.width() * scale));
    const int h = std::max(1, int(photo.height() * scale));
    auto working = blank(w, h);
    if (!working)
        return std::nullopt;
    {
        QPainter painter(&*working);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawImage(QRectF(0, 0, w, h), photo);
    }

    // Luminance from the stored bytes; alpha is not looked at.
    const auto luminance = [](const uchar *px) {
        return (299 * px[0] + 587 * px[1] + 114 * px[2]) / 1000;
    };
    std::array<qint64, 256> histogram{};
    for (int y = 0; y < h; ++y) {
        const uchar *row = working->constScanLine(y);
        for (int x = 0; x < w; ++x)
            ++histogram[size_t(luminance(row + 4 * x))];
    }

    // The paper: the level the brightest quarter of the picture reaches.
    const qint64 quarter = qint64(w) * h / 4;
    int candidate = 0;
    qint64 sum = 0;
    for (int level = 255; level >= 0; --level) {
        sum += histogram[size_t(level)];
        if (sum >= quarter) {
            candidate = level;
            break;
        }
    }
    const int paper = std::max(candidate, kMinPaper);

    // trunc(component × 255), from QColor's 16-bit components so that
    // QColor(13, 51, 178) gives exactly those bytes.
    const QRgba64 srgb = ink.toRgb().rgba64();
    const auto byte = [](quint16 component) { return int(component * 255 / 65535); };
    const int inkRed = byte(srgb.red());
    const int inkGreen = byte(srgb.green());
    const int inkBlue = byte(srgb.blue());

    int minColumn = w, maxColumn = -1, minRow = h, maxRow = -1;
    for (int y = 0; y < h; ++y) {
        uchar *row = working->scanLine(y);
        for (int x = 0; x < w; ++x) {
            uchar *px = row + 4 * x;
            const int a = (paper - luminance(px)) * 255 / (paper - kSolidBelow);
            const int alpha = a >= 255 ? 255 : a < kAlphaCutOff ? 0 : a;
            px[0] = uchar(inkRed * alpha / 255);
            px[1] = uchar(inkGreen * alpha / 255);
            px[2] = uchar(inkBlue * alpha / 255);
            px[3] = uchar(alpha);
            if (alpha != 0) {
                minColumn = std::min(minColumn, x);
                maxColumn = std::max(maxColumn, x);
                minRow = std::min(minRow, y);
                maxRow = std::max(maxRow, y);
            }
        }
    }
    if (maxColumn < 0)
        return std::nullopt;

    const int left = std::max(0, minColumn - kCropPadding);
    const int right = std::min(w - 1, maxColumn + kCropPadding);
    const int top = std::max(0, minRow - kCropPadding);
    const int bottom = std::min(h - 1, maxRow + kCropPadding);
    QImage cropped = working->copy(QRect(QPoint(left, top), QPoint(right, bottom)));
    if (cropped.isNull())
        return std::nullopt;
    return cropped;
}

} // namespace Stamps
