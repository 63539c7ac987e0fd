#pragma once

#include <QString>
#include <QWidget>

class QPushButton;
class Workspace;

// The empty-state prompt: a large symbol, what to drop, a hint and the
// "Choose Files…" button. Drops themselves are taken by the tool area.
class EmptyDrop : public QWidget {
    Q_OBJECT
public:
    EmptyDrop(Workspace &workspace, const QString &text, bool includesImages,
              QWidget *parent = nullptr);

    static QString hint(bool includesImages);

private:
    Workspace &m_ws;
    bool m_includesImages = false;
};
