#pragma once

#include <QWidget>

class CompressModel;
class ToolPage;
class Workspace;

// The Compress tool: a smaller copy of the chosen PDF beside it, at one of
// three levels.
class CompressScreen : public QWidget {
    Q_OBJECT
public:
    explicit CompressScreen(Workspace &workspace, QWidget *parent = nullptr);

    CompressModel &model() const { return *m_model; }
    ToolPage *page() const { return m_page; }

private:
    CompressModel *m_model = nullptr;
    ToolPage *m_page = nullptr;
};
