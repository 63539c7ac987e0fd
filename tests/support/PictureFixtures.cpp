#include "PictureFixtures.h"
#include "QpdfBytes.h"

#include "Fixtures.h"

#include <qpdf/Buffer.hh>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFWriter.hh>

#include <poppler-qt6.h>

#include <QCryptographicHash>
#include <QDir>
#include <QPainter>
#include <QStandardPaths>

#include <cmath>
#include <functional>
#include <set>

namespace Fixtures {

namespace {

struct Random {
    quint32 state;
    explicit Random(quint32 seed) : state(seed * 2654435761u + 1u) {}
    quint32 next()
    {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        return state;
    }
    double unit() { return (next() & 0xFFFFFF) / double(0x1000000); }
};

std::string bytes(const QByteArray &data) { return std::string(data.constData(), size_t(data.size())); }

QByteArray packed(const QImage &image, int channels)
{
    QByteArray out;
    out.reserve(qsizetype(image.width()) * image.height() * channels);
    for (int y = 0; y < image.height(); ++y)
        out.append(reinterpret_cast<const char *>(image.constScanLine(y)),
                   qsizetype(image.width()) * channels);
    return out;
}

QByteArray oneBit(const QImage &gray)
{
    QByteArray out;
    const int rowBytes = (gray.width() + 7) / 8;
    for (int y = 0; y < gray.height(); ++y) {
        QByteArray row(rowBytes, '\0');
        const uchar *line = gray.constScanLine(y);
        for (int x = 0; x < gray.width(); ++x)
            if (line[x] > 128)
                row[x / 8] = char(row[x / 8] | (0x80 >> (x % 8)));
        out.append(row);
    }
    return out;
}

QPDFObjectHandle name(const char *n) { return QPDFObjectHandle::newName(n); }

std::string num(double v) { return QString::number(v, 'f', 3).toStdString(); }

QByteArray writePDF(QPDF &q)
{
    return Fixtures::bytesOf(q);
}

QPDFObjectHandle helvetica(QPDF &q)
{
    return q.makeIndirectObject(QPDFObjectHandle::parse(
        "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /Encoding /WinAnsiEncoding >>"));
}

// The image dictionary entries and samples of one picture.
struct Made {
    QPDFObjectHandle dict;
    QByteArray data;
    bool jpeg = false;
    std::string inlineSpace; // for inline images
};

Made make(QPDF &q, const Picture &p)
{
    Made m;
    m.dict = QPDFObjectHandle::newDictionary();
    auto set = [&](const char *key, QPDFObjectHandle v) { m.dict.replaceKey(key, v); };
    set("/Type", name("/XObject"));
    set("/Subtype", name("/Image"));
    set("/Width", QPDFObjectHandle::newInteger(p.pixels.width()));
    set("/Height", QPDFObjectHandle::newInteger(p.pixels.height()));
    set("/BitsPerComponent", QPDFObjectHandle::newInteger(8));
    const QImage photo = p.kind == Picture::Kind::Chart ? chart(p.pixels)
                                                        : naturalPhoto(p.pixels, p.seed);
    const QImage gray = photo.convertToFormat(QImage::Format_Grayscale8);
    using K = Picture::Kind;
    switch (p.kind) {
    case K::Jpeg:
        m.data = encode(photo, "JPEG", p.quality), m.jpeg = true;
        set("/ColorSpace", name("/DeviceRGB"));
        break;
    case K::JpegGray:
        m.data = encode(gray, "JPEG", p.quality), m.jpeg = true;
        set("/ColorSpace", name("/DeviceGray"));
        break;
    case K::Rgb:
    case K::Chart:
        m.data = packed(photo.convertToFormat(QImage::Format_RGB888), 3);
        set("/ColorSpace", name("/DeviceRGB"));
        m.inlineSpace = "/RGB";
        break;
    case K::Gray:
        m.data = packed(gray, 1);
        set("/ColorSpace", name("/DeviceGray"));
        m.inlineSpace = "/G";
        break;
    case K::Decode:
        m.data = packed(gray, 1);
        set("/ColorSpace", name("/DeviceGray"));
        set("/Decode", QPDFObjectHandle::parse("[1 0]"));
        break;
    case K::Indexed: {
        std::string palette;
        for (int i = 0; i < 256; ++i)
            palette += char(i), palette += char(255 - i), palette += char((i * 7) & 255);
        auto space = QPDFObjectHandle::newArray();
        space.appendItem(name("/Indexed"));
        space.appendItem(name("/DeviceRGB"));
        space.appendItem(QPDFObjectHandle::newInteger(255));
        space.appendItem(QPDFObjectHandle::newString(palette));
        set("/ColorSpace", space);
        m.data = packed(gray, 1);
        break;
    }
    case K::Gray16: {
        set("/BitsPerComponent", QPDFObjectHandle::newInteger(16));
        set("/ColorSpace", name("/DeviceGray"));
        for (int y = 0; y < gray.height(); ++y)
            for (int x = 0; x < gray.width(); ++x) {
                const uchar v = gray.constScanLine(y)[x];
                m.data.append(char(v)).append(char(v ^ 0x5A));
            }
        break;
    }
    case K::ImageMask:
        m.dict.removeKey("/BitsPerComponent");
        set("/ImageMask", QPDFObjectHandle::newBool(true));
        m.data = oneBit(gray);
        break;
    case K::OneBit:
        set("/BitsPerComponent", QPDFObjectHandle::newInteger(1));
        set("/ColorSpace", name("/DeviceGray"));
        m.data = oneBit(gray);
        break;
    case K::Cmyk: {
        set("/ColorSpace", name("/DeviceCMYK"));
        const QImage rgb = photo.convertToFormat(QImage::Format_RGB888);
        for (int y = 0; y < rgb.height(); ++y)
            for (int x = 0; x < rgb.width(); ++x) {
                const uchar *s = rgb.constScanLine(y) + x * 3;
                m.data.append(char(255 - s[0])).append(char(255 - s[1])).append(char(255 - s[2])).append('\0');
            }
        break;
    }
    }
    if (p.softMask) {
        QByteArray alpha;
        for (int y = 0; y < p.pixels.height(); ++y)
            for (int x = 0; x < p.pixels.width(); ++x)
                alpha.append(char((x * 255) / std::max(1, p.pixels.width() - 1)));
        auto mask = QPDFObjectHandle::newStream(&q, bytes(alpha));
        mask.getDict().replaceKey("/Type", name("/XObject"));
        mask.getDict().replaceKey("/Subtype", name("/Image"));
        mask.getDict().replaceKey("/Width", QPDFObjectHandle::newInteger(p.pixels.width()));
        mask.getDict().replaceKey("/Height", QPDFObjectHandle::newInteger(p.pixels.height()));
        mask.getDict().replaceKey("/BitsPerComponent", QPDFObjectHandle::newInteger(8));
        mask.getDict().replaceKey("/ColorSpace", name("/DeviceGray"));
        set("/SMask", mask);
    }
    return m;
}

std::string escaped(const QString &s)
{
    std::string out;
    for (char c : s.toLatin1().toStdString()) {
        if (c == '(' || c == ')' || c == '\\')
            out.push_back('\\');
        out.push_back(c);
    }
    return out;
}

} // namespace

QImage naturalPhoto(QSize size, quint32 seed)
{
    QImage image(size, QImage::Format_RGB888);
    Random random(seed);
    // Soft colour fields: a coarse grid of colours, blended smoothly.
    constexpr int gw = 7, gh = 9;
    double grid[gh][gw][3];
    for (auto &row : grid)
        for (auto &cell : row)
            for (double &c : cell)
                c = 40 + random.unit() * 180;
    const double fx = 0.02 + random.unit() * 0.05, fy = 0.015 + random.unit() * 0.04;
    const double phase = random.unit() * 6.28;
    for (int y = 0; y < size.height(); ++y) {
        uchar *line = image.scanLine(y);
        const double gyf = double(y) / std::max(1, size.height() - 1) * (gh - 1);
        const int gy = std::min(int(gyf), gh - 2);
        double ty = gyf - gy;
        ty = ty * ty * (3 - 2 * ty);
        const double sky = 1.0 - double(y) / size.height();
        for (int x = 0; x < size.width(); ++x) {
            const double gxf = double(x) / std::max(1, size.width() - 1) * (gw - 1);
            const int gx = std::min(int(gxf), gw - 2);
            double tx = gxf - gx;
            tx = tx * tx * (3 - 2 * tx);
            const double ripple = 18 * std::sin(x * fx + y * fy + phase)
                                + 9 * std::sin(x * fy * 2.3 - y * fx * 1.7);
            const double noise = (random.unit() + random.unit() - 1.0) * 24;
            for (int c = 0; c < 3; ++c) {
                const double top = grid[gy][gx][c] * (1 - tx) + grid[gy][gx + 1][c] * tx;
                const double bottom = grid[gy + 1][gx][c] * (1 - tx) + grid[gy + 1][gx + 1][c] * tx;
                double v = top * (1 - ty) + bottom * ty + ripple + noise;
                v += sky * (c == 2 ? 40 : 15);
                line[x * 3 + c] = uchar(std::clamp(v, 0.0, 255.0));
            }
        }
    }
    return image;
}

QImage chart(QSize size)
{
    QImage image(size, QImage::Format_RGB888);
    image.fill(Qt::white);
    QPainter painter(&image);
    const int w = size.width(), h = size.height();
    painter.setPen(QPen(Qt::black, std::max(1, w / 300)));
    painter.drawLine(w / 10, h * 9 / 10, w * 9 / 10, h * 9 / 10);
    painter.drawLine(w / 10, h / 10, w / 10, h * 9 / 10);
    const QColor colours[] = {QColor(51, 102, 204), QColor(220, 57, 18), QColor(255, 153, 0),
                              QColor(16, 150, 24)};
    for (int i = 0; i < 8; ++i) {
        const int bar = h * (2 + (i * 5) % 7) / 10;
        painter.fillRect(QRect(w / 10 + (i + 1) * w / 12, h * 9 / 10 - bar * 8 / 10, w / 20,
                               bar * 8 / 10),
                         colours[i % 4]);
    }
    return image;
}

QByteArray picturePDF(const PictureDoc &layout)
{
    QPDF q;
    q.emptyPDF();
    auto font = helvetica(q);
    std::vector<Made> made;
    std::vector<QPDFObjectHandle> xobjects;
    for (const auto &p : layout.pictures) {
        made.push_back(make(q, p));
        auto stream = QPDFObjectHandle::newStream(&q);
        if (!p.inlineImage) {
            stream.replaceStreamData(bytes(made.back().data),
                                     made.back().jpeg ? name("/DCTDecode") : QPDFObjectHandle::newNull(),
                                     QPDFObjectHandle::newNull());
            for (auto &key : made.back().dict.getKeys())
                stream.getDict().replaceKey(key, made.back().dict.getKey(key));
        }
        xobjects.push_back(stream);
    }
    QPDFPageDocumentHelper pages(q);
    for (int i = 0; i < layout.pages; ++i) {
        auto page = QPDFObjectHandle::newDictionary();
        page.replaceKey("/Type", name("/Page"));
        page.replaceKey("/MediaBox", QPDFObjectHandle::newArray(QPDFObjectHandle::Rectangle(
                                         0, 0, layout.pageSize.width(), layout.pageSize.height())));
        if (layout.rotate)
            page.replaceKey("/Rotate", QPDFObjectHandle::newInteger(layout.rotate));
        auto resources = QPDFObjectHandle::parse("<< /Font << >> /XObject << >> >>");
        resources.getKey("/Font").replaceKey("/F1", font);
        std::string content;
        int formNumber = 0;
        for (const auto &placement : layout.placements) {
            if (placement.page != i)
                continue;
            const Picture &p = layout.pictures.at(placement.picture);
            const QRectF r = placement.rect;
            const std::string key = "/Im" + std::to_string(placement.picture);
            if (p.inlineImage) {
                const Made &m = made[size_t(placement.picture)];
                content += "q " + num(r.width()) + " 0 0 " + num(r.height()) + " " + num(r.left())
                         + " " + num(r.top()) + " cm BI /W " + std::to_string(p.pixels.width())
                         + " /H " + std::to_string(p.pixels.height()) + " /CS " + m.inlineSpace
                         + " /BPC 8 /F /AHx ID\n" + m.data.toHex().toStdString() + ">\nEI Q\n";
                continue;
            }
            resources.getKey("/XObject").replaceKey(key, xobjects[size_t(placement.picture)]);
            if (placement.throughForm) {
                // The form doubles the picture; the page halves the form.
                auto form = QPDFObjectHandle::newStream(&q, key + " Do\n");
                auto dict = form.getDict();
                dict.replaceKey("/Type", name("/XObject"));
                dict.replaceKey("/Subtype", name("/Form"));
                dict.replaceKey("/BBox", QPDFObjectHandle::parse("[0 0 1 1]"));
                auto matrix = QPDFObjectHandle::newArray();
                for (double v : {2 * r.width(), 0.0, 0.0, 2 * r.height(), 0.0, 0.0})
                    matrix.appendItem(QPDFObjectHandle::newReal(v, 3));
                dict.replaceKey("/Matrix", matrix);
                auto formResources = QPDFObjectHandle::parse("<< /XObject << >> >>");
                formResources.getKey("/XObject").replaceKey(key, xobjects[size_t(placement.picture)]);
                dict.replaceKey("/Resources", formResources);
                const std::string formKey = "/Fm" + std::to_string(formNumber++);
                resources.getKey("/XObject").replaceKey(formKey, form);
                content += "q 0.5 0 0 0.5 " + num(r.left()) + " " + num(r.top()) + " cm " + formKey
                         + " Do Q\n";
            } else {
                content += "q " + num(r.width()) + " 0 0 " + num(r.height()) + " " + num(r.left())
                         + " " + num(r.top()) + " cm " + key + " Do Q\n";
            }
        }
        content += "BT /F1 24 Tf 72 " + num(layout.pageSize.height() - 60) + " Td ("
                 + escaped(QStringLiteral("%1 %2").arg(layout.textPrefix).arg(i + 1)) + ") Tj ET\n";
        page.replaceKey("/Resources", resources);
        page.replaceKey("/Contents", QPDFObjectHandle::newStream(&q, content));
        pages.addPage(QPDFPageObjectHelper(q.makeIndirectObject(page)), false);
    }
    if (!layout.title.isEmpty()) {
        auto info = q.makeIndirectObject(QPDFObjectHandle::newDictionary());
        info.replaceKey("/Title", QPDFObjectHandle::newUnicodeString(layout.title.toStdString()));
        q.getTrailer().replaceKey("/Info", info);
    }
    return writePDF(q);
}

QByteArray photoPDF(int pages, QSize pixels, int quality)
{
    PictureDoc layout;
    layout.pages = pages;
    for (int i = 0; i < pages; ++i) {
        layout.pictures.append({Picture::Kind::Jpeg, pixels, quint32(100 + i), quality});
        layout.placements.append({i, i, QRectF(0, 0, 612, 792)});
    }
    return picturePDF(layout);
}

QRectF greenSquare() { return QRectF(400, 600, 60, 60); }
QRectF hiddenRedSquare() { return QRectF(400, 480, 60, 60); }

QByteArray annotatedPDF()
{
    QPDF q;
    q.emptyPDF();
    auto font = helvetica(q);
    QPDFPageDocumentHelper pages(q);
    for (int i = 0; i < 2; ++i) {
        auto page = QPDFObjectHandle::parse("<< /Type /Page /MediaBox [0 0 612 792] >>");
        auto resources = QPDFObjectHandle::parse("<< /Font << >> >>");
        resources.getKey("/Font").replaceKey("/F1", font);
        page.replaceKey("/Resources", resources);
        page.replaceKey("/Contents",
                        QPDFObjectHandle::newStream(&q, "BT /F1 24 Tf 72 720 Td (Form " +
                                                            std::to_string(i + 1) + ") Tj ET\n"));
        pages.addPage(QPDFPageObjectHelper(q.makeIndirectObject(page)), false);
    }
    auto all = pages.getAllPages();
    auto first = all[0].getObjectHandle();
    auto annots = QPDFObjectHandle::newArray();

    auto appearance = [&](const std::string &content, double w, double h) {
        auto stream = QPDFObjectHandle::newStream(&q, content);
        auto dict = stream.getDict();
        dict.replaceKey("/Type", name("/XObject"));
        dict.replaceKey("/Subtype", name("/Form"));
        dict.replaceKey("/BBox", QPDFObjectHandle::newArray(QPDFObjectHandle::Rectangle(0, 0, w, h)));
        auto res = QPDFObjectHandle::parse("<< /Font << >> >>");
        res.getKey("/Font").replaceKey("/Helv", font);
        dict.replaceKey("/Resources", res);
        return stream;
    };
    auto field = [&](const QString &title, const QString &value, double y, bool withLook) {
        auto f = QPDFObjectHandle::parse("<< /Type /Annot /Subtype /Widget /FT /Tx /F 4 "
                                         "/DA (/Helv 12 Tf 0 g) >>");
        f.replaceKey("/T", QPDFObjectHandle::newString(title.toStdString()));
        f.replaceKey("/V", QPDFObjectHandle::newString(value.toStdString()));
        f.replaceKey("/Rect", QPDFObjectHandle::newArray(QPDFObjectHandle::Rectangle(72, y, 300, y + 24)));
        f.replaceKey("/P", first);
        const std::string look = withLook ? "/Tx BMC q BT /Helv 12 Tf 0 g 2 7 Td (" +
                                                escaped(value) + ") Tj ET Q EMC\n"
                                          : "/Tx BMC EMC\n";
        auto ap = QPDFObjectHandle::newDictionary();
        ap.replaceKey("/N", appearance(look, 228, 24));
        f.replaceKey("/AP", ap);
        return q.makeIndirectObject(f);
    };
    auto filled = field(QStringLiteral("name"), AnnotatedTexts::filled(), 600, true);
    auto generated = field(QStringLiteral("city"), AnnotatedTexts::generated(), 550, false);
    annots.appendItem(filled);
    annots.appendItem(generated);

    auto square = [&](const QRectF &r, const std::string &colour, int flags) {
        auto a = QPDFObjectHandle::parse("<< /Type /Annot /Subtype /Square >>");
        a.replaceKey("/Rect", QPDFObjectHandle::newArray(QPDFObjectHandle::Rectangle(
                                  r.left(), r.top(), r.right(), r.bottom())));
        a.replaceKey("/F", QPDFObjectHandle::newInteger(flags));
        auto ap = QPDFObjectHandle::newDictionary();
        ap.replaceKey("/N", appearance(colour + " rg 0 0 " + num(r.width()) + " " +
                                           num(r.height()) + " re f\n",
                                       r.width(), r.height()));
        a.replaceKey("/AP", ap);
        return q.makeIndirectObject(a);
    };
    annots.appendItem(square(greenSquare(), "0 1 0", 4));
    annots.appendItem(square(hiddenRedSquare(), "1 0 0", 2 /* hidden */));

    auto link = QPDFObjectHandle::parse("<< /Type /Annot /Subtype /Link /Rect [72 400 200 420] "
                                        "/Border [0 0 0] >>");
    auto dest = QPDFObjectHandle::newArray();
    dest.appendItem(all[1].getObjectHandle());
    dest.appendItem(name("/Fit"));
    link.replaceKey("/Dest", dest);
    annots.appendItem(q.makeIndirectObject(link));
    first.replaceKey("/Annots", annots);

    auto form = QPDFObjectHandle::parse("<< /NeedAppearances true /DA (/Helv 12 Tf 0 g) >>");
    auto fields = QPDFObjectHandle::newArray();
    fields.appendItem(filled);
    fields.appendItem(generated);
    form.replaceKey("/Fields", fields);
    auto dr = QPDFObjectHandle::parse("<< /Font << >> >>");
    dr.getKey("/Font").replaceKey("/Helv", font);
    form.replaceKey("/DR", dr);
    q.getRoot().replaceKey("/AcroForm", form);
    return writePDF(q);
}

QList<ImageInfo> imagesOf(const QByteArray &pdf)
{
    QList<ImageInfo> result;
    QPDF q;
    q.setSuppressWarnings(true);
    q.processMemoryFile("images", pdf.constData(), size_t(pdf.size()));
    std::set<QPDFObjGen> seen;
    for (auto &page : QPDFPageDocumentHelper(q).getAllPages()) {
        // Stencil masks count as pictures here too.
        page.forEachXObject(true, [&](QPDFObjectHandle &image, QPDFObjectHandle &, const std::string &) {
            if (!seen.insert(image.getObjGen()).second)
                return;
            auto dict = image.getDict();
            ImageInfo info;
            info.width = int(dict.getKey("/Width").getIntValue());
            info.height = int(dict.getKey("/Height").getIntValue());
            info.bitsPerComponent = dict.getKey("/BitsPerComponent").isInteger()
                                        ? int(dict.getKey("/BitsPerComponent").getIntValue())
                                        : 0;
            auto filter = dict.getKey("/Filter");
            if (filter.isName())
                info.filter = QString::fromStdString(filter.getName());
            else if (filter.isArray() && filter.getArrayNItems() > 0)
                info.filter = QString::fromStdString(filter.getArrayItem(0).getName());
            auto raw = image.getRawStreamData();
            const QByteArray stored(reinterpret_cast<const char *>(raw->getBuffer()),
                                    qsizetype(raw->getSize()));
            info.storedBytes = stored.size();
            // Decoded where qpdf can, so that recompressing Flate doesn't count as a change.
            QByteArray samples = stored;
            try {
                if (info.filter != QLatin1String("/DCTDecode")) {
                    auto decoded = image.getStreamData(qpdf_dl_generalized);
                    samples = QByteArray(reinterpret_cast<const char *>(decoded->getBuffer()),
                                         qsizetype(decoded->getSize()));
                }
            } catch (...) {
            }
            info.storedHash = QCryptographicHash::hash(samples, QCryptographicHash::Sha1);
            auto mask = dict.getKey("/SMask");
            if (mask.isStream()) {
                info.maskWidth = int(mask.getDict().getKey("/Width").getIntValue());
                info.maskHeight = int(mask.getDict().getKey("/Height").getIntValue());
            }
            result.append(info);
        }, [](QPDFObjectHandle x) { return x.isImage(false); });
    }
    return result;
}

QImage popplerRender(const QByteArray &pdf, int page, double dpi)
{
    auto doc = Poppler::Document::loadFromData(pdf);
    if (!doc || doc->isLocked() || page < 1 || page > doc->numPages())
        return {};
    doc->setRenderHint(Poppler::Document::Antialiasing, true);
    doc->setRenderHint(Poppler::Document::TextAntialiasing, true);
    auto p = doc->page(page - 1);
    return p ? p->renderToImage(dpi, dpi).convertToFormat(QImage::Format_RGB32) : QImage();
}

QList<LinkInfo> popplerLinks(const QByteArray &pdf, int page)
{
    QList<LinkInfo> result;
    auto doc = Poppler::Document::loadFromData(pdf);
    if (!doc || doc->isLocked() || page < 1 || page > doc->numPages())
        return result;
    auto p = doc->page(page - 1);
    for (const auto &link : p->links()) {
        LinkInfo info;
        info.area = link->linkArea().normalized();
        if (link->linkType() == Poppler::Link::Goto)
            info.targetPage = static_cast<const Poppler::LinkGoto *>(link.get())->destination().pageNumber();
        else if (link->linkType() == Poppler::Link::Browse)
            info.url = static_cast<const Poppler::LinkBrowse *>(link.get())->url();
        result.append(info);
    }
    return result;
}

QStringList popplerOutline(const QByteArray &pdf)
{
    QStringList lines;
    auto doc = Poppler::Document::loadFromData(pdf);
    if (!doc || doc->isLocked())
        return lines;
    std::function<void(const QVector<Poppler::OutlineItem> &, int)> walk =
        [&](const QVector<Poppler::OutlineItem> &items, int depth) {
            for (const auto &item : items) {
                const auto dest = item.destination();
                lines << QString(depth * 2, u' ')
                             + QStringLiteral("%1|%2|%3")
                                   .arg(item.name())
                                   .arg(dest ? dest->pageNumber() : 0)
                                   .arg(item.isOpen() ? QStringLiteral("open") : QStringLiteral("closed"));
                walk(item.children(), depth + 1);
            }
        };
    walk(doc->outline(), 0);
    return lines;
}

PageView popplerPage(const QByteArray &pdf, int page)
{
    PageView view;
    auto doc = Poppler::Document::loadFromData(pdf);
    if (!doc || doc->isLocked() || page < 1 || page > doc->numPages())
        return view;
    auto p = doc->page(page - 1);
    switch (p->orientation()) {
    case Poppler::Page::Landscape:
        view.rotation = 90;
        break;
    case Poppler::Page::UpsideDown:
        view.rotation = 180;
        break;
    case Poppler::Page::Seascape:
        view.rotation = 270;
        break;
    default:
        view.rotation = 0;
    }
    view.size = p->pageSizeF();
    return view;
}

double meanDifference(const QImage &a, const QImage &b)
{
    if (a.size() != b.size() || a.isNull())
        return -1;
    const QImage x = a.convertToFormat(QImage::Format_RGB32);
    const QImage y = b.convertToFormat(QImage::Format_RGB32);
    double total = 0;
    for (int row = 0; row < x.height(); ++row) {
        const auto *p = reinterpret_cast<const QRgb *>(x.constScanLine(row));
        const auto *q = reinterpret_cast<const QRgb *>(y.constScanLine(row));
        for (int i = 0; i < x.width(); ++i)
            total += std::abs(qRed(p[i]) - qRed(q[i])) + std::abs(qGreen(p[i]) - qGreen(q[i]))
                   + std::abs(qBlue(p[i]) - qBlue(q[i]));
    }
    return total / (3.0 * x.width() * x.height());
}

QStringList temporaryFiles(const QString &folder)
{
    return QDir(folder).entryList({QStringLiteral(".quirebook-*")},
                                  QDir::Files | QDir::Hidden | QDir::System);
}

bool qpdfCheck(const QString &path, QString *output)
{
    if (QStandardPaths::findExecutable(QStringLiteral("qpdf")).isEmpty())
        return true;
    const auto result = runProgram(QStringLiteral("qpdf"), {QStringLiteral("--check"), path});
    if (output)
        *output = result.out + result.err;
    return result.exitCode == 0 && !result.crashed;
}

} // namespace Fixtures
