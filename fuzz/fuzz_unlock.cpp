// Opening with a password: "<password>\n<PDF>". A locked document is
// unlocked with it; one that opened freely is given it as an owner password,
// as a reopened file is.
#include "FuzzInput.h"

#include "engine/PDFDocument.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const auto input = FuzzInput::splitPassword(FuzzInput::bytes(data, size));
    const auto doc = PDFDocument::fromBytes(input.pdf, QStringLiteral("a.pdf"));
    if (!doc)
        return 0;
    doc->unlock(input.password);
    FuzzInput::inspect(*doc);
    return 0;
}
