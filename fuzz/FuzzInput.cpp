#include "FuzzInput.h"

#include "core/Process.h"
#include "engine/DrawingDocument.h"
#include "engine/PDFDocument.h"
#include "engine/PDFOps.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>

namespace FuzzInput {

namespace {

// The bounds below keep one input well under a second in the usual case.
constexpr int kPagesAsked = 8;
constexpr qsizetype kPasswordWindow = 128;

QTemporaryDir &folder()
{
    // /dev/shm when there is one: an input written per run stays off the disk.
    static QTemporaryDir dir(QDir(QStringLiteral("/dev/shm")).exists()
                                 ? QStringLiteral("/dev/shm/quirebook-fuzz-XXXXXX")
                                 : QDir::tempPath() + QStringLiteral("/quirebook-fuzz-XXXXXX"));
    return dir;
}

} // namespace

QByteArray bytes(const uint8_t *data, size_t size)
{
    return QByteArray(reinterpret_cast<const char *>(data), qsizetype(size));
}

QString asFile(const QByteArray &bytes)
{
    const QString path = folder().filePath(QStringLiteral("input.pdf"));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(bytes) != bytes.size())
        qFatal("can't write the fuzz input to %s", qPrintable(path));
    return path;
}

std::unique_ptr<DrawingDocument> drawingOf(const QByteArray &bytes)
{
    const auto doc = PDFDocument::open(asFile(bytes));
    if (!doc || doc->isLocked() || doc->pageCount() < 1)
        return nullptr;
    const auto source = DrawingDocument::sourceFor(*doc);
    return source ? DrawingDocument::open(*source) : nullptr;
}

QString resultFolder()
{
    const QString path = folder().filePath(QStringLiteral("results"));
    QDir().mkpath(path);
    return path;
}

void clearResultFolder()
{
    QDir(resultFolder()).removeRecursively();
}

Locked splitPassword(const QByteArray &input)
{
    const qsizetype end = input.left(kPasswordWindow).indexOf('\n');
    if (end < 0)
        return {QString(), input};
    return {QString::fromUtf8(input.left(end)), input.mid(end + 1)};
}

void inspect(const PDFDocument &doc)
{
    (void)doc.isEncrypted();
    (void)doc.encryptionMethod();
    (void)PDFOps::isRestricted(doc);
    (void)doc.allowsPrinting();
    const int count = doc.pageCount();
    for (int i = 0; i < std::min(count, kPagesAsked); ++i)
        if (const auto page = doc.page(i))
            (void)page->uprightSize();
    (void)doc.page(count - 1);
}

} // namespace FuzzInput

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    // The command line's setting: a plain core application, as quirebook-cli
    // has for every verb that reads or rewrites PDFs, and its quiet stderr.
    static int argc = 1;
    static char name[] = "quirebook-fuzz";
    static char *argv[] = {name, nullptr};
    static QCoreApplication app(argc, argv);
    Process::keepLibrariesQuiet();
    (void)FuzzInput::resultFolder();
    return 0;
}
