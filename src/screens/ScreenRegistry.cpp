#include "screens/ScreenRegistry.h"

#include <map>

namespace ScreenRegistry {

namespace {
// Function-local, so registrations from other files' static initialisers
// find it constructed whatever the order.
std::map<Tool, Factory> &factories()
{
    static std::map<Tool, Factory> map;
    return map;
}
} // namespace

void add(Tool tool, Factory factory)
{
    factories()[tool] = std::move(factory);
}

bool has(Tool tool)
{
    return factories().count(tool) > 0;
}

Factory factory(Tool tool)
{
    const auto it = factories().find(tool);
    return it == factories().end() ? Factory() : it->second;
}

void remove(Tool tool)
{
    factories().erase(tool);
}

QWidget *make(Tool tool, Workspace &workspace, QWidget *parent)
{
    const auto it = factories().find(tool);
    return it == factories().end() ? nullptr : it->second(workspace, parent);
}

} // namespace ScreenRegistry
