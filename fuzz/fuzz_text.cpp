// Reading page 1's text, as Convert and Make Searchable's skip test do.
#include "FuzzInput.h"

#include "engine/DrawingDocument.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (const auto drawing = FuzzInput::drawingOf(FuzzInput::bytes(data, size)))
        (void)drawing->text(0);
    return 0;
}
