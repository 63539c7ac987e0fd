#pragma once

#include <QWidget>

class Workspace;

// Right of the sidebar: holds the chosen tool's screen and takes dropped
// files for the workspace, whichever tool is shown. While files are dragged
// over it, a dashed accent border is drawn just inside its edge.
class ToolArea : public QWidget {
    Q_OBJECT
public:
    explicit ToolArea(Workspace &workspace, QWidget *parent = nullptr);

    void setScreen(QWidget *screen);
    QWidget *screen() const { return m_screen; }
    bool targeted() const { return m_targeted; }

    // The local files among dropped URLs, in their order.
    static QStringList localFiles(const QList<QUrl> &urls);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dragMoveEvent(QDragMoveEvent *event) override;
    void dragLeaveEvent(QDragLeaveEvent *event) override;
    void dropEvent(QDropEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void setTargeted(bool targeted);

    Workspace &m_ws;
    QWidget *m_screen = nullptr;
    QWidget *m_highlight = nullptr;
    bool m_targeted = false;
};
