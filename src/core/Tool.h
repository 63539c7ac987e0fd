#pragma once

#include <QString>

#include <array>
#include <optional>

// The eight tools, in the order the sidebar lists them.
enum class Tool { Merge, Pages, Split, Compress, Sign, Searchable, Protect, Convert };

namespace Tools {
inline constexpr std::array<Tool, 8> all{Tool::Merge,    Tool::Pages,  Tool::Split,
                                         Tool::Compress, Tool::Sign,   Tool::Searchable,
                                         Tool::Protect,  Tool::Convert};
QString rawValue(Tool tool);
std::optional<Tool> fromRawValue(const QString &raw);
QString title(Tool tool);
QString subtitle(Tool tool);
} // namespace Tools
