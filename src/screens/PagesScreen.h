#pragma once

#include "core/PDFFile.h"

#include <QWidget>

class Job;
class PagesGrid;
class PagesModel;
class QLabel;
class QMenu;
class QPushButton;
class ToolPage;
class Workspace;

// The Pages tool: one PDF rearranged (pages reordered, turned, deleted,
// others added, undone) and saved as a new file. The edits live in one
// PagesModel for the screen's lifetime; each file chosen shows a PagesBody
// over it, which loads that file (the same file keeps its edits).
class PagesView : public QWidget {
    Q_OBJECT
public:
    explicit PagesView(Workspace &workspace, QWidget *parent = nullptr);

    PagesModel &model() const { return *m_model; }
    Job &job() const { return *m_job; }
    ToolPage *page() const { return m_page; }

private:
    PagesModel *m_model = nullptr;
    Job *m_job = nullptr;
    ToolPage *m_page = nullptr;
};

// The toolbar, the grid of pages, the footer with the saves, and the job.
class PagesBody : public QWidget {
    Q_OBJECT
public:
    PagesBody(Workspace &workspace, PagesModel &model, Job &job, const PDFFile &file,
              QWidget *parent = nullptr);

    PagesGrid *grid() const { return m_grid; }

private:
    void refresh();
    void fillAddMenu();
    void chooseFiles();
    void save(bool selectionOnly);

    Workspace &m_ws;
    PagesModel &m_model;
    Job &m_job;
    PDFFile m_file;
    PagesGrid *m_grid = nullptr;
    QPushButton *m_delete = nullptr;
    QPushButton *m_undo = nullptr;
    QMenu *m_addMenu = nullptr;
    QLabel *m_summary = nullptr;
    QLabel *m_caption = nullptr;
    QPushButton *m_saveSelected = nullptr;
    QPushButton *m_saveCopy = nullptr;
};
