#pragma once

#include <QIcon>

// The program's icon (the same drawing as packaging/quirebook.svg), made
// in code so the window has it without an SVG reader.
namespace AppIcon {
QIcon make();
}
