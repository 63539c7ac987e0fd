#include "PDFOps.h"

#include "QpdfSupport.h"

#include <qpdf/QPDFPageDocumentHelper.hh>

namespace PDFOps {

bool appendPages(PDFDocument &into, const PDFDocument &from)
{
    if (!into.qpdf() || !from.qpdf())
        return false;
    try {
        QPDFPageDocumentHelper target(*into.qpdf());
        for (auto &page : QPDFPageDocumentHelper(*from.qpdf()).getAllPages())
            target.addPage(page, false); // a foreign page is copied by qpdf
        into.pagesChanged();
        return true;
    } catch (...) {
        into.pagesChanged();
        return false;
    }
}

} // namespace PDFOps
