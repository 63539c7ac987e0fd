#pragma once

#include <QColor>
#include <QIcon>
#include <QPixmap>
#include <QString>

// The program names its symbols after what they show ("lock", "plus",
// "xmark.circle.fill"); one table maps each to a freedesktop icon name.
namespace Symbols {

// Keeps the person's icon theme, with Adwaita filling its gaps, and points
// Qt at the installed themes so icons show even without a desktop session
// (offscreen, Xvfb). Call once after the application exists.
void installTheme();

// The freedesktop icon name for a symbol; empty for an unknown symbol.
QString iconName(const QString &symbol);

// The symbol drawn in one colour at size × size pixels (device independent),
// sharp on high-density screens. A null pixmap when the theme has no icon.
QPixmap pixmap(const QString &symbol, int size, const QColor &color, qreal devicePixelRatio = 1);

// The symbol as an icon in one colour, for buttons.
QIcon icon(const QString &symbol, const QColor &color);

} // namespace Symbols
