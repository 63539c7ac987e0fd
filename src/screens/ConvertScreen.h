#pragma once

#include <QWidget>

class ConvertModel;
class ToolPage;
class Workspace;

// The Convert tool: the chosen PDF's pages as pictures in a new folder, or
// its text in one plain-text file.
class ConvertScreen : public QWidget {
    Q_OBJECT
public:
    explicit ConvertScreen(Workspace &workspace, QWidget *parent = nullptr);

    ConvertModel &model() const { return *m_model; }
    ToolPage *page() const { return m_page; }

private:
    ConvertModel *m_model = nullptr;
    ToolPage *m_page = nullptr;
};
