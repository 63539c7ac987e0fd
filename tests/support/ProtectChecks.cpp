#include "support/ProtectChecks.h"

#include "support/Fixtures.h"

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFOutlineDocumentHelper.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>

#include <poppler-annotation.h>
#include <poppler-form.h>
#include <poppler-qt6.h>

#include <QFile>

#include <functional>

using namespace Qt::StringLiterals;

namespace ProtectChecks {

QByteArray attachmentBytes()
{
    return QByteArrayLiteral("Meeting notes: bring the signed lease.\n");
}

QByteArray withFormAndAttachment(const QByteArray &pdf, const WriteOptions &options)
{
    QPDF q;
    q.processMemoryFile("fixture", pdf.constData(), size_t(pdf.size()));
    auto page = QPDFPageDocumentHelper(q).getAllPages().at(0).getObjectHandle();

    auto font = q.makeIndirectObject(QPDFObjectHandle::parse(
        "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /Encoding /WinAnsiEncoding >>"));
    auto field = q.makeIndirectObject(QPDFObjectHandle::parse(
        "<< /Type /Annot /Subtype /Widget /FT /Tx /T (name) /V (Ana Lima) /F 4"
        " /Rect [72 480 320 510] /DA (/Helv 12 Tf 0 g) >>"));
    field.replaceKey("/P", page);
    if (!page.hasKey("/Annots"))
        page.replaceKey("/Annots", QPDFObjectHandle::newArray());
    page.getKey("/Annots").appendItem(field);
    auto form = QPDFObjectHandle::parse("<< /NeedAppearances true /DA (/Helv 0 Tf 0 g) >>");
    form.replaceKey("/Fields", QPDFObjectHandle::newArray({field}));
    auto fonts = QPDFObjectHandle::newDictionary();
    fonts.replaceKey("/Helv", font);
    auto resources = QPDFObjectHandle::newDictionary();
    resources.replaceKey("/Font", fonts);
    form.replaceKey("/DR", resources);
    q.getRoot().replaceKey("/AcroForm", q.makeIndirectObject(form));

    const QByteArray bytes = attachmentBytes();
    auto embedded = QPDFObjectHandle::newStream(&q, bytes.toStdString());
    embedded.getDict().replaceKey("/Type", QPDFObjectHandle::newName("/EmbeddedFile"));
    auto fileSpec = q.makeIndirectObject(
        QPDFObjectHandle::parse("<< /Type /Filespec /F (notes.txt) /UF (notes.txt) >>"));
    auto ef = QPDFObjectHandle::newDictionary();
    ef.replaceKey("/F", embedded);
    fileSpec.replaceKey("/EF", ef);
    auto names = QPDFObjectHandle::newDictionary();
    auto files = QPDFObjectHandle::newDictionary();
    files.replaceKey(
        "/Names", QPDFObjectHandle::newArray({QPDFObjectHandle::newString("notes.txt"), fileSpec}));
    names.replaceKey("/EmbeddedFiles", files);
    q.getRoot().replaceKey("/Names", names);

    return Fixtures::bytesOf(q, options);
}

namespace {
// Bookmark titles, depth first. Read with qpdf: asking poppler for them
// would have poppler's OutlineItem share a symbol with the engine's.
QStringList outlineTitles(const QString &path, const QString &password)
{
    QStringList titles;
    std::function<void(std::vector<QPDFOutlineObjectHelper>)> walk = [&](auto items) {
        for (auto &item : items) {
            titles.append(QString::fromStdString(item.getTitle()));
            walk(item.getKids());
        }
    };
    try {
        QPDF q;
        q.processFile(QFile::encodeName(path).constData(), password.toUtf8().constData());
        walk(QPDFOutlineDocumentHelper(q).getTopLevelOutlines());
    } catch (const std::exception &) {
        titles.append(u"<unreadable>"_s);
    }
    return titles;
}

Fixtures::ProcessResult qpdf(const QString &option, const QString &path,
                             const QString &password = {})
{
    QStringList arguments{option};
    if (!password.isEmpty())
        arguments << u"--password="_s + password;
    return Fixtures::runProgram(u"qpdf"_s, arguments << path);
}
} // namespace

PopplerView poppler(const QString &path, const QString &password)
{
    PopplerView view;
    const QByteArray pw = password.toUtf8();
    auto doc = Poppler::Document::load(path, pw, pw);
    if (!doc)
        return view;
    view.locked = doc->isLocked();
    if (view.locked) // numPages() on a locked document must not be called
        return view;
    view.encrypted = doc->isEncrypted();
    view.opened = true;
    view.pages = doc->numPages();
    view.print = doc->okToPrint();
    view.copy = doc->okToCopy();
    view.title = doc->info(u"Title"_s);
    view.author = doc->info(u"Author"_s);
    for (Poppler::EmbeddedFile *file : doc->embeddedFiles())
        view.attachments.insert(file->name(), file->data());
    view.outline = outlineTitles(path, password);
    for (int i = 0; i < view.pages; ++i) {
        auto page = doc->page(i);
        if (!page) {
            view.texts.append(QString());
            continue;
        }
        view.texts.append(page->text(QRectF()).trimmed());
        view.links += int(page->links().size());
        for (const auto &annotation : page->annotations({Poppler::Annotation::AFileAttachment})) {
            auto *attached = static_cast<Poppler::FileAttachmentAnnotation *>(annotation.get());
            if (Poppler::EmbeddedFile *file = attached->embeddedFile())
                view.attachments.insert(file->name(), file->data());
        }
        for (const auto &field : page->formFields())
            if (field->type() == Poppler::FormField::FormText)
                view.textFields.insert(field->fullyQualifiedName(),
                                       static_cast<Poppler::FormFieldText *>(field.get())->text());
    }
    return view;
}

QMap<QString, QString> qpdfEncryption(const QString &path, const QString &password)
{
    QMap<QString, QString> result;
    const auto run = qpdf(u"--show-encryption"_s, path, password);
    result.insert(u"status"_s, QString::number(run.exitCode));
    for (const QString &line : run.out.split(u'\n')) {
        const QString separator = line.contains(QLatin1String(" = ")) ? u" = "_s : u": "_s;
        const auto at = line.indexOf(separator);
        if (at > 0)
            result.insert(line.left(at).trimmed(), line.mid(at + separator.size()).trimmed());
        else if (!line.trimmed().isEmpty()) // "Supplied password is owner password"
            result.insert(line.trimmed(), QString());
    }
    return result;
}

int qpdfRequiresPassword(const QString &path)
{
    return qpdf(u"--requires-password"_s, path).exitCode;
}

} // namespace ProtectChecks
