#pragma once

// What an independent reader (poppler) sees in a written PDF: bookmarks
// with the pages they open, and the pages internal links lead to.

#include <QList>
#include <QPair>
#include <QRectF>
#include <QString>
#include <QStringList>

namespace PopplerCheck {

// "title→page" (one-based), depth first, children indented by two spaces.
QStringList bookmarks(const QString &path);
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
