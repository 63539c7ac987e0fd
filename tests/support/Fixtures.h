#pragma once

// Fixture documents and pictures made by the tests themselves, and small
// helpers to reach the corpus, an independent reader and the command line.

#include "engine/PDFDocument.h"

#include <QByteArray>
#include <QImage>
#include <QList>
#include <QMap>
#include <QMetaType>
#include <QSizeF>
#include <QString>
#include <QStringList>

#include <optional>

class QPDF;

namespace Fixtures {

struct PageSpec {
    QString text;               // drawn near the top left in Helvetica
    QSizeF size{612, 792};      // media box
    int rotate = 0;             // /Rotate
    std::optional<QRectF> crop; // /CropBox
};

struct OutlineSpec {
    QString title;
    int page = 0;
    QList<OutlineSpec> children;
};

struct LinkSpec {
    int fromPage = 0;
    int toPage = 0;
};

struct DocSpec {
    QList<PageSpec> pages;
    QList<OutlineSpec> outline;
    QList<LinkSpec> links;
    DocumentInfo info;
};

// Pages whose text is "<prefix> 1", "<prefix> 2", ...
DocSpec numberedPages(int count, const QString &prefix = QStringLiteral("Page"));
QByteArray makePDF(const DocSpec &layout, const WriteOptions &options = {});
// A document built with qpdf directly, as bytes: a fixed ID, so the same
// fixture gives the same bytes, and AES-256 when the options ask for it.
QByteArray bytesOf(QPDF &q, const WriteOptions &options = {});
QByteArray textPDF(int pages, const QString &prefix = QStringLiteral("Page"));
// Small pages (560 × 120) each with a line of typed words, enough to count
// as text for recognition, and quick to read again.
QByteArray typedPDF(int pages);
// Encryption opening with `user` (none when empty) and owner password
// `owner`; a restricted file forbids copying.
WriteOptions lock(const QString &user, const QString &owner, bool restricted = false);
// Two pages sharing one resource dictionary that names Helvetica and
// Courier; the first page draws with Helvetica only, the second with Courier.
QByteArray sharedResourcesPDF();

// Where a page's resources (or its transparency group) lead back into the
// document, as some files do.
enum class ResourceLoop {
    Parent,          // /Resources is a reference to the page's parent /Pages node
    Page,            // the page itself
    Catalog,         // the catalog
    NotADictionary,  // an array holding the parent
    XObject,         // an /XObject entry is the parent
    Font,            // a /Font entry is the parent
    Pattern,         // a /Pattern entry is the parent
    FormToParent,    // a form XObject whose /Resources is the parent
    FormToItself,    // a form XObject whose /Resources is the form
    FormDrawsItself, // a form XObject listed in its own /XObject
    Group,           // sound resources, but the page's /Group is the parent
};
// One page with text (Helvetica as /F1), its resources shaped as `loop` says.
QByteArray loopingResourcesPDF(ResourceLoop loop);
// True when every page of the file has a resource dictionary from which no
// page, page tree node or catalog can be reached.
bool resourcesStayOutOfStructure(const QString &path);
// A file's bytes; empty when it can't be read.
QByteArray readFile(const QString &path);
// Writes bytes to a file; fails the test on error.
QString writeFile(const QString &path, const QByteArray &bytes);

// A picture with a recognisable top-left quadrant (red), the rest blue.
QImage marker(int w, int h);
QByteArray encode(const QImage &image, const char *format, int quality = 90);
// A JPEG whose EXIF orientation tag is `orientation` (1 to 8).
QByteArray jpegWithOrientation(const QImage &stored, int orientation);
// An HEIC file made with libheif; empty when no encoder is available.
QByteArray heic(const QImage &image);

// The folder of the shared corpus (QUIREBOOK_CORPUS), or empty.
QString corpusDir();
// file name → {"user": ..., "owner": ..., "user_as_typed": ...}
QMap<QString, QMap<QString, QString>> corpusPasswords();

// An independent reader (poppler): the text of each page, in order.
QStringList popplerPageTexts(const QByteArray &pdf, const QString &password = {});
int popplerPageCount(const QString &path, const QString &password = {});

struct ProcessResult {
    int exitCode = -1;
    bool crashed = false;
    bool timedOut = false;
    QString out;
    QString err;
};
// Runs quirebook-cli (path from QUIREBOOK_CLI) with the arguments.
ProcessResult runCli(const QStringList &arguments, const QMap<QString, QString> &env = {},
                     int timeoutMs = 120000);
// Runs any program.
ProcessResult runProgram(const QString &program, const QStringList &arguments,
                         const QMap<QString, QString> &env = {}, int timeoutMs = 120000);

} // namespace Fixtures

Q_DECLARE_METATYPE(Fixtures::ResourceLoop)
