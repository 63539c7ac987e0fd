#include "engine/internal/ImagePlacements.h"

#include <qpdf/QPDFPageObjectHelper.hh>

#include <cmath>
#include <cstring>

namespace {

constexpr int kMaxDepth = 24;

QTransform matrixOf(const std::vector<QPDFObjectHandle> &operands)
{
    if (operands.size() < 6)
        return {};
    double v[6];
    for (size_t i = 0; i < 6; ++i) {
        auto o = operands[operands.size() - 6 + i];
        if (!o.isNumber())
            return {};
        v[i] = o.getNumericValue();
        if (!std::isfinite(v[i]))
            return {};
    }
    return QTransform(v[0], v[1], v[2], v[3], v[4], v[5]);
}

QTransform formMatrix(QPDFObjectHandle form)
{
    auto m = form.getDict().getKey("/Matrix");
    if (!m.isArray() || m.getArrayNItems() != 6)
        return {};
    std::vector<QPDFObjectHandle> items;
    for (int i = 0; i < 6; ++i)
        items.push_back(m.getArrayItem(i));
    return matrixOf(items);
}

bool isImageStream(QPDFObjectHandle o)
{
    return o.isStream() && o.getDict().getKey("/Subtype").isNameAndEquals("/Image");
}

bool isFormStream(QPDFObjectHandle o)
{
    return o.isStream() && o.getDict().getKey("/Subtype").isNameAndEquals("/Form");
}

// True when the XObjects of these resources include a picture or a form.
bool drawsXObjects(QPDFObjectHandle resources)
{
    if (!resources.isDictionary())
        return false;
    auto xobjects = resources.getKey("/XObject");
    if (!xobjects.isDictionary())
        return false;
    for (auto &key : xobjects.getKeys()) {
        auto x = xobjects.getKey(key);
        if (isImageStream(x) || isFormStream(x))
            return true;
    }
    return false;
}

// A cheap look for the "BI" operator in decoded content, so that content
// without XObjects and without inline images needn't be parsed at all.
bool mayHaveInlineImage(const std::vector<QPDFObjectHandle> &streams)
{
    auto isSpace = [](char c) {
        return c == ' ' || c == '\n' || c == '\r' || c == '\t' || c == '\f' || c == '\0';
    };
    for (auto stream : streams) {
        std::shared_ptr<Buffer> data;
        try {
            data = stream.getStreamData(qpdf_dl_generalized);
        } catch (...) {
            return true; // let the parser decide
        }
        const char *p = reinterpret_cast<const char *>(data->getBuffer());
        const size_t n = data->getSize();
        for (size_t i = 0; i + 1 < n; ++i) {
            if (p[i] == 'B' && p[i + 1] == 'I' && (i == 0 || isSpace(p[i - 1])) &&
                (i + 2 == n || isSpace(p[i + 2])))
                return true;
        }
    }
    return false;
}

std::vector<QPDFObjectHandle> contentStreams(QPDFObjectHandle contents)
{
    std::vector<QPDFObjectHandle> streams;
    if (contents.isStream())
        streams.push_back(contents);
    else if (contents.isArray())
        for (int i = 0; i < contents.getArrayNItems(); ++i)
            if (contents.getArrayItem(i).isStream())
                streams.push_back(contents.getArrayItem(i));
    return streams;
}

} // namespace

// Follows q/Q/cm and Do through one content stream.
class ContentWalker : public QPDFObjectHandle::ParserCallbacks {
public:
    using Resolve = std::function<void(QPDFObjectHandle xobject, const QTransform &ctm)>;
    explicit ContentWalker(QPDFObjectHandle resources, Resolve resolve)
        : m_xobjects(resources.isDictionary() ? resources.getKey("/XObject")
                                              : QPDFObjectHandle::newNull())
        , m_resolve(std::move(resolve))
    {
    }
    bool largeInline = false;

    void handleObject(QPDFObjectHandle object) override
    {
        if (object.isInlineImage()) {
            if (object.getInlineImageValue().size() >= ImagePlacements::kLargeInline)
                largeInline = true;
            m_operands.clear();
            return;
        }
        if (!object.isOperator()) {
            if (m_operands.size() > 16) // only the last few matter
                m_operands.erase(m_operands.begin());
            m_operands.push_back(object);
            return;
        }
        const std::string op = object.getOperatorValue();
        if (op == "q") {
            if (m_stack.size() < 4096)
                m_stack.push_back(m_ctm);
        } else if (op == "Q") {
            if (!m_stack.empty()) {
                m_ctm = m_stack.back();
                m_stack.pop_back();
            }
        } else if (op == "cm") {
            m_ctm = matrixOf(m_operands) * m_ctm;
        } else if (op == "Do" && !m_operands.empty() && m_operands.back().isName() &&
                   m_xobjects.isDictionary()) {
            auto xobject = m_xobjects.getKey(m_operands.back().getName());
            if (xobject.isStream())
                m_resolve(xobject, m_ctm);
        }
        m_operands.clear();
    }
    void handleEOF() override {}

private:
    QPDFObjectHandle m_xobjects;
    Resolve m_resolve;
    std::vector<QPDFObjectHandle> m_operands;
    QTransform m_ctm;
    std::vector<QTransform> m_stack;
};

ImagePlacements::FormScan ImagePlacements::scanContent(QPDFObjectHandle content,
                                                       QPDFObjectHandle resources, bool isPage,
                                                       int depth)
{
    FormScan scan;
    try {
        markHidden(resources);
        auto streams = isPage ? contentStreams(content) : std::vector{content};
        if (!drawsXObjects(resources) && !mayHaveInlineImage(streams))
            return scan;
        ContentWalker walker(resources, [&](QPDFObjectHandle x, const QTransform &ctm) {
            if (isImageStream(x)) {
                scan.uses.push_back({x, ctm});
            } else if (isFormStream(x) && depth < kMaxDepth) {
                const FormScan &inner = scanForm(x, resources, depth + 1);
                const QTransform toHere = formMatrix(x) * ctm;
                for (const auto &use : inner.uses)
                    scan.uses.push_back({use.image, use.matrix * toHere});
                scan.largeInline = scan.largeInline || inner.largeInline;
                scan.failed = scan.failed || inner.failed;
            }
        });
        for (auto &stream : streams)
            stream.parseAsContents(&walker);
        scan.largeInline = scan.largeInline || walker.largeInline;
    } catch (...) {
        scan.failed = true;
    }
    return scan;
}

const ImagePlacements::FormScan &
ImagePlacements::scanForm(QPDFObjectHandle form, QPDFObjectHandle inheritedResources, int depth)
{
    const QPDFObjGen og = form.getObjGen();
    auto resources = form.getDict().getKey("/Resources");
    const bool own = resources.isDictionary();
    if (own) {
        if (auto found = m_forms.find(og); found != m_forms.end())
            return found->second;
    }
    if (!m_formsInProgress.insert(og).second)
        return m_empty; // a form that draws itself
    FormScan scan = scanContent(form, own ? resources : inheritedResources, false, depth);
    m_formsInProgress.erase(og);
    if (own)
        return m_forms[og] = std::move(scan);
    // Without resources of its own a form reads its caller's; keep the
    // result only until the caller has used it.
    m_scratch.push_back(std::move(scan));
    return m_scratch.back();
}

void ImagePlacements::markHidden(QPDFObjectHandle resources)
{
    if (!resources.isDictionary())
        return;
    if (resources.isIndirect() && !m_hiddenSeen.insert(resources.getObjGen()).second)
        return;
    auto each = [](QPDFObjectHandle dict, const std::function<void(QPDFObjectHandle)> &f) {
        if (dict.isDictionary())
            for (auto &key : dict.getKeys())
                f(dict.getKey(key));
    };
    each(resources.getKey("/Pattern"), [&](QPDFObjectHandle p) { markAllImagesUnder(p, 0); });
    each(resources.getKey("/Font"), [&](QPDFObjectHandle font) {
        if (font.isDictionary() && font.getKey("/Subtype").isNameAndEquals("/Type3"))
            markAllImagesUnder(font.getKey("/Resources"), 0);
    });
    each(resources.getKey("/ExtGState"), [&](QPDFObjectHandle gs) {
        if (gs.isDictionary() && gs.getKey("/SMask").isDictionary())
            markAllImagesUnder(gs.getKey("/SMask"), 0);
    });
}

void ImagePlacements::markAllImagesUnder(QPDFObjectHandle object, int depth)
{
    if (depth > 40)
        return;
    if (object.isIndirect() && !m_marked.insert(object.getObjGen()).second)
        return;
    if (isImageStream(object)) {
        auto &image = m_images[object.getObjGen()];
        image.stream = object;
        image.unmeasured = true;
        return;
    }
    QPDFObjectHandle dict = object.isStream() ? object.getDict() : object;
    if (dict.isDictionary()) {
        for (auto &key : dict.getKeys())
            if (key != "/Parent" && key != "/P" && key != "/Length")
                markAllImagesUnder(dict.getKey(key), depth + 1);
    } else if (dict.isArray()) {
        for (int i = 0; i < dict.getArrayNItems(); ++i)
            markAllImagesUnder(dict.getArrayItem(i), depth + 1);
    }
}

void ImagePlacements::record(const Use &use, int pageIndex)
{
    QPDFObjectHandle stream = use.image;
    auto dict = stream.getDict();
    auto &image = m_images[stream.getObjGen()];
    image.stream = stream;
    if (image.firstPage < 0)
        image.firstPage = pageIndex;
    for (const char *key : {"/SMask", "/Mask"})
        if (dict.getKey(key).isStream())
            m_masks.insert(dict.getKey(key).getObjGen());
    auto width = dict.getKey("/Width"), height = dict.getKey("/Height");
    if (!width.isInteger() || !height.isInteger() || width.getIntValue() < 1 ||
        height.getIntValue() < 1)
        return;
    // Where the unit square's sides end up: the picture's two axes.
    const double alongX = std::hypot(use.matrix.m11(), use.matrix.m12());
    const double alongY = std::hypot(use.matrix.m21(), use.matrix.m22());
    if (!std::isfinite(alongX) || !std::isfinite(alongY) || alongX < 0.01 || alongY < 0.01)
        return; // drawn degenerate: says nothing about its size
    const double ppp =
        std::max(alongX / double(width.getIntValue()), alongY / double(height.getIntValue()));
    image.pointsPerPixel = std::max(image.pointsPerPixel, ppp);
}

bool ImagePlacements::scanPage(QPDFPageObjectHelper page, int pageIndex)
{
    m_scratch.clear();
    auto resources = page.getAttribute("/Resources", false);
    auto contents = page.getObjectHandle().getKey("/Contents");
    FormScan scan = scanContent(contents, resources, true, 0);
    if (scan.failed) {
        // Can't tell the sizes here: leave every picture this page reaches.
        markAllImagesUnder(resources, 0);
        for (auto &use : scan.uses)
            m_images[use.image.getObjGen()].unmeasured = true;
    }
    for (const auto &use : scan.uses)
        record(use, pageIndex);
    m_scratch.clear();
    return !scan.largeInline;
}
