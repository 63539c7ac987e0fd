#include "support/PictureFixtures.h"

#include "support/Fixtures.h"

#include <qpdf/Buffer.hh>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>

#include <poppler-qt6.h>

#include <QCryptographicHash>
#include <QDir>
#include <QPainter>
#include <QPainterPath>
#include <QStandardPaths>

#include <cmath>
#include <functional>
#include <set>

using namespace Qt::StringLiterals;

namespace Fixtures {

namespace {

using H = QPDFObjectHandle;

std::string str(int v)
{
    return std::to_string(v);
}
std::string num(double v)
{
    return QString::number(v, 'f', 3).toStdString();
}

// Copies every entry of a dictionary written as text into `dict`.
void setAll(H dict, const std::string &entries)
{
    for (auto [key, value] : H::parse("<< " + entries + " >>").ditems())
        dict.replaceKey(key, value);
}

// A dictionary written as text, with `value` set as `key` in its dictionary `within`.
H with(const std::string &text, const char *within, const std::string &key, H value)
{
    auto dict = H::parse(text);
    dict.getKey(within).replaceKey(key, value);
    return dict;
}

// Adds a US Letter page.
void addPage(QPDF &q, H resources, const std::string &content)
{
    auto page = H::parse("<< /Type /Page /MediaBox [0 0 612 792] >>");
    page.replaceKey("/Resources", resources);
    page.replaceKey("/Contents", H::newStream(&q, content));
    QPDFPageDocumentHelper(q).addPage(QPDFPageObjectHelper(q.makeIndirectObject(page)), false);
}

H helvetica(QPDF &q)
{
    return q.makeIndirectObject(H::parse(
        "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /Encoding /WinAnsiEncoding >>"));
}

// A form XObject drawing `content` in a w × h box.
H form(QPDF &q, const std::string &content, double w, double h, H resources)
{
    auto stream = H::newStream(&q, content);
    setAll(stream.getDict(), "/Type /XObject /Subtype /Form");
    stream.getDict().replaceKey("/BBox", H::newArray(H::Rectangle(0, 0, w, h)));
    stream.getDict().replaceKey("/Resources", resources);
    return stream;
}

QByteArray oneBit(const QImage &gray)
{
    QByteArray out;
    for (int y = 0; y < gray.height(); ++y) {
        QByteArray row((gray.width() + 7) / 8, '\0');
        for (int x = 0; x < gray.width(); ++x)
            if (gray.constScanLine(y)[x] > 128)
                row[x / 8] = char(row[x / 8] | (0x80 >> (x % 8)));
        out.append(row);
    }
    return out;
}

// A picture's samples and image dictionary entries.
struct Made {
    QByteArray data;
    std::string entries;
    bool jpeg = false;
    std::string inlineSpace; // for inline images
    H mask;
};

Made make(QPDF &q, const Picture &p)
{
    using K = Picture::Kind;
    const QImage photo = p.kind == K::Chart ? chart(p.pixels) : naturalPhoto(p.pixels, p.seed);
    const QImage gray = photo.convertToFormat(QImage::Format_Grayscale8);
    const QImage rgb = photo.convertToFormat(QImage::Format_RGB888);
    const std::string size = "/Type /XObject /Subtype /Image /Width " + str(p.pixels.width()) +
                             " /Height " + str(p.pixels.height());
    Made m;
    std::string space = "/DeviceGray", bits = "8";
    switch (p.kind) {
    case K::Jpeg:
        m.data = encode(photo, "JPEG", p.quality), m.jpeg = true, space = "/DeviceRGB";
        break;
    case K::JpegGray: m.data = encode(gray, "JPEG", p.quality), m.jpeg = true; break;
    case K::Rgb:
    case K::Chart: m.data = packed(rgb, 3), space = "/DeviceRGB", m.inlineSpace = "/RGB"; break;
    case K::Gray: m.data = packed(gray, 1), m.inlineSpace = "/G"; break;
    case K::Decode: m.data = packed(gray, 1), space += " /Decode [1 0]"; break;
    case K::Indexed: {
        QByteArray palette;
        for (int i = 0; i < 256; ++i)
            palette.append(char(i)).append(char(255 - i)).append(char((i * 7) & 255));
        m.data = packed(gray, 1),
        space = "[/Indexed /DeviceRGB 255 <" + palette.toHex().toStdString() + ">]";
        break;
    }
    case K::Gray16:
        bits = "16";
        for (const char v : packed(gray, 1))
            m.data.append(v).append(char(v ^ 0x5A));
        break;
    case K::ImageMask: m.data = oneBit(gray); break;
    case K::OneBit: m.data = oneBit(gray), bits = "1"; break;
    case K::Cmyk: {
        const QByteArray s = packed(rgb, 3);
        for (qsizetype i = 0; i < s.size(); i += 3)
            m.data.append(char(~s[i])).append(char(~s[i + 1])).append(char(~s[i + 2])).append('\0');
        space = "/DeviceCMYK";
        break;
    }
    }
    m.entries =
        size + (p.kind == K::ImageMask ? " /ImageMask true"
                                       : " /BitsPerComponent " + bits + " /ColorSpace " + space);
    if (p.softMask) { // fades from left to right
        QByteArray alpha;
        for (int y = 0; y < p.pixels.height(); ++y)
            for (int x = 0; x < p.pixels.width(); ++x)
                alpha.append(char((x * 255) / std::max(1, p.pixels.width() - 1)));
        m.mask = H::newStream(&q, alpha.toStdString());
        setAll(m.mask.getDict(), size + " /BitsPerComponent 8 /ColorSpace /DeviceGray" +
                                     (p.matte ? " /Matte [0 0 0]" : ""));
    }
    return m;
}

template <typename Result> Result withPage(const QByteArray &pdf, int page, auto &&read)
{
    auto doc = Poppler::Document::loadFromData(pdf);
    if (!doc || doc->isLocked() || page < 1 || page > doc->numPages())
        return {};
    return read(*doc, *doc->page(page - 1));
}

} // namespace

QByteArray packed(const QImage &image, int channels)
{
    QByteArray out;
    for (int y = 0; y < image.height(); ++y)
        out.append(reinterpret_cast<const char *>(image.constScanLine(y)),
                   qsizetype(image.width()) * channels);
    return out;
}

QImage naturalPhoto(QSize size, quint32 seed)
{
    QImage image(size, QImage::Format_RGB888);
    quint32 state = seed * 2654435761u + 1u;
    const auto unit = [&state] { // xorshift: the same picture on every machine
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        return (state & 0xFFFFFF) / double(0x1000000);
    };
    // Soft colour fields: a coarse grid of colours, blended smoothly.
    constexpr int gw = 7, gh = 9;
    double grid[gh][gw][3];
    for (auto &row : grid)
        for (auto &cell : row)
            for (double &c : cell)
                c = 40 + unit() * 180;
    const double fx = 0.02 + unit() * 0.05, fy = 0.015 + unit() * 0.04;
    const double phase = unit() * 6.28;
    const auto smooth = [](double t) { return t * t * (3 - 2 * t); };
    for (int y = 0; y < size.height(); ++y) {
        uchar *line = image.scanLine(y);
        const double gyf = double(y) / std::max(1, size.height() - 1) * (gh - 1);
        const int gy = std::min(int(gyf), gh - 2);
        const double ty = smooth(gyf - gy), sky = 1.0 - double(y) / size.height();
        for (int x = 0; x < size.width(); ++x) {
            const double gxf = double(x) / std::max(1, size.width() - 1) * (gw - 1);
            const int gx = std::min(int(gxf), gw - 2);
            const double tx = smooth(gxf - gx);
            const double ripple =
                18 * std::sin(x * fx + y * fy + phase) + 9 * std::sin(x * fy * 2.3 - y * fx * 1.7);
            const double noise = (unit() + unit() - 1.0) * 24;
            for (int c = 0; c < 3; ++c) {
                const double top = grid[gy][gx][c] * (1 - tx) + grid[gy][gx + 1][c] * tx;
                const double bottom = grid[gy + 1][gx][c] * (1 - tx) + grid[gy + 1][gx + 1][c] * tx;
                const double v =
                    top * (1 - ty) + bottom * ty + ripple + noise + sky * (c == 2 ? 40 : 15);
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
        const int bar = h * (2 + (i * 5) % 7) / 10 * 8 / 10;
        painter.fillRect(QRect(w / 10 + (i + 1) * w / 12, h * 9 / 10 - bar, w / 20, bar),
                         colours[i % 4]);
    }
    return image;
}

QImage signaturePhoto()
{
    QImage photo(600, 300, QImage::Format_RGB32);
    photo.fill(QColor(188, 186, 180));
    QPainter painter(&photo);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(QColor(30, 30, 40), 9));
    QPainterPath curve({40, 250});
    curve.cubicTo(200, 0, 380, 300, 560, 50);
    painter.drawPath(curve);
    return photo;
}

QByteArray picturePDF(const PictureDoc &layout)
{
    QPDF q;
    q.emptyPDF();
    auto font = helvetica(q);
    std::vector<Made> made;
    std::vector<H> xobjects;
    for (const auto &p : layout.pictures) {
        made.push_back(make(q, p));
        auto stream = H::newStream(&q);
        if (!p.inlineImage) {
            stream.replaceStreamData(made.back().data.toStdString(),
                                     made.back().jpeg ? H::newName("/DCTDecode") : H::newNull(),
                                     H::newNull());
            setAll(stream.getDict(), made.back().entries);
            const H mask = p.maskOf >= 0 ? made.at(size_t(p.maskOf)).mask : made.back().mask;
            if (mask.isInitialized())
                stream.getDict().replaceKey("/SMask", mask);
        }
        xobjects.push_back(stream);
    }
    for (int i = 0; i < layout.pages; ++i) {
        auto resources = with("<< /Font << >> /XObject << >> >>", "/Font", "/F1", font);
        std::string content;
        int formNumber = 0;
        for (const auto &placement : layout.placements) {
            if (placement.page != i)
                continue;
            const Picture &p = layout.pictures.at(placement.picture);
            const QRectF r = placement.rect;
            const std::string key = "/Im" + str(placement.picture);
            const std::string cm = "q " + num(r.width()) + " 0 0 " + num(r.height()) + " " +
                                   num(r.left()) + " " + num(r.top()) + " cm ";
            const H picture = xobjects[size_t(placement.picture)];
            if (p.inlineImage) {
                const Made &m = made[size_t(placement.picture)];
                content += cm + "BI /W " + str(p.pixels.width()) + " /H " + str(p.pixels.height()) +
                           " /CS " + m.inlineSpace + " /BPC 8 /F /AHx ID\n" +
                           m.data.toHex().toStdString() + ">\nEI Q\n";
                continue;
            }
            resources.getKey("/XObject").replaceKey(key, picture);
            if (!placement.throughForm) {
                content += cm + key + " Do Q\n";
                continue;
            }
            // The form doubles the picture; the page halves the form.
            auto drawing = form(q, key + " Do\n", 1, 1,
                                with("<< /XObject << >> >>", "/XObject", key, picture));
            auto matrix = H::newArray();
            for (double v : {2 * r.width(), 0.0, 0.0, 2 * r.height(), 0.0, 0.0})
                matrix.appendItem(H::newReal(v, 3));
            drawing.getDict().replaceKey("/Matrix", matrix);
            const std::string formKey = "/Fm" + str(formNumber++);
            resources.getKey("/XObject").replaceKey(formKey, drawing);
            content += "q 0.5 0 0 0.5 " + num(r.left()) + " " + num(r.top()) + " cm " + formKey +
                       " Do Q\n";
        }
        addPage(q, resources,
                content + "BT /F1 24 Tf 72 732.000 Td (Page " + str(i + 1) + ") Tj ET\n");
    }
    return bytesOf(q);
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

QRectF greenSquare()
{
    return QRectF(400, 600, 60, 60);
}
QRectF hiddenRedSquare()
{
    return QRectF(400, 480, 60, 60);
}

QByteArray annotatedPDF()
{
    QPDF q;
    q.emptyPDF();
    auto font = helvetica(q);
    const auto fonts = [&font] { return with("<< /Font << >> >>", "/Font", "/Helv", font); };
    for (int i = 1; i <= 2; ++i)
        addPage(q, with("<< /Font << >> >>", "/Font", "/F1", font),
                "BT /F1 24 Tf 72 720 Td (Form " + str(i) + ") Tj ET\n");
    auto all = QPDFPageDocumentHelper(q).getAllPages();
    auto first = all[0].getObjectHandle();
    auto annots = H::newArray();
    const auto withLook = [&](H annotation, const std::string &look, double w, double h) {
        auto ap = H::newDictionary();
        ap.replaceKey("/N", form(q, look, w, h, fonts()));
        annotation.replaceKey("/AP", ap);
        annots.appendItem(q.makeIndirectObject(annotation));
        return annots.getArrayItem(annots.getArrayNItems() - 1);
    };
    const auto field = [&](const char *title, const QString &value, int y, bool drawn) {
        auto f =
            H::parse("<< /Type /Annot /Subtype /Widget /FT /Tx /F 4 /DA (/Helv 12 Tf 0 g) /T (" +
                     std::string(title) + ") /V (" + value.toStdString() + ") /Rect [72 " + str(y) +
                     " 300 " + str(y + 24) + "] >>");
        f.replaceKey("/P", first);
        const std::string look = drawn ? "/Tx BMC q BT /Helv 12 Tf 0 g 2 7 Td (" +
                                             value.toStdString() + ") Tj ET Q EMC\n"
                                       : "/Tx BMC EMC\n";
        return withLook(f, look, 228, 24);
    };
    auto fields = H::newArray();
    fields.appendItem(field("name", AnnotatedTexts::filled(), 600, true));
    fields.appendItem(field("city", AnnotatedTexts::generated(), 550, false));
    const auto square = [&](const QRectF &r, const std::string &colour, int flags) {
        auto a = H::parse("<< /Type /Annot /Subtype /Square /F " + str(flags) + " >>");
        a.replaceKey("/Rect", H::newArray(H::Rectangle(r.left(), r.top(), r.right(), r.bottom())));
        withLook(a, colour + " rg 0 0 " + num(r.width()) + " " + num(r.height()) + " re f\n",
                 r.width(), r.height());
    };
    square(greenSquare(), "0 1 0", 4);
    square(hiddenRedSquare(), "1 0 0", 2 /* hidden */);
    auto link = H::parse("<< /Type /Annot /Subtype /Link /Rect [72 400 200 420] /Border [0 0 0] "
                         "/Dest [null /Fit] >>");
    link.getKey("/Dest").setArrayItem(0, all[1].getObjectHandle());
    annots.appendItem(q.makeIndirectObject(link));
    first.replaceKey("/Annots", annots);

    auto acroForm = H::parse("<< /NeedAppearances true /DA (/Helv 12 Tf 0 g) >>");
    acroForm.replaceKey("/Fields", fields);
    acroForm.replaceKey("/DR", fonts());
    q.getRoot().replaceKey("/AcroForm", acroForm);
    return bytesOf(q);
}

QList<ImageInfo> imagesOf(const QByteArray &pdf)
{
    QList<ImageInfo> result;
    QPDF q;
    q.setSuppressWarnings(true);
    q.processMemoryFile("images", pdf.constData(), size_t(pdf.size()));
    std::set<QPDFObjGen> seen;
    const auto bytes = [](const std::shared_ptr<Buffer> &b) {
        return QByteArray(reinterpret_cast<const char *>(b->getBuffer()), qsizetype(b->getSize()));
    };
    for (auto &page : QPDFPageDocumentHelper(q).getAllPages()) {
        // Stencil masks count as pictures here too.
        page.forEachXObject(
            true,
            [&](H &image, H &, const std::string &) {
                if (!seen.insert(image.getObjGen()).second)
                    return;
                auto dict = image.getDict();
                ImageInfo info;
                info.width = int(dict.getKey("/Width").getIntValue());
                info.height = int(dict.getKey("/Height").getIntValue());
                if (dict.getKey("/BitsPerComponent").isInteger())
                    info.bitsPerComponent = int(dict.getKey("/BitsPerComponent").getIntValue());
                auto filter = dict.getKey("/Filter");
                if (filter.isArray() && filter.getArrayNItems() > 0)
                    filter = filter.getArrayItem(0);
                if (filter.isName())
                    info.filter = QString::fromStdString(filter.getName());
                auto space = dict.getKey("/ColorSpace");
                if (space.isName())
                    info.colourSpace = QString::fromStdString(space.getName());
                for (int i = 0; space.isArray() && i < std::min(2, space.getArrayNItems()); ++i)
                    if (space.getArrayItem(i).isName())
                        info.colourSpace += (info.colourSpace.isEmpty() ? "" : " ") +
                                            QString::fromStdString(space.getArrayItem(i).getName());
                if (space.isNull())
                    info.colourSpace = u"(none)"_s;
                if (dict.getKey("/Decode").isArray())
                    info.decode = QString::fromStdString(dict.getKey("/Decode").unparse());
                info.smaskInData = dict.getKey("/SMaskInData").isInteger() &&
                                   dict.getKey("/SMaskInData").getIntValue() != 0;
                // Decoded where qpdf can, so that recompressing Flate doesn't count as a change.
                QByteArray samples = bytes(image.getRawStreamData());
                try {
                    if (info.filter != QLatin1String("/DCTDecode"))
                        samples = bytes(image.getStreamData(qpdf_dl_generalized));
                } catch (...) {
                }
                info.storedHash = QCryptographicHash::hash(samples, QCryptographicHash::Sha1);
                if (auto mask = dict.getKey("/SMask"); mask.isStream()) {
                    info.maskWidth = int(mask.getDict().getKey("/Width").getIntValue());
                    info.maskHeight = int(mask.getDict().getKey("/Height").getIntValue());
                }
                result.append(info);
            },
            [](H x) { return x.isImage(false); });
    }
    return result;
}

QImage popplerRender(const QByteArray &pdf, int page, double dpi)
{
    return withPage<QImage>(pdf, page, [dpi](Poppler::Document &doc, Poppler::Page &p) {
        doc.setRenderHint(Poppler::Document::Antialiasing, true);
        doc.setRenderHint(Poppler::Document::TextAntialiasing, true);
        return p.renderToImage(dpi, dpi).convertToFormat(QImage::Format_RGB32);
    });
}

QList<LinkInfo> popplerLinks(const QByteArray &pdf, int page)
{
    return withPage<QList<LinkInfo>>(pdf, page, [](Poppler::Document &, Poppler::Page &p) {
        QList<LinkInfo> result;
        for (const auto &link : p.links()) {
            LinkInfo info;
            info.area = link->linkArea().normalized();
            info.internal = link->linkType() == Poppler::Link::Goto;
            if (info.internal)
                info.targetPage =
                    static_cast<const Poppler::LinkGoto *>(link.get())->destination().pageNumber();
            else if (link->linkType() == Poppler::Link::Browse)
                info.url = static_cast<const Poppler::LinkBrowse *>(link.get())->url();
            result.append(info);
        }
        return result;
    });
}

QList<QList<int>> popplerLinkTargets(const QByteArray &pdf)
{
    QList<QList<int>> result;
    auto doc = Poppler::Document::loadFromData(pdf);
    for (int page = 1; doc && !doc->isLocked() && page <= doc->numPages(); ++page) {
        result.append(QList<int>());
        for (const LinkInfo &link : popplerLinks(pdf, page))
            if (link.internal)
                result.last().append(link.targetPage);
    }
    return result;
}

QList<PageWord> popplerWords(const QByteArray &pdf, int page)
{
    return withPage<QList<PageWord>>(pdf, page, [](Poppler::Document &, Poppler::Page &p) {
        QList<PageWord> words;
        for (const auto &box : p.textList())
            words.append({box->text(), box->boundingBox()});
        return words;
    });
}

QList<QRectF> popplerFind(const QByteArray &pdf, int page, const QString &text)
{
    return withPage<QList<QRectF>>(
        pdf, page, [&text](Poppler::Document &, Poppler::Page &p) { return p.search(text); });
}

QStringList popplerOutline(const QByteArray &pdf)
{
    QStringList lines;
    auto doc = Poppler::Document::loadFromData(pdf);
    if (!doc || doc->isLocked())
        return lines;
    std::function<void(const QVector<Poppler::OutlineItem> &, int)> walk = [&](const auto &items,
                                                                               int depth) {
        for (const auto &item : items) {
            const auto dest = item.destination();
            lines << QString(depth * 2, u' ') + u"%1|%2|%3"_s.arg(item.name())
                                                    .arg(dest ? dest->pageNumber() : 0)
                                                    .arg(item.isOpen() ? u"open"_s : u"closed"_s);
            walk(item.children(), depth + 1);
        }
    };
    walk(doc->outline(), 0);
    return lines;
}

PageView popplerPage(const QByteArray &pdf, int page)
{
    return withPage<PageView>(pdf, page, [](Poppler::Document &, Poppler::Page &p) {
        static const QMap<Poppler::Page::Orientation, int> degrees{{Poppler::Page::Landscape, 90},
                                                                   {Poppler::Page::UpsideDown, 180},
                                                                   {Poppler::Page::Seascape, 270}};
        return PageView{degrees.value(p.orientation(), 0), p.pageSizeF()};
    });
}

double meanDifference(const QImage &a, const QImage &b)
{
    if (a.size() != b.size() || a.isNull())
        return -1;
    const QImage x = a.convertToFormat(QImage::Format_RGB32),
                 y = b.convertToFormat(QImage::Format_RGB32);
    double total = 0;
    for (int row = 0; row < x.height(); ++row) {
        const auto *p = reinterpret_cast<const QRgb *>(x.constScanLine(row));
        const auto *q = reinterpret_cast<const QRgb *>(y.constScanLine(row));
        for (int i = 0; i < x.width(); ++i)
            total += std::abs(qRed(p[i]) - qRed(q[i])) + std::abs(qGreen(p[i]) - qGreen(q[i])) +
                     std::abs(qBlue(p[i]) - qBlue(q[i]));
    }
    return total / (3.0 * x.width() * x.height());
}

QStringList temporaryFiles(const QString &folder)
{
    return QDir(folder).entryList({u".quirebook-*"_s}, QDir::Files | QDir::Hidden | QDir::System);
}

bool qpdfCheck(const QString &path, QString *output, const QString &password)
{
    if (QStandardPaths::findExecutable(u"qpdf"_s).isEmpty())
        return true;
    QStringList arguments{u"--check"_s, path};
    if (!password.isEmpty())
        arguments << u"--password="_s + password;
    const auto result = runProgram(u"qpdf"_s, arguments);
    if (output)
        *output = result.out + result.err;
    return result.exitCode == 0 && !result.crashed;
}

} // namespace Fixtures
