#include "QpdfSupport.h"

#include <qpdf/QPDFPageDocumentHelper.hh>

#include <cmath>

namespace qpdfsupport {

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
        long long degrees = static_cast<long long>(value) % 360;
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

std::map<QPDFObjGen, int> pageIndexMap(QPDF &q)
{
    std::map<QPDFObjGen, int> map;
    int index = 0;
    for (auto &page : QPDFPageDocumentHelper(q).getAllPages())
        map.emplace(page.getObjectHandle().getObjGen(), index++);
    return map;
}

} // namespace qpdfsupport
