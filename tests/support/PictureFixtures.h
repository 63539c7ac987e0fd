#pragma once

// Fixture documents full of pictures (natural-looking photos, graphics and
// the special kinds compression must leave alone), annotated pages, and
// independent ways to look at what the program wrote.

#include <QByteArray>
#include <QImage>
#include <QList>
#include <QRectF>
#include <QSize>
#include <QString>
#include <QStringList>

namespace Fixtures {

// A photo-like picture, different for every seed: soft colour fields,
// ripples, a sky and sensor noise, so it compresses like a camera picture.
QImage naturalPhoto(QSize size, quint32 seed);
// A chart-like picture: a few flat colours and lines on white.
QImage chart(QSize size);
// The rows of an 8-bit picture one after the other, `channels` bytes a pixel.
QByteArray packed(const QImage &image, int channels);
// A photo of a signature: grey paper with a dark curve.
QImage signaturePhoto();

struct Picture {
    enum class Kind {
        Jpeg,
        JpegGray, // DCTDecode, RGB or grey
        Rgb,
        Gray,
        Chart, // Flate, 8-bit; a chart is flat colours
        Indexed,
        Gray16, // Flate: indexes into a palette, 16-bit grey
        ImageMask,
        OneBit, // Flate, 1 bit: a stencil mask, a bilevel scan
        Cmyk,
        Decode, // Flate, 8 bit: CMYK, grey with an inverting /Decode
    };
    Kind kind = Kind::Jpeg;
    QSize pixels{800, 600};
    quint32 seed = 1;
    int quality = 90;
    bool softMask = false;    // an 8-bit /SMask of the same size
    bool inlineImage = false; // drawn inline (BI ... ID ... EI) instead of as an XObject
    bool matte = false;       // the soft mask has /Matte (its samples are premultiplied)
    int maskOf = -1;          // shares the soft mask of that earlier picture
};

struct Placement {
    int picture = 0;
    int page = 0;
    QRectF rect;              // points, in the page's default user space
    bool throughForm = false; // drawn by a form XObject with a matrix of its own
};

// US Letter pages, the text "Page 1", "Page 2", ... on each.
struct PictureDoc {
    QList<Picture> pictures;
    QList<Placement> placements;
    int pages = 1;
};

QByteArray picturePDF(const PictureDoc &layout);
// `pages` pages, each filled by its own photo of that many pixels.
QByteArray photoPDF(int pages, QSize pixels, int quality = 90);

// Two pages; on the first a filled text field that has its appearance, one
// whose appearance the reader must make (NeedAppearances), a green square,
// a hidden red square and a link to page 2.
struct AnnotatedTexts {
    static QString filled() { return QStringLiteral("Filled by hand"); }
    static QString generated() { return QStringLiteral("Made by reader"); }
};
QByteArray annotatedPDF();
// Where annotatedPDF's squares are (default user space, page 1).
QRectF greenSquare();
QRectF hiddenRedSquare();

// A picture in a written PDF, read with qpdf.
struct ImageInfo {
    int width = 0;
    int height = 0;
    int bitsPerComponent = 0;
    QString filter;      // "/DCTDecode", "/FlateDecode", "" ...
    QString colourSpace; // "/DeviceCMYK", "/Indexed /DeviceRGB", "(none)" ...
    QString decode;      // "[ 1 0 1 0 1 0 1 0 ]", or "" when there is none
    bool smaskInData = false;
    QByteArray storedHash; // of the samples (decoded where qpdf can, JPEG as stored)
    int maskWidth = 0;     // its /SMask, 0 when none
    int maskHeight = 0;
};
// Every image XObject reachable from the pages, in page order.
QList<ImageInfo> imagesOf(const QByteArray &pdf);

// poppler: page 1-based index → picture of the page at `dpi`.
QImage popplerRender(const QByteArray &pdf, int page, double dpi);
// poppler: a page's links: their area (0..1, top-left origin, as the page
// is shown) and the 1-based page they lead to (0 for other links).
struct LinkInfo {
    QRectF area;
    int targetPage = 0;
    bool internal = false; // a link into the document itself
    QString url;
};
QList<LinkInfo> popplerLinks(const QByteArray &pdf, int page);
// poppler: for each page, the pages its internal links lead to (0: nowhere).
QList<QList<int>> popplerLinkTargets(const QByteArray &pdf);
// poppler: the words of a page with their boxes, or where `text` is found
// on it; in points on the page as shown, y down.
struct PageWord {
    QString text;
    QRectF box;
};
QList<PageWord> popplerWords(const QByteArray &pdf, int page);
QList<QRectF> popplerFind(const QByteArray &pdf, int page, const QString &text);
// poppler: the outline, depth first: "title|page|open" with two spaces per level.
QStringList popplerOutline(const QByteArray &pdf);
// poppler: rotation (0/90/180/270) and size in points of a page as shown.
struct PageView {
    int rotation = 0;
    QSizeF size;
};
PageView popplerPage(const QByteArray &pdf, int page);

// Mean absolute difference per channel (0..255) of two pictures of one size;
// -1 when their sizes differ.
double meanDifference(const QImage &a, const QImage &b);

// Files in a folder whose name starts with ".quirebook-".
QStringList temporaryFiles(const QString &folder);

// Runs `qpdf --check` (with the password, when given); true when qpdf says
// the file is fine (or qpdf isn't installed).
bool qpdfCheck(const QString &path, QString *output = nullptr, const QString &password = {});

} // namespace Fixtures
