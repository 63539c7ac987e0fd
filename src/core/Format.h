#pragma once

#include <QString>

namespace Format {
// A byte count as people read it: "1.2 MB".
QString bytes(qint64 count);
// "1 page", "3 pages".
QString pages(qint64 count);
// What --version prints, as GNU programs do: name and version, then the
// copyright and the licence (help2man puts these on the manual page).
QString version(const QString &program);
} // namespace Format
