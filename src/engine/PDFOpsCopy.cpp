#include "PDFOps.h"

#include "PDFError.h"
#include "QpdfSupport.h"

#include <qpdf/QPDFNameTreeObjectHelper.hh>
#include <qpdf/QPDFOutlineDocumentHelper.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>

#include <map>
#include <set>

namespace {

using Handle = QPDFObjectHandle;

// A bookmark as it will be written: its label, where it leads (a page of
// the new document and the rest of the destination array), whether it is
// open, and what lies below it.
struct Bookmark {
    std::string title;
    Handle page; // null for a label-only container
    std::vector<Handle> view;
    bool open = false;
    std::vector<Bookmark> children;
};

// The page a destination (explicit array, or a name / string naming one)
// leads to, with the rest of the array. Nothing when it leads nowhere.
struct Target {
    Handle page;
    std::vector<Handle> view;
};

// Named destinations of one document, read once: looking each one up in
// the name tree costs too much on a manual with thousands of links.
class NamedDestinations {
public:
    explicit NamedDestinations(QPDF &q)
    {
        try {
            auto root = q.getRoot();
            auto names = root.getKey("/Names");
            if (names.isDictionary() && names.getKey("/Dests").isDictionary()) {
                QPDFNameTreeObjectHelper tree(names.getKey("/Dests"), q);
                for (auto it = tree.begin(); it != tree.end(); ++it)
                    m_map.emplace(it->first, it->second);
            }
            auto dests = root.getKey("/Dests");
            if (dests.isDictionary())
                for (auto &key : dests.getKeys())
                    m_map.emplace(key.substr(1), dests.getKey(key));
        } catch (...) {
        }
    }
    Handle find(Handle name) const
    {
        std::string key;
        if (name.isName())
            key = name.getName().substr(1);
        else if (name.isString())
            key = name.getUTF8Value();
        auto found = m_map.find(key);
        if (found == m_map.end() && name.isString())
            found = m_map.find(name.getStringValue());
        return found == m_map.end() ? Handle::newNull() : found->second;
    }

private:
    std::map<std::string, Handle> m_map;
};

std::optional<Target> resolve(const NamedDestinations &named, Handle dest)
{
    try {
        if (dest.isName() || dest.isString())
            dest = named.find(dest);
        if (dest.isDictionary() && dest.hasKey("/D"))
            dest = dest.getKey("/D");
        if (!dest.isArray() || dest.getArrayNItems() < 1)
            return std::nullopt;
        Target target;
        target.page = dest.getArrayItem(0);
        for (int i = 1; i < dest.getArrayNItems(); ++i)
            target.view.push_back(dest.getArrayItem(i));
        // The zoom of an /XYZ view is not carried.
        if (target.view.size() == 4 && target.view[0].isNameAndEquals("/XYZ"))
            target.view[3] = Handle::newNull();
        if (target.view.empty())
            target.view.push_back(Handle::newName("/Fit"));
        return target;
    } catch (...) {
        return std::nullopt;
    }
}

// An outline item's or link's own destination, before any name is looked up.
Handle rawDestination(Handle item)
{
    Handle dest = item.getKey("/Dest");
    if (!dest.isNull())
        return dest;
    Handle action = item.getKey("/A");
    if (action.isDictionary() && action.getKey("/S").isNameAndEquals("/GoTo"))
        return action.getKey("/D");
    return Handle::newNull();
}

bool present(Handle h) { return h.isInitialized() && !h.isNull(); }

Handle destination(const Handle &page, const std::vector<Handle> &view)
{
    auto array = Handle::newArray();
    array.appendItem(page);
    for (const auto &item : view)
        array.appendItem(item);
    return array;
}

// A bookmark of the source: the page it leads to (-1 for none) and the view.
struct SourceMark {
    std::string title;
    int page = -1;
    std::vector<Handle> view;
    bool open = false;
    std::vector<SourceMark> children;
};

std::vector<SourceMark> readOutline(QPDF &q, const std::map<QPDFObjGen, int> &index,
                                    const NamedDestinations &named)
{
    QPDFOutlineDocumentHelper outlines(q);
    std::set<QPDFObjGen> seen;
    int budget = 100000; // a hostile outline can't make us walk forever
    std::function<std::vector<SourceMark>(std::vector<QPDFOutlineObjectHelper>, int)> walk =
        [&](std::vector<QPDFOutlineObjectHelper> level, int depth) {
            std::vector<SourceMark> out;
            if (depth > 64)
                return out;
            for (auto &item : level) {
                if (--budget < 0)
                    break;
                const auto og = item.getObjectHandle().getObjGen();
                if (og.isIndirect() && !seen.insert(og).second)
                    continue;
                SourceMark mark;
                try {
                    mark.title = item.getTitle();
                    mark.open = item.getCount() > 0;
                } catch (...) {
                }
                mark.children = walk(item.getKids(), depth + 1);
                if (auto target = resolve(named, rawDestination(item.getObjectHandle()))) {
                    auto found = index.find(target->page.getObjGen());
                    if (found != index.end()) {
                        mark.page = found->second;
                        mark.view = target->view;
                    }
                }
                out.push_back(std::move(mark));
            }
            return out;
        };
    try {
        return walk(outlines.getTopLevelOutlines(), 0);
    } catch (...) {
        return {};
    }
}

// What copying needs to know of a source document, gathered once (a split
// into a thousand parts reads it a thousand times).
struct Source {
    explicit Source(const PDFDocument &d)
        : doc(d), pages(QPDFPageDocumentHelper(*d.qpdf()).getAllPages()),
          index(qpdfsupport::pageIndexMap(*d.qpdf())), named(*d.qpdf()),
          outline(readOutline(*d.qpdf(), index, named))
    {
    }
    const PDFDocument &doc;
    std::vector<QPDFPageObjectHelper> pages;
    std::map<QPDFObjGen, int> index;
    NamedDestinations named;
    std::vector<SourceMark> outline;

    // True when the page's fonts or pictures are listed in a dictionary
    // that other pages use too.
    bool sharesResources(int page) const
    {
        if (!m_sharing) {
            std::map<QPDFObjGen, int> uses;
            auto count = [&](QPDFObjectHandle h) {
                if (h.isIndirect())
                    ++uses[h.getObjGen()];
            };
            for (auto p : pages) {
                auto resources = p.getAttribute("/Resources", false);
                count(resources);
                if (resources.isDictionary()) {
                    count(resources.getKey("/Font"));
                    count(resources.getKey("/XObject"));
                }
            }
            m_sharing = std::set<QPDFObjGen>();
            for (auto &[og, n] : uses)
                if (n > 1)
                    m_sharing->insert(og);
        }
        if (page < 0 || page >= int(pages.size()))
            return false;
        auto resources = QPDFPageObjectHelper(pages[size_t(page)]).getAttribute("/Resources", false);
        if (!resources.isDictionary())
            return false;
        for (auto h : {resources, resources.getKey("/Font"), resources.getKey("/XObject")})
            if (h.isIndirect() && m_sharing->count(h.getObjGen()))
                return true;
        return false;
    }

private:
    mutable std::optional<std::set<QPDFObjGen>> m_sharing;
};

// Copies pages of one source into a destination document, and carries the
// source's links and bookmarks over to the copies.
class Copier {
public:
    explicit Copier(PDFDocument &dst) : m_dst(dst), m_target(*dst.qpdf()) {}

    // Appends copies of the source pages; returns source index → first copy.
    std::map<int, Handle> copy(const Source &src, const QList<int> &indexes,
                               const std::function<void(QPDFPageObjectHelper &, int)> &adjust,
                               const std::function<void()> &afterEach)
    {
        const auto &pages = src.pages;
        const auto &index = src.index;
        const auto &named = src.named;
        std::map<int, Handle> first;
        std::vector<std::pair<Handle, int>> copies; // new page, source index
        for (int i : indexes) {
            if (i < 0 || i >= int(pages.size()))
                continue;
            const bool again = first.count(i) != 0;
            // Copy the page here rather than in addPage, to know the new object
            // without asking for the whole page list each time.
            Handle added = again ? first[i]
                                 : m_dst.qpdf()->copyForeignObject(pages[size_t(i)].getObjectHandle());
            // qpdf copies a foreign object once; a page that is already in
            // the new document gets a shallow copy with annotations of its own.
            if (m_placed.count(added.getObjGen())) {
                added = QPDFPageObjectHelper(added).shallowCopyPage().getObjectHandle();
                separateAnnotations(added);
            }
            m_placed.insert(added.getObjGen());
            m_target.addPage(QPDFPageObjectHelper(added), false);
            if (!again)
                first[i] = added;
            QPDFPageObjectHelper helper(added);
            if (adjust)
                adjust(helper, i);
            copies.emplace_back(added, i);
            if (afterEach)
                afterEach();
        }
        for (auto &[page, i] : copies)
            mendAnnotations(page, pages[size_t(i)].getObjectHandle(), named, index, first);
        return first;
    }

    // The source's bookmarks, pointed at the copies (left out when their
    // page wasn't copied and nothing below them survives).
    std::vector<Bookmark> bookmarks(const Source &src, const std::map<int, Handle> &first)
    {
        std::function<std::vector<Bookmark>(const std::vector<SourceMark> &)> place =
            [&](const std::vector<SourceMark> &level) {
                std::vector<Bookmark> out;
                for (const auto &mark : level) {
                    Bookmark placed;
                    placed.title = mark.title;
                    placed.open = mark.open;
                    placed.children = place(mark.children);
                    if (mark.page >= 0 && first.count(mark.page)) {
                        placed.page = first.at(mark.page);
                        placed.view = mark.view;
                        out.push_back(std::move(placed));
                    } else if (!placed.children.empty()) {
                        out.push_back(std::move(placed));
                    }
                }
                return out;
            };
        return place(src.outline);
    }

    void writeOutline(const std::vector<Bookmark> &marks)
    {
        QPDF &q = *m_dst.qpdf();
        if (marks.empty()) {
            q.getRoot().removeKey("/Outlines");
            return;
        }
        auto root = q.makeIndirectObject(Handle::parse("<< /Type /Outlines >>"));
        root.replaceKey("/Count", Handle::newInteger(writeLevel(root, marks)));
        q.getRoot().replaceKey("/Outlines", root);
    }

private:
    // Writes the items below `parent`; returns how many are visible.
    int writeLevel(Handle parent, const std::vector<Bookmark> &marks)
    {
        QPDF &q = *m_dst.qpdf();
        Handle previous;
        int visible = 0;
        for (size_t i = 0; i < marks.size(); ++i) {
            const Bookmark &mark = marks[i];
            auto item = q.makeIndirectObject(Handle::newDictionary());
            item.replaceKey("/Title", Handle::newUnicodeString(mark.title));
            item.replaceKey("/Parent", parent);
            if (present(mark.page))
                item.replaceKey("/Dest", destination(mark.page, mark.view));
            if (i == 0)
                parent.replaceKey("/First", item);
            else {
                previous.replaceKey("/Next", item);
                item.replaceKey("/Prev", previous);
            }
            if (!mark.children.empty()) {
                const int below = writeLevel(item, mark.children);
                item.replaceKey("/Count", Handle::newInteger(mark.open ? below : -below));
                if (mark.open)
                    visible += below;
            }
            ++visible;
            previous = item;
        }
        parent.replaceKey("/Last", previous);
        return visible;
    }

    // A second copy of a page gets annotations of its own.
    void separateAnnotations(Handle page)
    {
        QPDF &q = *m_dst.qpdf();
        auto annots = page.getKey("/Annots");
        if (!annots.isArray())
            return;
        auto fresh = Handle::newArray();
        for (auto &annot : annots.getArrayAsVector())
            fresh.appendItem(annot.isDictionary() ? q.makeIndirectObject(annot.shallowCopy()) : annot);
        page.replaceKey("/Annots", fresh);
    }

    // Points the copy's links at the copies of their pages (removing those
    // that lead to pages left out) and drops ties to document-wide
    // structures that didn't come along.
    void mendAnnotations(Handle page, Handle sourcePage, const NamedDestinations &named,
                         const std::map<QPDFObjGen, int> &index, const std::map<int, Handle> &first)
    {
        page.removeKey("/StructParents");
        auto annots = page.getKey("/Annots");
        auto sourceAnnots = sourcePage.getKey("/Annots");
        if (!annots.isArray())
            return;
        const auto copies = annots.getArrayAsVector();
        const auto originals = sourceAnnots.isArray() ? sourceAnnots.getArrayAsVector()
                                                      : std::vector<Handle>{};
        auto kept = Handle::newArray();
        for (size_t i = 0; i < copies.size(); ++i) {
            Handle annot = copies[i];
            if (!annot.isDictionary())
                continue;
            annot.removeKey("/StructParent");
            annot.replaceKey("/P", page);
            if (annot.getKey("/Subtype").isNameAndEquals("/Widget"))
                annot.removeKey("/Parent"); // the form's field tree stays behind
            if (annot.getKey("/Subtype").isNameAndEquals("/Link") && i < originals.size()) {
                Handle dest = rawDestination(originals[i]);
                if (!dest.isNull()) {
                    auto target = resolve(named, dest);
                    std::optional<int> at;
                    if (target) {
                        auto found = index.find(target->page.getObjGen());
                        if (found != index.end() && first.count(found->second))
                            at = found->second;
                    }
                    if (!at)
                        continue; // leads to a page that isn't here
                    annot.removeKey("/A");
                    annot.replaceKey("/Dest", destination(first.at(*at), target->view));
                }
            }
            kept.appendItem(annot);
        }
        if (kept.getArrayNItems() == 0)
            page.removeKey("/Annots");
        else
            page.replaceKey("/Annots", kept);
    }

    PDFDocument &m_dst;
    QPDFPageDocumentHelper m_target;
    std::set<QPDFObjGen> m_placed;
};

QList<int> allPages(const PDFDocument &doc)
{
    QList<int> pages;
    for (int i = 0; i < doc.pageCount(); ++i)
        pages.append(i);
    return pages;
}

} // namespace

namespace PDFOps {

std::shared_ptr<PDFDocument> copyDocument(const std::shared_ptr<const PDFDocument> &doc,
                                          const QList<int> &pages)
{
    auto result = PDFDocument::createEmpty();
    if (!doc || !doc->qpdf())
        return result;
    try {
        result->retain(doc);
        Copier copier(*result);
        const Source source(*doc);
        const auto first = copier.copy(source, pages, {}, {});
        copier.writeOutline(copier.bookmarks(source, first));
        copyInfo(*doc, *result);
    } catch (...) {
    }
    result->pagesChanged();
    return result;
}

std::shared_ptr<PDFDocument> extract(const std::shared_ptr<const PDFDocument> &doc,
                                     const QList<int> &pages)
{
    return copyDocument(doc, pages);
}

std::shared_ptr<PDFDocument> merge(const QList<std::shared_ptr<const PDFDocument>> &docs,
                                   const PageProgress &progress, const CancelTest &isCancelled)
{
    auto result = PDFDocument::createEmpty();
    int total = 0;
    for (const auto &doc : docs)
        total += doc ? doc->pageCount() : 0;
    int done = 0;
    Copier copier(*result);
    std::vector<Bookmark> marks;
    for (const auto &doc : docs) {
        if (isCancelled && isCancelled())
            throw PDFError::cancelled();
        if (!doc || !doc->qpdf())
            continue;
        result->retain(doc);
        std::map<int, Handle> first;
        std::unique_ptr<Source> source;
        try {
            source = std::make_unique<Source>(*doc);
            first = copier.copy(*source, allPages(*doc), {}, [&] {
                ++done;
                if (done % 32 == 0 && isCancelled && isCancelled())
                    throw PDFError::cancelled();
                if (progress)
                    progress(done, total);
            });
        } catch (const PDFError &) {
            throw;
        } catch (...) {
        }
        if (!source)
            continue;
        auto more = copier.bookmarks(*source, first);
        std::move(more.begin(), more.end(), std::back_inserter(marks));
    }
    copier.writeOutline(marks);
    result->pagesChanged();
    return result;
}

std::shared_ptr<PDFDocument> assemble(const QList<AssemblyItem> &items,
                                      const std::shared_ptr<const PDFDocument> &info)
{
    auto result = PDFDocument::createEmpty();
    Copier copier(*result);
    std::map<const PDFDocument *, std::unique_ptr<Source>> sources;
    for (const auto &item : items) {
        if (!item.doc || !item.doc->qpdf())
            continue;
        result->retain(item.doc);
        try {
            // Each item is a copy of its own, even when a page comes twice.
            auto &source = sources[item.doc.get()];
            if (!source)
                source = std::make_unique<Source>(*item.doc);
            if (item.page < 0 || item.page >= int(source->pages.size()))
                continue;
            const int turned = qpdfsupport::normalisedRotation(source->pages[size_t(item.page)]);
            copier.copy(*source, {item.page},
                        [&](QPDFPageObjectHelper &page, int) {
                            int degrees = (turned + item.extraRotation) % 360;
                            if (degrees < 0)
                                degrees += 360;
                            page.getObjectHandle().replaceKey("/Rotate", Handle::newInteger(degrees));
                        },
                        {});
        } catch (...) {
        }
    }
    if (info)
        copyInfo(*info, *result);
    result->pagesChanged();
    return result;
}

void split(const std::shared_ptr<const PDFDocument> &doc, const QList<QList<int>> &groups,
           const std::function<void(int, PDFDocument &)> &writePart, const CancelTest &isCancelled)
{
    if (!doc || !doc->qpdf())
        return;
    const Source source(*doc);
    for (int i = 0; i < groups.size(); ++i) {
        if (isCancelled && isCancelled())
            throw PDFError::cancelled();
        auto part = PDFDocument::createEmpty();
        part->retain(doc);
        {
            Copier copier(*part);
            const auto first = copier.copy(source, groups[i], {}, {});
            copier.writeOutline(copier.bookmarks(source, first));
            // Some writers give every page one dictionary naming every font
            // and picture of the document; a part keeps only what its pages draw.
            for (const auto &[index, page] : first)
                if (source.sharesResources(index)) {
                    try {
                        QPDFPageObjectHelper(page).removeUnreferencedResources();
                    } catch (...) {
                    }
                }
        }
        copyInfo(*doc, *part);
        part->pagesChanged();
        writePart(i, *part);
    }
}

QList<QList<int>> chunks(int pageCount, int every)
{
    QList<QList<int>> runs;
    if (every < 1 || pageCount < 1)
        return runs;
    for (int start = 0; start < pageCount; start += every) {
        QList<int> run;
        for (int i = start; i < std::min(pageCount, start + every); ++i)
            run.append(i);
        runs.append(run);
    }
    return runs;
}

void copyInfo(const PDFDocument &from, PDFDocument &to)
{
    if (!from.qpdf() || !to.qpdf())
        return;
    try {
        auto source = from.qpdf()->getTrailer().getKey("/Info");
        if (!source.isDictionary())
            return;
        auto info = Handle::newDictionary();
        for (const char *key : {"/Title", "/Author", "/Subject", "/Keywords"}) {
            auto value = source.getKey(key);
            if (value.isString())
                info.replaceKey(key, Handle::newString(value.getStringValue()));
        }
        if (info.getKeys().empty())
            return;
        to.qpdf()->getTrailer().replaceKey("/Info", to.qpdf()->makeIndirectObject(info));
    } catch (...) {
    }
}

} // namespace PDFOps
