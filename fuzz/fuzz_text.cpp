// Reading page 1's text, as Convert and Make Searchable's skip test do.
#include "FuzzInput.h"

#include "engine/DrawingDocument.h"
#include "engine/PDFDocument.h"

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    FuzzInput::initialise(argc, argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const auto doc = PDFDocument::open(FuzzInput::asFile(FuzzInput::bytes(data, size)));
    if (!doc || doc->isLocked() || doc->pageCount() < 1)
        return 0;
    const auto source = DrawingDocument::sourceFor(*doc);
    if (!source)
        return 0;
    if (const auto drawing = DrawingDocument::open(*source))
        (void)drawing->text(0);
    return 0;
}
