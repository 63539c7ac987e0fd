#pragma once

#include "core/Job.h"
#include "core/PDFFile.h"
#include "core/PageRanges.h"

#include <QList>
#include <QString>

#include <array>
#include <memory>
#include <optional>

// The Split tool: cutting a PDF into parts in a new folder. What it is
// asked, its work, and every text the window and quirebook-cli show for it.
namespace Split {

enum class Mode { Ranges, Every, Each };
inline constexpr std::array<Mode, 3> kModes{Mode::Ranges, Mode::Every, Mode::Each};
QString label(Mode mode); // "By page numbers", "Every N pages", "Every page"

struct Request {
    static constexpr int kDefaultEvery = 5;
    static constexpr int kMinEvery = 1;

    Mode mode = Mode::Ranges;
    QString ranges;            // "1-3, 5, 8-" (Ranges)
    int every = kDefaultEvery; // pages per part (Every)

    // A part size under one page: the message; nothing otherwise.
    std::optional<QString> validate() const;
    // The groups of pages the request makes of a document of pageCount
    // pages, or the page-range parser's failure.
    PageRanges::Result groups(int pageCount) const;
};

// Interface thread, before the job: the new, empty "<name> split" folder
// next to the source. Throws PDFError when it can't be made.
QString destination(const PDFFile &file);

// Writes one PDF per group (see Request::groups) into `folder` and returns
// "Made 3 files". A cancelled or failed split keeps the complete parts
// already written and removes the folder when it holds none.
Outcome run(const PDFFile &file, const PageRanges::Groups &groups, const QString &folder,
            const Progress &progress, const IsCancelled &isCancelled);
// The same for a document the caller opened for this job alone.
Outcome run(const std::shared_ptr<PDFDocument> &doc, const QString &baseName,
            const PageRanges::Groups &groups, const QString &folder, const Progress &progress,
            const IsCancelled &isCancelled);

// "This will make 3 files: 1–3, 5, 8–10" (six labels at most, then ", …").
QString preview(const PageRanges::Groups &groups);
// "Every 5 pages" / "Every 1 page".
QString everyLabel(int every);
// "Each part separated by a comma becomes its own file. This PDF has 10 pages."
QString rangesHelp(int pageCount);
QString rangesPlaceholder(); // "For example: 1-3, 5, 8-"
QString eachNote();          // "One file per page."
QString button();            // "Split"
QString jobTitle();          // "Splitting"

// "Report page 4" or "Report pages 1-3" (no extension).
QString partName(const QString &baseName, const QList<int> &group);

} // namespace Split
