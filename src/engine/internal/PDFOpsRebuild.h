#pragma once

#ifndef QUIREBOOK_INSIDE_ENGINE
#error "Private to the engine layer: qpdf and poppler stay behind its public headers."
#endif

#include "engine/PDFDocument.h"
#include "engine/Progress.h"

#include <QByteArray>
#include <QSizeF>
#include <QString>
#include <QTransform>

#include <functional>

class QPDF;
class QPDFObjectHandle;

namespace PDFOps {

// One page of a rebuild, handed to the page hook after the source page has
// been drawn into it. The new page is upright: its media box is
// (0, 0, frame), in points, y upwards, and it has no rotation of its own.
// Whatever the hook appends is drawn on top, in that frame.
class RebuildPage {
public:
    int index = 0;       // zero-based
    int count = 0;       // pages in the document
    QSizeF frame;        // the new page's size
    PageGeometry source; // the source page's boxes and rotation
    QTransform toFrame;  // maps the source page's user space into the frame

    // Appends content operators (PDF syntax) to the page.
    void append(const QByteArray &operators) { m_content.append(operators); }
    // A number as content operators want it: short, no exponent.
    static QByteArray number(double value);

    // Puts an object (an image or form XObject, a font, a graphics state)
    // into the page's resources under a fresh name and returns that name
    // ("/Qb1"), to be used in appended operators. `category` is the
    // resource kind without a slash: "XObject", "Font", "ExtGState".
    // The object must belong to document().
    QByteArray addResource(const QByteArray &category, const QPDFObjectHandle &object);

    // The document being built, for making objects that several pages share
    // (a font, a stamp): make them once and add them to each page.
    QPDF &document() const { return *m_document; }

    // Internal: set up by the rebuild.
    RebuildPage(QPDF &document, QPDFObjectHandle &resources);
    const QByteArray &content() const { return m_content; }

private:
    QPDF *m_document;
    QPDFObjectHandle *m_resources;
    QByteArray m_content;
    int m_nextName = 1;
};

// Called once per page, in page order, on the rebuilding thread. A throw
// ends the rebuild and is passed on.
using PageHook = std::function<void(RebuildPage &)>;

// Redraws every page of `doc` into a new PDF at `destination`, through a
// hidden temporary file beside it (never written in place). Each new page
// is the source page seen through its crop box, turned upright; its
// content stays vector content, so text stays text. What the annotations
// showed (filled form fields, highlights, stamps) is drawn into the page;
// bookmarks, links, title, author, subject and keywords are carried over,
// and the creator becomes "Quirebook".
//
// `doc` is used up: the rebuild changes it (pass a fresh document).
// Reports (i, n) after each page and asks isCancelled before each one.
// Throws PDFError: locked, restricted, unreadable (no pages; the name is
// the destination's), cancelled, failed (can't write).
void rebuild(PDFDocument &doc, const QString &destination, const Progress &progress,
             const IsCancelled &isCancelled, const PageHook &hook = {});

} // namespace PDFOps
