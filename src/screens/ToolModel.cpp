#include "screens/ToolModel.h"

#include "core/Output.h"
#include "core/Workspace.h"
#include "engine/PDFError.h"

ToolModel::ToolModel(Workspace &workspace, QObject *parent)
    : QObject(parent)
    , m_ws(workspace)
{
    if (const auto current = m_ws.current())
        m_fileID = current->id;
    connect(&m_job, &Job::stateChanged, this, &ToolModel::changed);
    connect(&m_ws, &Workspace::selectionChanged, this, &ToolModel::followSelection);
    connect(&m_ws, &Workspace::filesChanged, this, &ToolModel::followSelection);
}

void ToolModel::followSelection()
{
    const auto current = m_ws.current();
    const std::optional<QUuid> id = current ? std::optional(current->id) : std::nullopt;
    if (id != m_fileID) {
        m_fileID = id;
        m_job.reset();
    }
    Q_EMIT changed();
}

bool ToolModel::startTowardsPDF(const QString &suffix, const QString &title, FileWork work)
{
    return startTowards(
        [&](const PDFFile &source) {
            const auto destination = Output::pdfURL(source, suffix, m_ws.dialogs());
            return destination.value_or(QString());
        },
        title, std::move(work));
}

bool ToolModel::startTowards(const std::function<QString(const PDFFile &)> &settle,
                             const QString &title, FileWork work)
{
    const auto file = m_ws.current();
    if (!file || m_job.isRunning())
        return false;
    QString destination;
    try {
        destination = settle(*file);
    } catch (const PDFError &error) {
        m_job.fail(error.description());
        return false;
    }
    if (destination.isEmpty())
        return false; // the save panel was cancelled
    const PDFFile source = *file;
    m_job.run(title, [work, source, destination](const Progress &progress,
                                                 const IsCancelled &isCancelled) {
        return work(source, destination, progress, isCancelled);
    });
    return true;
}
