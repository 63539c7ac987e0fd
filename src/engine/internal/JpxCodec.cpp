#include "engine/internal/JpxCodec.h"

#include <openjpeg.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

namespace {

struct Source {
    const unsigned char *data = nullptr;
    OPJ_SIZE_T size = 0;
    OPJ_SIZE_T position = 0;
};

OPJ_SIZE_T readFrom(void *buffer, OPJ_SIZE_T count, void *user)
{
    auto *source = static_cast<Source *>(user);
    if (source->position >= source->size)
        return OPJ_SIZE_T(-1);
    count = std::min(count, source->size - source->position);
    std::memcpy(buffer, source->data + source->position, count);
    source->position += count;
    return count;
}

OPJ_OFF_T skipIn(OPJ_OFF_T count, void *user)
{
    auto *source = static_cast<Source *>(user);
    if (count < 0)
        return -1;
    source->position += std::min(OPJ_SIZE_T(count), source->size - source->position);
    return count;
}

OPJ_BOOL seekIn(OPJ_OFF_T to, void *user)
{
    auto *source = static_cast<Source *>(user);
    if (to < 0 || OPJ_SIZE_T(to) > source->size)
        return OPJ_FALSE;
    source->position = OPJ_SIZE_T(to);
    return OPJ_TRUE;
}

void quiet(const char *, void *) {}

struct CodecFree {
    void operator()(opj_codec_t *codec) const { opj_destroy_codec(codec); }
};
struct StreamFree {
    void operator()(opj_stream_t *stream) const { opj_stream_destroy(stream); }
};
struct ImageFree {
    void operator()(opj_image_t *image) const { opj_image_destroy(image); }
};

std::optional<OPJ_CODEC_FORMAT> formatOf(const QByteArray &data)
{
    static const char jp2[] = "\x00\x00\x00\x0C\x6A\x50\x20\x20\x0D\x0A\x87\x0A";
    if (data.size() >= 12 && std::memcmp(data.constData(), jp2, 12) == 0)
        return OPJ_CODEC_JP2;
    if (data.size() >= 4 && uchar(data[0]) == 0xFF && uchar(data[1]) == 0x4F &&
        uchar(data[2]) == 0xFF && uchar(data[3]) == 0x51)
        return OPJ_CODEC_J2K;
    return std::nullopt;
}

// One component's samples as 8-bit values, spread over `size` pixels (a
// component may be subsampled).
bool fill(const opj_image_comp_t &comp, QSize size, Samples &out, int channel)
{
    if (!comp.data || comp.w < 1 || comp.h < 1 || comp.prec < 1 || comp.prec > 16)
        return false;
    const int prec = int(comp.prec);
    const int offset = comp.sgnd ? 1 << (prec - 1) : 0;
    const int top = (1 << prec) - 1;
    std::vector<int> column(size_t(size.width()));
    for (int x = 0; x < size.width(); ++x)
        column[size_t(x)] = int(qint64(x) * comp.w / size.width());
    for (int y = 0; y < size.height(); ++y) {
        const OPJ_INT32 *in = comp.data + qint64(y) * comp.h / size.height() * comp.w;
        uchar *row = out.row(y) + channel;
        for (int x = 0; x < size.width(); ++x) {
            const int v = std::clamp(in[column[size_t(x)]] + offset, 0, top);
            row[x * out.channels] = uchar(prec >= 8 ? v >> (prec - 8) : v * 255 / top);
        }
    }
    return true;
}

} // namespace

namespace JpxCodec {

std::optional<Picture> decode(const QByteArray &data, QSize size, QSize atLeast, int colourChannels,
                              qint64 maxSamples)
{
    const auto format = formatOf(data);
    if (!format || size.isEmpty())
        return std::nullopt;
    Source source{reinterpret_cast<const unsigned char *>(data.constData()),
                  OPJ_SIZE_T(data.size()), 0};
    std::unique_ptr<opj_codec_t, CodecFree> codec(opj_create_decompress(*format));
    std::unique_ptr<opj_stream_t, StreamFree> stream(opj_stream_default_create(OPJ_TRUE));
    if (!codec || !stream)
        return std::nullopt;
    opj_set_info_handler(codec.get(), quiet, nullptr);
    opj_set_warning_handler(codec.get(), quiet, nullptr);
    opj_set_error_handler(codec.get(), quiet, nullptr);
    opj_dparameters_t parameters;
    opj_set_default_decoder_parameters(&parameters);
    if (!opj_setup_decoder(codec.get(), &parameters))
        return std::nullopt;
    opj_stream_set_user_data(stream.get(), &source, nullptr);
    opj_stream_set_user_data_length(stream.get(), source.size);
    opj_stream_set_read_function(stream.get(), readFrom);
    opj_stream_set_skip_function(stream.get(), skipIn);
    opj_stream_set_seek_function(stream.get(), seekIn);

    opj_image_t *header = nullptr;
    if (!opj_read_header(stream.get(), codec.get(), &header))
        return std::nullopt;
    std::unique_ptr<opj_image_t, ImageFree> image(header);
    if (int(image->x1 - image->x0) != size.width() || int(image->y1 - image->y0) != size.height() ||
        image->numcomps < 1 || image->numcomps > 8 ||
        qint64(size.width()) * size.height() * image->numcomps > maxSamples)
        return std::nullopt;
    if (image->color_space == OPJ_CLRSPC_SYCC || image->color_space == OPJ_CLRSPC_EYCC ||
        (image->icc_profile_buf && image->icc_profile_len == 0)) // CIELab
        return std::nullopt;

    // Decoding at a lower resolution is what makes big scans quick.
    int reduce = 0;
    while (reduce < 5 && (size.width() >> (reduce + 1)) >= std::max(atLeast.width(), 1) &&
           (size.height() >> (reduce + 1)) >= std::max(atLeast.height(), 1))
        ++reduce;
    while (reduce > 0 && !opj_set_decoded_resolution_factor(codec.get(), OPJ_UINT32(reduce)))
        --reduce;
    if (!opj_decode(codec.get(), stream.get(), image.get()) ||
        !opj_end_decompress(codec.get(), stream.get()))
        return std::nullopt;

    std::vector<int> colour, alpha;
    for (OPJ_UINT32 i = 0; i < image->numcomps; ++i)
        (image->comps[i].alpha ? alpha : colour).push_back(int(i));
    if (colourChannels > 0 && int(colour.size()) == colourChannels + 1 && alpha.empty()) {
        alpha.push_back(colour.back());
        colour.pop_back();
    }
    if (colourChannels > 0 && int(colour.size()) > colourChannels)
        colour.resize(size_t(colourChannels));
    const int channels = int(colour.size());
    if (channels != 1 && channels != 3 && channels != 4)
        return std::nullopt;
    if (colourChannels > 0 && channels != colourChannels)
        return std::nullopt;

    // The decoded size: that of a component that isn't subsampled.
    QSize decoded;
    for (int i : colour)
        if (image->comps[i].dx == 1 && image->comps[i].dy == 1)
            decoded = QSize(int(image->comps[i].w), int(image->comps[i].h));
    if (decoded.isEmpty())
        return std::nullopt;

    Picture picture;
    picture.colour = Samples(decoded, channels);
    for (int c = 0; c < channels; ++c)
        if (!fill(image->comps[colour[size_t(c)]], decoded, picture.colour, c))
            return std::nullopt;
    if (!alpha.empty()) {
        picture.alpha = Samples(decoded, 1);
        if (!fill(image->comps[alpha.front()], decoded, picture.alpha, 0))
            picture.alpha = Samples();
    }
    picture.space = channels == 1   ? Picture::Space::Gray
                    : channels == 4 ? Picture::Space::Cmyk
                                    : Picture::Space::Rgb;
    if (image->icc_profile_buf && image->icc_profile_len > 0)
        picture.iccProfile = QByteArray(reinterpret_cast<const char *>(image->icc_profile_buf),
                                        qsizetype(image->icc_profile_len));
    return picture;
}

} // namespace JpxCodec
