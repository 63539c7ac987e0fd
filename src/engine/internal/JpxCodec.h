#pragma once

#ifndef QUIREBOOK_INSIDE_ENGINE
#error "Private to the engine layer: qpdf and poppler stay behind its public headers."
#endif

// JPEG 2000 pictures (JPXDecode) to 8-bit samples, with OpenJPEG, the
// library poppler reads them with.

#include "engine/internal/Samples.h"

#include <optional>

namespace JpxCodec {

struct Picture {
    Samples colour; // 1, 3 or 4 channels
    Samples alpha;  // its alpha channel, when it has one (else null)
    // The picture's own colour space, for a PDF that names none.
    enum class Space { Gray, Rgb, Cmyk } space = Space::Rgb;
    QByteArray iccProfile; // the picture's own ICC profile, when it carries one
};

// Decodes a JP2 file or a bare codestream whose full size must be `size`.
// It is halved while decoding as long as it stays at least `atLeast`.
// `colourChannels` (0: every channel that isn't alpha) is how many channels
// make the colour; one more channel is then taken as alpha. Nothing when
// the data can't be decoded, is bigger than `maxSamples` samples, or is
// colour we don't convert (YCC, Lab).
std::optional<Picture> decode(const QByteArray &data, QSize size, QSize atLeast, int colourChannels,
                              qint64 maxSamples);

} // namespace JpxCodec
