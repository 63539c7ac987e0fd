#pragma once

#include "engine/PDFDocument.h"
#include "engine/PDFOpsRender.h"

#include <QByteArray>
#include <QImage>
#include <QList>
#include <QSizeF>
#include <QString>

#include <memory>
#include <optional>

// A document opened for drawing and for reading its text (poppler). It is
// not thread-safe: each thread that draws opens its own from a Source.
// Pages are drawn through one output device kept for the document's life,
// so embedded fonts are loaded and glyphs rasterised once, not per page.
class DrawingDocument {
public:
    // What it takes to open one: the file and its password, or the bytes of
    // a document that only exists in memory. Plain data, safe to copy to
    // other threads.
    struct Source {
        QString path;
        QByteArray password;
        QByteArray bytes;
    };

    // The source for a document opened by the engine. A file that poppler
    // can't open or walk as it stands (a password it encodes differently, a
    // page tree the engine had to mend, a page written inside the tree) is
    // drawn from the engine's own copy in memory instead. Nothing when
    // neither works. Call it on the thread that owns `doc`.
    static std::optional<Source> sourceFor(const PDFDocument &doc);

    static std::unique_ptr<DrawingDocument> open(const Source &source);
    ~DrawingDocument();
    DrawingDocument(const DrawingDocument &) = delete;
    DrawingDocument &operator=(const DrawingDocument &) = delete;

    int pageCount() const;
    // The page's visible size in points, sides exchanged for 90 and 270.
    std::optional<QSizeF> uprightSize(int index) const;

    // The page as the reader sees it (crop box, rotation, white paper,
    // anti-aliased), pixelSize(uprightSize, dpi) pixels, opaque RGB in
    // sRGB with the resolution set. Nothing when it can't be drawn.
    std::optional<QImage> render(int index, double dpi) const;

    // The page's words in reading order (see PDFOps::assembleText).
    QList<PDFOps::TextWord> words(int index) const;
    QString text(int index) const;

private:
    struct Impl;
    bool reachesEveryPage() const;
    explicit DrawingDocument(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> m_impl;
};
