#include "CompressModel.h"

#include "Compress.h"
#include "Output.h"
#include "Workspace.h"

CompressModel::CompressModel(Workspace &workspace, QObject *parent)
    : QObject(parent)
    , m_ws(workspace)
    , m_level(Tasks::kDefaultCompressionLevel)
{
    if (const auto current = m_ws.current())
        m_shownFile = current->id;
    connect(&m_ws, &Workspace::selectionChanged, this, &CompressModel::followSelection);
    connect(&m_ws, &Workspace::filesChanged, this, &CompressModel::followSelection);
    connect(&m_job, &Job::stateChanged, this, &CompressModel::changed);
}

void CompressModel::followSelection()
{
    // Another file: an outcome about the last one would mislead.
    const auto current = m_ws.current();
    const std::optional<QUuid> id = current ? std::optional(current->id) : std::nullopt;
    if (id != m_shownFile) {
        m_shownFile = id;
        m_job.reset();
    }
    Q_EMIT changed();
}

void CompressModel::setLevel(CompressionLevel level)
{
    if (level == m_level)
        return;
    m_level = level;
    Q_EMIT changed();
}

QString CompressModel::currentSize() const
{
    const auto current = m_ws.current();
    return current ? Tasks::compressCurrentSize(current->bytes) : QString();
}

bool CompressModel::canCompress() const { return !m_job.isRunning() && m_ws.current().has_value(); }

void CompressModel::compress()
{
    const auto file = m_ws.current();
    if (!file || !canCompress())
        return;
    const auto destination = Output::pdfURL(*file, Tasks::compressSuffix(), m_ws.dialogs());
    if (!destination)
        return;
    const PDFFile source = *file;
    const CompressionLevel level = m_level;
    const QString target = *destination;
    m_job.run(Tasks::compressJobTitle(), [source, level, target](const Progress &progress,
                                                                 const IsCancelled &isCancelled) {
        return Tasks::compress(source, level, target, progress, isCancelled);
    });
}
