#include "screens/SignPageArea.h"

#include "screens/Theme.h"
#include "tasks/SignModel.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QSet>

#include <algorithm>
#include <cmath>

SignPageArea::SignPageArea(SignModel &model, QWidget *parent)
    : QWidget(parent)
    , m_model(model)
{
    setObjectName(QStringLiteral("signPageArea"));
    setFocusPolicy(Qt::StrongFocus);
    setMouseTracking(true);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    connect(&m_model, &SignModel::changed, this, qOverload<>(&QWidget::update));
}

QSize SignPageArea::sizeHint() const
{
    return {560, 520};
}

QSize SignPageArea::minimumSizeHint() const
{
    return {200, 160};
}

double SignPageArea::scale() const
{
    const QSizeF page = m_model.pageSize();
    if (page.width() <= 0 || page.height() <= 0)
        return 1;
    const double w = std::max(width() - 2 * kMargin, kMinFit);
    const double h = std::max(height() - 2 * kMargin, kMinFit);
    return std::min(w / page.width(), h / page.height());
}

QRectF SignPageArea::pageRect() const
{
    const QSizeF size = m_model.pageSize() * scale();
    return {(width() - size.width()) / 2, (height() - size.height()) / 2, size.width(),
            size.height()};
}

QRectF SignPageArea::onScreen(const QRectF &bounds) const
{
    // The page's y grows upwards from its lower edge, the screen's downwards.
    const double s = scale();
    const QRectF page = pageRect();
    return {page.x() + bounds.x() * s,
            page.y() + (m_model.pageSize().height() - bounds.y() - bounds.height()) * s,
            bounds.width() * s, bounds.height() * s};
}

const Placement *SignPageArea::placement(const QUuid &id) const
{
    for (const Placement &p : m_model.placements())
        if (p.id == id)
            return &p;
    return nullptr;
}

std::optional<QUuid> SignPageArea::stampAt(QPointF point) const
{
    const auto &all = m_model.placements();
    // Later stamps are drawn on top, so they are hit first.
    for (auto it = all.crbegin(); it != all.crend(); ++it)
        if (it->pageIndex == m_model.pageIndex() && onScreen(it->bounds).contains(point))
            return it->id;
    return std::nullopt;
}

QPointF SignPageArea::dotCenter(const Placement &p) const
{
    return onScreen(p.bounds).bottomRight();
}

bool SignPageArea::onDot(QPointF point) const
{
    const auto selected = m_model.selected();
    const Placement *p = selected ? placement(*selected) : nullptr;
    if (!p || p->pageIndex != m_model.pageIndex())
        return false;
    const QPointF d = point - dotCenter(*p);
    // A little more than the dot itself, so it is easy to catch.
    return std::hypot(d.x(), d.y()) <= kDotDiameter / 2 + 3;
}

void SignPageArea::updateCursor(QPointF point)
{
    if (m_drag == Drag::Resize || onDot(point))
        setCursor(Qt::SizeFDiagCursor);
    else if (m_drag == Drag::Move && m_dragging)
        setCursor(Qt::ClosedHandCursor);
    else if (stampAt(point))
        setCursor(Qt::OpenHandCursor);
    else
        unsetCursor();
}

QPixmap SignPageArea::scaledPixmap(const QImage &image, QSize size,
                                   QHash<qint64, QPixmap> &cache) const
{
    const qint64 key = image.cacheKey();
    const auto found = cache.constFind(key);
    if (found != cache.constEnd() && found->size() == size)
        return *found;
    // Scaled once per size with a proper filter: sharper than the painter's
    // own sampling when a large picture is shown small.
    QPixmap pixmap =
        QPixmap::fromImage(image.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
    cache.insert(key, pixmap);
    return pixmap;
}

void SignPageArea::drawPage(QPainter &painter, const QRectF &page)
{
    // A soft shadow: rings fading outwards, a little lower than the page.
    painter.setPen(Qt::NoPen);
    for (int i = 8; i >= 1; --i) {
        painter.setBrush(QColor(0, 0, 0, 5 + (8 - i) * 2));
        painter.drawRoundedRect(page.translated(0, 2).adjusted(-i, -i, i, i), i, i);
    }
    painter.fillRect(page, Qt::white);

    const auto &image = m_model.pageImage();
    if (!image || image->isNull())
        return;
    const qreal ratio = devicePixelRatioF();
    const QSize pixels = (page.size() * ratio).toSize();
    if (pixels.isEmpty())
        return;
    QPixmap pixmap = scaledPixmap(*image, pixels, m_previewCache);
    pixmap.setDevicePixelRatio(ratio);
    painter.drawPixmap(page, pixmap, QRectF(QPointF(0, 0), QSizeF(pixmap.size())));
}

void SignPageArea::drawStamp(QPainter &painter, const Placement &p)
{
    const QRectF frame = onScreen(p.bounds);
    const qreal ratio = devicePixelRatioF();
    const QSize pixels = (frame.size() * ratio).toSize();
    if (!pixels.isEmpty() && !p.image.isNull()) {
        if (m_drag == Drag::Resize && p.id == m_dragID) {
            // Its size changes with every move: drawn directly until let go.
            painter.drawImage(frame, p.image);
        } else {
            QPixmap pixmap = scaledPixmap(p.image, pixels, m_stampCache);
            pixmap.setDevicePixelRatio(ratio);
            painter.drawPixmap(frame, pixmap, QRectF(QPointF(0, 0), QSizeF(pixmap.size())));
        }
    }
    if (m_model.selected() != p.id)
        return;
    QPen dashed(Theme::accent(), 1.5);
    dashed.setDashPattern({4 / 1.5, 3 / 1.5}); // in pen widths: 4 on, 3 off
    painter.setPen(dashed);
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(frame.adjusted(0.75, 0.75, -0.75, -0.75));
    painter.setPen(QPen(Qt::white, 2));
    painter.setBrush(Theme::accent());
    painter.drawEllipse(dotCenter(p), kDotDiameter / 2, kDotDiameter / 2);
}

void SignPageArea::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
    painter.fillRect(rect(), Theme::withAlpha(Theme::secondary(), 0.08));
    const QRectF page = pageRect();
    drawPage(painter, page);

    QSet<qint64> shown;
    painter.save();
    for (const Placement &p : m_model.placements()) {
        if (p.pageIndex != m_model.pageIndex())
            continue;
        shown.insert(p.image.cacheKey());
        drawStamp(painter, p);
    }
    painter.restore();
    // Pictures of stamps removed or on other pages are let go.
    m_stampCache.removeIf([&](const auto &entry) { return !shown.contains(entry.key()); });
    if (m_model.pageImage())
        m_previewCache.removeIf(
            [&](const auto &entry) { return entry.key() != m_model.pageImage()->cacheKey(); });
}

void SignPageArea::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton) {
        QWidget::mousePressEvent(event);
        return;
    }
    setFocus(Qt::MouseFocusReason);
    const QPointF point = event->position();
    m_pressPos = point;
    m_dragging = false;
    if (onDot(point)) {
        m_drag = Drag::Resize;
        m_dragID = *m_model.selected();
    } else if (const auto id = stampAt(point)) {
        m_drag = Drag::Move;
        m_dragID = *id;
        m_model.select(*id);
    } else {
        m_drag = Drag::None;
        m_model.select(std::nullopt);
    }
    if (const Placement *p = m_drag != Drag::None ? placement(m_dragID) : nullptr)
        m_startBounds = p->bounds;
    updateCursor(point);
}

void SignPageArea::mouseMoveEvent(QMouseEvent *event)
{
    const QPointF point = event->position();
    if (m_drag == Drag::None || !(event->buttons() & Qt::LeftButton)) {
        updateCursor(point);
        return;
    }
    const QPointF translation = point - m_pressPos;
    if (!m_dragging && std::hypot(translation.x(), translation.y()) < 1)
        return;
    m_dragging = true;
    const double s = scale();
    if (m_drag == Drag::Move)
        m_model.setBounds(m_dragID, SignModel::moved(m_startBounds, translation, s));
    else
        m_model.setBounds(m_dragID,
                          SignModel::resized(m_startBounds, translation, s, m_model.pageSize()));
    updateCursor(point);
}

void SignPageArea::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton || m_drag == Drag::None) {
        QWidget::mouseReleaseEvent(event);
        return;
    }
    const QUuid id = m_dragID;
    const bool dragged = m_dragging;
    m_drag = Drag::None;
    m_dragging = false;
    if (const Placement *p = dragged ? placement(id) : nullptr)
        m_model.setBounds(id, SignModel::keptOnPage(p->bounds, m_model.pageSize()));
    else
        update(); // the resized stamp's picture is cached again
    updateCursor(event->position());
}

void SignPageArea::keyPressEvent(QKeyEvent *event)
{
    switch (event->key()) {
    case Qt::Key_PageUp: Q_EMIT pageStepRequested(-1); return;
    case Qt::Key_PageDown: Q_EMIT pageStepRequested(1); return;
    case Qt::Key_Delete:
    case Qt::Key_Backspace:
        if (m_model.selected()) {
            m_model.deleteSelected();
            return;
        }
        break;
    case Qt::Key_Left:
    case Qt::Key_Right:
    case Qt::Key_Up:
    case Qt::Key_Down: {
        const auto selected = m_model.selected();
        const Placement *p = selected ? placement(*selected) : nullptr;
        if (!p || m_drag != Drag::None)
            break;
        const double step = event->modifiers() & Qt::ShiftModifier ? 10 : 1;
        QPointF by;
        switch (event->key()) {
        case Qt::Key_Left: by = {-step, 0}; break;
        case Qt::Key_Right: by = {step, 0}; break;
        case Qt::Key_Up: by = {0, step}; break; // the page's y grows upwards
        default: by = {0, -step}; break;
        }
        m_model.setBounds(*selected,
                          SignModel::keptOnPage(p->bounds.translated(by), m_model.pageSize()));
        return;
    }
    default: break;
    }
    QWidget::keyPressEvent(event);
}
