#include "tasks/PagesModel.h"

#include <algorithm>

namespace {
int reduced(int degrees)
{
    const int r = degrees % 360;
    return r < 0 ? r + 360 : r;
}
} // namespace

PagesModel::PagesModel(QObject *parent)
    : QObject(parent)
{
}

int PagesModel::indexOf(const QUuid &id) const
{
    for (qsizetype i = 0; i < m_items.size(); ++i)
        if (m_items[i].id == id)
            return int(i);
    return -1;
}

QSet<QUuid> PagesModel::target() const
{
    if (!m_selected.isEmpty())
        return m_selected;
    QSet<QUuid> all;
    all.reserve(m_items.size());
    for (const Item &item : m_items)
        all.insert(item.id);
    return all;
}

void PagesModel::addPages(const PDFFile &file, QList<Item> &into)
{
    m_sources.append(file);
    const int source = int(m_sources.size()) - 1;
    const int count = file.pageCount();
    const QString origin = file.name();
    into.reserve(into.size() + count);
    for (int page = 0; page < count; ++page)
        into.append({QUuid::createUuid(), source, page, 0, origin});
}

void PagesModel::load(const PDFFile &file)
{
    if (m_loadedID == file.id)
        return;
    m_loadedID = file.id;
    m_sources.clear();
    QList<Item> items;
    addPages(file, items);
    m_items = std::move(items);
    m_selected.clear();
    m_history.clear();
    m_anchor.reset();
    Q_EMIT changed();
}

void PagesModel::toggle(const QUuid &id)
{
    if (m_selected.remove(id)) {
        if (m_anchor == id)
            m_anchor.reset();
    } else {
        m_selected.insert(id);
        m_anchor = id;
    }
    Q_EMIT changed();
}

void PagesModel::selectAll()
{
    for (const Item &item : m_items)
        m_selected.insert(item.id);
    Q_EMIT changed();
}

void PagesModel::selectRun(const QUuid &id)
{
    const int to = indexOf(id);
    const int from = m_anchor ? indexOf(*m_anchor) : -1;
    if (from < 0 || to < 0) {
        toggle(id);
        return;
    }
    for (int i = std::min(from, to); i <= std::max(from, to); ++i)
        m_selected.insert(m_items[i].id);
    m_anchor = id;
    Q_EMIT changed();
}

void PagesModel::clearSelection()
{
    m_selected.clear();
    m_anchor.reset();
    Q_EMIT changed();
}

void PagesModel::snapshot()
{
    m_history.append(m_items);
    while (m_history.size() > kMaxUndo)
        m_history.removeFirst();
}

void PagesModel::rotate(const QSet<QUuid> &ids, int degrees)
{
    if (ids.isEmpty())
        return;
    snapshot();
    for (Item &item : m_items)
        if (ids.contains(item.id))
            item.extra = reduced(item.extra + reduced(degrees));
    Q_EMIT changed();
}

void PagesModel::remove(const QSet<QUuid> &ids)
{
    if (ids.isEmpty() || ids.size() >= m_items.size())
        return;
    snapshot();
    m_items.removeIf([&](const Item &item) { return ids.contains(item.id); });
    m_selected.clear();
    m_anchor.reset();
    Q_EMIT changed();
}

void PagesModel::append(const PDFFile &file)
{
    snapshot();
    addPages(file, m_items);
    Q_EMIT changed();
}

void PagesModel::move(const QUuid &dragged, const QUuid &before)
{
    if (dragged == before || indexOf(dragged) < 0)
        return;
    const bool group = m_selected.contains(dragged);
    const auto moves = [&](const Item &item) {
        return group ? m_selected.contains(item.id) : item.id == dragged;
    };
    QList<Item> moving;
    for (const Item &item : m_items)
        if (moves(item))
            moving.append(item);
    if (std::any_of(moving.begin(), moving.end(),
                    [&](const Item &item) { return item.id == before; }))
        return;
    snapshot();
    m_items.removeIf(moves);
    const int at = indexOf(before);
    const qsizetype position = at < 0 ? m_items.size() : at;
    for (qsizetype i = 0; i < moving.size(); ++i)
        m_items.insert(position + i, moving[i]);
    Q_EMIT changed();
}

void PagesModel::arrange(const QList<QUuid> &order)
{
    QHash<QUuid, qsizetype> where;
    for (qsizetype i = 0; i < m_items.size(); ++i)
        where.insert(m_items[i].id, i);
    QList<Item> arranged;
    QSet<QUuid> taken;
    for (const QUuid &id : order) {
        const auto it = where.constFind(id);
        if (it == where.constEnd() || taken.contains(id))
            continue;
        taken.insert(id);
        arranged.append(m_items[*it]);
    }
    if (arranged.isEmpty())
        return;
    snapshot();
    m_items = std::move(arranged);
    m_selected.intersect(taken);
    Q_EMIT changed();
}

void PagesModel::undo()
{
    if (m_history.isEmpty())
        return;
    m_items = m_history.takeLast();
    QSet<QUuid> present;
    for (const Item &item : m_items)
        present.insert(item.id);
    m_selected.intersect(present);
    if (m_anchor && !present.contains(*m_anchor))
        m_anchor.reset();
    Q_EMIT changed();
}

Pages::Request PagesModel::build(const std::optional<PDFFile> &info,
                                 const std::optional<QSet<QUuid>> &only) const
{
    Pages::Request request;
    request.info = info;
    request.pieces.reserve(m_items.size());
    for (const Item &item : m_items)
        if (!only || only->contains(item.id))
            request.pieces.append({m_sources.at(item.source), item.page, item.extra});
    return request;
}
