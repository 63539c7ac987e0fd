#include "screens/PagesGrid.h"

#include "engine/PDFDocument.h"
#include "screens/Symbols.h"
#include "screens/Theme.h"
#include "screens/Thumbnails.h"
#include "tasks/PagesModel.h"

#include <QApplication>
#include <QDrag>
#include <QDragEnterEvent>
#include <QKeyEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QScrollBar>

namespace {
constexpr int kMargin = 16; // around the grid
constexpr int kGap = 14;    // between cells, where the drop line goes
constexpr int kPadding = 6; // inside a cell, around the thumbnail
constexpr int kCheckSize = 20;

int normalised(int degrees)
{
    const int r = degrees % 360;
    return r < 0 ? r + 360 : r;
}
} // namespace

PagesGrid::PagesGrid(PagesModel &model, QWidget *parent)
    : QAbstractScrollArea(parent)
    , m_model(model)
{
    setObjectName(QStringLiteral("pagesGrid"));
    // The Edit menu's Undo and Select All reach the grid while it is shown.
    setProperty("editTarget", true);
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::StrongFocus);
    setAcceptDrops(true);
    viewport()->setAcceptDrops(true);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    verticalScrollBar()->setSingleStep(48);
    viewport()->setBackgroundRole(QPalette::Base);
    viewport()->setAutoFillBackground(true);

    m_settle.setSingleShot(true);
    m_settle.setInterval(150);
    connect(&m_settle, &QTimer::timeout, this, [this] {
        m_scrolling = false;
        viewport()->update();
    });
    m_autoScroll.setInterval(30);
    connect(&m_autoScroll, &QTimer::timeout, this, [this] {
        verticalScrollBar()->setValue(verticalScrollBar()->value() + m_autoScrollStep);
    });
    connect(&Thumbnails::instance(), &Thumbnails::ready, this,
            [this](const QString &key, const QImage &) { thumbnailReady(key); });
    connect(&m_model, &PagesModel::changed, this, [this] {
        updateScrollBars();
        viewport()->update();
    });
    updateScrollBars();
}

bool PagesGrid::canDelete(const PagesModel &model)
{
    const qsizetype selected = model.selected().size();
    return selected > 0 && selected < model.items().size();
}

QSize PagesGrid::cellSize() const
{
    const int caption = QFontMetrics(Theme::font(Theme::Type::Caption, font())).height() + 6;
    return {kThumbWidth + 2 * kPadding, kThumbHeight + 2 * kPadding + caption};
}

PagesGrid::Layout PagesGrid::layout() const
{
    const int cell = cellSize().width();
    const int room = viewport()->width() - 2 * kMargin;
    Layout result;
    result.columns = std::max(1, (room + kGap) / (cell + kGap));
    const int used = result.columns * cell + (result.columns - 1) * kGap;
    result.left = std::max(kMargin, (viewport()->width() - used) / 2);
    return result;
}

int PagesGrid::columns() const
{
    return layout().columns;
}

int PagesGrid::rowCount() const
{
    const int count = int(m_model.items().size());
    return (count + columns() - 1) / columns();
}

QRect PagesGrid::cellRect(int index) const
{
    const Layout l = layout();
    const QSize cell = cellSize();
    const int row = index / l.columns, column = index % l.columns;
    return {l.left + column * (cell.width() + kGap),
            kMargin + row * (cell.height() + kGap) - verticalScrollBar()->value(), cell.width(),
            cell.height()};
}

int PagesGrid::indexAt(const QPoint &point) const
{
    const Layout l = layout();
    const QSize cell = cellSize();
    const int x = point.x() - l.left;
    const int y = point.y() + verticalScrollBar()->value() - kMargin;
    if (x < 0 || y < 0 || x % (cell.width() + kGap) >= cell.width() ||
        y % (cell.height() + kGap) >= cell.height())
        return -1;
    const int column = x / (cell.width() + kGap);
    if (column >= l.columns)
        return -1;
    const int index = (y / (cell.height() + kGap)) * l.columns + column;
    return index < m_model.items().size() ? index : -1;
}

int PagesGrid::dropIndexAt(const QPoint &point) const
{
    // Each cell owns half the gap around it, so the whole grid is a target.
    const Layout l = layout();
    const QSize cell = cellSize();
    const int count = int(m_model.items().size());
    const int x = point.x() - l.left + kGap / 2;
    const int y = point.y() + verticalScrollBar()->value() - kMargin + kGap / 2;
    if (y < 0)
        return count > 0 ? 0 : count;
    // Right of the last column is after the row's last page.
    const int column = x < 0 ? 0 : std::min(x / (cell.width() + kGap), l.columns);
    const int index = (y / (cell.height() + kGap)) * l.columns + column;
    return std::min(index, count);
}

void PagesGrid::scrollToIndex(int index)
{
    const QRect cell = cellRect(index);
    if (cell.top() < 0)
        verticalScrollBar()->setValue(verticalScrollBar()->value() + cell.top() - kMargin);
    else if (cell.bottom() > viewport()->height())
        verticalScrollBar()->setValue(verticalScrollBar()->value() + cell.bottom() -
                                      viewport()->height() + kMargin);
}

void PagesGrid::updateScrollBars()
{
    const int rows = rowCount();
    const int content = rows > 0 ? 2 * kMargin + rows * cellSize().height() + (rows - 1) * kGap : 0;
    verticalScrollBar()->setPageStep(viewport()->height());
    verticalScrollBar()->setRange(0, std::max(0, content - viewport()->height()));
}

void PagesGrid::resizeEvent(QResizeEvent *event)
{
    QAbstractScrollArea::resizeEvent(event);
    updateScrollBars();
}

void PagesGrid::scrollContentsBy(int, int)
{
    // Pages flown past aren't drawn; the ones on show when it stops are.
    m_scrolling = true;
    m_settle.start();
    viewport()->update();
}

void PagesGrid::showEvent(QShowEvent *event)
{
    QAbstractScrollArea::showEvent(event);
    // The keys work at once, unless something else (a text field) has the keyboard.
    if (!QApplication::focusWidget())
        setFocus(Qt::OtherFocusReason);
}

void PagesGrid::undo()
{
    m_model.undo();
}

void PagesGrid::selectAll()
{
    m_model.selectAll();
}

void PagesGrid::deleteSelection()
{
    if (canDelete(m_model))
        m_model.remove(m_model.selected());
}

QSize PagesGrid::fittedSize(int index)
{
    const PagesModel::Item &item = m_model.items().at(index);
    const PDFFile &file = m_model.sourceOf(item);
    const QString key = file.id.toString(QUuid::WithoutBraces) + u'#' + QString::number(item.page);
    auto it = m_sizes.find(key);
    if (it == m_sizes.end()) {
        QSizeF upright(612, 792);
        if (file.doc && !file.doc->isLocked())
            if (const auto geometry = file.doc->page(item.page))
                upright = geometry->uprightSize();
        it = m_sizes.insert(key, upright);
    }
    QSizeF shown = *it;
    if (normalised(item.extra) % 180 == 90)
        shown.transpose();
    if (shown.width() <= 0 || shown.height() <= 0)
        shown = QSizeF(612, 792);
    const QSize fitted = shown.scaled(QSizeF(kThumbWidth, kThumbHeight), Qt::KeepAspectRatio)
                             .toSize()
                             .expandedTo(QSize(4, 4));
    return fitted;
}

void PagesGrid::paintEvent(QPaintEvent *event)
{
    QPainter painter(viewport());
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    const int count = int(m_model.items().size());
    const Layout l = layout();
    const int rowHeight = cellSize().height() + kGap;
    const int top = verticalScrollBar()->value() + event->rect().top() - kMargin;
    const int bottom = verticalScrollBar()->value() + event->rect().bottom() - kMargin;
    const int first = std::max(0, top / rowHeight) * l.columns;
    const int last = std::min(count - 1, (bottom / rowHeight + 1) * l.columns - 1);
    for (int i = first; i <= last; ++i) {
        const QRect cell = cellRect(i);
        if (cell.intersects(event->rect()))
            paintCell(painter, i, cell);
    }
    if (m_indicator >= 0 && count > 0) {
        // A line in the gap before the cell the group lands before (after the last one).
        const bool end = m_indicator >= count;
        const QRect cell = cellRect(end ? count - 1 : m_indicator);
        const int x = end ? cell.right() + kGap / 2 + 1 : cell.left() - kGap / 2;
        painter.setPen(QPen(Theme::accent(), 3, Qt::SolidLine, Qt::RoundCap));
        painter.drawLine(QPoint(x, cell.top() + kPadding),
                         QPoint(x, cell.top() + kPadding + kThumbHeight));
    }
}

void PagesGrid::paintCell(QPainter &painter, int index, const QRect &cell)
{
    const PagesModel::Item &item = m_model.items().at(index);
    const bool selected = m_model.selected().contains(item.id);
    const QSize fitted = fittedSize(index);
    const QRect box(cell.left() + kPadding, cell.top() + kPadding, kThumbWidth, kThumbHeight);
    // Pages stand on a common line, so the captions line up.
    const QRect page(box.left() + (box.width() - fitted.width()) / 2,
                     box.bottom() + 1 - fitted.height(), fitted.width(), fitted.height());

    // Twice the shown height, for sharp pictures on high-density screens.
    const int pixels = qRound(fitted.height() * 2 * std::max<qreal>(1.0, devicePixelRatioF() / 2));
    const Thumbnails::Request request{m_model.sourceOf(item).doc, item.page, item.extra, pixels};
    Thumbnails &thumbnails = Thumbnails::instance();
    const std::optional<QImage> image =
        m_scrolling ? thumbnails.cached(request) : thumbnails.image(request);
    if (!image && !m_scrolling) {
        const QString key = thumbnails.key(request);
        if (!m_waiting.contains(key, item.id))
            m_waiting.insert(key, item.id);
    }

    if (image && !image->isNull()) {
        for (int i = 3; i >= 1; --i) { // a soft shadow of widening rings
            QPainterPath ring;
            ring.addRoundedRect(QRectF(page).adjusted(-i, -i + 1, i, i + 1), i, i);
            painter.fillPath(ring, QColor(0, 0, 0, 64 / (i + 1)));
        }
        painter.fillRect(page, Qt::white);
        painter.drawImage(page, *image);
    } else {
        painter.fillRect(page, Theme::withAlpha(Theme::secondary(), 0.12));
    }

    if (selected) {
        painter.setPen(QPen(Theme::accent(), 3));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(QRectF(page).adjusted(-3.5, -3.5, 3.5, 3.5), 4, 4);
        if (m_check.isNull() || !qFuzzyCompare(m_check.devicePixelRatio(), devicePixelRatioF()))
            m_check = Symbols::pixmap(QStringLiteral("checkmark.circle.fill"), kCheckSize,
                                      Theme::accent(), devicePixelRatioF());
        const QRect corner(page.right() - kCheckSize - 3, page.top() + 4, kCheckSize, kCheckSize);
        painter.setPen(Qt::NoPen);
        painter.setBrush(Qt::white);
        painter.drawEllipse(QRectF(corner).adjusted(1, 1, -1, -1));
        if (!m_check.isNull())
            painter.drawPixmap(corner.topLeft(), m_check);
        else
            painter.fillRect(corner.adjusted(4, 4, -4, -4), Theme::accent());
    }

    const QRect caption(cell.left(), box.bottom() + 4, cell.width(),
                        cell.bottom() - box.bottom() - 4);
    painter.setFont(Theme::font(Theme::Type::Caption, font(), selected));
    painter.setPen(selected ? Theme::accent() : Theme::secondary());
    painter.drawText(caption, Qt::AlignHCenter | Qt::AlignTop, QString::number(index + 1));
}

void PagesGrid::thumbnailReady(const QString &key)
{
    const QList<QUuid> ids = m_waiting.values(key);
    if (ids.isEmpty())
        return;
    m_waiting.remove(key);
    for (const QUuid &id : ids) {
        const int index = m_model.indexOf(id);
        if (index >= 0)
            viewport()->update(cellRect(index));
    }
}

void PagesGrid::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton) {
        QAbstractScrollArea::mousePressEvent(event);
        return;
    }
    m_pressPos = event->position().toPoint();
    m_pressIndex = indexAt(m_pressPos);
}

void PagesGrid::mouseDoubleClickEvent(QMouseEvent *event)
{
    mousePressEvent(event); // a second click, toggling back
}

void PagesGrid::mouseMoveEvent(QMouseEvent *event)
{
    if (m_pressIndex < 0 || !(event->buttons() & Qt::LeftButton))
        return;
    if ((event->position().toPoint() - m_pressPos).manhattanLength() <
        QApplication::startDragDistance())
        return;
    const int index = m_pressIndex;
    m_pressIndex = -1;
    startDrag(index);
}

void PagesGrid::mouseReleaseEvent(QMouseEvent *event)
{
    const int pressed = m_pressIndex;
    m_pressIndex = -1;
    if (event->button() != Qt::LeftButton || pressed < 0 ||
        indexAt(event->position().toPoint()) != pressed)
        return;
    const QUuid id = m_model.items().at(pressed).id;
    if (event->modifiers() & Qt::ShiftModifier)
        m_model.selectRun(id);
    else
        m_model.toggle(id);
}

void PagesGrid::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Delete || event->key() == Qt::Key_Backspace)
        deleteSelection();
    else if (event->matches(QKeySequence::SelectAll))
        selectAll();
    else if (event->matches(QKeySequence::Undo))
        undo();
    else
        QAbstractScrollArea::keyPressEvent(event);
}

void PagesGrid::startDrag(int index)
{
    const PagesModel::Item item = m_model.items().at(index);
    auto *mime = new QMimeData;
    mime->setText(item.id.toString());
    auto *drag = new QDrag(this);
    drag->setMimeData(mime);

    // The page as it looks, smaller, with the number of pages going along.
    const QSize fitted = fittedSize(index);
    const qreal ratio = devicePixelRatioF();
    QPixmap picture(QSize(fitted.width() * 2 / 3 + 12, fitted.height() * 2 / 3 + 12) * ratio);
    picture.setDevicePixelRatio(ratio);
    picture.fill(Qt::transparent);
    {
        QPainter painter(&picture);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        const QRect page(6, 6, fitted.width() * 2 / 3, fitted.height() * 2 / 3);
        painter.setOpacity(0.85);
        const int pixels = qRound(fitted.height() * 2 * std::max<qreal>(1.0, ratio / 2));
        const auto image = Thumbnails::instance().cached(
            {m_model.sourceOf(item).doc, item.page, item.extra, pixels});
        painter.fillRect(page, Qt::white);
        if (image && !image->isNull())
            painter.drawImage(page, *image);
        painter.setPen(QPen(Theme::accent(), 2));
        painter.drawRect(page);
        const int going = m_model.selected().contains(item.id) ? int(m_model.selected().size()) : 1;
        if (going > 1) {
            painter.setOpacity(1);
            const QString text = QString::number(going);
            painter.setFont(Theme::font(Theme::Type::Caption, font(), true));
            const int width = std::max(20, painter.fontMetrics().horizontalAdvance(text) + 10);
            const QRect badge(page.right() - width + 6, 0, width, 20);
            painter.setPen(Qt::NoPen);
            painter.setBrush(Theme::accent());
            painter.drawRoundedRect(badge, 10, 10);
            painter.setPen(Qt::white);
            painter.drawText(badge, Qt::AlignCenter, text);
        }
    }
    drag->setPixmap(picture);
    drag->setHotSpot(QPoint(picture.width() / ratio / 2, picture.height() / ratio / 2));
    drag->exec(Qt::MoveAction);
    setIndicator(-1);
    m_autoScroll.stop();
}

QUuid PagesGrid::droppedID(const QMimeData *mime) const
{
    if (!mime || !mime->hasText())
        return {};
    const QString first = mime->text().section(u'\n', 0, 0).trimmed();
    const QUuid id = QUuid::fromString(first);
    return !id.isNull() && m_model.indexOf(id) >= 0 ? id : QUuid();
}

void PagesGrid::setIndicator(int index)
{
    if (index == m_indicator)
        return;
    m_indicator = index;
    viewport()->update();
}

void PagesGrid::dragEnterEvent(QDragEnterEvent *event)
{
    if (droppedID(event->mimeData()).isNull()) {
        event->ignore();
        return;
    }
    event->setDropAction(Qt::MoveAction);
    event->accept();
    setIndicator(dropIndexAt(event->position().toPoint()));
}

void PagesGrid::dragMoveEvent(QDragMoveEvent *event)
{
    if (droppedID(event->mimeData()).isNull()) {
        event->ignore();
        return;
    }
    event->setDropAction(Qt::MoveAction);
    event->accept();
    const QPoint point = event->position().toPoint();
    setIndicator(dropIndexAt(point));
    // Near the top or bottom edge the grid scrolls, so any place can be reached.
    const int edge = 40;
    m_autoScrollStep = point.y() < edge ? -24 : point.y() > viewport()->height() - edge ? 24 : 0;
    if (m_autoScrollStep != 0 && !m_autoScroll.isActive())
        m_autoScroll.start();
    else if (m_autoScrollStep == 0)
        m_autoScroll.stop();
}

void PagesGrid::dragLeaveEvent(QDragLeaveEvent *)
{
    m_autoScroll.stop();
    setIndicator(-1);
}

void PagesGrid::dropEvent(QDropEvent *event)
{
    m_autoScroll.stop();
    setIndicator(-1);
    const QUuid dragged = droppedID(event->mimeData());
    if (dragged.isNull()) {
        event->ignore();
        return;
    }
    const int before = dropIndexAt(event->position().toPoint());
    const auto &items = m_model.items();
    event->setDropAction(Qt::MoveAction);
    event->accept();
    m_model.move(dragged, before < items.size() ? items.at(before).id : QUuid());
}
