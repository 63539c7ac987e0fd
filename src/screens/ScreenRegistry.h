#pragma once

#include "core/Tool.h"

#include <functional>

class QWidget;
class Workspace;

// Each tool's screen registers itself from its own file:
//
//     static ScreenRegistry::Registration registration(Tool::Compress, [](Workspace &ws,
//         QWidget *parent) { return new CompressScreen(ws, parent); });
//
// RootView asks the registry for the screen of the chosen tool; a tool
// without one stays in the sidebar, disabled.
namespace ScreenRegistry {

using Factory = std::function<QWidget *(Workspace &workspace, QWidget *parent)>;

void add(Tool tool, Factory factory);
bool has(Tool tool);
// The registered factory (empty when none); remove() takes it away again.
Factory factory(Tool tool);
void remove(Tool tool);
// A new screen for the tool, or null when none is registered.
QWidget *make(Tool tool, Workspace &workspace, QWidget *parent);

struct Registration {
    Registration(Tool tool, Factory factory) { add(tool, std::move(factory)); }
};

} // namespace ScreenRegistry
