#pragma once

#include <QWidget>

class MergeModel;
class QVBoxLayout;

// The Merge screen's rows, one per opened file in workspace order. A row
// dragged (by its handle or anywhere on it) and dropped between others
// moves that file in the workspace itself.
class MergeList : public QWidget {
    Q_OBJECT
public:
    explicit MergeList(MergeModel &model, QWidget *parent = nullptr);

    static const char *const kRowMime;
    // The row offset a drop at `position` inserts before.
    int dropOffsetAt(const QPoint &position) const;
    int rowCount() const;

protected:
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dragMoveEvent(QDragMoveEvent *event) override;
    void dragLeaveEvent(QDragLeaveEvent *event) override;
    void dropEvent(QDropEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    void rebuild();

    MergeModel &m_model;
    QVBoxLayout *m_layout = nullptr;
    QList<QWidget *> m_rows;
    int m_indicator = -1; // the offset a drop would go to, while dragging
};
