#pragma once

#ifndef QUIREBOOK_INSIDE_ENGINE
#error "Private to the engine layer: qpdf and poppler stay behind its public headers."
#endif

// The picture work of compression, with Qt only, so that it can run on any
// thread: decode, resample, re-encode, and say whether that helped.

#include <QByteArray>
#include <QSize>

namespace ImageRecompressor {

struct Input {
    enum class Kind {
        Jpeg,  // `data` is the JPEG file as stored (DCTDecode)
        Gray8, // `data` is the decoded samples, one byte each
        Rgb8,  // three bytes per pixel
    };
    Kind kind = Kind::Jpeg;
    QByteArray data;
    QSize size;             // pixels, as the PDF says
    int components = 3;     // what the colour space wants: 1 or 3
    QSize target;           // wanted size, never more than `size`
    int quality = 60;       // JPEG quality, 1 to 100
    qint64 storedBytes = 0; // what the picture takes in the file now
    // When the picture wasn't a JPEG: keep it lossless (Flate) when that
    // is about as small, so charts and screenshots stay crisp.
    bool mayStayLossless = false;

    // A soft mask (8-bit grey samples) that follows the picture's new size.
    QByteArray mask;
    QSize maskSize;
};

struct Output {
    bool replaced = false; // false: leave the picture as it is
    QByteArray data;       // the new stream data
    bool jpeg = true;      // DCTDecode; otherwise zlib data for FlateDecode
    QSize size;
    bool maskReplaced = false;
    QByteArray mask; // 8-bit grey samples, unfiltered
    QSize maskSize;
};

// The size a picture should get: scaled by `scale` (at most 1) and with its
// longer side at most maxPixel, never upwards, at least one pixel.
QSize targetSize(QSize size, double scale, int maxPixel);

// Reads the frame header of a JPEG: its size and number of components.
// False when there is none.
bool jpegHeader(const QByteArray &jpeg, QSize *size, int *components);

// Does the work. Never throws; anything that can't be decoded is left alone.
Output recompress(const Input &input);

} // namespace ImageRecompressor
