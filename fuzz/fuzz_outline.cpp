// Reading the document info and the bookmarks, as `quirebook-cli info` does.
#include "FuzzInput.h"

#include "engine/PDFDocument.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const auto doc = PDFDocument::fromBytes(FuzzInput::bytes(data, size), QStringLiteral("a.pdf"));
    if (!doc || doc->isLocked())
        return 0;
    (void)doc->info();
    (void)doc->outlineCount();
    return 0;
}
