#include "engine/Placement.h"

#include "engine/internal/PDFOpsRebuild.h"

#include <qpdf/Buffer.hh>
#include <qpdf/Pl_Buffer.hh>
#include <qpdf/Pl_Flate.hh>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>

#include <QCryptographicHash>

#include <cmath>
#include <map>
#include <vector>

namespace {

QByteArray num(double v)
{
    return PDFOps::RebuildPage::number(v);
}

// Deflates rows as they come, so a big picture is never held uncompressed
// a second time.
class Deflater {
public:
    void write(const uchar *data, qsizetype size) { m_flate.write(data, size_t(size)); }
    std::string finish()
    {
        m_flate.finish();
        const auto buffer = m_buffer.getBufferSharedPointer();
        return std::string(reinterpret_cast<const char *>(buffer->getBuffer()), buffer->getSize());
    }

private:
    Pl_Buffer m_buffer{"stamp"};
    Pl_Flate m_flate{"stamp flate", &m_buffer, Pl_Flate::a_deflate};
};

QPDFObjectHandle imageStream(QPDF &q, QSize size, const char *colorSpace, std::string deflated)
{
    auto stream = QPDFObjectHandle::newStream(&q);
    stream.replaceStreamData(std::move(deflated), QPDFObjectHandle::newName("/FlateDecode"),
                             QPDFObjectHandle::newNull());
    auto dict = stream.getDict();
    dict.replaceKey("/Type", QPDFObjectHandle::newName("/XObject"));
    dict.replaceKey("/Subtype", QPDFObjectHandle::newName("/Image"));
    dict.replaceKey("/Width", QPDFObjectHandle::newInteger(size.width()));
    dict.replaceKey("/Height", QPDFObjectHandle::newInteger(size.height()));
    dict.replaceKey("/ColorSpace", QPDFObjectHandle::newName(colorSpace));
    dict.replaceKey("/BitsPerComponent", QPDFObjectHandle::newInteger(8));
    dict.replaceKey("/Interpolate", QPDFObjectHandle::newBool(true));
    return stream;
}

bool hasTransparency(const QImage &rgba)
{
    if (!rgba.hasAlphaChannel())
        return false;
    for (int y = 0; y < rgba.height(); ++y) {
        const uchar *line = rgba.constScanLine(y);
        for (int x = 0; x < rgba.width(); ++x)
            if (line[4 * x + 3] != 255)
                return true;
    }
    return false;
}

// The picture losslessly: RGB samples, and the alpha as a soft mask when
// some pixel isn't opaque. `rgba` is Format_RGBA8888 (not premultiplied).
QPDFObjectHandle makeImage(QPDF &q, const QImage &rgba)
{
    const int w = rgba.width();
    const bool transparent = hasTransparency(rgba);
    // Where nothing is drawn the colour is free: the ink's mean colour
    // there, rather than black, keeps a scaled-up stamp from a dark fringe.
    uchar fill[3] = {0, 0, 0};
    if (transparent) {
        quint64 sum[3] = {0, 0, 0}, weight = 0;
        for (int y = 0; y < rgba.height(); ++y) {
            const uchar *line = rgba.constScanLine(y);
            for (int x = 0; x < w; ++x) {
                const uchar a = line[4 * x + 3];
                for (int c = 0; c < 3; ++c)
                    sum[c] += quint64(line[4 * x + c]) * a;
                weight += a;
            }
        }
        for (int c = 0; c < 3; ++c)
            fill[c] = weight ? uchar(sum[c] / weight) : 0;
    }
    Deflater colour, alpha;
    QByteArray row(qsizetype(w) * 3, Qt::Uninitialized);
    QByteArray alphaRow(transparent ? w : 0, Qt::Uninitialized);
    for (int y = 0; y < rgba.height(); ++y) {
        const uchar *line = rgba.constScanLine(y);
        auto *out = reinterpret_cast<uchar *>(row.data());
        for (int x = 0; x < w; ++x) {
            const uchar *pixel = line[4 * x + 3] ? line + 4 * x : fill;
            out[3 * x] = pixel[0];
            out[3 * x + 1] = pixel[1];
            out[3 * x + 2] = pixel[2];
        }
        colour.write(out, row.size());
        if (transparent) {
            auto *a = reinterpret_cast<uchar *>(alphaRow.data());
            for (int x = 0; x < w; ++x)
                a[x] = line[4 * x + 3];
            alpha.write(a, alphaRow.size());
        }
    }
    auto image = imageStream(q, rgba.size(), "/DeviceRGB", colour.finish());
    if (transparent)
        image.getDict().replaceKey("/SMask",
                                   imageStream(q, rgba.size(), "/DeviceGray", alpha.finish()));
    return image;
}

// Each distinct picture becomes one image XObject of the new document,
// however many pages carry it. Copies of a QImage share its cache key;
// equal pictures made separately share the hash of their pixels.
class StampCache {
public:
    QPDFObjectHandle objectFor(QPDF &q, const QImage &image)
    {
        if (auto found = m_byKey.find(image.cacheKey()); found != m_byKey.end())
            return found->second;
        const QImage rgba = image.convertToFormat(QImage::Format_RGBA8888);
        QCryptographicHash hash(QCryptographicHash::Sha256);
        const qint32 size[2] = {rgba.width(), rgba.height()};
        hash.addData(QByteArrayView(reinterpret_cast<const char *>(size), sizeof size));
        for (int y = 0; y < rgba.height(); ++y)
            hash.addData(QByteArrayView(reinterpret_cast<const char *>(rgba.constScanLine(y)),
                                        qsizetype(rgba.width()) * 4));
        auto &object = m_byContent[hash.result()];
        if (!object.isInitialized())
            object = makeImage(q, rgba);
        m_byKey.emplace(image.cacheKey(), object);
        return object;
    }

private:
    std::map<qint64, QPDFObjectHandle> m_byKey;
    std::map<QByteArray, QPDFObjectHandle> m_byContent;
};

bool drawable(const Placement &placement)
{
    const QRectF r = placement.bounds.normalized();
    return !placement.image.isNull() && placement.pageIndex >= 0 && std::isfinite(r.x()) &&
           std::isfinite(r.y()) && std::isfinite(r.width()) && std::isfinite(r.height()) &&
           r.width() > 0 && r.height() > 0;
}

} // namespace

namespace PDFOps {

void flatten(PDFDocument &doc, const QList<Placement> &placements, const QString &destination,
             const Progress &progress, const IsCancelled &isCancelled)
{
    // Only placements that will show: without any, this is a plain rebuild.
    const int pages = doc.pageCount();
    std::map<int, std::vector<qsizetype>> onPage;
    for (qsizetype i = 0; i < placements.size(); ++i)
        if (drawable(placements[i]) && placements[i].pageIndex < pages)
            onPage[placements[i].pageIndex].push_back(i);

    StampCache stamps;
    auto hook = [&](RebuildPage &page) {
        const auto here = onPage.find(page.index);
        if (here == onPage.end())
            return;
        std::map<QPDFObjGen, QByteArray> names;
        QByteArray ops;
        for (const qsizetype i : here->second) {
            const Placement &placement = placements[i];
            const auto object = stamps.objectFor(page.document(), placement.image);
            QByteArray &name = names[object.getObjGen()];
            if (name.isEmpty())
                name = page.addResource("XObject", object);
            // The frame is the page as seen, so the bounds go in unchanged.
            const QRectF r = placement.bounds.normalized();
            ops += "q " + num(r.width()) + " 0 0 " + num(r.height()) + ' ' + num(r.x()) + ' ' +
                   num(r.y()) + " cm " + name + " Do Q\n";
        }
        page.append(ops);
    };
    rebuild(doc, destination, progress, isCancelled, onPage.empty() ? PageHook{} : hook);
}

} // namespace PDFOps
