#pragma once

#include "engine/PDFDocument.h"
#include "engine/Progress.h"

#include <QImage>
#include <QList>
#include <QRectF>
#include <QString>
#include <QUuid>

// A picture put onto a page (a signature, a date, a stamp). `bounds` is in
// points in the page as the reader sees it: origin at the lower left of the
// visible (crop) area, the page's rotation applied, y upwards.
struct Placement {
    QUuid id;
    int pageIndex = 0; // zero-based
    QRectF bounds;
    QImage image; // usually with a transparent background
};

namespace PDFOps {

// The rebuild of `doc` into `destination` with every placement drawn over
// its page, in list order (a later one covers an earlier one), its picture
// scaled into `bounds` with smooth interpolation. Each distinct picture is
// stored once, losslessly, with its transparency as a soft mask. Placements
// on pages the document doesn't have are ignored. Text stays text;
// bookmarks, links and the title are kept. `doc` is used up (pass a fresh
// document). Throws what the rebuild throws.
void flatten(PDFDocument &doc, const QList<Placement> &placements, const QString &destination,
             const Progress &progress, const IsCancelled &isCancelled);

} // namespace PDFOps
