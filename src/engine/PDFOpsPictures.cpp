#include "engine/PDFOps.h"

#include "engine/PDFError.h"
#include "engine/internal/QpdfSupport.h"

#include <qpdf/QPDFPageDocumentHelper.hh>

#include <libheif/heif.h>

#include <QBuffer>
#include <QFile>
#include <QImageReader>

#include <cmath>

namespace {

constexpr int kJpegQuality = 85;
// The most memory a picture may take once decoded, whatever its kind.
constexpr int kMaxDecodedMegabytes = 2048;
constexpr double kLongSide = 842.0; // an A4 sheet's height in points

bool isHeif(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray head = file.read(64);
    if (head.size() < 12)
        return false;
    const auto kind =
        heif_check_filetype(reinterpret_cast<const uint8_t *>(head.constData()), int(head.size()));
    return kind == heif_filetype_yes_supported || kind == heif_filetype_maybe;
}

// libheif applies the file's rotation and mirroring while decoding.
std::optional<QImage> decodeHeif(const QString &path)
{
    heif_context *context = heif_context_alloc();
    heif_image_handle *handle = nullptr;
    heif_image *decoded = nullptr;
    std::optional<QImage> result;
    const QByteArray name = QFile::encodeName(path);
    if (heif_context_read_from_file(context, name.constData(), nullptr).code == heif_error_Ok &&
        heif_context_get_primary_image_handle(context, &handle).code == heif_error_Ok) {
        const bool alpha = heif_image_handle_has_alpha_channel(handle) != 0;
        const auto chroma = alpha ? heif_chroma_interleaved_RGBA : heif_chroma_interleaved_RGB;
        // The size the file claims is checked before anything is decoded:
        // libheif itself would go up to 32768 pixels a side.
        const qint64 bytes = qint64(heif_image_handle_get_width(handle)) *
                             heif_image_handle_get_height(handle) * (alpha ? 4 : 3);
        if (bytes > 0 && bytes <= qint64(kMaxDecodedMegabytes) * 1024 * 1024 &&
            heif_decode_image(handle, &decoded, heif_colorspace_RGB, chroma, nullptr).code ==
                heif_error_Ok) {
            int stride = 0;
            const uint8_t *pixels =
                heif_image_get_plane_readonly(decoded, heif_channel_interleaved, &stride);
            const int w = heif_image_get_width(decoded, heif_channel_interleaved);
            const int h = heif_image_get_height(decoded, heif_channel_interleaved);
            if (pixels && w > 0 && h > 0) {
                const QImage view(pixels, w, h, stride,
                                  alpha ? QImage::Format_RGBA8888 : QImage::Format_RGB888);
                result = view.copy();
            }
            heif_image_release(decoded);
        }
    }
    if (handle)
        heif_image_handle_release(handle);
    heif_context_free(context);
    return result;
}

QSize boundedSize(QSize size, int maxPixel)
{
    const int longer = std::max(size.width(), size.height());
    if (maxPixel <= 0 || longer <= maxPixel)
        return size;
    const double s = double(maxPixel) / longer;
    return QSize(std::max(1, int(std::lround(size.width() * s))),
                 std::max(1, int(std::lround(size.height() * s))));
}

QByteArray encodeJpeg(const QImage &image)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "JPEG", kJpegQuality);
    return bytes;
}

bool hasTransparency(const QImage &image)
{
    if (!image.hasAlphaChannel())
        return false;
    const QImage argb = image.convertToFormat(QImage::Format_ARGB32);
    for (int y = 0; y < argb.height(); ++y) {
        const auto *line = reinterpret_cast<const QRgb *>(argb.constScanLine(y));
        for (int x = 0; x < argb.width(); ++x)
            if (qAlpha(line[x]) != 255)
                return true;
    }
    return false;
}

QPDFObjectHandle imageStream(QPDF &q, int w, int h, const char *colorSpace, std::string data,
                             const char *filter)
{
    auto stream = QPDFObjectHandle::newStream(&q);
    stream.replaceStreamData(
        std::move(data), filter ? QPDFObjectHandle::newName(filter) : QPDFObjectHandle::newNull(),
        QPDFObjectHandle::newNull());
    auto dict = stream.getDict();
    dict.replaceKey("/Type", QPDFObjectHandle::newName("/XObject"));
    dict.replaceKey("/Subtype", QPDFObjectHandle::newName("/Image"));
    dict.replaceKey("/Width", QPDFObjectHandle::newInteger(w));
    dict.replaceKey("/Height", QPDFObjectHandle::newInteger(h));
    dict.replaceKey("/ColorSpace", QPDFObjectHandle::newName(colorSpace));
    dict.replaceKey("/BitsPerComponent", QPDFObjectHandle::newInteger(8));
    return stream;
}

} // namespace

namespace PDFOps {

std::optional<QImage> loadImage(const QString &path, int maxPixel)
{
    if (isHeif(path)) {
        auto image = decodeHeif(path);
        if (!image)
            return std::nullopt;
        const QSize target = boundedSize(image->size(), maxPixel);
        if (target != image->size())
            *image = image->scaled(target, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        return image;
    }

    QImageReader reader(path);
    reader.setAutoTransform(true);
    reader.setAllocationLimit(kMaxDecodedMegabytes);
    const QByteArray format = reader.format();
    if (format.isEmpty() || format == "pdf" || format == "svg" || format == "svgz")
        return std::nullopt;
    // The bound is the same whichever way the picture is turned, so the
    // decoder can scale the stored image before it is turned upright.
    const QSize stored = reader.size();
    if (stored.isValid()) {
        const QSize target = boundedSize(stored, maxPixel);
        if (target != stored)
            reader.setScaledSize(target);
    }
    QImage image = reader.read();
    if (image.isNull())
        return std::nullopt;
    const QSize target = boundedSize(image.size(), maxPixel);
    if (target != image.size())
        image = image.scaled(target, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    return image;
}

QSizeF picturePageSize(QSize pixels)
{
    const double s = kLongSide / std::max(pixels.width(), pixels.height());
    return QSizeF(std::round(s * pixels.width()), std::round(s * pixels.height()));
}

std::shared_ptr<PDFDocument> page(const QImage &source)
{
    if (source.isNull() || source.width() < 1 || source.height() < 1)
        return nullptr;
    try {
        const QSizeF size = picturePageSize(source.size());
        auto doc = PDFDocument::createEmpty();
        QPDF &q = *doc->qpdf();

        const bool gray = !source.hasAlphaChannel() && source.isGrayscale();
        const QImage opaque =
            source.convertToFormat(gray ? QImage::Format_Grayscale8 : QImage::Format_RGB888);
        auto image =
            imageStream(q, opaque.width(), opaque.height(), gray ? "/DeviceGray" : "/DeviceRGB",
                        encodeJpeg(opaque).toStdString(), "/DCTDecode");
        if (hasTransparency(source)) {
            const QImage alpha = source.convertToFormat(QImage::Format_Alpha8);
            std::string bytes;
            bytes.reserve(size_t(alpha.width()) * size_t(alpha.height()));
            for (int y = 0; y < alpha.height(); ++y)
                bytes.append(reinterpret_cast<const char *>(alpha.constScanLine(y)),
                             size_t(alpha.width()));
            auto mask = imageStream(q, alpha.width(), alpha.height(), "/DeviceGray",
                                    std::move(bytes), nullptr);
            image.getDict().replaceKey("/SMask", mask);
        }

        const std::string content = QStringLiteral("q %1 0 0 %2 0 0 cm /Im0 Do Q\n")
                                        .arg(size.width())
                                        .arg(size.height())
                                        .toStdString();
        auto resources = QPDFObjectHandle::parse("<< /XObject << >> >>");
        resources.getKey("/XObject").replaceKey("/Im0", image);
        auto pageDict = QPDFObjectHandle::newDictionary();
        pageDict.replaceKey("/Type", QPDFObjectHandle::newName("/Page"));
        pageDict.replaceKey("/MediaBox", QPDFObjectHandle::newArray(QPDFObjectHandle::Rectangle(
                                             0, 0, size.width(), size.height())));
        pageDict.replaceKey("/Resources", resources);
        pageDict.replaceKey("/Contents", QPDFObjectHandle::newStream(&q, content));
        QPDFPageDocumentHelper(q).addPage(QPDFPageObjectHelper(q.makeIndirectObject(pageDict)),
                                          false);
        doc->pagesChanged();
        // Keep the picture's document as bytes, so every user can have its own copy.
        return PDFDocument::fromBytes(doc->toBytes(), QStringLiteral("picture.pdf"));
    } catch (...) {
        return nullptr;
    }
}

bool isRestricted(const PDFDocument &doc)
{
    if (!doc.isEncrypted() || doc.isLocked() || doc.hasOwnerRights())
        return false;
    if (!doc.allowsCopying() || !doc.allowsAssembly())
        return true;
    return !doc.allowsChanges();
}

void requireRewritable(const PDFDocument &doc)
{
    if (doc.isLocked() || !doc.qpdf())
        throw PDFError::failed(PDFError::lockedText());
    if (isRestricted(doc))
        throw PDFError::restricted();
}

} // namespace PDFOps
