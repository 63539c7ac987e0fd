#pragma once

// What an independent reader (poppler) sees in a written PDF: the pages
// internal links lead to, the title and the words on a page.

#include <QList>
#include <QPair>
#include <QRectF>
#include <QString>
#include <QStringList>

namespace PopplerCheck {

// For each page (zero-based), the one-based pages its links lead to.
QList<QList<int>> linkTargets(const QString &path);
QString title(const QString &path);

// The words poppler reads on page `index`, with their boxes in points on the
// page as shown (y down).
struct Word {
    QString text;
    QRectF box;
};
QList<Word> words(const QString &path, int index);
// Where `text` is found on page `index` (points, y down).
QList<QRectF> find(const QString &path, int index, const QString &text);

} // namespace PopplerCheck
