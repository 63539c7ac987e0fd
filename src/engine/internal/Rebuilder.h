#pragma once

#ifndef QUIREBOOK_INSIDE_ENGINE
#error "Private to the engine layer: qpdf and poppler stay behind its public headers."
#endif

// Engine-internal machinery behind PDFOps::rebuild and PDFOps::compress.

#include "engine/PDFOpsCompress.h"
#include "engine/Progress.h"
#include "engine/SafeWrite.h"
#include "engine/internal/PDFOpsRebuild.h"

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>
#include <qpdf/QPDFPageObjectHelper.hh>

#include <QTransform>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace rebuilding {

// The transform that takes a page's user space into its upright frame:
// the crop box's lower left corner to (0, 0), the rotation drawn in.
QTransform uprightTransform(const PageGeometry &geometry);

// Copies objects of the source document into the new one. Indirect objects
// are copied once (qpdf remembers them); direct containers are rebuilt so
// that what they point at is copied too.
class Carrier {
public:
    Carrier(QPDF &source, QPDF &target)
        : m_source(source)
        , m_target(target)
    {
    }
    QPDFObjectHandle operator()(QPDFObjectHandle object, int depth = 0);

private:
    QPDF &m_source;
    QPDF &m_target;
};

struct Settings {
    std::optional<ImageFilter> filter; // compress pictures
    PDFOps::PageHook hook;
    bool bestCompression = false; // recompress every stream at the best Flate level
    bool tighterJpegs = false;    // JPEG pictures stored with their own Huffman tables
};

// What the picture work did, for the curious (benchmarks, tests).
struct ImageStats {
    int looked = 0;   // pictures considered
    int replaced = 0; // pictures re-encoded
    qint64 bytesBefore = 0;
    qint64 bytesAfter = 0;
};

// Refuses what can't be rebuilt, before any file is made: locked,
// restricted, no pages (named after `destinationName`).
void check(const PDFDocument &doc, const QString &destinationName);

// Builds the new document (already passed by check()) and writes it to
// `out`. Throws PDFError.
ImageStats buildAndWrite(PDFDocument &doc, SafeWrite::Target &out, const Settings &settings,
                         const Progress &progress, const IsCancelled &isCancelled);

// Carries bookmarks, links and the document info over onto the new pages.
// `toFrame[i]` maps source page i's user space into new page i.
void restoreStructure(QPDF &source, QPDF &target,
                      const std::vector<QPDFPageObjectHelper> &sourcePages,
                      const std::vector<QPDFObjectHandle> &newPages,
                      const std::vector<QTransform> &toFrame, Carrier &carry);

} // namespace rebuilding
