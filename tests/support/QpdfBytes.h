#pragma once

// Fixtures that build a PDF with qpdf directly end here: the document as
// bytes, with a fixed ID so the same fixture gives the same bytes, and
// AES-256 when the options ask for it.

#include "engine/PDFDocument.h"

#include <QByteArray>

class QPDF;

namespace Fixtures {
QByteArray bytesOf(QPDF &q, const WriteOptions &options = {});
} // namespace Fixtures
