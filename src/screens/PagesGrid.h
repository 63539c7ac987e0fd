#pragma once

#include <QAbstractScrollArea>
#include <QHash>
#include <QMultiHash>
#include <QPixmap>
#include <QPoint>
#include <QSizeF>
#include <QTimer>
#include <QUuid>

class PagesModel;
class QMimeData;

// The Pages screen's grid: one painted cell per page of the model, in
// order, with no widget per page, so a 3,000-page file lays out at once.
// Only the cells on show ask for their thumbnails (none while the view
// scrolls fast); a placeholder stands in until a picture arrives.
//
// A click toggles a page, Shift+click selects the run; a page dragged
// carries its id (text/plain) and lands before the cell it is dropped on,
// or at the end past the last one. Delete and Backspace delete the
// selection; undo() and selectAll() are slots so the Edit menu, which
// calls them on the focused widget, reaches them too.
class PagesGrid : public QAbstractScrollArea {
    Q_OBJECT
public:
    static constexpr int kThumbWidth = 128;
    static constexpr int kThumbHeight = 150;

    explicit PagesGrid(PagesModel &model, QWidget *parent = nullptr);

    // Delete may be pressed: some pages selected, but not every one.
    static bool canDelete(const PagesModel &model);

    int columns() const;
    // A cell's rectangle in the viewport's coordinates.
    QRect cellRect(int index) const;
    // The cell under a viewport point, or -1.
    int indexAt(const QPoint &point) const;
    // Where a drop at a viewport point lands: before this index (the
    // number of pages for the end).
    int dropIndexAt(const QPoint &point) const;
    void scrollToIndex(int index);

public Q_SLOTS:
    void undo();
    void selectAll();
    void deleteSelection();

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void scrollContentsBy(int dx, int dy) override;
    void showEvent(QShowEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dragMoveEvent(QDragMoveEvent *event) override;
    void dragLeaveEvent(QDragLeaveEvent *event) override;
    void dropEvent(QDropEvent *event) override;

private:
    struct Layout {
        int columns = 1;
        int left = 0; // x of the first column
    };
    Layout layout() const;
    QSize cellSize() const;
    int rowCount() const;
    void updateScrollBars();
    void paintCell(QPainter &painter, int index, const QRect &cell);
    // The page's shape on screen (turned by its extra rotation), fitted into the thumbnail box.
    QSize fittedSize(int index);
    // The dragged id a drop would move, when it is one of the model's pages.
    QUuid droppedID(const QMimeData *mime) const;
    void setIndicator(int index);
    void startDrag(int index);
    void thumbnailReady(const QString &key);

    PagesModel &m_model;
    QHash<QString, QSizeF> m_sizes;       // upright page sizes by "<file id>#<page>"
    QMultiHash<QString, QUuid> m_waiting; // thumbnails asked for, by key
    QPixmap m_check;
    QTimer m_settle;     // scrolling has stopped
    QTimer m_autoScroll; // near an edge while dragging
    bool m_scrolling = false;
    int m_autoScrollStep = 0;
    int m_pressIndex = -1;
    QPoint m_pressPos;
    int m_indicator = -1; // where a drop would land, while dragging
};
