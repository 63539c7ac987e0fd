#pragma once

#include "core/Tool.h"

#include <QWidget>

class Workspace;

// The fixed list of the eight tools, with the program's name above and the
// privacy line below. A row sets the workspace's tool; a tool whose screen
// isn't in this build is shown greyed and can't be chosen.
class Sidebar : public QWidget {
    Q_OBJECT
public:
    explicit Sidebar(Workspace &workspace, QWidget *parent = nullptr);
    static constexpr int kWidth = 190;

protected:
    void paintEvent(QPaintEvent *event) override;
};
