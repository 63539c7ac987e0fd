#pragma once

// Pictures of the kinds print and scanning leave in PDFs: CMYK JPEGs (plain
// and Adobe's inverted ones), raw CMYK, palettes, JPEG 2000 (with and
// without its own colour space or an alpha channel), 16-bit samples and
// inverting /Decode arrays. Each is written with its own codec library
// (libjpeg, OpenJPEG), not with the program's code.

#include <QByteArray>
#include <QImage>
#include <QRectF>
#include <QSize>

namespace Fixtures {

enum class ColourKind {
    CmykJpeg,      // DCT, CMYK as stored, no Adobe marker, no /Decode
    AdobeCmykJpeg, // DCT, YCCK with Adobe's marker, inverted, /Decode [1 0 1 0 1 0 1 0]
    CmykFlate,     // 8-bit CMYK samples
    IndexedChart,  // a chart, 8-bit indexes into an RGB palette
    IndexedCmyk,   // a photo, 8-bit indexes into a CMYK palette
    IndexedDecode, // 4-bit indexes into a grey palette, read backwards by /Decode [15 0]
    Jpx,           // JPEG 2000, /ColorSpace /DeviceRGB
    JpxOwnColours, // JPEG 2000 whose colour space is its own (no /ColorSpace)
    JpxAlpha,      // JPEG 2000 with an alpha channel that is its soft mask (SMaskInData 1)
    Rgb16,         // 16-bit RGB samples
    InvertedGray,  // 8-bit grey under /Decode [1 0]
    BrokenJpx,     // JPXDecode data that isn't JPEG 2000
};

// A letter page with a line of text over a light-grey band, and a picture
// of this kind and size filling `placed` (points).
QByteArray colourPDF(ColourKind kind, QSize pixels, QRectF placed);

// How a JpxAlpha picture is meant to look at `shown` pixels: faded from
// the band's blue on the left to itself on the right.
QImage fadedLook(QSize pixels, QSize shown);

} // namespace Fixtures
