#include "tasks/Merge.h"

#include "core/Format.h"
#include "core/Workspace.h"
#include "engine/PDFError.h"
#include "engine/PDFOps.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace Merge {

namespace {
QString tr(const char *text)
{
    return QCoreApplication::translate("Merge", text);
}

} // namespace

QString suggestedName(const QList<PDFFile> &files)
{
    if (files.size() == 2 || files.isEmpty() || files.first().kind == PDFFile::Kind::Image)
        return tr("Merged");
    return tr("%1 merged").arg(files.first().name());
}

QString jobTitle()
{
    return tr("Merging");
}

Outcome run(const QList<PDFFile> &files, const QString &destination, const Progress &progress,
            const IsCancelled &isCancelled)
{
    QList<std::shared_ptr<const PDFDocument>> docs;
    for (const PDFFile &file : files) {
        if (isCancelled && isCancelled())
            throw PDFError::cancelled();
        auto doc = file.fresh();
        if (!doc)
            throw PDFError::notOpened(file.fileName());
        docs.append(doc);
    }
    return run(docs, destination, progress, isCancelled);
}

Outcome run(const QList<std::shared_ptr<const PDFDocument>> &docs, const QString &destination,
            const Progress &progress, const IsCancelled &isCancelled)
{
    for (const auto &doc : docs)
        PDFOps::requireRewritable(*doc);
    auto merged = PDFOps::merge(docs, progress, isCancelled);

    if (!docs.isEmpty()) {
        const QString title = docs.first()->info().title;
        if (!title.isEmpty())
            merged->setInfo(DocumentInfo{title, {}, {}, {}, {}, {}});
    }
    if (isCancelled && isCancelled())
        throw PDFError::cancelled();

    merged->write(destination, {}, tr("Couldn't write the merged file."));

    return Outcome{tr("Merged %1 pages").arg(merged->pageCount()),
                   QStringLiteral("%1 · %2").arg(QFileInfo(destination).fileName(),
                                                 Format::bytes(Workspace::bytes(destination))),
                   {destination}};
}

} // namespace Merge
