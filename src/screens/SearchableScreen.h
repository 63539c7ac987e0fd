#pragma once

#include <QWidget>

class SearchableModel;
class ToolPage;
class Workspace;

// The Make Searchable tool: a copy of the chosen PDF whose scanned pages
// carry the recognised words as invisible text.
class SearchableScreen : public QWidget {
    Q_OBJECT
public:
    explicit SearchableScreen(Workspace &workspace, QWidget *parent = nullptr);

    SearchableModel &model() const { return *m_model; }
    ToolPage *page() const { return m_page; }

private:
    SearchableModel *m_model = nullptr;
    ToolPage *m_page = nullptr;
};
