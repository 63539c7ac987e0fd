#include "engine/internal/ImageRecompressor.h"

#include "engine/internal/JpegCodec.h"
#include "engine/internal/JpxCodec.h"
#include "engine/internal/Samples.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <vector>

namespace ImageRecompressor {

namespace {

// A picture drawn at least this much smaller is resampled; less than that
// isn't worth the loss of a resampling pass.
constexpr double kResampleBelow = 0.95;
// Without resampling, re-encoding must save at least a tenth, or the
// picture would only lose quality for little gain.
constexpr double kReencodeGain = 0.9;
// Lossless wins when it is at most this much bigger than the JPEG.
constexpr double kLosslessAllowance = 1.1;
// A palette picture is graphics when fewer neighbours than this differ.
constexpr double kFlatBelow = 0.1;
// Decoded pictures bigger than this (samples) are left alone.
constexpr qint64 kMaxSamples = 512LL * 1024 * 1024;

// zlib data as FlateDecode wants it (qCompress puts a length in front). The
// writer compresses it again at the best level; this is for comparing sizes.
QByteArray deflated(const QByteArray &raw)
{
    const QByteArray packed = qCompress(raw, 6);
    return packed.size() > 4 ? packed.mid(4) : QByteArray();
}

// What each stored value of each component means, as an 8-bit sample
// (or, with a palette, as an index up to `lastIndex`): the /Decode array
// applied. `decode` is empty for the default.
std::vector<uchar> decodeTable(const QList<double> &decode, int components, int bits, int lastIndex)
{
    const int top = (1 << bits) - 1;
    std::vector<uchar> table(size_t(components) * size_t(top + 1));
    for (int c = 0; c < components; ++c) {
        const bool given = decode.size() >= 2 * (c + 1);
        const double lo = given ? decode[2 * c] : 0.0;
        const double hi = given ? decode[2 * c + 1] : (lastIndex >= 0 ? top : 1.0);
        for (int v = 0; v <= top; ++v) {
            const double value = lo + v * (hi - lo) / top;
            table[size_t(c) * size_t(top + 1) + size_t(v)] =
                lastIndex >= 0 ? uchar(std::clamp(int(std::lround(value)), 0, lastIndex))
                               : uchar(std::clamp(int(std::lround(value * 255)), 0, 255));
        }
    }
    return table;
}

void applyDecode(Samples &samples, const QList<double> &decode)
{
    if (decode.isEmpty())
        return;
    const int n = samples.channels;
    const auto table = decodeTable(decode, n, 8, -1);
    for (int y = 0; y < samples.size.height(); ++y) {
        uchar *p = samples.row(y);
        for (int x = 0; x < samples.size.width(); ++x)
            for (int c = 0; c < n; ++c, ++p)
                *p = table[size_t(c) * 256 + *p];
    }
}

// Samples of any depth as 8-bit values, the /Decode array applied and a
// palette's colours looked up. With a palette, `indexes` gets the indexes.
Samples unpack(const Input &in, Samples *indexes)
{
    const int n = in.components, bits = in.bitsPerComponent;
    const bool indexed = !in.palette.isEmpty();
    if ((n != 1 && n != 3 && n != 4) || (indexed && n != 1))
        return {};
    if (bits != 2 && bits != 4 && bits != 8 && bits != 16 && !(indexed && bits == 1))
        return {};
    const int w = in.size.width(), h = in.size.height();
    const qsizetype rowBytes = (qsizetype(w) * n * bits + 7) / 8;
    if (in.data.size() < rowBytes * h)
        return {};
    const int channels = indexed ? in.paletteComponents : n;
    const int lastIndex = indexed ? int(in.palette.size() / channels) - 1 : -1;
    if (indexed && lastIndex < 0)
        return {};
    Samples out(in.size, channels);
    const auto *data = reinterpret_cast<const uchar *>(in.data.constData());
    if (!indexed && bits == 8 && in.decode.isEmpty()) {
        for (int y = 0; y < h; ++y)
            std::memcpy(out.row(y), data + rowBytes * y, size_t(rowBytes));
        return out;
    }
    const int top = (1 << bits) - 1;
    const auto table = decodeTable(in.decode, n, bits, lastIndex);
    const auto *palette = reinterpret_cast<const uchar *>(in.palette.constData());
    if (indexed)
        *indexes = Samples(in.size, 1);
    for (int y = 0; y < h; ++y) {
        const uchar *src = data + rowBytes * y;
        uchar *dst = out.row(y);
        for (int x = 0, i = 0; x < w; ++x) {
            for (int c = 0; c < n; ++c, ++i) {
                int raw;
                if (bits == 8)
                    raw = src[i];
                else if (bits == 16)
                    raw = (src[2 * i] << 8) | src[2 * i + 1];
                else
                    raw = (src[(i * bits) >> 3] >> (8 - bits - ((i * bits) & 7))) & top;
                const uchar value = table[size_t(c) * size_t(top + 1) + size_t(raw)];
                if (!indexed) {
                    dst[i] = value;
                    continue;
                }
                indexes->row(y)[x] = value;
                const uchar *colour = palette + value * channels;
                for (int k = 0; k < channels; ++k)
                    dst[x * channels + k] = colour[k];
            }
        }
    }
    return out;
}

// One output sample's share of the input: where it starts and the weight
// of each input sample from there on, in fixed point (1 << kShift is one).
constexpr int kShift = 14;
struct Taps {
    int first = 0;
    std::vector<int> weights;
};

double kernel(double x)
{
    // Lanczos, three lobes: sharp without the blur of box averaging.
    x = std::abs(x);
    if (x < 1e-9)
        return 1.0;
    if (x >= 3.0)
        return 0.0;
    const double px = M_PI * x;
    return 3.0 * std::sin(px) * std::sin(px / 3.0) / (px * px);
}

std::vector<Taps> tapsFor(int from, int to)
{
    std::vector<Taps> taps{size_t(to)};
    const double scale = double(to) / from;
    const double stretch = std::min(scale, 1.0); // widen the kernel when shrinking
    const double support = 3.0 / stretch;
    std::vector<double> w;
    for (int i = 0; i < to; ++i) {
        const double center = (i + 0.5) / scale - 0.5;
        const int left = int(std::ceil(center - support));
        const int right = int(std::floor(center + support));
        const int first = std::max(left, 0), last = std::min(right, from - 1);
        w.assign(size_t(std::max(last - first + 1, 1)), 0.0);
        double sum = 0;
        for (int x = left; x <= right; ++x) {
            const double k = kernel((x - center) * stretch);
            w[size_t(std::clamp(x, first, last) - first)] += k; // edges repeat
            sum += k;
        }
        Taps &t = taps[size_t(i)];
        t.first = first;
        t.weights.resize(w.size());
        int total = 0;
        size_t biggest = 0;
        for (size_t k = 0; k < w.size(); ++k) {
            t.weights[k] = int(std::lround(w[k] / (sum != 0 ? sum : 1) * (1 << kShift)));
            total += t.weights[k];
            if (t.weights[k] > t.weights[biggest])
                biggest = k;
        }
        t.weights[biggest] += (1 << kShift) - total; // a flat area stays exactly flat
    }
    return taps;
}

unsigned char clampByte(int fixed)
{
    return static_cast<unsigned char>(std::clamp((fixed + (1 << (kShift - 1))) >> kShift, 0, 255));
}

template <int C>
void shrinkRows(const Samples &source, Samples &wide, const std::vector<Taps> &across)
{
    for (int y = 0; y < source.size.height(); ++y) {
        const uchar *in = source.row(y);
        uchar *out = wide.row(y);
        for (int x = 0; x < wide.size.width(); ++x) {
            const Taps &t = across[size_t(x)];
            const uchar *p = in + size_t(t.first) * C;
            int sum[C] = {};
            for (size_t k = 0; k < t.weights.size(); ++k, p += C)
                for (int c = 0; c < C; ++c)
                    sum[c] += t.weights[k] * p[c];
            for (int c = 0; c < C; ++c)
                out[x * C + c] = clampByte(sum[c]);
        }
    }
}

// Half the size, each sample the mean of four (the last row or column
// repeated when the size is odd).
Samples halved(const Samples &source)
{
    const int n = source.channels;
    const QSize from = source.size;
    Samples out(QSize((from.width() + 1) / 2, (from.height() + 1) / 2), n);
    for (int y = 0; y < out.size.height(); ++y) {
        const uchar *top = source.row(2 * y);
        const uchar *bottom = source.row(std::min(2 * y + 1, from.height() - 1));
        uchar *dst = out.row(y);
        for (int x = 0; x < out.size.width(); ++x) {
            const int left = 2 * x * n, right = std::min(2 * x + 1, from.width() - 1) * n;
            for (int c = 0; c < n; ++c)
                *dst++ = uchar(
                    (top[left + c] + top[right + c] + bottom[left + c] + bottom[right + c] + 2) >>
                    2);
        }
    }
    return out;
}

// Shrinks 8-bit samples: halved while that stays at least the target
// (cheap, as JPEGs are while decoding), then a windowed-sinc filter, first
// along rows, then along columns.
Samples shrink(Samples source, QSize to)
{
    while (source.size.width() >= 2 * to.width() && source.size.height() >= 2 * to.height())
        source = halved(source);
    const int channels = source.channels;
    const auto across = tapsFor(source.size.width(), to.width());
    const auto down = tapsFor(source.size.height(), to.height());
    Samples wide(QSize(to.width(), source.size.height()), channels);
    switch (channels) {
    case 1: shrinkRows<1>(source, wide, across); break;
    case 3: shrinkRows<3>(source, wide, across); break;
    case 4: shrinkRows<4>(source, wide, across); break;
    default: return {};
    }
    Samples result(to, channels);
    std::vector<int> row(size_t(wide.rowBytes()));
    for (int y = 0; y < to.height(); ++y) {
        const Taps &t = down[size_t(y)];
        std::fill(row.begin(), row.end(), 0);
        for (size_t k = 0; k < t.weights.size(); ++k) {
            const uchar *in = wide.row(t.first + int(k));
            const int w = t.weights[k];
            for (size_t i = 0; i < row.size(); ++i)
                row[i] += w * in[i];
        }
        uchar *out = result.row(y);
        for (size_t i = 0; i < row.size(); ++i)
            out[i] = clampByte(row[i]);
    }
    return result;
}

// A palette picture brought to the size of `smooth` (its colours
// resampled): each pixel takes, of the indexes it covers, the one whose
// colour is nearest to the smooth colour there. Edges stay crisp and every
// colour stays one of the palette's.
Samples requantised(const Samples &indexes, const Samples &smooth, const QByteArray &palette)
{
    const int pc = smooth.channels;
    const auto *colours = reinterpret_cast<const uchar *>(palette.constData());
    const QSize from = indexes.size, to = smooth.size;
    const auto span = [](int i, int source, int target) {
        const double scale = double(source) / target;
        int first = int(i * scale), last = std::max(first + 1, int(std::ceil((i + 1) * scale)));
        if (last - first > 4) // far smaller: the middle of what it covers
            first = std::clamp(int((i + 0.5) * scale) - 2, 0, source - 4), last = first + 4;
        return std::pair(first, std::min(last, source));
    };
    Samples out(to, 1);
    for (int y = 0; y < to.height(); ++y) {
        const auto [top, bottom] = span(y, from.height(), to.height());
        const uchar *want = smooth.row(y);
        for (int x = 0; x < to.width(); ++x, want += pc) {
            const auto [left, right] = span(x, from.width(), to.width());
            int best = INT_MAX, chosen = indexes.row(top)[left];
            for (int sy = top; sy < bottom; ++sy)
                for (int sx = left; sx < right; ++sx) {
                    const int index = indexes.row(sy)[sx];
                    int distance = 0;
                    for (int c = 0; c < pc; ++c) {
                        const int d = colours[index * pc + c] - want[c];
                        distance += d * d;
                    }
                    if (distance < best)
                        best = distance, chosen = index;
                }
            out.row(y)[x] = uchar(chosen);
        }
    }
    return out;
}

// Whether a palette picture is flat areas (a chart, a logo, a screenshot)
// rather than a photo: picking one palette colour per pixel of a smaller
// picture keeps the first as they were, but loses the blend of a photo's
// neighbouring colours that a reader shows.
bool mostlyFlat(const Samples &indexes)
{
    qint64 changes = 0;
    for (int y = 0; y < indexes.size.height(); ++y) {
        const uchar *row = indexes.row(y);
        for (int x = 1; x < indexes.size.width(); ++x)
            changes += row[x] != row[x - 1];
    }
    return double(changes) < kFlatBelow * double(indexes.data.size());
}

// JPEG data for the samples. CMYK goes in inverted, as Adobe's marker says
// it is (the picture then gets the inverting /Decode array).
QByteArray jpegOf(Samples samples, int quality)
{
    if (samples.channels == 4) {
        auto *p = reinterpret_cast<uchar *>(samples.data.data());
        for (qsizetype i = 0; i < samples.data.size(); ++i)
            p[i] = uchar(255 - p[i]);
    }
    return JpegCodec::encode(samples, quality);
}

int shrinkWhileDecoding(QSize size, QSize target)
{
    for (int k : {8, 4, 2})
        if ((size.width() + k - 1) / k >= target.width() &&
            (size.height() + k - 1) / k >= target.height())
            return k;
    return 1;
}

} // namespace

QSize targetSize(QSize size, double scale, int maxPixel)
{
    if (size.isEmpty())
        return size;
    double s = std::min(1.0, scale > 0 && std::isfinite(scale) ? scale : 1.0);
    const int longer = std::max(size.width(), size.height());
    if (maxPixel > 0 && longer * s > maxPixel)
        s = double(maxPixel) / longer;
    return QSize(std::clamp(int(std::lround(size.width() * s)), 1, size.width()),
                 std::clamp(int(std::lround(size.height() * s)), 1, size.height()));
}

Output recompress(const Input &in)
{
    Output out;
    if (in.size.isEmpty() || in.target.isEmpty() || in.quality < 1 || in.quality > 100)
        return out;
    const QSize target(std::min(in.target.width(), in.size.width()),
                       std::min(in.target.height(), in.size.height()));
    const bool resample = target.width() < in.size.width() * kResampleBelow ||
                          target.height() < in.size.height() * kResampleBelow;
    const QSize finalSize = resample ? target : in.size;

    Samples image, indexes, alpha;
    out.space = Output::Space::Same;
    switch (in.kind) {
    case Input::Kind::Jpeg:
        image = JpegCodec::decode(in.data, in.size, in.components,
                                  resample ? shrinkWhileDecoding(in.size, target) : 1);
        applyDecode(image, in.decode);
        break;
    case Input::Kind::Jpx: {
        const auto picture =
            JpxCodec::decode(in.data, in.size, finalSize, in.components, kMaxSamples);
        if (!picture)
            return out;
        image = picture->colour;
        if (in.alphaAsMask)
            alpha = picture->alpha;
        if (in.components == 0) {
            using Space = JpxCodec::Picture::Space;
            out.space = !picture->iccProfile.isEmpty()  ? Output::Space::Icc
                        : picture->space == Space::Gray ? Output::Space::Gray
                        : picture->space == Space::Cmyk ? Output::Space::Cmyk
                                                        : Output::Space::Rgb;
            out.iccProfile = picture->iccProfile;
        }
        break;
    }
    case Input::Kind::Samples:
        image = unpack(in, &indexes);
        if (!in.palette.isEmpty())
            out.space = Output::Space::PaletteBase;
        break;
    }
    if (image.isNull())
        return out;
    if (image.size != finalSize)
        image = shrink(std::move(image), finalSize);
    if (image.size != finalSize)
        return out;
    if (!alpha.isNull() && alpha.size != finalSize)
        alpha = shrink(std::move(alpha), finalSize);

    QByteArray encoded = jpegOf(image, in.quality);
    if (encoded.isEmpty())
        return out;
    bool jpeg = true;
    if (in.mayStayLossless) {
        QByteArray lossless = deflated(image.data);
        if (!indexes.isNull() && (indexes.size == finalSize || mostlyFlat(indexes))) {
            // Graphics in a palette stay a palette picture: far smaller
            // than their colours, and crisp.
            const Samples kept =
                indexes.size == finalSize ? indexes : requantised(indexes, image, in.palette);
            const QByteArray indexed = deflated(kept.data);
            if (!indexed.isEmpty() && (lossless.isEmpty() || indexed.size() < lossless.size())) {
                lossless = indexed;
                out.space = Output::Space::Same;
            }
        }
        if (!lossless.isEmpty() && lossless.size() <= encoded.size() * kLosslessAllowance) {
            encoded = lossless;
            jpeg = false;
        } else if (out.space == Output::Space::Same && !indexes.isNull()) {
            out.space = Output::Space::PaletteBase; // the JPEG of the colours won
        }
    }

    if (!alpha.isNull()) {
        out.mask = deflated(alpha.data);
        out.maskMade = !out.mask.isEmpty();
        out.maskSize = finalSize;
    }
    const double allowed = resample ? 1.0 : kReencodeGain;
    if (in.storedBytes > 0 && double(encoded.size() + out.mask.size()) >= in.storedBytes * allowed)
        return Output();

    out.replaced = true;
    out.data = encoded;
    out.jpeg = jpeg;
    out.size = finalSize;
    out.components = out.space == Output::Space::Same && !indexes.isNull() ? 1 : image.channels;
    out.invertedDecode = jpeg && image.channels == 4;

    // The mask is shrunk with its picture, never enlarged.
    if (!out.maskMade && !in.mask.isEmpty() && resample &&
        in.maskSize.width() >= finalSize.width() && in.maskSize.height() >= finalSize.height() &&
        in.maskSize != finalSize) {
        Samples mask(in.maskSize, 1);
        if (in.mask.size() >= mask.data.size()) {
            mask.data = in.mask.left(mask.data.size());
            const Samples smaller = shrink(mask, finalSize);
            out.mask = deflated(smaller.data);
            out.maskReplaced = !out.mask.isEmpty();
            out.maskSize = finalSize;
        }
    }
    return out;
}

} // namespace ImageRecompressor
