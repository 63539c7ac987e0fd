#include "CompressModel.h"

#include "Compress.h"
#include "Output.h"
#include "Workspace.h"

CompressModel::CompressModel(Workspace &workspace, QObject *parent)
    : ToolModel(workspace, parent)
    , m_level(Tasks::kDefaultCompressionLevel)
{
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
