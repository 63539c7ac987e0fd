#pragma once

#include <QIcon>

// The program's icon: the installed one from the icon theme (a theme may
// have its own version of it), else the drawing of
// packaging/org.quirebook.Quirebook.svg made in code, so the window has
// it when run from the build folder and without an SVG reader.
namespace AppIcon {
QIcon make();
}
