#pragma once

#include <QHash>
#include <QPixmap>
#include <QPointF>
#include <QRectF>
#include <QUuid>
#include <QWidget>

#include <optional>

class SignModel;
struct Placement;

// The shown page of the Sign & Stamp screen: the preview fitted into the
// space with a soft shadow, and every stamp placed on that page at its
// bounds. Stamps are moved by dragging them and resized by the selected
// one's corner dot, through SignModel's rules; arrow keys nudge the
// selected stamp (Shift: ten points), Delete removes it.
class SignPageArea : public QWidget {
    Q_OBJECT
public:
    static constexpr double kMargin = 20;  // around the page
    static constexpr double kMinFit = 100; // the smallest box the page is fitted into
    static constexpr double kDotDiameter = 14;

    explicit SignPageArea(SignModel &model, QWidget *parent = nullptr);

    // Screen points per page point at the current size.
    double scale() const;
    // Where the page is on the widget.
    QRectF pageRect() const;
    // Where page bounds (y up, points) are on the widget.
    QRectF onScreen(const QRectF &bounds) const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

Q_SIGNALS:
    // Page Up / Page Down: show the page `delta` away.
    void pageStepRequested(int delta);

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    enum class Drag { None, Move, Resize };

    const Placement *placement(const QUuid &id) const;
    // The topmost stamp of the shown page under a point, if any.
    std::optional<QUuid> stampAt(QPointF point) const;
    bool onDot(QPointF point) const;
    QPointF dotCenter(const Placement &placement) const;
    void updateCursor(QPointF point);
    void drawPage(QPainter &painter, const QRectF &page);
    void drawStamp(QPainter &painter, const Placement &placement);
    // A picture smoothly scaled to `size` device pixels, kept between paints.
    QPixmap scaledPixmap(const QImage &image, QSize size, QHash<qint64, QPixmap> &cache) const;

    SignModel &m_model;
    Drag m_drag = Drag::None;
    QUuid m_dragID;
    QPointF m_pressPos;
    QRectF m_startBounds;
    bool m_dragging = false; // moved at least a point since the press
    mutable QHash<qint64, QPixmap> m_previewCache;
    mutable QHash<qint64, QPixmap> m_stampCache;
};
