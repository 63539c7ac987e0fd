#include "support/Fixtures.h"

#include <qpdf/Buffer.hh>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFWriter.hh>

#include <libheif/heif.h>
#include <poppler-qt6.h>

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPainter>
#include <QProcess>
#include <QProcessEnvironment>

#include <functional>
#include <set>

using namespace Qt::StringLiterals;

namespace Fixtures {

namespace {
QPDFObjectHandle name(const char *n)
{
    return QPDFObjectHandle::newName(n);
}

// A PDF text string: UTF-16BE with a byte-order mark, so any script fits.
QPDFObjectHandle text(const QString &s)
{
    return QPDFObjectHandle::newUnicodeString(s.toStdString());
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

DocSpec numberedPages(int count, const QString &prefix)
{
    DocSpec layout;
    for (int i = 1; i <= count; ++i)
        layout.pages.append({u"%1 %2"_s.arg(prefix).arg(i), {612, 792}, 0, std::nullopt});
    return layout;
}

QByteArray makePDF(const DocSpec &layout, const WriteOptions &options)
{
    QPDF q;
    q.emptyPDF();
    auto font = q.makeIndirectObject(QPDFObjectHandle::parse(
        "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /Encoding /WinAnsiEncoding >>"));
    QPDFPageDocumentHelper pages(q);
    for (const auto &p : layout.pages) {
        auto page = QPDFObjectHandle::newDictionary();
        page.replaceKey("/Type", name("/Page"));
        page.replaceKey("/MediaBox", QPDFObjectHandle::newArray(QPDFObjectHandle::Rectangle(
                                         0, 0, p.size.width(), p.size.height())));
        if (p.crop)
            page.replaceKey("/CropBox",
                            QPDFObjectHandle::newArray(QPDFObjectHandle::Rectangle(
                                p.crop->left(), p.crop->top(), p.crop->right(), p.crop->bottom())));
        if (p.rotate)
            page.replaceKey("/Rotate", QPDFObjectHandle::newInteger(p.rotate));
        auto resources = QPDFObjectHandle::parse("<< /Font << >> >>");
        resources.getKey("/Font").replaceKey("/F1", font);
        page.replaceKey("/Resources", resources);
        const double x = p.crop ? p.crop->left() + 36 : 72;
        const double y = p.crop ? p.crop->bottom() - 60 : p.size.height() - 72;
        const std::string content = "BT /F1 24 Tf " + std::to_string(int(x)) + " " +
                                    std::to_string(int(y)) + " Td (" + escaped(p.text) +
                                    ") Tj ET\n";
        page.replaceKey("/Contents", QPDFObjectHandle::newStream(&q, content));
        pages.addPage(QPDFPageObjectHelper(q.makeIndirectObject(page)), false);
    }
    auto all = pages.getAllPages();

    for (const auto &link : layout.links) {
        auto annot = QPDFObjectHandle::parse(
            "<< /Type /Annot /Subtype /Link /Rect [72 600 300 640] /Border [0 0 0] >>");
        auto dest = QPDFObjectHandle::newArray();
        dest.appendItem(all.at(size_t(link.toPage)).getObjectHandle());
        dest.appendItem(name("/Fit"));
        annot.replaceKey("/Dest", dest);
        auto page = all.at(size_t(link.fromPage)).getObjectHandle();
        if (!page.hasKey("/Annots"))
            page.replaceKey("/Annots", QPDFObjectHandle::newArray());
        page.getKey("/Annots").appendItem(q.makeIndirectObject(annot));
    }

    if (!layout.outline.isEmpty()) {
        auto root = q.makeIndirectObject(QPDFObjectHandle::parse("<< /Type /Outlines >>"));
        std::function<int(QPDFObjectHandle, const QList<OutlineSpec> &)> build =
            [&](QPDFObjectHandle parent, const QList<OutlineSpec> &items) {
                QPDFObjectHandle previous;
                int count = 0;
                for (int i = 0; i < items.size(); ++i) {
                    auto item = q.makeIndirectObject(QPDFObjectHandle::newDictionary());
                    item.replaceKey("/Title", text(items[i].title));
                    item.replaceKey("/Parent", parent);
                    if (items[i].page >= 0) { // a negative page makes a label-only entry
                        auto dest = QPDFObjectHandle::newArray();
                        dest.appendItem(all.at(size_t(items[i].page)).getObjectHandle());
                        dest.appendItem(name("/XYZ"));
                        dest.appendItem(QPDFObjectHandle::newInteger(0));
                        dest.appendItem(QPDFObjectHandle::newInteger(700));
                        dest.appendItem(QPDFObjectHandle::newReal(2.0, 1));
                        item.replaceKey("/Dest", dest);
                    }
                    if (i == 0)
                        parent.replaceKey("/First", item);
                    else {
                        previous.replaceKey("/Next", item);
                        item.replaceKey("/Prev", previous);
                    }
                    if (!items[i].children.isEmpty()) {
                        const int kids = build(item, items[i].children);
                        item.replaceKey("/Count", QPDFObjectHandle::newInteger(kids));
                    }
                    previous = item;
                    count += 1 + int(items[i].children.size());
                }
                parent.replaceKey("/Last", previous);
                return count;
            };
        root.replaceKey("/Count", QPDFObjectHandle::newInteger(build(root, layout.outline)));
        q.getRoot().replaceKey("/Outlines", root);
    }

    auto info = QPDFObjectHandle::newDictionary();
    auto set = [&](const char *key, const QString &value) {
        if (!value.isEmpty())
            info.replaceKey(key, text(value));
    };
    set("/Title", layout.info.title);
    set("/Author", layout.info.author);
    set("/Subject", layout.info.subject);
    set("/Keywords", layout.info.keywords);
    set("/Creator", layout.info.creator);
    q.getTrailer().replaceKey("/Info", q.makeIndirectObject(info));

    return bytesOf(q, options);
}

QByteArray bytesOf(QPDF &q, const WriteOptions &options)
{
    QPDFWriter writer(q);
    writer.setOutputMemory();
    writer.setStaticID(true);
    if (options.encrypt) {
        const std::string user = options.userPassword.toStdString();
        const std::string owner = options.ownerPassword.toStdString();
        writer.setR6EncryptionParameters(
            user.c_str(), owner.c_str(), true, options.allowCopying, options.allowChanges,
            options.allowChanges, options.allowChanges, options.allowChanges,
            options.allowPrinting ? qpdf_r3p_full : qpdf_r3p_none, true);
    }
    writer.write();
    auto buffer = writer.getBufferSharedPointer();
    return QByteArray(reinterpret_cast<const char *>(buffer->getBuffer()),
                      qsizetype(buffer->getSize()));
}

QByteArray textPDF(int pages, const QString &prefix)
{
    return makePDF(numberedPages(pages, prefix));
}

QByteArray typedPDF(int pages)
{
    DocSpec layout;
    for (int i = 1; i <= pages; ++i)
        layout.pages.append({u"Typed words already on page %1"_s.arg(i), {560, 120}, 0, {}});
    return makePDF(layout);
}

WriteOptions lock(const QString &user, const QString &owner, bool restricted)
{
    WriteOptions options;
    options.encrypt = true;
    options.userPassword = user;
    options.ownerPassword = owner;
    options.allowCopying = !restricted;
    return options;
}

QByteArray sharedResourcesPDF()
{
    QPDF q;
    q.emptyPDF();
    auto resources = q.makeIndirectObject(QPDFObjectHandle::parse(
        "<< /Font << /F1 << /Type /Font /Subtype /Type1 /BaseFont /Helvetica >> "
        "/F2 << /Type /Font /Subtype /Type1 /BaseFont /Courier >> >> >>"));
    QPDFPageDocumentHelper pages(q);
    for (const char *content :
         {"BT /F1 24 Tf 72 700 Td (Sans page) Tj ET", "BT /F2 24 Tf 72 700 Td (Mono page) Tj ET"}) {
        auto page = QPDFObjectHandle::parse("<< /Type /Page /MediaBox [0 0 612 792] >>");
        page.replaceKey("/Resources", resources);
        page.replaceKey("/Contents", QPDFObjectHandle::newStream(&q, content));
        pages.addPage(QPDFPageObjectHelper(q.makeIndirectObject(page)), false);
    }
    return bytesOf(q);
}

QByteArray loopingResourcesPDF(ResourceLoop loop)
{
    QPDF q;
    q.emptyPDF();
    auto tree = q.getRoot().getKey("/Pages");
    auto page =
        q.makeIndirectObject(QPDFObjectHandle::parse("<< /Type /Page /MediaBox [0 0 612 792] >>"));
    QPDFPageDocumentHelper(q).addPage(QPDFPageObjectHelper(page), false);
    auto resources = QPDFObjectHandle::parse(
        "<< /Font << /F1 << /Type /Font /Subtype /Type1 /BaseFont /Helvetica >> >> >>");
    std::string content = "BT /F1 24 Tf 72 700 Td (Loop) Tj ET\n";
    auto form = QPDFObjectHandle::newStream(&q, "0 0 m 300 300 l S\n");
    form.getDict().replaceKey("/Type", name("/XObject"));
    form.getDict().replaceKey("/Subtype", name("/Form"));
    form.getDict().replaceKey("/BBox", QPDFObjectHandle::parse("[0 0 612 792]"));
    auto addForm = [&](QPDFObjectHandle formResources) {
        form.getDict().replaceKey("/Resources", formResources);
        resources.replaceKey("/XObject", QPDFObjectHandle::newDictionary());
        resources.getKey("/XObject").replaceKey("/Fm", form);
        content += "/Fm Do\n";
    };
    switch (loop) {
    case ResourceLoop::Parent: resources = tree; break;
    case ResourceLoop::Page: resources = page; break;
    case ResourceLoop::Catalog: resources = q.getRoot(); break;
    case ResourceLoop::NotADictionary:
        resources = QPDFObjectHandle::newArray();
        resources.appendItem(tree);
        break;
    case ResourceLoop::XObject:
        resources.replaceKey("/XObject", QPDFObjectHandle::newDictionary());
        resources.getKey("/XObject").replaceKey("/X", tree);
        content += "/X Do\n";
        break;
    case ResourceLoop::Font: resources.getKey("/Font").replaceKey("/F1", tree); break;
    case ResourceLoop::Pattern:
        resources.replaceKey("/Pattern", QPDFObjectHandle::newDictionary());
        resources.getKey("/Pattern").replaceKey("/P1", tree);
        content += "/Pattern cs /P1 scn 0 0 100 100 re f\n";
        break;
    case ResourceLoop::FormToParent: addForm(tree); break;
    case ResourceLoop::FormToItself: addForm(form); break;
    case ResourceLoop::FormDrawsItself: {
        auto own = QPDFObjectHandle::parse("<< /XObject << >> >>");
        own.getKey("/XObject").replaceKey("/Fm", form);
        form.replaceStreamData("0 0 m 300 300 l S /Fm Do\n", QPDFObjectHandle::newNull(),
                               QPDFObjectHandle::newNull());
        addForm(own);
        break;
    }
    case ResourceLoop::Group: page.replaceKey("/Group", tree); break;
    }
    page.replaceKey("/Resources", resources);
    page.replaceKey("/Contents", QPDFObjectHandle::newStream(&q, content));
    return bytesOf(q);
}

bool resourcesStayOutOfStructure(const QString &path)
{
    QPDF q;
    q.processFile(QFile::encodeName(path).constData());
    std::set<QPDFObjGen> seen;
    std::function<bool(QPDFObjectHandle, int)> clean = [&](QPDFObjectHandle h, int depth) {
        if (depth > 32 || (h.isIndirect() && !seen.insert(h.getObjGen()).second))
            return true;
        if (h.isDictionaryOfType("/Pages") || h.isDictionaryOfType("/Page") ||
            h.isDictionaryOfType("/Catalog"))
            return false;
        auto d = h.isStream() ? h.getDict() : h;
        if (d.isDictionary()) {
            for (const auto &key : d.getKeys())
                if (!clean(d.getKey(key), depth + 1))
                    return false;
        } else if (d.isArray()) {
            for (const auto &item : d.getArrayAsVector())
                if (!clean(item, depth + 1))
                    return false;
        }
        return true;
    };
    for (auto &page : QPDFPageDocumentHelper(q).getAllPages()) {
        auto resources = page.getAttribute("/Resources", false);
        if (!resources.isDictionary() || !clean(resources, 0))
            return false;
    }
    return true;
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QString writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("fixture: couldn't write %s", qPrintable(path));
    return path;
}

QImage marker(int w, int h)
{
    QImage image(w, h, QImage::Format_RGB32);
    image.fill(QColor(0, 0, 255));
    QPainter painter(&image);
    painter.fillRect(0, 0, w / 2, h / 2, QColor(255, 0, 0));
    return image;
}

QByteArray encode(const QImage &image, const char *format, int quality)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, format, quality);
    return bytes;
}

QByteArray jpegWithOrientation(const QImage &stored, int orientation)
{
    const QByteArray jpeg = encode(stored, "JPEG", 92);
    // APP1 "Exif" with a little-endian TIFF header and one IFD entry:
    // tag 0x0112 (Orientation), type SHORT, count 1, value.
    QByteArray tiff;
    tiff.append("II*\0", 4);
    tiff.append(QByteArray::fromHex("08000000"));       // offset of IFD0
    tiff.append(QByteArray::fromHex("0100"));           // one entry
    tiff.append(QByteArray::fromHex("12010300010000")); // tag, type, count (low bytes)
    tiff.append(char(0));
    tiff.append(char(orientation));
    tiff.append(QByteArray(3, '\0'));
    tiff.append(QByteArray::fromHex("00000000")); // no next IFD
    QByteArray app1 = QByteArray("Exif\0\0", 6) + tiff;
    const int length = int(app1.size()) + 2;
    QByteArray segment = QByteArray::fromHex("FFE1");
    segment.append(char(length >> 8));
    segment.append(char(length & 0xff));
    segment.append(app1);
    return jpeg.left(2) + segment + jpeg.mid(2);
}

QByteArray heic(const QImage &source)
{
    const QImage image = source.convertToFormat(QImage::Format_RGB888);
    heif_context *context = heif_context_alloc();
    heif_encoder *encoder = nullptr;
    QByteArray result;
    if (heif_context_get_encoder_for_format(context, heif_compression_HEVC, &encoder).code ==
        heif_error_Ok) {
        heif_encoder_set_lossy_quality(encoder, 80);
        heif_image *himage = nullptr;
        heif_image_create(image.width(), image.height(), heif_colorspace_RGB,
                          heif_chroma_interleaved_RGB, &himage);
        heif_image_add_plane(himage, heif_channel_interleaved, image.width(), image.height(), 8);
        int stride = 0;
        uint8_t *plane = heif_image_get_plane(himage, heif_channel_interleaved, &stride);
        for (int y = 0; y < image.height(); ++y)
            memcpy(plane + y * stride, image.constScanLine(y), size_t(image.width()) * 3);
        if (heif_context_encode_image(context, himage, encoder, nullptr, nullptr).code ==
            heif_error_Ok) {
            heif_writer writer{};
            writer.writer_api_version = 1;
            writer.write = [](heif_context *, const void *data, size_t size, void *userdata) {
                static_cast<QByteArray *>(userdata)->append(static_cast<const char *>(data),
                                                            qsizetype(size));
                return heif_error{heif_error_Ok, heif_suberror_Unspecified, ""};
            };
            heif_context_write(context, &writer, &result);
        }
        heif_image_release(himage);
        heif_encoder_release(encoder);
    }
    heif_context_free(context);
    return result;
}

QString corpusDir()
{
    const QString dir = qEnvironmentVariable("QUIREBOOK_CORPUS");
    return !dir.isEmpty() && QDir(dir).exists() ? dir : QString();
}

QMap<QString, QMap<QString, QString>> corpusPasswords()
{
    QMap<QString, QMap<QString, QString>> result;
    QFile file(corpusDir() + u"/passwords.json"_s);
    if (!file.open(QIODevice::ReadOnly))
        return result;
    const QJsonObject root = QJsonDocument::fromJson(file.readAll()).object();
    for (auto it = root.begin(); it != root.end(); ++it) {
        QMap<QString, QString> entry;
        const QJsonObject o = it.value().toObject();
        for (auto field = o.begin(); field != o.end(); ++field)
            entry.insert(field.key(), field.value().toString());
        result.insert(it.key(), entry);
    }
    return result;
}

QStringList popplerPageTexts(const QByteArray &pdf, const QString &password)
{
    QStringList texts;
    auto doc = Poppler::Document::loadFromData(pdf, password.toUtf8(), password.toUtf8());
    if (!doc || doc->isLocked())
        return texts;
    for (int i = 0; i < doc->numPages(); ++i) {
        auto page = doc->page(i);
        texts.append(page ? page->text(QRectF()).trimmed() : QString());
    }
    return texts;
}

int popplerPageCount(const QString &path, const QString &password)
{
    auto doc = Poppler::Document::load(path, password.toUtf8(), password.toUtf8());
    if (!doc || doc->isLocked())
        return -1;
    return doc->numPages();
}

ProcessResult runProgram(const QString &program, const QStringList &arguments,
                         const QMap<QString, QString> &env, int timeoutMs)
{
    ProcessResult result;
    QProcess process;
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.remove(u"QUIREBOOK_PASSWORD"_s);
    for (auto it = env.begin(); it != env.end(); ++it)
        environment.insert(it.key(), it.value());
    process.setProcessEnvironment(environment);
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(program, arguments);
    if (!process.waitForStarted(10000))
        return result;
    if (!process.waitForFinished(timeoutMs)) {
        result.timedOut = true;
        process.kill();
        process.waitForFinished(5000);
    }
    result.crashed = process.exitStatus() == QProcess::CrashExit;
    result.exitCode = process.exitCode();
    result.out = QString::fromUtf8(process.readAllStandardOutput());
    result.err = QString::fromUtf8(process.readAllStandardError());
    return result;
}

ProcessResult runCli(const QStringList &arguments, const QMap<QString, QString> &env, int timeoutMs)
{
    return runProgram(qEnvironmentVariable("QUIREBOOK_CLI"), arguments, env, timeoutMs);
}

} // namespace Fixtures
