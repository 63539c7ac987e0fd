#include "screens/NoticeAlert.h"

#include "core/Workspace.h"

#include <QMessageBox>
#include <QPushButton>

NoticeAlert::NoticeAlert(Workspace &workspace, QWidget *window)
    : QObject(window)
    , m_ws(workspace)
    , m_window(window)
{
    connect(&m_ws, &Workspace::noticeChanged, this, &NoticeAlert::refresh);
    refresh();
}

void NoticeAlert::refresh()
{
    const auto notice = m_ws.notice();
    if (!notice) {
        if (m_box)
            m_box->done(QMessageBox::Cancel);
        return;
    }
    if (!m_box) {
        // Window-modal and not blocking: the event loop goes on, so work
        // running in the background still reports while the alert shows.
        auto *box = new QMessageBox(m_window);
        box->setObjectName(QStringLiteral("noticeAlert"));
        box->setAttribute(Qt::WA_DeleteOnClose);
        box->setWindowTitle(tr("Quirebook"));
        box->setIcon(QMessageBox::Warning);
        box->setTextFormat(Qt::PlainText);
        auto *ok = box->addButton(tr("OK"), QMessageBox::RejectRole);
        ok->setObjectName(QStringLiteral("noticeOK"));
        box->setDefaultButton(ok);
        box->setEscapeButton(ok);
        box->setWindowModality(Qt::WindowModal);
        connect(box, &QMessageBox::finished, this, [this] { m_ws.setNotice(std::nullopt); });
        m_box = box;
    }
    m_box->setText(*notice);
    m_box->show();
}
