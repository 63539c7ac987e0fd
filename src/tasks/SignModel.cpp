#include "tasks/SignModel.h"

#include "engine/DrawingDocument.h"

#include <algorithm>

SignModel::SignModel(QObject *parent)
    : QObject(parent)
{
}

void SignModel::load(const PDFFile &file)
{
    if (m_loadedID != file.id) {
        m_loadedID = file.id;
        m_placements.clear();
        m_selected.reset();
        m_pageIndex = 0;
    }
    renderPage(file);
}

void SignModel::renderPage(const PDFFile &file)
{
    m_pageIndex = std::min(std::max(file.pageCount() - 1, 0), std::max(m_pageIndex, 0));
    const auto geometry = file.doc ? file.doc->page(m_pageIndex) : std::nullopt;
    if (!geometry) {
        // No page to show: the previous preview stays.
        Q_EMIT changed();
        return;
    }
    m_pageSize = seenSize(geometry->cropBox.size(), geometry->rotation);
    std::optional<QImage> image;
    if (const auto source = DrawingDocument::sourceFor(*file.doc))
        if (const auto drawing = DrawingDocument::open(*source))
            image = drawing->render(m_pageIndex, previewDpi(m_pageSize));
    m_pageImage = std::move(image);
    Q_EMIT changed();
}

void SignModel::showPage(const PDFFile &file, int delta)
{
    m_pageIndex += delta;
    m_selected.reset();
    renderPage(file);
}

QUuid SignModel::add(const QImage &image, double width)
{
    const double height = width * image.height() / std::max(image.width(), 1);
    const QRectF bounds(m_pageSize.width() / 2 - width / 2, m_pageSize.height() / 2 - height / 2,
                        width, height);
    return place(image, m_pageIndex, bounds);
}

QUuid SignModel::place(const QImage &image, int pageIndex, const QRectF &bounds)
{
    Placement placement;
    placement.id = QUuid::createUuid();
    placement.pageIndex = pageIndex;
    placement.bounds = bounds;
    placement.image = image;
    m_placements.append(placement);
    m_selected = placement.id;
    Q_EMIT changed();
    return placement.id;
}

void SignModel::deleteSelected()
{
    if (!m_selected)
        return;
    const QUuid id = *m_selected;
    m_placements.removeIf([&](const Placement &p) { return p.id == id; });
    m_selected.reset();
    Q_EMIT changed();
}

void SignModel::select(const std::optional<QUuid> &id)
{
    const bool known = id && std::any_of(m_placements.cbegin(), m_placements.cend(),
                                         [&](const Placement &p) { return p.id == *id; });
    // The selection only ever names a placement that is there.
    m_selected = known ? id : std::nullopt;
    Q_EMIT changed();
}

void SignModel::setBounds(const QUuid &id, const QRectF &bounds)
{
    for (Placement &placement : m_placements)
        if (placement.id == id) {
            placement.bounds = bounds;
            Q_EMIT changed();
            return;
        }
}

double SignModel::previewDpi(QSizeF pageSize)
{
    const double width = pageSize.width();
    if (width < 1)
        return kMaxPreviewDpi;
    return std::min(kMaxPreviewWidth * 72 / width, kMaxPreviewDpi);
}

QSizeF SignModel::seenSize(QSizeF cropSize, int rotation)
{
    int turn = rotation % 360;
    if (turn < 0)
        turn += 360;
    return turn == 90 || turn == 270 ? cropSize.transposed() : cropSize;
}

QRectF SignModel::moved(const QRectF &start, QPointF translation, double scale)
{
    // The screen's y grows downwards, the page's upwards.
    return {start.x() + translation.x() / scale, start.y() - translation.y() / scale, start.width(),
            start.height()};
}

QRectF SignModel::resized(const QRectF &start, QPointF translation, double scale, QSizeF pageSize)
{
    double width = std::max(start.width() + translation.x() / scale, kMinWidth);
    width = std::min(width, pageSize.width());
    const double height =
        start.width() > 0 ? start.height() * width / start.width() : start.height();
    // The top edge (y + height in the y-up frame) stays put.
    return {start.x(), start.y() + start.height() - height, width, height};
}

QRectF SignModel::keptOnPage(const QRectF &bounds, QSizeF pageSize)
{
    const double w = bounds.width();
    const double h = bounds.height();
    const double x = std::min(pageSize.width() - w / 2, std::max(bounds.x(), -w / 2));
    const double y = std::min(pageSize.height() - h / 2, std::max(bounds.y(), -h / 2));
    return {x, y, w, h};
}
