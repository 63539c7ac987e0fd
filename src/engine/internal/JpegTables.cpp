#include "engine/internal/JpegTables.h"

#include "engine/internal/LibjpegErrors.h"

#include <cstdlib>
#include <cstring>

namespace {

// The coefficients are held whole, two bytes each: beyond this many samples
// (half a gigabyte of them) a picture is left as it is. A frame header of a
// few bytes can claim 65535 × 65535 pixels.
constexpr qint64 kMostSamples = 256LL * 1024 * 1024;

bool startsWith(const jpeg_saved_marker_ptr marker, const char *tag, unsigned length)
{
    return marker->data_length >= length && std::memcmp(marker->data, tag, length) == 0;
}

// Plain C state only between setjmp and longjmp: no destructors to skip.
bool transcode(const unsigned char *data, unsigned long size, unsigned char **out,
               unsigned long *outSize)
{
    jpeg_decompress_struct source{};
    jpeg_compress_struct target{};
    libjpeg::Failure failure{};
    source.err = libjpeg::errors(failure);
    target.err = &failure.manager;
    volatile bool targetMade = false;

    if (setjmp(failure.jump)) {
        if (targetMade)
            jpeg_destroy_compress(&target);
        jpeg_destroy_decompress(&source);
        return false;
    }
    jpeg_create_decompress(&source);
    jpeg_mem_src(&source, data, size);
    jpeg_save_markers(&source, JPEG_COM, 0xFFFF);
    for (int i = 0; i < 16; ++i)
        jpeg_save_markers(&source, JPEG_APP0 + i, 0xFFFF);
    jpeg_read_header(&source, TRUE);
    if (qint64(source.image_width) * source.image_height * source.num_components > kMostSamples) {
        jpeg_destroy_decompress(&source);
        return false;
    }
    jvirt_barray_ptr *coefficients = jpeg_read_coefficients(&source);
    // A damaged picture (cut short, say) that libjpeg patched up is left
    // exactly as it was: other readers may patch it differently.
    if (failure.manager.num_warnings > 0) {
        jpeg_destroy_decompress(&source);
        return false;
    }

    jpeg_create_compress(&target);
    targetMade = true;
    jpeg_mem_dest(&target, out, outSize);
    jpeg_copy_critical_parameters(&source, &target);
    target.optimize_coding = TRUE;
    jpeg_simple_progression(&target);
    jpeg_write_coefficients(&target, coefficients);
    for (auto marker = source.marker_list; marker; marker = marker->next) {
        // These two libjpeg writes again itself, from the same settings.
        if (target.write_JFIF_header && marker->marker == JPEG_APP0 &&
            startsWith(marker, "JFIF", 5))
            continue;
        if (target.write_Adobe_marker && marker->marker == JPEG_APP0 + 14 &&
            startsWith(marker, "Adobe", 5))
            continue;
        jpeg_write_marker(&target, marker->marker, marker->data, marker->data_length);
    }
    jpeg_finish_compress(&target);
    jpeg_destroy_compress(&target);
    jpeg_finish_decompress(&source);
    jpeg_destroy_decompress(&source);
    return true;
}

} // namespace

std::optional<QByteArray> tighterJpeg(const QByteArray &jpeg)
{
    if (jpeg.size() < 4 || uchar(jpeg[0]) != 0xFF || uchar(jpeg[1]) != 0xD8)
        return std::nullopt;
    unsigned char *out = nullptr;
    unsigned long outSize = 0;
    const bool done = transcode(reinterpret_cast<const unsigned char *>(jpeg.constData()),
                                static_cast<unsigned long>(jpeg.size()), &out, &outSize);
    std::optional<QByteArray> result;
    if (done && out && outSize > 0 && outSize < static_cast<unsigned long>(jpeg.size()))
        result = QByteArray(reinterpret_cast<const char *>(out), qsizetype(outSize));
    std::free(out);
    return result;
}
