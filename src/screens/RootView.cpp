#include "screens/RootView.h"

#include "core/Workspace.h"
#include "screens/NoticeAlert.h"
#include "screens/ScreenRegistry.h"
#include "screens/Sidebar.h"
#include "screens/ToolArea.h"

#include <QFrame>
#include <QHBoxLayout>

RootView::RootView(Workspace &workspace, QWidget *parent)
    : QWidget(parent)
    , m_ws(workspace)
{
    setObjectName(QStringLiteral("rootView"));
    setMinimumSize(kMinimumSize);
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    m_sidebar = new Sidebar(m_ws, this);
    layout->addWidget(m_sidebar);
    auto *divider = new QFrame(this);
    divider->setFrameShape(QFrame::VLine);
    divider->setFrameShadow(QFrame::Plain);
    divider->setStyleSheet(QStringLiteral("color: rgba(0, 0, 0, 40);"));
    layout->addWidget(divider);
    m_toolArea = new ToolArea(m_ws, this);
    layout->addWidget(m_toolArea, 1);

    m_notice = new NoticeAlert(m_ws, this);
    connect(&m_ws, &Workspace::toolChanged, this, &RootView::showTool);
    showTool();
}

QWidget *RootView::screen() const
{
    return m_toolArea->screen();
}

void RootView::showTool()
{
    // The old screen goes, and its state with it; a job it started
    // finishes on its own and its result is dropped.
    m_toolArea->setScreen(ScreenRegistry::make(m_ws.tool(), m_ws, m_toolArea));
}
