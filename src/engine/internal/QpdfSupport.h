#pragma once

#ifndef QUIREBOOK_INSIDE_ENGINE
#error "Private to the engine layer: qpdf and poppler stay behind its public headers."
#endif

// Small helpers over qpdf shared by the engine's own files and the text
// layer that writes into rebuilt pages. Not for the layers above.

#include "engine/PDFDocument.h"
#include "engine/SafeWrite.h"

#include <qpdf/Pipeline.hh>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>
#include <qpdf/QPDFPageObjectHelper.hh>
#include <qpdf/QPDFWriter.hh>

#include <QString>

#include <map>
#include <memory>

namespace qpdfsupport {

// Numbers for content streams: short, no exponent.
std::string number(double v);

// A QPDF that keeps its warnings to itself and repairs what it can.
std::shared_ptr<QPDF> newQPDF();

// A text string of the file (PDFDocEncoding or UTF-16) as Unicode; empty
// for anything that isn't a string.
QString textOf(QPDFObjectHandle string);

// Rotation reduced to 0, 90, 180 or 270 (anything not a multiple of 90 is 0).
int normalisedRotation(QPDFPageObjectHelper page);

PageGeometry geometry(QPDFPageObjectHelper page);

// Counts the pages, mending a page tree that qpdf can't walk (loops,
// pages listed twice) by flattening what can be reached into one list.
// Throws when there are no pages to be found at all.
int countPagesMendingTree(QPDF &q);

// True for the catalog and the nodes of the page tree (/Pages and /Page).
// qpdf's foreign-object copy won't take a /Pages node, and a copied page
// would come along whole; nothing reached from resources or from document
// parts a rebuild carries may lead there.
bool isDocumentNode(QPDFObjectHandle object);

// Gives every page resources that can be used: a /Resources that isn't a
// dictionary or is a node of the document (the parent /Pages, the page,
// the catalog) becomes an empty dictionary, and so do a form's resources
// that are the form itself; entries of a resource dictionary that are such
// nodes or of the wrong kind are taken out, in the resources of forms,
// patterns and Type 3 fonts as well. Sound resources are left as they are
// (pages that share them still do). Changes the document in memory only;
// called before pages are rebuilt or copied (not at opening, where reading
// every font and picture would cost time). Never throws.
void mendPageResources(QPDF &q);

// Hands qpdf's output to a safe-write target, every write checked (qpdf's
// own file output lets a failed flush pass unnoticed). Set it on a writer
// with setOutputPipeline and keep it alive until write() returns. It never
// throws: qpdf also writes from destructors; a failure is the save's.
class TargetPipeline : public Pipeline {
public:
    explicit TargetPipeline(SafeWrite::Target &target)
        : Pipeline("safe write", nullptr)
        , m_target(target)
    {
    }
    void write(unsigned char const *data, size_t len) override
    {
        m_target.append(reinterpret_cast<const char *>(data), qint64(len));
    }
    void finish() override {}

private:
    SafeWrite::Target &m_target;
};

// Page object → its zero-based index.
std::map<QPDFObjGen, int> pageIndexMap(QPDF &q);

} // namespace qpdfsupport
