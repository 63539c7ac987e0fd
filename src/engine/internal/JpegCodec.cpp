#include "engine/internal/JpegCodec.h"

#include "engine/internal/LibjpegErrors.h"

#include <QColorSpace>
#include <QSysInfo>

#include <cstdlib>

namespace {

J_COLOR_SPACE colourSpaceOf(int channels)
{
    switch (channels) {
    case 1: return JCS_GRAYSCALE;
    case 3: return JCS_RGB;
    case 4: return JCS_CMYK;
    default: return JCS_UNKNOWN;
    }
}

// Plain C state only between setjmp and longjmp: no destructors to skip.
// `out` lives in the caller's frame.
bool decodeInto(const unsigned char *data, unsigned long length, QSize size, int components,
                int shrink, Samples *out)
{
    jpeg_decompress_struct info{};
    libjpeg::Failure failure{};
    info.err = libjpeg::errors(failure);
    if (setjmp(failure.jump)) {
        jpeg_destroy_decompress(&info);
        return false;
    }
    jpeg_create_decompress(&info);
    jpeg_mem_src(&info, data, length);
    jpeg_read_header(&info, TRUE);
    // A frame that disagrees with the PDF's description would be shown
    // differently by a reader than we would decode it.
    if (int(info.image_width) != size.width() || int(info.image_height) != size.height() ||
        info.num_components != components || colourSpaceOf(components) == JCS_UNKNOWN) {
        jpeg_destroy_decompress(&info);
        return false;
    }
    info.out_color_space = colourSpaceOf(components);
    info.scale_num = 1;
    info.scale_denom = unsigned(shrink);
    info.dct_method = JDCT_ISLOW;
    jpeg_start_decompress(&info);
    if (info.output_components != components) {
        jpeg_destroy_decompress(&info);
        return false;
    }
    *out = Samples(QSize(int(info.output_width), int(info.output_height)), components);
    while (info.output_scanline < info.output_height) {
        JSAMPROW row = out->row(int(info.output_scanline));
        jpeg_read_scanlines(&info, &row, 1);
    }
    jpeg_finish_decompress(&info);
    jpeg_destroy_decompress(&info);
    return failure.warnings == 0;
}

// What the encoder reads: rows of `stride` bytes from `first`, and how.
struct Input {
    const uchar *first = nullptr;
    qsizetype stride = 0;
    QSize size;
    int components = 0;
    J_COLOR_SPACE space = JCS_UNKNOWN;
    int quality = 0;
    bool optimize = false;
    unsigned dpi = 0;                // 0: no resolution recorded
    const QByteArray *icc = nullptr; // written when not empty
};

// Plain C state only between setjmp and longjmp, as in decodeInto.
bool encodeInto(const Input &in, unsigned char **out, unsigned long *outSize)
{
    jpeg_compress_struct info{};
    libjpeg::Failure failure{};
    info.err = libjpeg::errors(failure);
    if (setjmp(failure.jump)) {
        jpeg_destroy_compress(&info);
        return false;
    }
    jpeg_create_compress(&info);
    jpeg_mem_dest(&info, out, outSize);
    info.image_width = JDIMENSION(in.size.width());
    info.image_height = JDIMENSION(in.size.height());
    info.input_components = in.components;
    info.in_color_space = in.space;
    jpeg_set_defaults(&info);
    // YCCK keeps black sharp and halves the colour: smaller than plain CMYK
    // for the same look. libjpeg adds the Adobe marker that says so.
    if (in.space == JCS_CMYK)
        jpeg_set_colorspace(&info, JCS_YCCK);
    jpeg_set_quality(&info, in.quality, TRUE);
    info.optimize_coding = in.optimize ? TRUE : FALSE;
    info.dct_method = JDCT_ISLOW;
    if (in.dpi > 0) {
        info.density_unit = 1; // dots per inch
        info.X_density = UINT16(in.dpi);
        info.Y_density = UINT16(in.dpi);
    }
    jpeg_start_compress(&info, TRUE);
    if (in.icc && !in.icc->isEmpty())
        jpeg_write_icc_profile(&info, reinterpret_cast<const JOCTET *>(in.icc->constData()),
                               unsigned(in.icc->size()));
    while (info.next_scanline < info.image_height) {
        JSAMPROW row = const_cast<JSAMPROW>(in.first + in.stride * qsizetype(info.next_scanline));
        jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    return true;
}

QByteArray encoded(const Input &in)
{
    unsigned char *out = nullptr;
    unsigned long outSize = 0;
    const bool done = encodeInto(in, &out, &outSize);
    QByteArray result;
    if (done && out && outSize > 0)
        result = QByteArray(reinterpret_cast<const char *>(out), qsizetype(outSize));
    std::free(out);
    return result;
}

} // namespace

namespace JpegCodec {

Samples decode(const QByteArray &jpeg, QSize size, int components, int shrink)
{
    Samples out;
    if (jpeg.size() < 4 || size.isEmpty() ||
        (shrink != 1 && shrink != 2 && shrink != 4 && shrink != 8))
        return out;
    if (!decodeInto(reinterpret_cast<const unsigned char *>(jpeg.constData()),
                    static_cast<unsigned long>(jpeg.size()), size, components, shrink, &out))
        return Samples();
    return out;
}

QByteArray encode(const Samples &samples, int quality)
{
    if (samples.isNull() || colourSpaceOf(samples.channels) == JCS_UNKNOWN || quality < 1 ||
        quality > 100)
        return {};
    Input in;
    in.first = samples.row(0);
    in.stride = samples.rowBytes();
    in.size = samples.size;
    in.components = samples.channels;
    in.space = colourSpaceOf(samples.channels);
    in.quality = quality;
    in.optimize = true;
    return encoded(in);
}

QByteArray encodePicture(const QImage &image, int quality, int dpi)
{
    if (image.isNull() || image.format() != QImage::Format_RGB32 || quality < 0 || quality > 100 ||
        dpi < 1 || dpi > 65535)
        return {};
    const QByteArray icc =
        image.colorSpace().isValid() ? image.colorSpace().iccProfile() : QByteArray();
    Input in;
    in.first = image.constBits();
    in.stride = image.bytesPerLine();
    in.size = image.size();
    // RGB32 is one 0xffRRGGBB word a pixel, so its bytes lie in memory in
    // the machine's order; libjpeg takes either straight, without a copy.
    in.components = 4;
    in.space = QSysInfo::ByteOrder == QSysInfo::LittleEndian ? JCS_EXT_BGRX : JCS_EXT_XRGB;
    in.quality = quality;
    in.dpi = unsigned(dpi);
    in.icc = &icc;
    return encoded(in);
}

} // namespace JpegCodec
