#pragma once

#include "engine/DrawingDocument.h"

struct PDFFile;

// A file reopened for drawing: what each worker opens its own document
// from, and how many pages it has. The structure document is let go before
// drawing starts, so only one copy of the file is held.
struct DrawingSource {
    DrawingDocument::Source source;
    int pageCount = 0;
};

// Throws PDFError::unreadable when the file can't be opened for drawing.
DrawingSource drawingSourceFor(const PDFFile &file);
