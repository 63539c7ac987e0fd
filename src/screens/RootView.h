#pragma once

#include <QWidget>

class NoticeAlert;
class Sidebar;
class ToolArea;
class Workspace;

// The window's content: the sidebar, a divider, and the tool area with the
// screen of the workspace's tool. Also shows the workspace's notice.
class RootView : public QWidget {
    Q_OBJECT
public:
    explicit RootView(Workspace &workspace, QWidget *parent = nullptr);

    static constexpr QSize kMinimumSize{940, 640};

    Sidebar *sidebar() const { return m_sidebar; }
    ToolArea *toolArea() const { return m_toolArea; }
    // The screen on show; null when the tool has none in this build.
    QWidget *screen() const;
    NoticeAlert *noticeAlert() const { return m_notice; }

private:
    void showTool();

    Workspace &m_ws;
    Sidebar *m_sidebar = nullptr;
    ToolArea *m_toolArea = nullptr;
    NoticeAlert *m_notice = nullptr;
};
