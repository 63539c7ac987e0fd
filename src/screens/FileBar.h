#pragma once

#include <QWidget>

class QHBoxLayout;
class QScrollArea;
class Workspace;
struct PDFFile;

// The strip of opened PDFs, the chosen one marked, with "Add" at its end.
class FileBar : public QWidget {
    Q_OBJECT
public:
    explicit FileBar(Workspace &workspace, QWidget *parent = nullptr);

    // "12 p · 1.2 MB"
    static QString caption(const PDFFile &file);

private:
    void rebuild();

    Workspace &m_ws;
    QScrollArea *m_scroll = nullptr;
    QWidget *m_row = nullptr;
};
