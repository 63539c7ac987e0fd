#include "screens/CompressModel.h"

#include "core/Workspace.h"

CompressModel::CompressModel(Workspace &workspace, QObject *parent)
    : ToolModel(workspace, parent)
{
}

void CompressModel::setLevel(CompressionLevel level)
{
    if (level == m_request.level)
        return;
    m_request.level = level;
    Q_EMIT changed();
}

QString CompressModel::currentSize() const
{
    const auto current = m_ws.current();
    return current ? Compress::currentSize(current->bytes) : QString();
}

bool CompressModel::canCompress() const
{
    return !m_job.isRunning() && m_ws.current().has_value();
}

void CompressModel::compress()
{
    if (!canCompress())
        return;
    const Compress::Request request = m_request;
    startTowardsPDF(Compress::suffix(), Compress::jobTitle(),
                    [request](const PDFFile &file, const QString &to, const Progress &progress,
                              const IsCancelled &isCancelled) {
                        return Compress::run(file, request, to, progress, isCancelled);
                    });
}
