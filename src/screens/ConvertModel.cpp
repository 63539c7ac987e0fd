#include "ConvertModel.h"

#include "PDFError.h"
#include "Workspace.h"

ConvertModel::ConvertModel(Workspace &workspace, QObject *parent)
    : ToolModel(workspace, parent)
{
}

void ConvertModel::setMode(Convert::Mode mode)
{
    if (m_mode == mode)
        return;
    m_mode = mode;
    Q_EMIT changed();
}

void ConvertModel::setFormat(PDFOps::ImageFormat format)
{
    if (m_format == format)
        return;
    m_format = format;
    Q_EMIT changed();
}

void ConvertModel::setDpi(double dpi)
{
    if (m_dpi == dpi)
        return;
    m_dpi = dpi;
    Q_EMIT changed();
}

bool ConvertModel::canSave() const { return m_ws.current() && !m_job.isRunning(); }

bool ConvertModel::savePictures()
{
    const auto current = m_ws.current();
    if (!current || m_job.isRunning())
        return false;
    QString folder;
    try {
        folder = Convert::picturesFolder(*current);
    } catch (const PDFError &error) {
        m_job.fail(error.description());
        return false;
    }
    Convert::PictureOptions options;
    options.format = m_format;
    options.dpi = m_dpi;
    const PDFFile file = *current;
    m_job.run(Convert::picturesJobTitle(),
              [file, folder, options](const Progress &progress, const IsCancelled &isCancelled) {
                  return Convert::pictures(file, folder, options, progress, isCancelled);
              });
    return true;
}

bool ConvertModel::saveText()
{
    const auto current = m_ws.current();
    if (!current || m_job.isRunning())
        return false;
    QString destination;
    try {
        destination = Convert::textDestination(*current);
    } catch (const PDFError &error) {
        m_job.fail(error.description());
        return false;
    }
    const PDFFile file = *current;
    m_job.run(Convert::textJobTitle(),
              [file, destination](const Progress &progress, const IsCancelled &isCancelled) {
                  return Convert::text(file, destination, progress, isCancelled);
              });
    return true;
}
