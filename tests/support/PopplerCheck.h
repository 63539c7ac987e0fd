#pragma once

// What an independent reader (poppler) sees in a written PDF: bookmarks
// with the pages they open, and the pages internal links lead to.

#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

namespace PopplerCheck {

// "title→page" (one-based), depth first, children indented by two spaces.
QStringList bookmarks(const QString &path);
// For each page (zero-based), the one-based pages its links lead to.
QList<QList<int>> linkTargets(const QString &path);
QString title(const QString &path);

} // namespace PopplerCheck
