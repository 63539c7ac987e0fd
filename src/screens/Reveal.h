#pragma once

#include <QStringList>

#include <functional>

// Shows files in the file manager, selected: the desktop's file manager
// over D-Bus, or, where none answers, their folder opened as it is.
namespace Reveal {

void showInFolder(const QStringList &paths);

// Replaces what showInFolder does (tests; nothing opens on their screen).
// An empty function restores the real one.
void setHandler(std::function<void(const QStringList &)> handler);

} // namespace Reveal
