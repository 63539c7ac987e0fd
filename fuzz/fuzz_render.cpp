// Drawing page 1 small, as a thumbnail is drawn: the file opened from its
// path, the drawing document chosen by the engine (the file itself, or its
// own copy when poppler counts the pages differently).
#include "FuzzInput.h"

#include "engine/DrawingDocument.h"

#include <algorithm>

namespace {
// At most this many pixels on the longer side, whatever the page's size.
constexpr double kLongestSide = 160;
constexpr double kDpi = 50;
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const auto drawing = FuzzInput::drawingOf(FuzzInput::bytes(data, size));
    if (!drawing)
        return 0;
    const auto points = drawing->uprightSize(0);
    if (!points)
        return 0;
    const double longest = std::max(points->width(), points->height());
    const double dpi = longest > 0 ? std::min(kDpi, kLongestSide * 72 / longest) : kDpi;
    (void)drawing->render(0, dpi);
    return 0;
}
