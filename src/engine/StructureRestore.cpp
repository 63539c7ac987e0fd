#include "Rebuilder.h"

#include "QpdfSupport.h"

#include <qpdf/QPDFAnnotationObjectHelper.hh>
#include <qpdf/QPDFOutlineDocumentHelper.hh>
#include <qpdf/QPDFPageObjectHelper.hh>

#include <QRectF>

#include <cmath>
#include <functional>
#include <map>
#include <optional>
#include <set>

namespace rebuilding {

namespace {

QPDFObjectHandle name(const char *n) { return QPDFObjectHandle::newName(n); }
QPDFObjectHandle real(double v) { return QPDFObjectHandle::newReal(std::round(v * 1000) / 1000, 3, true); }

// Turns a destination of the source into one on the new pages, with its
// point carried into the upright frame. Nothing when it doesn't lead to a
// page of this document.
class Destinations {
public:
    Destinations(QPDF &source, const std::vector<QPDFPageObjectHelper> &sourcePages,
                 const std::vector<QPDFObjectHandle> &newPages,
                 const std::vector<QTransform> &toFrame)
        : m_outlines(source), m_newPages(newPages), m_toFrame(toFrame)
    {
        for (size_t i = 0; i < sourcePages.size(); ++i)
            m_index.emplace(sourcePages[i].getObjectHandle().getObjGen(), int(i));
    }

    std::optional<QPDFObjectHandle> map(QPDFObjectHandle dest)
    {
        try {
            if (dest.isName() || dest.isString())
                dest = m_outlines.resolveNamedDest(dest);
            if (dest.isDictionary())
                dest = dest.getKey("/D");
            if (!dest.isArray() || dest.getArrayNItems() < 1)
                return std::nullopt;
            auto target = dest.getArrayItem(0);
            int index = -1;
            if (target.isIndirect()) {
                auto found = m_index.find(target.getObjGen());
                if (found != m_index.end())
                    index = found->second;
            } else if (target.isInteger()) {
                // Not allowed inside a file, but some writers do it.
                index = int(target.getIntValue());
            }
            if (index < 0 || index >= int(m_newPages.size()))
                return std::nullopt;
            return build(dest, index);
        } catch (...) {
            return std::nullopt;
        }
    }

private:
    QPDFObjectHandle build(QPDFObjectHandle dest, int index)
    {
        const QTransform &t = m_toFrame[size_t(index)];
        const bool swapped = std::abs(t.m11()) < 0.5; // turned by 90 or 270 degrees
        auto number = [&](int i) -> std::optional<double> {
            if (i >= dest.getArrayNItems() || !dest.getArrayItem(i).isNumber())
                return std::nullopt;
            const double v = dest.getArrayItem(i).getNumericValue();
            return std::isfinite(v) ? std::optional(v) : std::nullopt;
        };
        auto orNull = [](std::optional<double> v) {
            return v ? real(*v) : QPDFObjectHandle::newNull();
        };
        auto result = QPDFObjectHandle::newArray();
        result.appendItem(m_newPages[size_t(index)]);
        const auto kind = dest.getArrayNItems() > 1 && dest.getArrayItem(1).isName()
                              ? dest.getArrayItem(1).getName()
                              : std::string("/Fit");
        if (kind == "/XYZ") {
            const auto left = number(2), top = number(3);
            const QPointF p = t.map(QPointF(left.value_or(0), top.value_or(0)));
            // Turned sideways, the source's top becomes the new left.
            const auto newLeft = (swapped ? top : left) ? std::optional(p.x()) : std::nullopt;
            const auto newTop = (swapped ? left : top) ? std::optional(p.y()) : std::nullopt;
            result.appendItem(name("/XYZ"));
            result.appendItem(orNull(newLeft));
            result.appendItem(orNull(newTop));
            result.appendItem(QPDFObjectHandle::newNull()); // the zoom isn't carried
        } else if (kind == "/FitH" || kind == "/FitBH" || kind == "/FitV" || kind == "/FitBV") {
            const bool horizontal = kind == "/FitH" || kind == "/FitBH";
            const bool bounded = kind == "/FitBH" || kind == "/FitBV";
            const auto value = number(2);
            const QPointF p = t.map(horizontal ? QPointF(0, value.value_or(0))
                                               : QPointF(value.value_or(0), 0));
            const bool nowHorizontal = horizontal != swapped;
            result.appendItem(name(nowHorizontal ? (bounded ? "/FitBH" : "/FitH")
                                                 : (bounded ? "/FitBV" : "/FitV")));
            result.appendItem(orNull(value ? std::optional(nowHorizontal ? p.y() : p.x())
                                           : std::nullopt));
        } else if (kind == "/FitR" && number(2) && number(3) && number(4) && number(5)) {
            const QRectF r = t.mapRect(QRectF(QPointF(*number(2), *number(3)),
                                              QPointF(*number(4), *number(5)))
                                           .normalized());
            result.appendItem(name("/FitR"));
            for (double v : {r.left(), r.top(), r.right(), r.bottom()})
                result.appendItem(real(v));
        } else if (kind == "/FitB") {
            result.appendItem(name("/FitB"));
        } else {
            result.appendItem(name("/Fit"));
        }
        return result;
    }

    QPDFOutlineDocumentHelper m_outlines;
    std::map<QPDFObjGen, int> m_index;
    const std::vector<QPDFObjectHandle> &m_newPages;
    const std::vector<QTransform> &m_toFrame;
};

struct Bookmark {
    QPDFObjectHandle title;
    std::optional<QPDFObjectHandle> dest;
    bool open = false;
    QPDFObjectHandle color;
    QPDFObjectHandle style;
    std::vector<Bookmark> children;
};

// Items whose destination is gone stay only as containers of surviving
// children; only destinations are carried, never actions.
std::vector<Bookmark> cloneOutline(std::vector<QPDFOutlineObjectHelper> items,
                                   Destinations &destinations, std::set<QPDFObjGen> &seen,
                                   int depth, int &budget)
{
    std::vector<Bookmark> out;
    if (depth > 64)
        return out;
    for (auto &item : items) {
        if (--budget < 0)
            break;
        auto handle = item.getObjectHandle();
        if (handle.isIndirect() && !seen.insert(handle.getObjGen()).second)
            continue;
        Bookmark b;
        b.children = cloneOutline(item.getKids(), destinations, seen, depth + 1, budget);
        try {
            b.dest = destinations.map(item.getDest());
        } catch (...) {
        }
        if (!b.dest && b.children.empty())
            continue;
        auto title = handle.getKey("/Title");
        b.title = title.isString() ? QPDFObjectHandle::newString(title.getStringValue())
                                   : QPDFObjectHandle::newUnicodeString("");
        b.open = item.getCount() > 0;
        auto color = handle.getKey("/C");
        if (color.isArray() && color.getArrayNItems() == 3) {
            b.color = QPDFObjectHandle::newArray();
            for (int i = 0; i < 3; ++i)
                b.color.appendItem(color.getArrayItem(i).isNumber()
                                       ? real(color.getArrayItem(i).getNumericValue())
                                       : QPDFObjectHandle::newInteger(0));
        }
        if (handle.getKey("/F").isInteger())
            b.style = QPDFObjectHandle::newInteger(handle.getKey("/F").getIntValue());
        out.push_back(std::move(b));
    }
    return out;
}

// Visible entries below an item when it is open.
int visibleBelow(const Bookmark &b)
{
    int n = 0;
    for (const auto &child : b.children)
        n += 1 + (child.open ? visibleBelow(child) : 0);
    return n;
}

void writeOutline(QPDF &target, QPDFObjectHandle parent, const std::vector<Bookmark> &items)
{
    QPDFObjectHandle previous;
    for (size_t i = 0; i < items.size(); ++i) {
        Bookmark b = items[i];
        auto node = target.makeIndirectObject(QPDFObjectHandle::newDictionary());
        node.replaceKey("/Title", b.title);
        node.replaceKey("/Parent", parent);
        if (b.dest)
            node.replaceKey("/Dest", *b.dest);
        if (b.color.isArray())
            node.replaceKey("/C", b.color);
        if (b.style.isInteger())
            node.replaceKey("/F", b.style);
        if (i == 0)
            parent.replaceKey("/First", node);
        if (previous.isDictionary()) {
            previous.replaceKey("/Next", node);
            node.replaceKey("/Prev", previous);
        }
        if (!b.children.empty()) {
            writeOutline(target, node, b.children);
            const int below = visibleBelow(b);
            node.replaceKey("/Count", QPDFObjectHandle::newInteger(b.open ? below : -below));
        }
        previous = node;
    }
    if (previous.isDictionary())
        parent.replaceKey("/Last", previous);
}

std::optional<QRectF> rectOf(QPDFObjectHandle array)
{
    if (!array.isArray() || array.getArrayNItems() != 4)
        return std::nullopt;
    double v[4];
    for (int i = 0; i < 4; ++i) {
        if (!array.getArrayItem(i).isNumber())
            return std::nullopt;
        v[i] = array.getArrayItem(i).getNumericValue();
        if (!std::isfinite(v[i]))
            return std::nullopt;
    }
    return QRectF(QPointF(v[0], v[1]), QPointF(v[2], v[3])).normalized();
}

void restoreLinks(const std::vector<QPDFPageObjectHelper> &sourcePages,
                  const std::vector<QPDFObjectHandle> &newPages,
                  const std::vector<QTransform> &toFrame, Destinations &destinations,
                  Carrier &carry)
{
    const size_t count = std::min(sourcePages.size(), newPages.size());
    for (size_t p = 0; p < count; ++p) {
        std::vector<QPDFAnnotationObjectHelper> links;
        try {
            links = QPDFPageObjectHelper(sourcePages[p]).getAnnotations("/Link");
        } catch (...) {
            continue;
        }
        for (auto &link : links) {
            try {
                auto source = link.getObjectHandle();
                const auto rect = rectOf(source.getKey("/Rect"));
                if (!rect)
                    continue;
                auto annot = QPDFObjectHandle::newDictionary();
                annot.replaceKey("/Type", name("/Annot"));
                annot.replaceKey("/Subtype", name("/Link"));
                // Carried into the new frame, so the link stays on what it covered.
                const QRectF r = toFrame[p].mapRect(*rect);
                annot.replaceKey("/Rect", QPDFObjectHandle::newArray(QPDFObjectHandle::Rectangle(
                                              r.left(), r.top(), r.right(), r.bottom())));
                auto action = source.getKey("/A");
                if (source.hasKey("/Dest")) {
                    auto dest = destinations.map(source.getKey("/Dest"));
                    if (!dest)
                        continue;
                    annot.replaceKey("/Dest", *dest);
                } else if (action.isDictionary()) {
                    if (action.getKey("/S").isNameAndEquals("/GoTo")) {
                        auto dest = destinations.map(action.getKey("/D"));
                        if (!dest)
                            continue;
                        annot.replaceKey("/Dest", *dest);
                    } else {
                        annot.replaceKey("/A", carry(action));
                    }
                } else {
                    continue;
                }
                for (const char *key : {"/Border", "/C", "/H", "/F", "/BS"}) {
                    auto value = source.getKey(key);
                    if (!value.isNull() && !value.isIndirect())
                        annot.replaceKey(key, carry(value));
                }
                auto quads = source.getKey("/QuadPoints");
                if (quads.isArray() && quads.getArrayNItems() % 8 == 0) {
                    auto mapped = QPDFObjectHandle::newArray();
                    for (int i = 0; i + 1 < quads.getArrayNItems(); i += 2) {
                        const QPointF q = toFrame[p].map(
                            QPointF(quads.getArrayItem(i).getNumericValue(),
                                    quads.getArrayItem(i + 1).getNumericValue()));
                        mapped.appendItem(real(q.x()));
                        mapped.appendItem(real(q.y()));
                    }
                    annot.replaceKey("/QuadPoints", mapped);
                }
                auto page = newPages[p];
                annot.replaceKey("/P", page);
                auto annots = page.getKey("/Annots");
                if (!annots.isArray()) {
                    annots = QPDFObjectHandle::newArray();
                    page.replaceKey("/Annots", annots);
                }
                annots.appendItem(page.getOwningQPDF()->makeIndirectObject(annot));
            } catch (...) {
                // A link we can't read is left behind.
            }
        }
    }
}

} // namespace

void restoreStructure(QPDF &source, QPDF &target,
                      const std::vector<QPDFPageObjectHelper> &sourcePages,
                      const std::vector<QPDFObjectHandle> &newPages,
                      const std::vector<QTransform> &toFrame, Carrier &carry)
{
    Destinations destinations(source, sourcePages, newPages, toFrame);

    restoreLinks(sourcePages, newPages, toFrame, destinations, carry);

    try {
        QPDFOutlineDocumentHelper outlines(source);
        if (outlines.hasOutlines()) {
            std::set<QPDFObjGen> seen;
            int budget = 100000;
            const auto items =
                cloneOutline(outlines.getTopLevelOutlines(), destinations, seen, 0, budget);
            if (!items.empty()) {
                auto root = target.makeIndirectObject(QPDFObjectHandle::newDictionary());
                root.replaceKey("/Type", name("/Outlines"));
                writeOutline(target, root, items);
                int visible = 0;
                for (const auto &b : items)
                    visible += 1 + (b.open ? visibleBelow(b) : 0);
                root.replaceKey("/Count", QPDFObjectHandle::newInteger(visible));
                target.getRoot().replaceKey("/Outlines", root);
            }
        }
    } catch (...) {
        target.getRoot().removeKey("/Outlines");
    }

    // Title, author, subject and keywords, as the source wrote them.
    auto info = target.makeIndirectObject(QPDFObjectHandle::newDictionary());
    try {
        auto sourceInfo = source.getTrailer().getKey("/Info");
        if (sourceInfo.isDictionary())
            for (const char *key : {"/Title", "/Author", "/Subject", "/Keywords"}) {
                auto value = sourceInfo.getKey(key);
                if (value.isString())
                    info.replaceKey(key, QPDFObjectHandle::newString(value.getStringValue()));
            }
    } catch (...) {
    }
    target.getTrailer().replaceKey("/Info", info);

    // How the document opens, its page numbering, its layers and its
    // attachments belong to the document, not to the pages: keep them.
    try {
        auto root = source.getRoot();
        auto newRoot = target.getRoot();
        for (const char *key : {"/PageMode", "/PageLayout"})
            if (root.getKey(key).isName())
                newRoot.replaceKey(key, QPDFObjectHandle::newName(root.getKey(key).getName()));
        if (root.getKey("/Lang").isString())
            newRoot.replaceKey("/Lang", QPDFObjectHandle::newString(root.getKey("/Lang").getStringValue()));
        for (const char *key : {"/PageLabels", "/ViewerPreferences", "/OCProperties"})
            if (root.getKey(key).isDictionary())
                newRoot.replaceKey(key, carry(root.getKey(key)));
        auto names = root.getKey("/Names");
        if (names.isDictionary() && names.getKey("/EmbeddedFiles").isDictionary()) {
            auto newNames = QPDFObjectHandle::newDictionary();
            newNames.replaceKey("/EmbeddedFiles", carry(names.getKey("/EmbeddedFiles")));
            newRoot.replaceKey("/Names", newNames);
        }
    } catch (...) {
    }
}

} // namespace rebuilding
