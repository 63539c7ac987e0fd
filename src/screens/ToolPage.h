#pragma once

#include "core/Tool.h"

#include <QUuid>
#include <QWidget>

#include <functional>
#include <optional>

class QVBoxLayout;
class Workspace;
struct PDFFile;

// The frame of a one-file tool screen: the tool's title and subtitle; then
// the file bar and, for the chosen PDF, either the tool's own content or
// the panel asking for a restricted file's owner password; with no PDF
// opened, the "Drop PDFs here" prompt.
//
// The content is made anew whenever another file is chosen (or the chosen
// one is unlocked), so it starts with fresh state for each file.
class ToolPage : public QWidget {
    Q_OBJECT
public:
    using Content = std::function<QWidget *(const PDFFile &file, QWidget *parent)>;

    ToolPage(Workspace &workspace, Tool tool, Content content, QWidget *parent = nullptr);
    // Makes a tool page filling the whole of `screen`.
    static ToolPage *fill(QWidget *screen, Workspace &workspace, Tool tool, Content content);

    Tool tool() const { return m_tool; }
    // The content on show, or null (no PDF, or a restricted one).
    QWidget *content() const { return m_content; }

    // The page header any screen can use: title and subtitle.
    static QWidget *header(const QString &title, const QString &subtitle, QWidget *parent);
    // The centred panel for a restricted file.
    static QWidget *restrictedPanel(Workspace &workspace, const QUuid &id, QWidget *parent);

private:
    void refresh();

    Workspace &m_ws;
    Tool m_tool;
    Content m_makeContent;
    QVBoxLayout *m_layout = nullptr;
    QWidget *m_fileBar = nullptr;
    QWidget *m_divider = nullptr;
    QWidget *m_body = nullptr;
    QWidget *m_content = nullptr;
    // What the body shows: no file, or this file, restricted or not.
    std::optional<std::pair<QUuid, bool>> m_shown;
    bool m_built = false;
};
