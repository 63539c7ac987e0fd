#include "tasks/FileInfo.h"

#include "engine/PDFOps.h"

#include <QCoreApplication>

namespace {
QString tr(const char *text)
{
    return QCoreApplication::translate("FileInfo", text);
}
QString allowed(bool yes)
{
    return yes ? tr("allowed") : tr("not allowed");
}
QString yesNo(bool yes)
{
    return yes ? tr("yes") : tr("no");
}
QString points(double value)
{
    return QString::number(value, 'g', 6);
}
} // namespace

FileInfo FileInfo::describe(const PDFFile &file)
{
    FileInfo result;
    result.fileName = file.fileName();
    result.kind =
        file.kind == PDFFile::Kind::Pdf ? QStringLiteral("PDF") : QStringLiteral("picture");
    if (!file.doc)
        return result;
    const PDFDocument &doc = *file.doc;
    result.pages = doc.pageCount();
    if (auto first = doc.page(0))
        result.firstPageSize = first->uprightSize();
    result.encryption = doc.encryptionMethod();
    result.neededPassword = file.password.has_value();
    result.restricted = PDFOps::isRestricted(doc);
    result.copying = doc.allowsCopying();
    result.assembly = doc.allowsAssembly();
    result.changes = doc.allowsChanges();
    result.info = doc.info();
    result.bookmarks = doc.outlineCount();
    return result;
}

QJsonObject FileInfo::toJson() const
{
    return QJsonObject{
        {QStringLiteral("file"), fileName},
        {QStringLiteral("kind"), kind},
        {QStringLiteral("pages"), pages},
        {QStringLiteral("width"), firstPageSize.width()},
        {QStringLiteral("height"), firstPageSize.height()},
        {QStringLiteral("encryption"), encryption.isEmpty() ? QStringLiteral("none") : encryption},
        {QStringLiteral("locked"), neededPassword},
        {QStringLiteral("restricted"), restricted},
        {QStringLiteral("copying"), copying},
        {QStringLiteral("assembly"), assembly},
        {QStringLiteral("changes"), changes},
        {QStringLiteral("title"), info.title},
        {QStringLiteral("author"), info.author},
        {QStringLiteral("subject"), info.subject},
        {QStringLiteral("keywords"), info.keywords},
        {QStringLiteral("bookmarks"), bookmarks},
    };
}

QString FileInfo::toText() const
{
    QStringList lines;
    lines << fileName;
    auto add = [&](const QString &label, const QString &value) {
        lines << QStringLiteral("  %1: %2").arg(label, value);
    };
    add(tr("Kind"), kind);
    add(tr("Pages"), QString::number(pages));
    add(tr("Page size"),
        tr("%1 × %2 pt").arg(points(firstPageSize.width()), points(firstPageSize.height())));
    add(tr("Encryption"), encryption.isEmpty() ? tr("none") : encryption);
    add(tr("Locked"), yesNo(neededPassword));
    add(tr("Restricted"), yesNo(restricted));
    add(tr("Copying"), allowed(copying));
    add(tr("Assembly"), allowed(assembly));
    add(tr("Changes"), allowed(changes));
    add(tr("Title"), info.title);
    add(tr("Author"), info.author);
    add(tr("Subject"), info.subject);
    add(tr("Keywords"), info.keywords);
    add(tr("Bookmarks"), QString::number(bookmarks));
    return lines.join(u'\n');
}
