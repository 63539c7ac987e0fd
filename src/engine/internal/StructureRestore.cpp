#include "engine/internal/Rebuilder.h"

#include "engine/BestEffort.h"
#include "engine/internal/Bookmarks.h"
#include "engine/internal/QpdfSupport.h"

#include <qpdf/QPDFAnnotationObjectHelper.hh>
#include <qpdf/QPDFPageObjectHelper.hh>

#include <QRectF>

#include <cmath>
#include <functional>
#include <map>
#include <optional>
#include <set>

namespace rebuilding {

namespace {

QPDFObjectHandle name(const char *n)
{
    return QPDFObjectHandle::newName(n);
}
QPDFObjectHandle real(double v)
{
    return QPDFObjectHandle::newReal(std::round(v * 1000) / 1000, 3, true);
}

// Builds destinations on the new pages, with their point carried into the
// upright frame.
class Frames {
public:
    Frames(const std::vector<QPDFObjectHandle> &newPages, const std::vector<QTransform> &toFrame)
        : m_newPages(newPages)
        , m_toFrame(toFrame)
    {
    }

    std::optional<QPDFObjectHandle> operator()(const bookmarks::Target &target) const
    {
        if (target.page < 0 || target.page >= int(m_newPages.size()) ||
            target.page >= int(m_toFrame.size()))
            return std::nullopt;
        try {
            return build(target.view, target.page);
        } catch (...) {
            return std::nullopt;
        }
    }

private:
    QPDFObjectHandle build(std::vector<QPDFObjectHandle> view, int index) const
    {
        const QTransform &t = m_toFrame[size_t(index)];
        const bool swapped = std::abs(t.m11()) < 0.5; // turned by 90 or 270 degrees
        auto number = [&](size_t i) -> std::optional<double> {
            if (i >= view.size() || !view[i].isNumber())
                return std::nullopt;
            const double v = view[i].getNumericValue();
            return std::isfinite(v) ? std::optional(v) : std::nullopt;
        };
        auto orNull = [](std::optional<double> v) {
            return v ? real(*v) : QPDFObjectHandle::newNull();
        };
        auto result = QPDFObjectHandle::newArray();
        result.appendItem(m_newPages[size_t(index)]);
        const auto kind =
            !view.empty() && view[0].isName() ? view[0].getName() : std::string("/Fit");
        if (kind == "/XYZ") {
            const auto left = number(1), top = number(2);
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
            const auto value = number(1);
            const QPointF p =
                t.map(horizontal ? QPointF(0, value.value_or(0)) : QPointF(value.value_or(0), 0));
            const bool nowHorizontal = horizontal != swapped;
            result.appendItem(name(nowHorizontal ? (bounded ? "/FitBH" : "/FitH")
                                                 : (bounded ? "/FitBV" : "/FitV")));
            result.appendItem(
                orNull(value ? std::optional(nowHorizontal ? p.y() : p.x()) : std::nullopt));
        } else if (kind == "/FitR" && number(1) && number(2) && number(3) && number(4)) {
            const QRectF r =
                t.mapRect(QRectF(QPointF(*number(1), *number(2)), QPointF(*number(3), *number(4)))
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

    const std::vector<QPDFObjectHandle> &m_newPages;
    const std::vector<QTransform> &m_toFrame;
};

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
                  const std::vector<QTransform> &toFrame,
                  const bookmarks::Destinations &destinations, const Frames &frames, Carrier &carry)
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
                if (bookmarks::Destinations::hasDestination(source)) {
                    const auto target = destinations.of(source);
                    const auto dest = target ? frames(*target) : std::nullopt;
                    if (!dest)
                        continue;
                    annot.replaceKey("/Dest", *dest);
                } else if (source.getKey("/A").isDictionary()) {
                    annot.replaceKey("/A", carry(source.getKey("/A")));
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
                        const QPointF q =
                            toFrame[p].map(QPointF(quads.getArrayItem(i).getNumericValue(),
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
    const bookmarks::Destinations destinations(source);
    const Frames frames(newPages, toFrame);

    restoreLinks(sourcePages, newPages, toFrame, destinations, frames, carry);

    try {
        bookmarks::write(target, bookmarks::place(bookmarks::read(source, destinations), frames));
    } catch (...) {
        target.getRoot().removeKey("/Outlines");
    }

    // Title, author, subject and keywords, as the source wrote them.
    auto info = target.makeIndirectObject(QPDFObjectHandle::newDictionary());
    bestEffort([&] {
        auto sourceInfo = source.getTrailer().getKey("/Info");
        if (sourceInfo.isDictionary())
            for (const char *key : {"/Title", "/Author", "/Subject", "/Keywords"}) {
                auto value = sourceInfo.getKey(key);
                if (value.isString())
                    info.replaceKey(key, QPDFObjectHandle::newString(value.getStringValue()));
            }
    });
    target.getTrailer().replaceKey("/Info", info);

    // How the document opens, its page numbering, its layers and its
    // attachments belong to the document, not to the pages: keep them.
    bestEffort([&] {
        auto root = source.getRoot();
        auto newRoot = target.getRoot();
        for (const char *key : {"/PageMode", "/PageLayout"})
            if (root.getKey(key).isName())
                newRoot.replaceKey(key, QPDFObjectHandle::newName(root.getKey(key).getName()));
        if (root.getKey("/Lang").isString())
            newRoot.replaceKey("/Lang",
                               QPDFObjectHandle::newString(root.getKey("/Lang").getStringValue()));
        for (const char *key : {"/PageLabels", "/ViewerPreferences", "/OCProperties"})
            if (root.getKey(key).isDictionary())
                newRoot.replaceKey(key, carry(root.getKey(key)));
        auto names = root.getKey("/Names");
        if (names.isDictionary() && names.getKey("/EmbeddedFiles").isDictionary()) {
            auto newNames = QPDFObjectHandle::newDictionary();
            newNames.replaceKey("/EmbeddedFiles", carry(names.getKey("/EmbeddedFiles")));
            newRoot.replaceKey("/Names", newNames);
        }
    });
}

} // namespace rebuilding
