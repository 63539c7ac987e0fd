#pragma once

#ifndef QUIREBOOK_INSIDE_ENGINE
#error "Private to the engine layer: qpdf and poppler stay behind its public headers."
#endif

// The picture work of compression, without qpdf, so that it can run on any
// thread: decode, resample, re-encode, and say whether that helped.

#include <QByteArray>
#include <QList>
#include <QSize>

namespace ImageRecompressor {

struct Input {
    enum class Kind {
        Jpeg,    // `data` is the JPEG file as stored (DCTDecode)
        Jpx,     // the JPEG 2000 data as stored (JPXDecode)
        Samples, // the decoded samples, `bitsPerComponent` each, rows padded to a byte
    };
    Kind kind = Kind::Jpeg;
    QByteArray data;
    QSize size; // pixels, as the PDF says
    // Components of a pixel in `data`: 1, 3 or 4, and 1 for a palette's
    // indexes. 0 for a JPEG 2000 picture whose colour space is its own.
    int components = 3;
    int bitsPerComponent = 8; // of `data` when it holds samples: 2, 4, 8 or 16; 1 with a palette
    QList<double> decode;     // the /Decode array; empty for the default
    // With a palette (Indexed): the base colour of each index in turn,
    // `paletteComponents` (1, 3 or 4) bytes each.
    QByteArray palette;
    int paletteComponents = 0;
    bool alphaAsMask = false; // JPEG 2000: its alpha channel is the soft mask
    QSize target;             // wanted size, never more than `size`
    int quality = 60;         // JPEG quality, 1 to 100
    qint64 storedBytes = 0;   // what the picture takes in the file now
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
    // The colour space of the new samples.
    enum class Space {
        Same,        // the picture's own (a palette's indexes stay indexes)
        PaletteBase, // a palette's base: the colours were looked up
        Gray,
        Rgb,
        Cmyk,
        Icc, // an ICC profile (`iccProfile`) of `components` components
    };
    Space space = Space::Same;
    int components = 3;
    QByteArray iccProfile;
    // /Decode [1 0 1 0 1 0 1 0]: CMYK JPEG data is stored inverted, as the
    // Adobe marker libjpeg writes says. Otherwise the picture has no /Decode.
    bool invertedDecode = false;
    bool maskReplaced = false; // the soft mask is `mask` now
    bool maskMade = false;     // the picture gets `mask` as a new soft mask
    QByteArray mask;           // 8-bit grey samples, zlib data
    QSize maskSize;
};

// The size a picture should get: scaled by `scale` (at most 1) and with its
// longer side at most maxPixel, never upwards, at least one pixel.
QSize targetSize(QSize size, double scale, int maxPixel);

// Does the work. Never throws; anything that can't be decoded is left alone.
Output recompress(const Input &input);

} // namespace ImageRecompressor
