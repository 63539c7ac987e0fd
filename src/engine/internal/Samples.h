#pragma once

#ifndef QUIREBOOK_INSIDE_ENGINE
#error "Private to the engine layer: qpdf and poppler stay behind its public headers."
#endif

#include <QByteArray>
#include <QSize>

// A picture as 8-bit samples, `channels` to a pixel, rows packed without
// padding: what the decoders hand over and the encoders take.
struct Samples {
    QSize size;
    int channels = 0;
    QByteArray data;

    Samples() = default;
    Samples(QSize pixels, int perPixel)
        : size(pixels)
        , channels(perPixel)
        , data(rowBytes() * pixels.height(), Qt::Uninitialized)
    {
    }
    qsizetype rowBytes() const { return qsizetype(size.width()) * channels; }
    bool isNull() const
    {
        return size.isEmpty() || channels < 1 || data.size() < rowBytes() * size.height();
    }
    uchar *row(int y) { return reinterpret_cast<uchar *>(data.data()) + rowBytes() * y; }
    const uchar *row(int y) const
    {
        return reinterpret_cast<const uchar *>(data.constData()) + rowBytes() * y;
    }
};
