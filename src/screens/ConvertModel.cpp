#include "screens/ConvertModel.h"

#include "core/Workspace.h"

ConvertModel::ConvertModel(Workspace &workspace, QObject *parent)
    : ToolModel(workspace, parent)
{
}

void ConvertModel::setMode(Convert::Mode mode)
{
    if (m_request.mode == mode)
        return;
    m_request.mode = mode;
    Q_EMIT changed();
}

void ConvertModel::setFormat(PDFOps::ImageFormat format)
{
    if (m_request.format == format)
        return;
    m_request.format = format;
    Q_EMIT changed();
}

void ConvertModel::setDpi(double dpi)
{
    if (m_request.dpi == dpi)
        return;
    m_request.dpi = dpi;
    Q_EMIT changed();
}

bool ConvertModel::canSave() const
{
    return m_ws.current() && !m_job.isRunning();
}

bool ConvertModel::save()
{
    const Convert::Request request = m_request;
    return startTowards(
        [request](const PDFFile &file) { return Convert::destination(file, request); },
        Convert::jobTitle(request.mode),
        [request](const PDFFile &file, const QString &to, const Progress &progress,
                  const IsCancelled &isCancelled) {
            return Convert::run(file, request, to, progress, isCancelled);
        });
}
