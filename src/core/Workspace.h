#pragma once

#include "core/Dialogs.h"
#include "core/PDFFile.h"
#include "core/Tool.h"

#include <QList>
#include <QObject>
#include <QStringList>
#include <QUuid>

#include <optional>

// The opened files, the chosen one, the tool on show and a notice waiting
// for the person. Lives on the interface thread.
class Workspace : public QObject {
    Q_OBJECT
public:
    explicit Workspace(QObject *parent = nullptr);

    // The questions intake asks (passwords). Without one, a locked file
    // stays locked.
    void setDialogs(Dialogs *dialogs) { m_dialogs = dialogs; }
    Dialogs *dialogs() const { return m_dialogs; }

    const QList<PDFFile> &files() const { return m_files; }
    std::optional<QUuid> selectedID() const { return m_selectedID; }
    std::optional<QString> notice() const { return m_notice; }
    Tool tool() const { return m_tool; }

    QList<PDFFile> pdfs() const;
    std::optional<PDFFile> current() const;
    std::optional<PDFFile> file(const QUuid &id) const;

    // Takes files in through Intake::open; their refusals, one a line,
    // become the notice.
    void add(const QStringList &paths);
    void remove(const QUuid &id);
    // Moves the entries at `offsets` to stand before the entry that was at
    // `destination` (files().size() for the end), keeping their order.
    void move(const QList<qsizetype> &offsets, qsizetype destination);
    void unlockOwner(const QUuid &id);
    void select(const QUuid &id);
    void setTool(Tool tool);
    void setNotice(const std::optional<QString> &notice);

    static qint64 bytes(const QString &path);

Q_SIGNALS:
    void filesChanged();
    void selectionChanged();
    void noticeChanged();
    void toolChanged();

private:
    QList<PDFFile> m_files;
    std::optional<QUuid> m_selectedID;
    std::optional<QString> m_notice;
    Tool m_tool = Tool::Merge;
    Dialogs *m_dialogs = nullptr;
};
