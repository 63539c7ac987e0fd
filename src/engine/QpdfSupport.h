#pragma once

// Small helpers over qpdf shared by the engine's own files and the text
// layer that writes into rebuilt pages. Not for the layers above.

#include "PDFDocument.h"

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>
#include <qpdf/QPDFPageObjectHelper.hh>

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

// Page object → its zero-based index.
std::map<QPDFObjGen, int> pageIndexMap(QPDF &q);

} // namespace qpdfsupport
