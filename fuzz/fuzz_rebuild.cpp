// The rebuild behind Compress, Sign and Make Searchable, with pictures
// recompressed at the smallest level, into a file that is removed again.
#include "FuzzInput.h"

#include "engine/PDFDocument.h"
#include "engine/PDFError.h"
#include "engine/PDFOpsCompress.h"

#include <QDir>

namespace {
// Beyond this many pages an input only measures the machine.
constexpr int kMostPages = 64;
// Cancelled between pages after this, well inside libFuzzer's timeout.
constexpr std::chrono::seconds kTimeLimit{10};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString original = FuzzInput::asFile(FuzzInput::bytes(data, size));
    const auto doc = PDFDocument::open(original);
    if (!doc || doc->isLocked() || doc->pageCount() > kMostPages)
        return 0;
    const FuzzInput::Deadline deadline(kTimeLimit);
    try {
        PDFOps::compress(*doc, original, CompressionLevel::Small,
                         QDir(FuzzInput::resultFolder()).filePath(QStringLiteral("a.pdf")), {},
                         [&] { return deadline.passed(); });
    } catch (const PDFError &) {
        // Refused with the program's own message: what a bad file should get.
    }
    FuzzInput::clearResultFolder();
    return 0;
}
