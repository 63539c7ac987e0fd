#include "tasks/Convert.h"

#include "engine/PDFError.h"
#include "engine/PDFOps.h"
#include "engine/PageWorkers.h"
#include "tasks/DrawingSource.h"
#include "tasks/ResultFolder.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

#include <memory>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("Convert", text);
}

QString cannotDraw(int pageNumber)
{
    return tr("Couldn't draw page %1.").arg(pageNumber);
}

} // namespace

namespace Convert {

Outcome pictures(const PDFFile &file, const QString &folder, const Request &options,
                 const Progress &progress, const IsCancelled &isCancelled)
{
    const ResultFolder::EmptyGuard guard(folder);
    const DrawingSource drawing = drawingSourceFor(file);
    const int pageCount = drawing.pageCount;

    QList<int> pages;
    if (options.pages.isEmpty()) {
        for (int i = 0; i < pageCount; ++i)
            pages.append(i);
    } else {
        for (const int index : options.pages)
            if (index >= 0 && index < pageCount)
                pages.append(index);
        if (pages.isEmpty())
            throw PDFError::failed(cannotDraw(options.pages.first() + 1));
    }

    const QDir dir(folder);
    const QString base = file.name();
    const Request chosen = options;
    const int total = int(pages.size());
    ResultFolder::fill(folder, total, ResultFolder::Pieces::Pictures, [&](std::atomic<int> &saved) {
        const auto makeWorker = [&]() -> std::function<int(int)> {
            std::shared_ptr<DrawingDocument> own = DrawingDocument::open(drawing.source);
            if (!own)
                throw PDFError::notOpened(file.fileName());
            return [own, &pages, &dir, &base, &saved, chosen, pageCount](int position) {
                const int index = pages[position];
                const auto image = own->render(index, chosen.dpi);
                if (!image)
                    throw PDFError::failed(cannotDraw(index + 1));
                const QString name = pictureName(base, index + 1, pageCount, chosen.format);
                PDFOps::writeImage(*image, dir.filePath(name), chosen.format, chosen.dpi,
                                   chosen.quality);
                ++saved;
                return index;
            };
        };
        PageWorkers::run<int>(
            total, PageWorkers::defaultCount(), makeWorker,
            [&](int position, int &&) { progress(position + 1, total); }, isCancelled);
    });

    const auto count = pages.size();
    return Outcome{count == 1 ? tr("Saved 1 picture") : tr("Saved %1 pictures").arg(count),
                   tr("In the folder “%1”.").arg(QFileInfo(folder).fileName()),
                   {folder}};
}

} // namespace Convert
