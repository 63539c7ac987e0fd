#include "tasks/Pages.h"

#include "engine/PDFError.h"
#include "engine/PDFOps.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QHash>

#include <memory>

namespace {
QString tr(const char *text)
{
    return QCoreApplication::translate("Pages", text);
}
QString countOfPages(int count)
{
    return count == 1 ? tr("1 page") : tr("%1 pages").arg(count);
}
} // namespace

namespace Pages {

std::optional<QString> Request::validate() const
{
    if (pieces.isEmpty())
        return tr("There are no pages to save.");
    return std::nullopt;
}

Outcome run(const Request &request, const QString &destination, const Progress &progress,
            const IsCancelled &isCancelled)
{
    if (const auto refusal = request.validate())
        throw PDFError::failed(*refusal);
    // Each file the pages come from is opened once, for this job alone.
    QHash<QUuid, std::shared_ptr<const PDFDocument>> opened;
    const auto open = [&](const PDFFile &file) {
        auto &doc = opened[file.id];
        if (!doc) {
            if (isCancelled && isCancelled())
                throw PDFError::cancelled();
            doc = file.freshForWork();
        }
        return doc;
    };
    QList<PDFOps::AssemblyItem> items;
    items.reserve(request.pieces.size());
    for (const Piece &piece : request.pieces)
        items.append({open(piece.file), piece.page, piece.extra});
    const auto info = request.info ? open(*request.info) : nullptr;
    const auto built = PDFOps::assemble(items, info);
    if (progress)
        progress(built->pageCount(), built->pageCount());
    if (isCancelled && isCancelled())
        throw PDFError::cancelled();
    built->write(destination, {}, tr("Couldn't write the file."));
    return Outcome{tr("Saved %1").arg(countOfPages(built->pageCount())),
                   QFileInfo(destination).fileName(),
                   {destination}};
}

QList<PDFFile> addable(const QList<PDFFile> &pdfs, const QUuid &edited)
{
    QList<PDFFile> files;
    for (const PDFFile &file : pdfs)
        if (file.id != edited && file.kind == PDFFile::Kind::Pdf && !file.restricted())
            files.append(file);
    return files;
}

QString suggestedName(const PDFFile &file, bool selectionOnly)
{
    return file.name() + u' ' + (selectionOnly ? tr("selection") : suffix());
}

QString suffix()
{
    return tr("edited");
}

QString jobTitle()
{
    return tr("Saving");
}
QString rotateLeft()
{
    return tr("Rotate Left");
}
QString rotateRight()
{
    return tr("Rotate Right");
}
QString deleteLabel()
{
    return tr("Delete");
}
QString addPagesFrom()
{
    return tr("Add Pages From");
}
QString chooseAFile()
{
    return tr("Choose a File…");
}
QString undoLabel()
{
    return tr("Undo");
}
QString selectAll()
{
    return tr("Select All");
}
QString hint()
{
    return tr("Click pages to select · drag to reorder");
}
QString saveSelected()
{
    return tr("Save Selected…");
}
QString saveACopy()
{
    return tr("Save a Copy…");
}
QString bookmarksCaption()
{
    return tr("Bookmarks inside the file aren't carried over when pages are rearranged.");
}

QString summary(int pages, int selected)
{
    QString text = countOfPages(pages);
    if (selected > 0)
        text += tr(" · %1 selected").arg(selected);
    return text;
}

} // namespace Pages
