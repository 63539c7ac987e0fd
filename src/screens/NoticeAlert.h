#pragma once

#include <QObject>
#include <QPointer>

#include <QMessageBox>
class QWidget;
class Workspace;

// Shows the workspace's notice (files refused at intake, a password not
// accepted) as an alert over the window; dismissing it clears the notice.
class NoticeAlert : public QObject {
    Q_OBJECT
public:
    NoticeAlert(Workspace &workspace, QWidget *window);

    // The alert on show, or null.
    QMessageBox *box() const { return m_box; }

private:
    void refresh();

    Workspace &m_ws;
    QWidget *m_window = nullptr;
    QPointer<QMessageBox> m_box;
};
