#include "engine/PDFOpsRender.h"

#include "engine/PDFError.h"
#include "engine/SafeWrite.h"
#include "engine/internal/JpegCodec.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QImageWriter>

#include <algorithm>
#include <cmath>

namespace PDFOps {

QString rawValue(ImageFormat format)
{
    switch (format) {
    case ImageFormat::Png: return QStringLiteral("PNG");
    case ImageFormat::Jpeg: return QStringLiteral("JPEG");
    }
    return {};
}

std::optional<ImageFormat> imageFormat(const QString &raw)
{
    for (const ImageFormat format : kImageFormats)
        if (rawValue(format) == raw)
            return format;
    return std::nullopt;
}

QSize pixelSize(QSizeF points, double dpi)
{
    const double scale = dpi / 72.0;
    auto side = [scale](double length) {
        const double scaled = scale * length;
        if (!std::isfinite(scaled) || scaled < 1.0)
            return 1;
        if (scaled > double(std::numeric_limits<int>::max()))
            return std::numeric_limits<int>::max();
        return std::max(1, int(std::lround(scaled)));
    };
    return {side(points.width()), side(points.height())};
}

void writeImage(const QImage &image, const QString &path, ImageFormat format, double dpi,
                double quality)
{
    const QString name = QFileInfo(path).fileName();
    QImage stamped = image;
    const int dotsPerMeter = int(std::lround(dpi / 0.0254));
    if (stamped.dotsPerMeterX() != dotsPerMeter || stamped.dotsPerMeterY() != dotsPerMeter) {
        stamped.setDotsPerMeterX(dotsPerMeter);
        stamped.setDotsPerMeterY(dotsPerMeter);
    }
    const QString failure = QCoreApplication::translate("PDFOps", "Couldn't write %1.").arg(name);
    SafeWrite::Pending(
        path,
        [&](SafeWrite::Target &out) {
            const int percent = std::clamp(int(std::lround(quality * 100.0)), 0, 100);
            if (format == ImageFormat::Jpeg && stamped.format() == QImage::Format_RGB32) {
                const QByteArray jpeg = JpegCodec::encodePicture(
                    stamped, percent, std::clamp(int(std::lround(dpi)), 1, 65535));
                if (jpeg.isEmpty())
                    throw PDFError::failed(failure);
                out.write(jpeg);
                return;
            }
            QImageWriter writer(&out.device(), format == ImageFormat::Png ? "png" : "jpeg");
            if (format == ImageFormat::Jpeg)
                writer.setQuality(percent);
            if (!writer.write(stamped))
                throw PDFError::failed(failure);
        },
        failure, QCoreApplication::translate("PDFOps", "Couldn't create %1.").arg(name))
        .commit(path, SafeWrite::Pending::Folder::SyncLater);
}

} // namespace PDFOps
