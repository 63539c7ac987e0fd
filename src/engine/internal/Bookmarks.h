#pragma once

#ifndef QUIREBOOK_INSIDE_ENGINE
#error "Private to the engine layer: qpdf and poppler stay behind its public headers."
#endif

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>

#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <vector>

// The one carrier of bookmarks and link destinations, for every operation
// that makes a document out of another's pages (merge, split, the rebuild):
// read once from the source, pointed at the new pages, written.
namespace bookmarks {

// Where a destination of the source leads: a page index of the source and
// the rest of the destination array (the view; /Fit when there was none,
// the zoom of /XYZ not carried).
struct Target {
    int page = -1;
    std::vector<QPDFObjectHandle> view;
};

// The destinations of one document, its named ones read once (looking each
// up in the name tree costs too much on a manual with thousands of links).
class Destinations {
public:
    explicit Destinations(QPDF &q);
    // An explicit destination, a name or string naming one, or a dictionary
    // with /D. Nothing when it leads to no page of this document.
    std::optional<Target> resolve(QPDFObjectHandle dest) const;
    // An outline item's or link's own destination (/Dest, or a GoTo action).
    std::optional<Target> of(QPDFObjectHandle itemOrLink) const;
    // False for a link or item that has no destination at all (a web link).
    static bool hasDestination(QPDFObjectHandle itemOrLink);

private:
    std::map<std::string, QPDFObjectHandle> m_named;
    std::map<QPDFObjGen, int> m_pages;
};

// A bookmark as the source has it.
struct Mark {
    QPDFObjectHandle title; // a string as the file wrote it
    std::optional<Target> target;
    bool open = false;
    QPDFObjectHandle color = QPDFObjectHandle::newNull(); // /C, three numbers
    QPDFObjectHandle style = QPDFObjectHandle::newNull(); // /F (italic, bold)
    std::vector<Mark> children;
    // The lowest and highest page this mark and those below it lead to
    // (lowest > highest when none leads anywhere).
    int lowest = std::numeric_limits<int>::max();
    int highest = -1;
};

// The source's outline (loops and hostile depths cut off).
std::vector<Mark> read(QPDF &source, const Destinations &destinations);

// A bookmark ready for the new document.
struct Placed {
    QPDFObjectHandle title;
    QPDFObjectHandle dest = QPDFObjectHandle::newNull(); // null: a label over surviving children
    bool open = false;
    QPDFObjectHandle color = QPDFObjectHandle::newNull();
    QPDFObjectHandle style = QPDFObjectHandle::newNull();
    std::vector<Placed> children;
};

// Points each mark at its new page through `destination`; a mark whose page
// is gone stays only as a label over surviving children. When `reaches` is
// given, a mark with everything below it is passed over unless
// reaches(lowest, highest) says a page in that span was kept: a split into
// a thousand parts then visits only the few marks of each part's pages.
std::vector<Placed>
place(const std::vector<Mark> &marks,
      const std::function<std::optional<QPDFObjectHandle>(const Target &)> &destination,
      const std::function<bool(int lowest, int highest)> &reaches = {});

// Makes `marks` the outline of `target` (none at all when empty).
void write(QPDF &target, const std::vector<Placed> &marks);

// A destination array: the page, then the view.
QPDFObjectHandle destination(QPDFObjectHandle page, const std::vector<QPDFObjectHandle> &view);

} // namespace bookmarks
