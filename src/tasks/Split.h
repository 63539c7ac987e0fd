#pragma once

#include "Job.h"
#include "PDFFile.h"
#include "PageRanges.h"

#include <QList>
#include <QString>

#include <variant>

// Cutting a PDF into parts: the groups of pages, the names of the parts,
// and the work itself.
namespace Split {

enum class Mode { Ranges, Every, Each };
QString label(Mode mode); // "By page numbers", "Every N pages", "Every page"

// The groups the choices make for a document of pageCount pages.
PageRanges::Result groups(Mode mode, const QString &rangeText, int every, int pageCount);

// "This will make 3 files: 1–3, 5, 8–10" (six labels at most, then ", …").
QString preview(const PageRanges::Groups &groups);
// "Every 5 pages" / "Every 1 page".
QString everyLabel(int every);
// "Each part separated by a comma becomes its own file. This PDF has 10 pages."
QString rangesHelp(int pageCount);

// "Report page 4" or "Report pages 1-3" (no extension).
QString partName(const QString &baseName, const QList<int> &group);

} // namespace Split

namespace Tasks {

// Writes one PDF per group into folder (already made, empty) and returns
// "Made 3 files". A cancelled or failed split keeps the complete parts
// already written and removes the folder when it holds none.
Outcome split(const PDFFile &file, const PageRanges::Groups &groups, const QString &folder,
              const Progress &progress, const IsCancelled &isCancelled);

// The same for a document the caller opened for this job alone.
Outcome splitDocument(const std::shared_ptr<const PDFDocument> &doc, const QString &baseName,
                      const PageRanges::Groups &groups, const QString &folder,
                      const Progress &progress, const IsCancelled &isCancelled);

} // namespace Tasks
