#pragma once

#include <QWidget>

class SplitModel;
class ToolPage;
class Workspace;

// The Split tool: the chosen PDF cut into several files, one per group of
// pages, in a new folder beside it.
class SplitScreen : public QWidget {
    Q_OBJECT
public:
    explicit SplitScreen(Workspace &workspace, QWidget *parent = nullptr);

    SplitModel &model() const { return *m_model; }
    ToolPage *page() const { return m_page; }

private:
    SplitModel *m_model = nullptr;
    ToolPage *m_page = nullptr;
};
