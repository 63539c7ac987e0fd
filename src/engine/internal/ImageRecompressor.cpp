#include "engine/internal/ImageRecompressor.h"

#include <QBuffer>
#include <QImage>
#include <QImageReader>
#include <QImageWriter>

#include <algorithm>
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

QByteArray encodeJpeg(const QImage &image, int quality)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "jpeg");
    writer.setQuality(quality);
    writer.setOptimizedWrite(true);
    if (!writer.write(image))
        return {};
    return bytes;
}

// The samples of an 8-bit picture, rows packed without padding.
QByteArray packedSamples(const QImage &image, int components)
{
    const qsizetype row = qsizetype(image.width()) * components;
    QByteArray out(row * image.height(), Qt::Uninitialized);
    for (int y = 0; y < image.height(); ++y)
        std::memcpy(out.data() + row * y, image.constScanLine(y), size_t(row));
    return out;
}

// zlib data as FlateDecode wants it (qCompress puts a length in front).
QByteArray deflated(const QByteArray &raw)
{
    const QByteArray packed = qCompress(raw, 9);
    return packed.size() > 4 ? packed.mid(4) : QByteArray();
}

QImage fromSamples(const QByteArray &data, QSize size, QImage::Format format, int components)
{
    const qsizetype row = qsizetype(size.width()) * components;
    if (size.isEmpty() || data.size() < row * size.height())
        return {};
    // The view borrows `data`; copy() gives the picture its own rows.
    const QImage view(reinterpret_cast<const uchar *>(data.constData()), size.width(),
                      size.height(), row, format);
    return view.copy();
}

// Decodes a JPEG no bigger than needed: libjpeg scales by 1/2, 1/4 or 1/8
// while decoding, which is far cheaper than decoding everything.
QImage decodeJpeg(const QByteArray &jpeg, QSize size, QSize target)
{
    QByteArray bytes = jpeg;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer, "jpeg");
    reader.setAutoTransform(false); // a PDF ignores EXIF orientation
    int factor = 1;
    for (int k : {8, 4, 2}) {
        const int w = (size.width() + k - 1) / k;
        const int h = (size.height() + k - 1) / k;
        if (w >= target.width() && h >= target.height()) {
            factor = k;
            break;
        }
    }
    if (factor > 1)
        reader.setScaledSize(
            QSize((size.width() + factor - 1) / factor, (size.height() + factor - 1) / factor));
    return reader.read();
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

// Shrinks an 8-bit picture (grey or RGB888) with a windowed-sinc filter,
// first along rows, then along columns.
QImage shrink(const QImage &source, QSize to)
{
    const int channels = source.format() == QImage::Format_Grayscale8 ? 1 : 3;
    const int sh = source.height();
    const auto across = tapsFor(source.width(), to.width());
    const auto down = tapsFor(sh, to.height());
    QImage wide(to.width(), sh, source.format());
    for (int y = 0; y < sh; ++y) {
        const uchar *in = source.constScanLine(y);
        uchar *out = wide.scanLine(y);
        for (int x = 0; x < to.width(); ++x) {
            const Taps &t = across[size_t(x)];
            const uchar *p = in + size_t(t.first) * channels;
            const size_t n = t.weights.size();
            if (channels == 1) {
                int sum = 0;
                for (size_t k = 0; k < n; ++k)
                    sum += t.weights[k] * p[k];
                out[x] = clampByte(sum);
            } else {
                int r = 0, g = 0, b = 0;
                for (size_t k = 0; k < n; ++k, p += 3) {
                    const int w = t.weights[k];
                    r += w * p[0], g += w * p[1], b += w * p[2];
                }
                out[x * 3] = clampByte(r), out[x * 3 + 1] = clampByte(g),
                        out[x * 3 + 2] = clampByte(b);
            }
        }
    }
    QImage result(to, source.format());
    std::vector<int> row(size_t(to.width()) * channels);
    const qsizetype stride = wide.bytesPerLine();
    for (int y = 0; y < to.height(); ++y) {
        const Taps &t = down[size_t(y)];
        std::fill(row.begin(), row.end(), 0);
        for (size_t k = 0; k < t.weights.size(); ++k) {
            const uchar *in = wide.constBits() + stride * (t.first + qsizetype(k));
            const int w = t.weights[k];
            for (size_t i = 0; i < row.size(); ++i)
                row[i] += w * in[i];
        }
        uchar *out = result.scanLine(y);
        for (size_t i = 0; i < row.size(); ++i)
            out[i] = clampByte(row[i]);
    }
    return result;
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

bool jpegHeader(const QByteArray &jpeg, QSize *size, int *components)
{
    const auto *p = reinterpret_cast<const unsigned char *>(jpeg.constData());
    const qsizetype n = jpeg.size();
    if (n < 4 || p[0] != 0xFF || p[1] != 0xD8)
        return false;
    qsizetype i = 2;
    while (i + 4 <= n) {
        if (p[i] != 0xFF) {
            ++i; // tolerate junk between segments
            continue;
        }
        const unsigned char marker = p[i + 1];
        if (marker == 0xFF) {
            ++i;
            continue;
        }
        if (marker == 0xD8 || marker == 0x01 || (marker >= 0xD0 && marker <= 0xD7)) {
            i += 2;
            continue;
        }
        const int length = (p[i + 2] << 8) | p[i + 3];
        if (length < 2)
            return false;
        // Start-of-frame markers: C0..CF except C4 (DHT), C8 (JPG), CC (DAC).
        const bool frame =
            marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
        if (frame) {
            if (i + 10 > n)
                return false;
            const int height = (p[i + 5] << 8) | p[i + 6];
            const int width = (p[i + 7] << 8) | p[i + 8];
            *size = QSize(width, height);
            *components = p[i + 9];
            return true;
        }
        if (marker == 0xD9 || marker == 0xDA)
            return false; // image data before any frame header
        i += 2 + length;
    }
    return false;
}

Output recompress(const Input &in)
{
    Output out;
    if (in.size.isEmpty() || in.target.isEmpty() || in.quality < 1 || in.quality > 100)
        return out;
    if (in.components != 1 && in.components != 3)
        return out;
    const QSize target(std::min(in.target.width(), in.size.width()),
                       std::min(in.target.height(), in.size.height()));
    const bool resample = target.width() < in.size.width() * kResampleBelow ||
                          target.height() < in.size.height() * kResampleBelow;

    QImage image;
    switch (in.kind) {
    case Input::Kind::Jpeg: {
        QSize stored;
        int components = 0;
        // Refuse anything whose frame disagrees with the PDF's description:
        // a reader would show it differently from what we would decode.
        if (!jpegHeader(in.data, &stored, &components) || stored != in.size ||
            components != in.components)
            return out;
        image = decodeJpeg(in.data, in.size, resample ? target : in.size);
        break;
    }
    case Input::Kind::Gray8:
        image = fromSamples(in.data, in.size, QImage::Format_Grayscale8, 1);
        break;
    case Input::Kind::Rgb8: image = fromSamples(in.data, in.size, QImage::Format_RGB888, 3); break;
    }
    if (image.isNull())
        return out;

    const QImage::Format format =
        in.components == 1 ? QImage::Format_Grayscale8 : QImage::Format_RGB888;
    if (image.format() != format)
        image = image.convertToFormat(format);
    const QSize finalSize = resample ? target : in.size;
    if (image.size() != finalSize)
        image = shrink(image, finalSize);
    if (image.size() != finalSize)
        return out;

    QByteArray encoded = encodeJpeg(image, in.quality);
    if (encoded.isEmpty())
        return out;
    bool jpeg = true;
    if (in.mayStayLossless) {
        const QByteArray lossless = deflated(packedSamples(image, in.components));
        if (!lossless.isEmpty() && lossless.size() <= encoded.size() * kLosslessAllowance) {
            encoded = lossless;
            jpeg = false;
        }
    }

    const double allowed = resample ? 1.0 : kReencodeGain;
    if (in.storedBytes > 0 && double(encoded.size()) >= in.storedBytes * allowed)
        return out;

    out.replaced = true;
    out.data = encoded;
    out.jpeg = jpeg;
    out.size = finalSize;

    // The mask is shrunk with its picture, never enlarged.
    if (!in.mask.isEmpty() && resample && in.maskSize.width() >= finalSize.width() &&
        in.maskSize.height() >= finalSize.height() && in.maskSize != finalSize) {
        const QImage mask = fromSamples(in.mask, in.maskSize, QImage::Format_Grayscale8, 1);
        if (!mask.isNull()) {
            const QImage smaller = shrink(mask, finalSize);
            out.maskReplaced = true;
            out.mask = packedSamples(smaller, 1);
            out.maskSize = finalSize;
        }
    }
    return out;
}

} // namespace ImageRecompressor
