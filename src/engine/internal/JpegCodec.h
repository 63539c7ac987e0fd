#pragma once

#ifndef QUIREBOOK_INSIDE_ENGINE
#error "Private to the engine layer: qpdf and poppler stay behind its public headers."
#endif

// JPEG pictures to samples and back, with libjpeg: grey, RGB and CMYK, as a
// PDF reader sees them (the Adobe marker decides the colour transform, never
// an inversion: that is the /Decode array's business).

#include "engine/internal/Samples.h"

#include <QImage>

namespace JpegCodec {

// Decodes `jpeg`, which must be a `size` picture of `components` (1, 3 or
// 4) components, shrunk while decoding by `shrink` (1, 2, 4 or 8, rounding
// up). Grey, RGB or CMYK samples as stored (YCbCr and YCCK transformed
// back); a null Samples for anything else, or when libjpeg had to patch the
// data up.
Samples decode(const QByteArray &jpeg, QSize size, int components, int shrink);

// Encodes grey, RGB or CMYK samples at `quality` (1 to 100) with Huffman
// tables of their own. CMYK is stored as YCCK with an Adobe marker. Empty on
// failure.
QByteArray encode(const Samples &samples, int quality);

// Encodes an RGB32 picture at `quality` (0 to 100) as baseline JPEG with
// libjpeg's standard tables, as Qt's writer does, with its resolution (dpi)
// and its colour space's ICC profile: straight from the picture's rows,
// where Qt's writer copies each into RGB first. Empty for another format or
// on failure.
QByteArray encodePicture(const QImage &image, int quality, int dpi);

} // namespace JpegCodec
