#include "support/ColourFixtures.h"

#include "support/Fixtures.h"
#include "support/PictureFixtures.h"

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>

#include <QFont>
#include <QPainter>
#include <QPolygonF>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <vector>

#include <jpeglib.h>
#include <openjpeg.h>

namespace Fixtures {

namespace {

using H = QPDFObjectHandle;

// Ink for each pixel: grey component replacement, all of it, so black
// comes from K as a printer's separation would have it.
QByteArray cmykOf(const QImage &picture)
{
    const QImage rgb = picture.convertToFormat(QImage::Format_RGB888);
    QByteArray out;
    out.reserve(qsizetype(rgb.width()) * rgb.height() * 4);
    for (int y = 0; y < rgb.height(); ++y) {
        const uchar *p = rgb.constScanLine(y);
        for (int x = 0; x < rgb.width(); ++x, p += 3) {
            const int c = 255 - p[0], m = 255 - p[1], ye = 255 - p[2];
            const int k = std::min({c, m, ye});
            out.append(char(c - k)).append(char(m - k)).append(char(ye - k)).append(char(k));
        }
    }
    return out;
}

// An 8-bit palette of the picture's colours: every colour when there are at
// most 256 of them, else a 6 × 7 × 6 cube.
std::pair<QByteArray, QByteArray> paletted(const QImage &picture)
{
    const QImage rgb = picture.convertToFormat(QImage::Format_RGB888);
    std::map<QRgb, int> colours;
    for (int y = 0; y < rgb.height() && colours.size() <= 256; ++y)
        for (int x = 0; x < rgb.width(); ++x) {
            const uchar *p = rgb.constScanLine(y) + 3 * x;
            colours.emplace(qRgb(p[0], p[1], p[2]), int(colours.size()));
        }
    const bool cube = colours.size() > 256;
    QByteArray palette, indexes;
    if (cube) {
        for (int r = 0; r < 6; ++r)
            for (int g = 0; g < 7; ++g)
                for (int b = 0; b < 6; ++b)
                    palette.append(char(r * 51)).append(char(g * 255 / 6)).append(char(b * 51));
    } else {
        palette.resize(qsizetype(colours.size()) * 3);
        for (auto [rgbValue, index] : colours) {
            palette[index * 3] = char(qRed(rgbValue));
            palette[index * 3 + 1] = char(qGreen(rgbValue));
            palette[index * 3 + 2] = char(qBlue(rgbValue));
        }
    }
    for (int y = 0; y < rgb.height(); ++y)
        for (int x = 0; x < rgb.width(); ++x) {
            const uchar *p = rgb.constScanLine(y) + 3 * x;
            indexes.append(char(cube ? (p[0] * 5 + 127) / 255 * 42 + (p[1] * 6 + 127) / 255 * 6 +
                                           (p[2] * 5 + 127) / 255
                                     : colours.at(qRgb(p[0], p[1], p[2]))));
        }
    return {palette, indexes};
}

// A chart as a drawing program exports it: flat colours, smooth lines and
// lettering.
QImage smoothChart(QSize size)
{
    QImage image = chart(size);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(120, 30, 140), std::max(2, size.width() / 200)));
    QPolygonF trend;
    for (int i = 0; i <= 10; ++i)
        trend << QPointF(size.width() * (0.1 + 0.08 * i),
                         size.height() * (0.8 - 0.05 * i - 0.04 * (i % 3)));
    painter.drawPolyline(trend);
    QFont font = painter.font();
    font.setPixelSize(std::max(8, size.height() / 20));
    painter.setFont(font);
    painter.drawText(QRectF(0, 0, size.width(), size.height() / 10.0), Qt::AlignCenter,
                     QStringLiteral("Sales by quarter"));
    return image;
}

struct Sink {
    QByteArray data;
    qint64 position = 0;
};

OPJ_SIZE_T writeTo(void *buffer, OPJ_SIZE_T count, void *user)
{
    auto *sink = static_cast<Sink *>(user);
    if (sink->data.size() < sink->position + qint64(count))
        sink->data.resize(sink->position + qint64(count));
    std::memcpy(sink->data.data() + sink->position, buffer, count);
    sink->position += qint64(count);
    return count;
}

OPJ_OFF_T skipIn(OPJ_OFF_T count, void *user)
{
    auto *sink = static_cast<Sink *>(user);
    sink->position += count;
    if (sink->data.size() < sink->position)
        sink->data.resize(sink->position);
    return count;
}

OPJ_BOOL seekTo(OPJ_OFF_T to, void *user)
{
    static_cast<Sink *>(user)->position = to;
    return OPJ_TRUE;
}

H imageStream(QPDF &q, const QByteArray &data, QSize pixels, const std::string &entries)
{
    auto stream = H::newStream(&q, data.toStdString());
    for (auto [key, value] :
         H::parse("<< /Type /XObject /Subtype /Image /Width " + std::to_string(pixels.width()) +
                  " /Height " + std::to_string(pixels.height()) + " " + entries + " >>")
             .ditems())
        stream.getDict().replaceKey(key, value);
    return stream;
}

std::string rect(const QRectF &r)
{
    return QString::asprintf("%.3f 0 0 %.3f %.3f %.3f", r.width(), r.height(), r.left(), r.top())
        .toStdString();
}

// JPEG data of CMYK made from the picture: plain, or as Adobe writes it
// (inverted, YCCK, with its marker).
QByteArray cmykJpeg(const QImage &picture, int quality, bool adobe)
{
    QByteArray ink = cmykOf(picture);
    if (adobe)
        for (char &v : ink)
            v = char(255 - uchar(v));
    jpeg_compress_struct info{};
    jpeg_error_mgr errors{};
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    unsigned char *out = nullptr;
    unsigned long outSize = 0;
    jpeg_mem_dest(&info, &out, &outSize);
    info.image_width = JDIMENSION(picture.width());
    info.image_height = JDIMENSION(picture.height());
    info.input_components = 4;
    info.in_color_space = JCS_CMYK;
    jpeg_set_defaults(&info);
    jpeg_set_colorspace(&info, adobe ? JCS_YCCK : JCS_CMYK);
    info.write_Adobe_marker = adobe ? TRUE : FALSE;
    jpeg_set_quality(&info, quality, TRUE);
    jpeg_start_compress(&info, TRUE);
    while (info.next_scanline < info.image_height) {
        auto *row = reinterpret_cast<JSAMPROW>(ink.data() +
                                               qsizetype(info.next_scanline) * picture.width() * 4);
        jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    QByteArray result(reinterpret_cast<const char *>(out), qsizetype(outSize));
    std::free(out);
    return result;
}

// A JP2 file of a grey or RGB picture, with `alpha` (8-bit grey, the same
// size) as an extra alpha channel when given; about 20 times smaller than
// the samples.
QByteArray jp2(const QImage &picture, const QImage &alpha = {})
{
    const bool grey = picture.format() == QImage::Format_Grayscale8;
    const QImage colour = grey ? picture : picture.convertToFormat(QImage::Format_RGB888);
    const int channels = grey ? 1 : 3;
    const int total = channels + (alpha.isNull() ? 0 : 1);
    const auto w = OPJ_UINT32(picture.width()), h = OPJ_UINT32(picture.height());
    opj_image_cmptparm_t parameters[4]{};
    for (int c = 0; c < total; ++c) {
        parameters[c].dx = parameters[c].dy = 1;
        parameters[c].w = w, parameters[c].h = h;
        parameters[c].prec = 8;
    }
    opj_image_t *image =
        opj_image_create(OPJ_UINT32(total), parameters, grey ? OPJ_CLRSPC_GRAY : OPJ_CLRSPC_SRGB);
    image->x1 = w, image->y1 = h;
    const QImage mask = alpha.convertToFormat(QImage::Format_Grayscale8);
    for (OPJ_UINT32 y = 0; y < h; ++y)
        for (OPJ_UINT32 x = 0; x < w; ++x) {
            for (int c = 0; c < channels; ++c)
                image->comps[c].data[y * w + x] = colour.constScanLine(int(y))[x * channels + c];
            if (!alpha.isNull())
                image->comps[channels].data[y * w + x] = mask.constScanLine(int(y))[x];
        }
    if (!alpha.isNull())
        image->comps[channels].alpha = 1;
    opj_cparameters_t settings;
    opj_set_default_encoder_parameters(&settings);
    settings.tcp_numlayers = 1;
    settings.tcp_rates[0] = 20;
    settings.cp_disto_alloc = 1;
    settings.irreversible = 1;
    settings.tcp_mct = grey ? 0 : 1;
    opj_codec_t *codec = opj_create_compress(OPJ_CODEC_JP2);
    Sink sink;
    opj_stream_t *stream = opj_stream_create(1 << 16, OPJ_FALSE);
    opj_stream_set_user_data(stream, &sink, nullptr);
    opj_stream_set_write_function(stream, writeTo);
    opj_stream_set_skip_function(stream, skipIn);
    opj_stream_set_seek_function(stream, seekTo);
    const bool done = opj_setup_encoder(codec, &settings, image) &&
                      opj_start_compress(codec, image, stream) && opj_encode(codec, stream) &&
                      opj_end_compress(codec, stream);
    opj_stream_destroy(stream);
    opj_destroy_codec(codec);
    opj_image_destroy(image);
    return done ? sink.data : QByteArray();
}

} // namespace

QByteArray colourPDF(ColourKind kind, QSize pixels, QRectF placed)
{
    using K = ColourKind;
    QPDF q;
    q.emptyPDF();
    const QImage photo = naturalPhoto(pixels, 11);
    const QImage grey = photo.convertToFormat(QImage::Format_Grayscale8);
    H image;
    switch (kind) {
    case K::CmykJpeg:
    case K::AdobeCmykJpeg: {
        const bool adobe = kind == K::AdobeCmykJpeg;
        image = imageStream(q, cmykJpeg(photo, 92, adobe), pixels,
                            "/ColorSpace /DeviceCMYK /BitsPerComponent 8 /Filter /DCTDecode" +
                                std::string(adobe ? " /Decode [1 0 1 0 1 0 1 0]" : ""));
        break;
    }
    case K::CmykFlate:
        image =
            imageStream(q, cmykOf(photo), pixels, "/ColorSpace /DeviceCMYK /BitsPerComponent 8");
        break;
    case K::IndexedChart: {
        const auto [palette, indexes] = paletted(smoothChart(pixels));
        image = imageStream(q, indexes, pixels,
                            "/BitsPerComponent 8 /ColorSpace [/Indexed /DeviceRGB " +
                                std::to_string(palette.size() / 3 - 1) + " <" +
                                palette.toHex().toStdString() + ">]");
        break;
    }
    case K::IndexedCmyk: {
        const QByteArray ink = cmykOf(photo);
        QByteArray palette, indexes;
        for (int i = 0; i < 256; ++i)
            for (int shift : {6, 4, 2, 0})
                palette.append(char(((i >> shift) & 3) * 85));
        // Error diffusion, as picture programs reduce a photo to 256 colours.
        const int w = pixels.width();
        std::vector<int> ahead(size_t(w + 2) * 4 * 2, 0); // this row's and the next row's errors
        for (int y = 0; y < pixels.height(); ++y) {
            int *now = ahead.data() + size_t(y % 2) * size_t(w + 2) * 4;
            int *next = ahead.data() + size_t((y + 1) % 2) * size_t(w + 2) * 4;
            std::fill(next, next + size_t(w + 2) * 4, 0);
            for (int x = 0; x < w; ++x) {
                int index = 0;
                for (int c = 0; c < 4; ++c) {
                    const int wanted =
                        uchar(ink[(qsizetype(y) * w + x) * 4 + c]) + now[(x + 1) * 4 + c] / 16;
                    const int level = std::clamp((wanted + 42) / 85, 0, 3);
                    const int error = wanted - level * 85;
                    now[(x + 2) * 4 + c] += error * 7;
                    next[x * 4 + c] += error * 3;
                    next[(x + 1) * 4 + c] += error * 5;
                    next[(x + 2) * 4 + c] += error;
                    index = index * 4 + level;
                }
                indexes.append(char(index));
            }
        }
        image = imageStream(q, indexes, pixels,
                            "/BitsPerComponent 8 /ColorSpace [/Indexed /DeviceCMYK 255 <" +
                                palette.toHex().toStdString() + ">]");
        break;
    }
    case K::IndexedDecode: {
        QByteArray palette, packed;
        for (int i = 0; i < 16; ++i)
            palette.append(char(i * 17));
        for (int y = 0; y < pixels.height(); ++y)
            for (int x = 0; x < pixels.width(); x += 2) {
                const auto stored = [&](int at) {
                    return at < pixels.width() ? 15 - (grey.constScanLine(y)[at] + 8) / 17 : 0;
                };
                packed.append(char(stored(x) << 4 | stored(x + 1)));
            }
        image = imageStream(q, packed, pixels,
                            "/BitsPerComponent 4 /Decode [15 0] /ColorSpace [/Indexed /DeviceGray "
                            "15 <" +
                                palette.toHex().toStdString() + ">]");
        break;
    }
    case K::Jpx:
        image = imageStream(q, jp2(photo), pixels,
                            "/ColorSpace /DeviceRGB /BitsPerComponent 8 /Filter /JPXDecode");
        break;
    case K::JpxOwnColours: image = imageStream(q, jp2(photo), pixels, "/Filter /JPXDecode"); break;
    case K::JpxAlpha: {
        QImage fade(pixels, QImage::Format_Grayscale8);
        for (int y = 0; y < pixels.height(); ++y)
            for (int x = 0; x < pixels.width(); ++x)
                fade.scanLine(y)[x] = uchar(x * 255 / std::max(1, pixels.width() - 1));
        image = imageStream(q, jp2(photo, fade), pixels,
                            "/ColorSpace /DeviceRGB /SMaskInData 1 /Filter /JPXDecode");
        break;
    }
    case K::Rgb16: {
        QByteArray wide;
        for (const char v : packed(photo.convertToFormat(QImage::Format_RGB888), 3))
            wide.append(v).append(v);
        image = imageStream(q, wide, pixels, "/ColorSpace /DeviceRGB /BitsPerComponent 16");
        break;
    }
    case K::InvertedGray: {
        QByteArray samples = packed(grey, 1);
        for (char &v : samples)
            v = char(255 - uchar(v));
        image = imageStream(q, samples, pixels,
                            "/ColorSpace /DeviceGray /BitsPerComponent 8 /Decode [1 0]");
        break;
    }
    case K::BrokenJpx:
        image = imageStream(q, QByteArray("not JPEG 2000 at all ").repeated(400), pixels,
                            "/ColorSpace /DeviceRGB /BitsPerComponent 8 /Filter /JPXDecode");
        break;
    }
    auto xobjects = H::newDictionary();
    xobjects.replaceKey("/Im0", image);
    std::string content =
        "0.2 0.3 0.6 rg " +
        QString::asprintf("%.3f %.3f %.3f %.3f", placed.left() - 20, placed.top() - 20,
                          placed.width() + 40, placed.height() + 40)
            .toStdString() +
        " re f q " + rect(placed) + " cm /Im0 Do Q\n";
    if (kind == K::BrokenJpx) { // a photo beside it, so that the file still shrinks
        xobjects.replaceKey("/Im1", imageStream(q, encode(photo, "JPEG", 95), pixels,
                                                "/ColorSpace /DeviceRGB /BitsPerComponent 8 "
                                                "/Filter /DCTDecode"));
        content += "q " + rect(QRectF(placed.left(), 40, 120, 90)) + " cm /Im1 Do Q\n";
    }
    auto font = q.makeIndirectObject(H::parse("<< /Type /Font /Subtype /Type1 /BaseFont "
                                              "/Helvetica /Encoding /WinAnsiEncoding >>"));
    auto fonts = H::newDictionary();
    fonts.replaceKey("/F1", font);
    auto resources = H::newDictionary();
    resources.replaceKey("/XObject", xobjects);
    resources.replaceKey("/Font", fonts);
    auto page = H::parse("<< /Type /Page /MediaBox [0 0 612 792] >>");
    page.replaceKey("/Resources", resources);
    page.replaceKey("/Contents",
                    H::newStream(&q, content + "0 g BT /F1 24 Tf 72 740 Td (Brochure) Tj ET\n"));
    QPDFPageDocumentHelper(q).addPage(QPDFPageObjectHelper(q.makeIndirectObject(page)), false);
    return bytesOf(q);
}

QImage fadedLook(QSize pixels, QSize shown)
{
    QImage look = naturalPhoto(pixels, 11).convertToFormat(QImage::Format_RGB888);
    const double band[3] = {0.2 * 255, 0.3 * 255, 0.6 * 255};
    for (int y = 0; y < pixels.height(); ++y) {
        uchar *p = look.scanLine(y);
        for (int x = 0; x < pixels.width(); ++x) {
            const double a = double(x) / std::max(1, pixels.width() - 1);
            for (int c = 0; c < 3; ++c, ++p)
                *p = uchar(std::lround(*p * a + band[c] * (1 - a)));
        }
    }
    return look.scaled(shown, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

} // namespace Fixtures
