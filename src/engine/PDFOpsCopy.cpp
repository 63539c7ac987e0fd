#include "engine/PDFOps.h"

#include "engine/BestEffort.h"
#include "engine/PDFError.h"
#include "engine/PageWorkers.h"
#include "engine/internal/Bookmarks.h"
#include "engine/internal/QpdfSupport.h"

#include <qpdf/QPDFNameTreeObjectHelper.hh>
#include <qpdf/QPDFOutlineDocumentHelper.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>

#include <atomic>
#include <map>
#include <mutex>
#include <set>
#include <vector>

namespace {

using Handle = QPDFObjectHandle;

// What copying needs to know of a source document, gathered once (a split
// into a thousand parts reads it a thousand times).
struct Source {
    explicit Source(const PDFDocument &d)
        : doc(d)
        , pages(QPDFPageDocumentHelper(*d.qpdf()).getAllPages())
        , index(qpdfsupport::pageIndexMap(*d.qpdf()))
        , destinations(*d.qpdf())
        , outline(bookmarks::read(*d.qpdf(), destinations))
    {
        // Before any page is copied: resources leading back into the page
        // tree are mended in the source held in memory.
        qpdfsupport::mendPageResources(*d.qpdf());
    }
    const PDFDocument &doc;
    std::vector<QPDFPageObjectHelper> pages;
    std::map<QPDFObjGen, int> index;
    bookmarks::Destinations destinations;
    std::vector<bookmarks::Mark> outline;

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
        auto resources =
            QPDFPageObjectHelper(pages[size_t(page)]).getAttribute("/Resources", false);
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
    explicit Copier(PDFDocument &dst)
        : m_dst(dst)
        , m_target(*dst.qpdf())
    {
    }

    // Appends copies of the source pages; returns source index → first copy.
    std::map<int, Handle> copy(const Source &src, const QList<int> &indexes,
                               const std::function<void(QPDFPageObjectHelper &, int)> &adjust,
                               const std::function<void()> &afterEach)
    {
        const auto &pages = src.pages;
        std::map<int, Handle> first;
        std::vector<std::pair<Handle, int>> copies; // new page, source index
        for (int i : indexes) {
            if (i < 0 || i >= int(pages.size()))
                continue;
            const bool again = first.count(i) != 0;
            // Copy the page here rather than in addPage, to know the new object
            // without asking for the whole page list each time.
            Handle added =
                again ? first[i]
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
            mendAnnotations(page, pages[size_t(i)].getObjectHandle(), src.destinations, first);
        return first;
    }

    // The source's bookmarks, pointed at the copies (left out when their
    // page wasn't copied and nothing below them survives).
    static std::vector<bookmarks::Placed> bookmarksOf(const Source &src,
                                                      const std::map<int, Handle> &first)
    {
        return bookmarks::place(
            src.outline,
            [&](const bookmarks::Target &target) -> std::optional<Handle> {
                const auto found = first.find(target.page);
                if (found == first.end())
                    return std::nullopt;
                return bookmarks::destination(found->second, target.view);
            },
            [&](int lowest, int highest) {
                const auto kept = first.lower_bound(lowest);
                return kept != first.end() && kept->first <= highest;
            });
    }

private:
    // A second copy of a page gets annotations of its own.
    void separateAnnotations(Handle page)
    {
        QPDF &q = *m_dst.qpdf();
        auto annots = page.getKey("/Annots");
        if (!annots.isArray())
            return;
        auto fresh = Handle::newArray();
        for (auto &annot : annots.getArrayAsVector())
            fresh.appendItem(annot.isDictionary() ? q.makeIndirectObject(annot.shallowCopy())
                                                  : annot);
        page.replaceKey("/Annots", fresh);
    }

    // Points the copy's links at the copies of their pages (removing those
    // that lead to pages left out) and drops ties to document-wide
    // structures that didn't come along.
    void mendAnnotations(Handle page, Handle sourcePage,
                         const bookmarks::Destinations &destinations,
                         const std::map<int, Handle> &first)
    {
        page.removeKey("/StructParents");
        auto annots = page.getKey("/Annots");
        auto sourceAnnots = sourcePage.getKey("/Annots");
        if (!annots.isArray())
            return;
        const auto copies = annots.getArrayAsVector();
        const auto originals =
            sourceAnnots.isArray() ? sourceAnnots.getArrayAsVector() : std::vector<Handle>{};
        auto kept = Handle::newArray();
        for (size_t i = 0; i < copies.size(); ++i) {
            Handle annot = copies[i];
            if (!annot.isDictionary())
                continue;
            annot.removeKey("/StructParent");
            annot.replaceKey("/P", page);
            if (annot.getKey("/Subtype").isNameAndEquals("/Widget"))
                annot.removeKey("/Parent"); // the form's field tree stays behind
            if (annot.getKey("/Subtype").isNameAndEquals("/Link") && i < originals.size() &&
                bookmarks::Destinations::hasDestination(originals[i])) {
                const auto target = destinations.of(originals[i]);
                if (!target || !first.count(target->page))
                    continue; // leads to a page that isn't here
                annot.removeKey("/A");
                annot.replaceKey("/Dest",
                                 bookmarks::destination(first.at(target->page), target->view));
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
    bestEffort([&] {
        result->retain(doc);
        Copier copier(*result);
        const Source source(*doc);
        const auto first = copier.copy(source, pages, {}, {});
        bookmarks::write(*result->qpdf(), Copier::bookmarksOf(source, first));
        copyInfo(*doc, *result);
    });
    result->pagesChanged();
    return result;
}

std::shared_ptr<PDFDocument> extract(const std::shared_ptr<const PDFDocument> &doc,
                                     const QList<int> &pages)
{
    return copyDocument(doc, pages);
}

std::shared_ptr<PDFDocument> merge(const QList<std::shared_ptr<const PDFDocument>> &docs,
                                   const Progress &progress, const IsCancelled &isCancelled)
{
    auto result = PDFDocument::createEmpty();
    int total = 0;
    for (const auto &doc : docs)
        total += doc ? doc->pageCount() : 0;
    int done = 0;
    Copier copier(*result);
    std::vector<bookmarks::Placed> marks;
    for (const auto &doc : docs) {
        if (isCancelled && isCancelled())
            throw PDFError::cancelled();
        if (!doc || !doc->qpdf())
            continue;
        result->retain(doc);
        std::map<int, Handle> first;
        std::unique_ptr<Source> source;
        bestEffort([&] {
            source = std::make_unique<Source>(*doc);
            first = copier.copy(*source, allPages(*doc), {}, [&] {
                ++done;
                if (done % 32 == 0 && isCancelled && isCancelled())
                    throw PDFError::cancelled();
                if (progress)
                    progress(done, total);
            });
        });
        if (!source)
            continue;
        auto more = Copier::bookmarksOf(*source, first);
        std::move(more.begin(), more.end(), std::back_inserter(marks));
    }
    bookmarks::write(*result->qpdf(), marks);
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
        bestEffort([&] {
            // Each item is a copy of its own, even when a page comes twice.
            auto &source = sources[item.doc.get()];
            if (!source)
                source = std::make_unique<Source>(*item.doc);
            if (item.page < 0 || item.page >= int(source->pages.size()))
                return;
            const int turned = qpdfsupport::normalisedRotation(source->pages[size_t(item.page)]);
            copier.copy(*source, {item.page},
                        [&](QPDFPageObjectHelper &page, int) {
                            int degrees = (turned + item.extraRotation) % 360;
                            if (degrees < 0)
                                degrees += 360;
                            page.getObjectHandle().replaceKey("/Rotate",
                                                              Handle::newInteger(degrees));
                        },
                        {});
        });
    }
    if (info)
        copyInfo(*info, *result);
    result->pagesChanged();
    return result;
}

void split(const std::shared_ptr<PDFDocument> &doc, const QList<QList<int>> &groups,
           const std::function<SafeWrite::Pending(int, const PDFDocument &)> &writePart,
           const std::function<void(int, SafeWrite::Pending &&)> &keepPart,
           const IsCancelled &isCancelled, int workers)
{
    if (!doc || !doc->qpdf() || groups.isEmpty())
        return;
    if (workers < 1)
        workers = PageWorkers::defaultCount();
    // The first worker takes the document as it is; each other reads the
    // source again, which costs less than the parts it then makes.
    std::atomic<bool> originalTaken{false};
    std::mutex readingsLock;
    std::vector<std::shared_ptr<const PDFDocument>> readings;
    const auto makeWorker = [&]() -> std::function<SafeWrite::Pending(int)> {
        std::shared_ptr<const PDFDocument> own = originalTaken.exchange(true) ? doc->reopen() : doc;
        if (!own)
            throw PDFError::unreadable(doc->name());
        if (own != doc) {
            const std::lock_guard guard(readingsLock);
            readings.push_back(own);
        }
        const auto source = std::make_shared<const Source>(*own);
        return [&, own, source](int i) {
            auto part = PDFDocument::createEmpty();
            part->retain(own);
            {
                Copier copier(*part);
                const auto first = copier.copy(*source, groups[i], {}, {});
                bookmarks::write(*part->qpdf(), Copier::bookmarksOf(*source, first));
                // Some writers give every page one dictionary naming every font
                // and picture of the document; a part keeps only what its pages draw.
                for (const auto &[index, page] : first)
                    if (source->sharesResources(index)) {
                        bestEffort([&page = page] {
                            QPDFPageObjectHelper(page).removeUnreferencedResources();
                        });
                    }
            }
            copyInfo(*own, *part);
            part->pagesChanged();
            return writePart(i, *part);
        };
    };
    PageWorkers::run<SafeWrite::Pending>(
        int(groups.size()), std::min<int>(workers, int(groups.size())), makeWorker,
        [&](int i, SafeWrite::Pending &&file) { keepPart(i, std::move(file)); }, isCancelled);
    for (auto &reading : readings)
        doc->retain(std::move(reading));
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
    bestEffort([&] {
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
    });
}

} // namespace PDFOps
