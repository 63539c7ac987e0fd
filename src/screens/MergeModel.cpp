#include "screens/MergeModel.h"

#include "core/Format.h"
#include "core/Workspace.h"
#include "tasks/Merge.h"

#include <QFileInfo>

MergeModel::MergeModel(Workspace &workspace, QObject *parent)
    : QObject(parent)
    , m_ws(workspace)
{
    connect(&m_ws, &Workspace::filesChanged, this, &MergeModel::changed);
    connect(&m_job, &Job::stateChanged, this, &MergeModel::changed);
}

QString MergeModel::rowCaption(const PDFFile &file)
{
    const int pages = file.pageCount();
    QString caption = (pages == 1 ? tr("%1 page") : tr("%1 pages")).arg(pages);
    caption += QStringLiteral(" · ") + Format::bytes(file.bytes);
    if (file.kind == PDFFile::Kind::Image)
        caption += tr(" · picture");
    if (file.restricted())
        caption += tr(" · restricted");
    return caption;
}

QString MergeModel::footerSummary() const
{
    const auto &files = m_ws.files();
    qint64 pages = 0;
    for (const PDFFile &file : files)
        pages += file.pageCount();
    const QString count = (files.size() == 1 ? tr("%1 file") : tr("%1 files")).arg(files.size());
    return tr("%1 · %2 pages").arg(count).arg(pages);
}

bool MergeModel::anyRestricted() const
{
    for (const PDFFile &file : m_ws.files())
        if (file.restricted())
            return true;
    return false;
}

bool MergeModel::canMerge() const
{
    return !m_job.isRunning() && m_ws.files().size() >= 2 && !anyRestricted();
}

QString MergeModel::suggestedName() const
{
    return Merge::suggestedName(m_ws.files());
}

QString MergeModel::startFolder() const
{
    const auto &files = m_ws.files();
    return files.isEmpty() ? QString() : QFileInfo(files.first().path).absolutePath();
}

void MergeModel::merge()
{
    const QList<PDFFile> files = m_ws.files();
    if (files.isEmpty() || !m_ws.dialogs())
        return;
    const auto destination = m_ws.dialogs()->savePDF(suggestedName(), startFolder());
    if (!destination)
        return;
    const QString target = *destination;
    m_job.run(Merge::jobTitle(),
              [files, target](const Progress &progress, const IsCancelled &isCancelled) {
                  return Merge::run(files, target, progress, isCancelled);
              });
}

void MergeModel::move(const QList<qsizetype> &rows, qsizetype destination)
{
    m_ws.move(rows, destination);
}

void MergeModel::addFiles()
{
    if (m_ws.dialogs())
        m_ws.add(m_ws.dialogs()->openFiles(true));
}
