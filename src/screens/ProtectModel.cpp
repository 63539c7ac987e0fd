#include "screens/ProtectModel.h"

#include "core/Workspace.h"

ProtectModel::ProtectModel(Workspace &workspace, QObject *parent)
    : ToolModel(workspace, parent)
{
}

void ProtectModel::setMode(Protect::Mode mode)
{
    if (m_request.mode == mode)
        return;
    m_request.mode = mode;
    Q_EMIT changed();
}

void ProtectModel::setPassword(const QString &text)
{
    if (m_request.password == text)
        return;
    m_request.password = text;
    Q_EMIT changed();
}

void ProtectModel::setPasswordAgain(const QString &text)
{
    if (m_passwordAgain == text)
        return;
    m_passwordAgain = text;
    Q_EMIT changed();
}

void ProtectModel::setPrinting(bool on)
{
    if (m_request.allowPrinting == on)
        return;
    m_request.allowPrinting = on;
    Q_EMIT changed();
}

void ProtectModel::setCopying(bool on)
{
    if (m_request.allowCopying == on)
        return;
    m_request.allowCopying = on;
    Q_EMIT changed();
}

std::optional<QString> ProtectModel::mismatch() const
{
    return Protect::mismatch(m_request.password, m_passwordAgain);
}

bool ProtectModel::canProtect() const
{
    return m_ws.current() && !m_job.isRunning() && !m_request.password.isEmpty() &&
           m_request.password == m_passwordAgain;
}

bool ProtectModel::canRemove() const
{
    return removeView() == Protect::RemoveView::Offer && !m_job.isRunning();
}

std::optional<Protect::RemoveView> ProtectModel::removeView() const
{
    const auto current = m_ws.current();
    if (!current)
        return std::nullopt;
    return Protect::removeView(*current);
}

bool ProtectModel::start(Protect::Mode mode)
{
    Protect::Request request;
    request.mode = mode;
    if (mode == Protect::Mode::Add) {
        request.password = QString(m_request.password.constData(), m_request.password.size());
        request.allowPrinting = m_request.allowPrinting;
        request.allowCopying = m_request.allowCopying;
    }
    const bool started =
        startTowardsPDF(Protect::suffix(mode), Protect::jobTitle(mode),
                        [request](const PDFFile &file, const QString &to, const Progress &progress,
                                  const IsCancelled &isCancelled) {
                            return Protect::run(file, request, to, progress, isCancelled);
                        });
    // The job holds its own copy; this one (the only one when nothing
    // started) and, once the job runs, both fields are overwritten.
    Protect::wipe(request.password);
    if (started && mode == Protect::Mode::Add) {
        Protect::wipe(m_request.password);
        Protect::wipe(m_passwordAgain);
    }
    return started;
}

bool ProtectModel::protect()
{
    if (!canProtect())
        return false;
    const bool started = start(Protect::Mode::Add);
    // The fields were emptied as the job started.
    Q_EMIT changed();
    return started;
}

bool ProtectModel::remove()
{
    return canRemove() && start(Protect::Mode::Remove);
}
