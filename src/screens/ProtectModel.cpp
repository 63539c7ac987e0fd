#include "ProtectModel.h"

#include "Workspace.h"

ProtectModel::ProtectModel(Workspace &workspace, QObject *parent)
    : ToolModel(workspace, parent)
{
}

void ProtectModel::setMode(ProtectForm::Mode mode)
{
    if (m_form.mode == mode)
        return;
    m_form.mode = mode;
    Q_EMIT changed();
}

void ProtectModel::setPassword(const QString &text)
{
    if (m_form.password == text)
        return;
    m_form.password = text;
    Q_EMIT changed();
}

void ProtectModel::setPasswordAgain(const QString &text)
{
    if (m_form.passwordAgain == text)
        return;
    m_form.passwordAgain = text;
    Q_EMIT changed();
}

void ProtectModel::setPrinting(bool on)
{
    if (m_form.printing == on)
        return;
    m_form.printing = on;
    Q_EMIT changed();
}

void ProtectModel::setCopying(bool on)
{
    if (m_form.copying == on)
        return;
    m_form.copying = on;
    Q_EMIT changed();
}

bool ProtectModel::canProtect() const
{
    return m_ws.current() && m_form.canProtect(m_job.isRunning());
}

bool ProtectModel::canRemove() const
{
    return removeView() == ProtectForm::RemoveView::Offer && m_form.canRemove(m_job.isRunning());
}

std::optional<ProtectForm::RemoveView> ProtectModel::removeView() const
{
    const auto current = m_ws.current();
    if (!current)
        return std::nullopt;
    return ProtectForm::removeView(*current);
}

bool ProtectModel::protect()
{
    const auto current = m_ws.current();
    if (!current || !canProtect())
        return false;
    const bool started = m_form.startProtect(m_job, *current, m_ws.dialogs());
    // The fields were emptied as the job started.
    Q_EMIT changed();
    return started;
}

bool ProtectModel::remove()
{
    const auto current = m_ws.current();
    if (!current || !canRemove())
        return false;
    return m_form.startRemove(m_job, *current, m_ws.dialogs());
}
