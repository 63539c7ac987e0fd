#pragma once

#include <QString>

namespace Format {
// A byte count as people read it: "1.2 MB".
QString bytes(qint64 count);
// "1 page", "3 pages".
QString pages(qint64 count);
} // namespace Format
