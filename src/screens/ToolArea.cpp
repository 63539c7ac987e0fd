#include "screens/ToolArea.h"

#include "core/Workspace.h"
#include "screens/Theme.h"

#include <QApplication>
#include <QDragEnterEvent>
#include <QMimeData>
#include <QPainter>
#include <QPainterPath>
#include <QUrl>
#include <QVBoxLayout>

namespace {
// The dashed border; it lets every click through.
class DropHighlight : public QWidget {
public:
    explicit DropHighlight(QWidget *parent)
        : QWidget(parent)
    {
        setObjectName(QStringLiteral("dropHighlight"));
        setAttribute(Qt::WA_TransparentForMouseEvents);
        setAttribute(Qt::WA_NoSystemBackground);
        hide();
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        QPen pen(Theme::accent(), 3, Qt::DashLine);
        painter.setPen(pen);
        QPainterPath path;
        path.addRoundedRect(QRectF(rect()).adjusted(6 + 1.5, 6 + 1.5, -6 - 1.5, -6 - 1.5), 10, 10);
        painter.drawPath(path);
    }
};
} // namespace

ToolArea::ToolArea(Workspace &workspace, QWidget *parent)
    : QWidget(parent)
    , m_ws(workspace)
{
    setObjectName(QStringLiteral("toolArea"));
    setAcceptDrops(true);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    m_highlight = new DropHighlight(this);
    // Text fields inside the screens take dropped URLs as text; files
    // dropped on them must still go to the workspace.
    qApp->installEventFilter(this);
}

bool ToolArea::eventFilter(QObject *watched, QEvent *event)
{
    const auto type = event->type();
    if (type == QEvent::DragLeave) {
        auto *widget = qobject_cast<QWidget *>(watched);
        if (m_targeted && widget && widget != this && isAncestorOf(widget))
            setTargeted(false);
        return false;
    }
    if (type != QEvent::DragEnter && type != QEvent::DragMove && type != QEvent::Drop)
        return false;
    auto *widget = qobject_cast<QWidget *>(watched);
    if (!widget || widget == this || !isAncestorOf(widget) || !widget->acceptDrops())
        return false;
    auto *drop = static_cast<QDropEvent *>(event);
    if (localFiles(drop->mimeData()->urls()).isEmpty() ||
        drop->mimeData()->hasFormat(QStringLiteral("application/x-quirebook-merge-row")))
        return false;
    switch (type) {
    case QEvent::DragEnter: dragEnterEvent(static_cast<QDragEnterEvent *>(event)); break;
    case QEvent::DragMove: dragMoveEvent(static_cast<QDragMoveEvent *>(event)); break;
    default: dropEvent(drop); break;
    }
    return true;
}

void ToolArea::setScreen(QWidget *screen)
{
    if (m_screen) {
        layout()->removeWidget(m_screen);
        m_screen->hide();
        m_screen->deleteLater();
    }
    m_screen = screen;
    if (m_screen) {
        layout()->addWidget(m_screen);
        m_screen->show();
    }
    m_highlight->raise();
}

QStringList ToolArea::localFiles(const QList<QUrl> &urls)
{
    QStringList paths;
    for (const QUrl &url : urls)
        if (url.isLocalFile())
            paths << url.toLocalFile();
    return paths;
}

void ToolArea::setTargeted(bool targeted)
{
    m_targeted = targeted;
    m_highlight->setGeometry(rect());
    m_highlight->setVisible(targeted);
    m_highlight->raise();
}

void ToolArea::dragEnterEvent(QDragEnterEvent *event)
{
    if (!localFiles(event->mimeData()->urls()).isEmpty()) {
        event->acceptProposedAction();
        setTargeted(true);
    } else {
        event->ignore();
    }
}

void ToolArea::dragMoveEvent(QDragMoveEvent *event)
{
    if (!localFiles(event->mimeData()->urls()).isEmpty())
        event->acceptProposedAction();
    else
        event->ignore();
}

void ToolArea::dragLeaveEvent(QDragLeaveEvent *)
{
    setTargeted(false);
}

void ToolArea::dropEvent(QDropEvent *event)
{
    setTargeted(false);
    const QStringList paths = localFiles(event->mimeData()->urls());
    if (paths.isEmpty()) {
        event->ignore();
        return;
    }
    event->acceptProposedAction();
    m_ws.add(paths);
}

void ToolArea::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    m_highlight->setGeometry(rect());
}
