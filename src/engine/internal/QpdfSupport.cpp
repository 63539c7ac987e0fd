#include "engine/internal/QpdfSupport.h"

#include "engine/BestEffort.h"

#include <qpdf/QPDFPageDocumentHelper.hh>

#include <cmath>
#include <set>
#include <stdexcept>

namespace qpdfsupport {

std::string number(double v)
{
    if (!std::isfinite(v))
        return "0";
    const double rounded = std::round(v);
    // Only where a long long holds it: a box far out is written out in full.
    if (std::abs(v - rounded) < 1e-6 && std::abs(rounded) < 1e15)
        return std::to_string(static_cast<long long>(rounded));
    std::string s = QString::number(v, 'f', 5).toStdString();
    while (!s.empty() && s.back() == '0')
        s.pop_back();
    if (!s.empty() && s.back() == '.')
        s.pop_back();
    return s == "-0" ? "0" : s;
}

std::shared_ptr<QPDF> newQPDF()
{
    auto q = std::make_shared<QPDF>();
    q->setSuppressWarnings(true);
    q->setAttemptRecovery(true);
    return q;
}

QString textOf(QPDFObjectHandle string)
{
    try {
        if (!string.isString())
            return {};
        return QString::fromStdString(string.getUTF8Value());
    } catch (...) {
        return {};
    }
}

int normalisedRotation(QPDFPageObjectHelper page)
{
    try {
        auto rotate = page.getAttribute("/Rotate", false);
        if (!rotate.isNumber())
            return 0;
        const double value = rotate.getNumericValue();
        if (!std::isfinite(value) || std::fmod(value, 90.0) != 0.0)
            return 0;
        // fmod is exact, and keeps a huge angle from overflowing an integer.
        double degrees = std::fmod(value, 360.0);
        if (degrees < 0)
            degrees += 360;
        return int(degrees);
    } catch (...) {
        return 0;
    }
}

namespace {
QRectF rectOf(QPDFObjectHandle box, const QRectF &fallback)
{
    try {
        if (!box.isRectangle())
            return fallback;
        const auto r = box.getArrayAsRectangle();
        const double x = std::min(r.llx, r.urx), y = std::min(r.lly, r.ury);
        const double w = std::abs(r.urx - r.llx), h = std::abs(r.ury - r.lly);
        if (!std::isfinite(x + y + w + h) || w <= 0 || h <= 0)
            return fallback;
        return QRectF(x, y, w, h);
    } catch (...) {
        return fallback;
    }
}
} // namespace

PageGeometry geometry(QPDFPageObjectHelper page)
{
    PageGeometry g;
    // US Letter when a page has no usable media box: what readers assume.
    g.mediaBox = rectOf(page.getAttribute("/MediaBox", false), QRectF(0, 0, 612, 792));
    QRectF crop = rectOf(page.getAttribute("/CropBox", false), g.mediaBox);
    // A crop box only shows what lies inside the media box.
    crop = crop.intersected(g.mediaBox);
    g.cropBox = crop.isEmpty() ? g.mediaBox : crop;
    g.rotation = normalisedRotation(page);
    return g;
}

namespace {
void collectPages(QPDFObjectHandle node, std::set<QPDFObjGen> &seen,
                  std::map<std::string, QPDFObjectHandle> inherited,
                  std::vector<QPDFObjectHandle> &pages, int depth)
{
    if (depth > 256 || !node.isDictionary())
        return;
    if (node.isIndirect() && !seen.insert(node.getObjGen()).second)
        return;
    auto kids = node.getKey("/Kids");
    const bool isTreeNode = kids.isArray() && !node.getKey("/Type").isNameAndEquals("/Page");
    for (const char *key : {"/MediaBox", "/CropBox", "/Rotate", "/Resources"}) {
        if (isTreeNode && node.hasKey(key))
            inherited[key] = node.getKey(key);
    }
    if (!isTreeNode) {
        for (auto &[key, value] : inherited)
            if (!node.hasKey(key))
                node.replaceKey(key, value);
        pages.push_back(node);
        return;
    }
    for (int i = 0; i < kids.getArrayNItems(); ++i)
        collectPages(kids.getArrayItem(i), seen, inherited, pages, depth + 1);
}
} // namespace

int countPagesMendingTree(QPDF &q)
{
    int count = -1;
    if (bestEffort([&] { count = int(QPDFPageDocumentHelper(q).getAllPages().size()); }))
        return count;
    auto root = q.getRoot().getKey("/Pages");
    std::set<QPDFObjGen> seen;
    std::vector<QPDFObjectHandle> pages;
    collectPages(root, seen, {}, pages, 0);
    if (pages.empty())
        throw std::runtime_error("no pages");
    auto tree = q.makeIndirectObject(QPDFObjectHandle::newDictionary());
    tree.replaceKey("/Type", QPDFObjectHandle::newName("/Pages"));
    auto kids = QPDFObjectHandle::newArray();
    for (auto &page : pages) {
        if (!page.isIndirect())
            page = q.makeIndirectObject(page);
        page.replaceKey("/Type", QPDFObjectHandle::newName("/Page"));
        page.replaceKey("/Parent", tree);
        kids.appendItem(page);
    }
    tree.replaceKey("/Kids", kids);
    tree.replaceKey("/Count", QPDFObjectHandle::newInteger(int(pages.size())));
    q.getRoot().replaceKey("/Pages", tree);
    q.updateAllPagesCache();
    return int(QPDFPageDocumentHelper(q).getAllPages().size());
}

bool isDocumentNode(QPDFObjectHandle object)
{
    return object.isDictionaryOfType("/Pages") || object.isDictionaryOfType("/Page") ||
           object.isDictionaryOfType("/Catalog");
}

namespace {
// Walks the resources of every page once (shared dictionaries, fonts and
// forms are looked at once), taking out whatever leads back into the
// document's structure.
class ResourceMender {
public:
    explicit ResourceMender(QPDF &q)
    {
        // Nodes are known by number too, so one whose /Type is missing is
        // still recognised.
        m_nodes.insert(q.getRoot().getObjGen());
        m_nodes.insert(q.getRoot().getKey("/Pages").getObjGen());
        for (auto &page : QPDFPageDocumentHelper(q).getAllPages()) {
            auto node = page.getObjectHandle();
            for (int up = 0; up < 64 && node.isIndirect(); ++up) {
                if (!m_nodes.insert(node.getObjGen()).second)
                    break;
                node = node.getKey("/Parent");
            }
        }
    }

    void mendPage(QPDFPageObjectHelper page)
    {
        auto resources = page.getAttribute("/Resources", false);
        if (resources.isNull())
            return; // none at all reads as none
        if (!usable(resources))
            page.getObjectHandle().replaceKey("/Resources", QPDFObjectHandle::newDictionary());
        else
            mend(resources, 0);
    }

private:
    static constexpr int kMaxDepth = 32;

    bool isNode(QPDFObjectHandle object) const
    {
        return (object.isIndirect() && m_nodes.count(object.getObjGen())) || isDocumentNode(object);
    }

    // A dictionary that is no node of the document and no holder whose
    // resources are being mended (a Type 3 font as its own resources).
    bool usable(QPDFObjectHandle resources) const
    {
        return resources.isDictionary() && !isNode(resources) &&
               !(resources.isIndirect() && m_open.count(resources.getObjGen()));
    }

    void mend(QPDFObjectHandle resources, int depth)
    {
        if (depth > kMaxDepth ||
            (resources.isIndirect() && !m_done.insert(resources.getObjGen()).second))
            return;
        for (const auto &key : resources.getKeys()) {
            auto value = resources.getKey(key);
            if (isNode(value)) {
                resources.removeKey(key);
                continue;
            }
            const bool xobjects = key == "/XObject";
            if (!xobjects && key != "/Font" && key != "/Pattern" && key != "/ExtGState" &&
                key != "/ColorSpace" && key != "/Shading" && key != "/Properties")
                continue;
            if (!value.isDictionary()) {
                resources.removeKey(key);
                continue;
            }
            if (value.isIndirect() && !m_done.insert(value.getObjGen()).second)
                continue;
            // A form listed in its own resources stays: readers stop such a
            // loop, and the dictionary may be a page's too, drawing it once.
            for (const auto &name : value.getKeys()) {
                auto entry = value.getKey(name);
                if (isNode(entry) || (xobjects && !entry.isStream()))
                    value.removeKey(name);
                else
                    mendHolder(entry, depth);
            }
        }
    }

    // Forms, tiling patterns and Type 3 fonts have resources of their own.
    void mendHolder(QPDFObjectHandle holder, int depth)
    {
        auto dict = holder.isStream() ? holder.getDict() : holder;
        if (!dict.isDictionary() || !dict.hasKey("/Resources"))
            return;
        const bool indirect = holder.isIndirect();
        if (indirect && !m_open.insert(holder.getObjGen()).second)
            return;
        auto resources = dict.getKey("/Resources");
        if (!usable(resources))
            dict.replaceKey("/Resources", QPDFObjectHandle::newDictionary());
        else
            mend(resources, depth + 1);
        if (indirect)
            m_open.erase(holder.getObjGen());
    }

    std::set<QPDFObjGen> m_nodes; // the catalog and the page tree
    std::set<QPDFObjGen> m_done;  // dictionaries already mended
    std::set<QPDFObjGen> m_open;  // holders whose resources are being mended
};
} // namespace

void mendPageResources(QPDF &q)
{
    bestEffort([&] {
        ResourceMender mender(q);
        // A page that can't be mended is left as it is; the copy guards
        // against the worst.
        for (auto &page : QPDFPageDocumentHelper(q).getAllPages())
            bestEffort([&] { mender.mendPage(page); });
    });
}

std::map<QPDFObjGen, int> pageIndexMap(QPDF &q)
{
    std::map<QPDFObjGen, int> map;
    int index = 0;
    for (auto &page : QPDFPageDocumentHelper(q).getAllPages())
        map.emplace(page.getObjectHandle().getObjGen(), index++);
    return map;
}

} // namespace qpdfsupport
