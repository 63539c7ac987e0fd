#pragma once

#include <QList>
#include <QString>

#include <variant>

// Page-range text ("1-3, 5, 8-") to lists of zero-based page indexes.
namespace PageRanges {

struct Failure {
    enum class Kind { Invalid, OutOfRange, Empty };
    Kind kind = Kind::Empty;
    QString part;     // Invalid: the offending part, trimmed
    qint64 page = 0;  // OutOfRange
    qint64 count = 0; // OutOfRange

    QString message() const;
    bool operator==(const Failure &) const = default;
};

using Groups = QList<QList<int>>;
using Result = std::variant<Groups, Failure>;

// One list per typed part, in the order typed; nothing merged or sorted.
Result parse(const QString &text, int pageCount);

// "1–3" for a contiguous run, "5" for one page, "" for none.
QString label(const QList<int> &pages);

} // namespace PageRanges
