// Opening a PDF without a password, and what the intake asks of it.
#include "FuzzInput.h"

#include "engine/PDFDocument.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const auto doc = PDFDocument::fromBytes(FuzzInput::bytes(data, size), QStringLiteral("a.pdf"));
    if (doc)
        FuzzInput::inspect(*doc);
    return 0;
}
