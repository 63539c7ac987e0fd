#pragma once

#include <QStringList>
#include <QUrl>

#include <functional>

// Shows files in the file manager, selected: the desktop's file manager
// over D-Bus, or, only when that call fails, their folders opened as they
// are. Never both, so never two file-manager windows; never waiting on the
// bus, so the window never freezes.
namespace Reveal {

void showInFolder(const QStringList &paths);

// Replaces what showInFolder does (tests; nothing opens on their screen).
// An empty function restores the real one.
void setHandler(std::function<void(const QStringList &)> handler);

// The file:// URIs the file manager is given, percent-encoded.
QStringList uris(const QStringList &paths);

// What showInFolder is made of, for tests to replace: asking the file
// manager to show the URIs (`answered(true)` once it has, false when the
// call failed), and opening one folder.
struct Means {
    std::function<void(const QStringList &uris, std::function<void(bool shown)> answered)>
        askFileManager;
    std::function<void(const QUrl &folder)> openFolder;
};
// Empty members restore the real ones.
void setMeans(Means means);

} // namespace Reveal
