#pragma once

#include <QWidget>

class Banner;
class JobBar;
class MergeList;
class MergeModel;
class QLabel;
class QPushButton;
class QStackedLayout;
class Workspace;

// The Merge tool: every opened file, PDFs and pictures, in the order the
// rows show, joined into one new PDF.
class MergeScreen : public QWidget {
    Q_OBJECT
public:
    explicit MergeScreen(Workspace &workspace, QWidget *parent = nullptr);

    MergeModel &model() const { return *m_model; }

private:
    void refresh();

    MergeModel *m_model = nullptr;
    QStackedLayout *m_stack = nullptr;
    QWidget *m_empty = nullptr;
    QWidget *m_filled = nullptr;
    MergeList *m_list = nullptr;
    QLabel *m_summary = nullptr;
    QPushButton *m_merge = nullptr;
    Banner *m_banner = nullptr;
    JobBar *m_jobBar = nullptr;
};
