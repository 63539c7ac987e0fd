#pragma once

#include "core/PDFFile.h"
#include "tasks/Pages.h"

#include <QList>
#include <QObject>
#include <QSet>
#include <QString>
#include <QUuid>

#include <optional>

// The page list being edited on the Pages screen (and by quirebook-cli
// pages): the pages in their order, each with the rotation the person
// added, the selection and an undo history. Nothing here touches a file:
// items name the file and page they show, and a save reopens the files in
// its job (build() only says what to write).
class PagesModel : public QObject {
    Q_OBJECT
public:
    static constexpr int kMaxUndo = 50;

    struct Item {
        QUuid id;       // new for each page as it enters the model
        int source = 0; // index into sources()
        int page = 0;   // zero-based, in that file
        int extra = 0;  // degrees added by the person, 0, 90, 180 or 270
        QString origin; // the base name of the file the page came from

        bool operator==(const Item &other) const = default;
    };

    explicit PagesModel(QObject *parent = nullptr);

    const QList<Item> &items() const { return m_items; }
    const QSet<QUuid> &selected() const { return m_selected; }
    int undoSteps() const { return int(m_history.size()); }
    std::optional<QUuid> loadedID() const { return m_loadedID; }
    // The files pages came from: the loaded one first, then appended ones.
    const QList<PDFFile> &sources() const { return m_sources; }
    const PDFFile &sourceOf(const Item &item) const { return m_sources.at(item.source); }
    // The position of an item, or -1.
    int indexOf(const QUuid &id) const;
    // The selection when there is one, else every page: what Rotate acts on.
    QSet<QUuid> target() const;

    // Starts over with the file's pages, unless it is the file already loaded.
    void load(const PDFFile &file);
    void toggle(const QUuid &id);
    void selectAll();
    // Selects every page from the one last toggled on to `id` (Shift+click);
    // without such a page, toggles `id`.
    void selectRun(const QUuid &id);
    void clearSelection();
    // Each is one undoable step; nothing happens when there is nothing to do.
    void rotate(const QSet<QUuid> &ids, int degrees);
    // Never every page at once. Clears the selection.
    void remove(const QSet<QUuid> &ids);
    void append(const PDFFile &file);
    // The dragged page (with the whole selection when it is selected) goes
    // just before `before`; to the end when `before` is no page.
    void move(const QUuid &dragged, const QUuid &before);
    // Keeps exactly these pages, in this order (quirebook-cli --order).
    // Unknown and repeated ids are skipped; nothing happens when none is left.
    void arrange(const QList<QUuid> &order);
    void undo();

    // What a save writes: the pages in order (only those in `only`, when
    // given), with the information of `info`.
    Pages::Request build(const std::optional<PDFFile> &info,
                         const std::optional<QSet<QUuid>> &only = std::nullopt) const;

Q_SIGNALS:
    // Items, selection or history changed.
    void changed();

private:
    void snapshot();
    void addPages(const PDFFile &file, QList<Item> &into);

    QList<Item> m_items;
    QSet<QUuid> m_selected;
    QList<QList<Item>> m_history;
    std::optional<QUuid> m_loadedID;
    QList<PDFFile> m_sources;
    std::optional<QUuid> m_anchor; // the page last toggled on
};
