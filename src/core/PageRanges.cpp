#include "core/PageRanges.h"

#include <QCoreApplication>

#include <optional>

namespace PageRanges {

namespace {

bool isLineBreak(QChar c)
{
    switch (c.unicode()) {
    case 0x000A:
    case 0x000B:
    case 0x000C:
    case 0x000D:
    case 0x0085:
    case 0x2028:
    case 0x2029: return true;
    default: return false;
    }
}

bool isHorizontalSpace(QChar c)
{
    return !isLineBreak(c) && (c == u'\t' || c.category() == QChar::Separator_Space);
}

QString trimmed(const QString &piece)
{
    qsizetype start = 0, end = piece.size();
    while (start < end && isHorizontalSpace(piece[start]))
        ++start;
    while (end > start && isHorizontalSpace(piece[end - 1]))
        --end;
    return piece.mid(start, end - start);
}

// An optional "+" and decimal digits that fit in 64 bits.
std::optional<qint64> number(const QString &piece)
{
    qsizetype i = piece.startsWith(u'+') ? 1 : 0;
    if (i >= piece.size())
        return std::nullopt;
    qint64 value = 0;
    for (; i < piece.size(); ++i) {
        const char16_t c = piece[i].unicode();
        if (c < u'0' || c > u'9')
            return std::nullopt;
        const int digit = c - u'0';
        if (value > (std::numeric_limits<qint64>::max() - digit) / 10)
            return std::nullopt;
        value = value * 10 + digit;
    }
    return value;
}

Failure invalid(const QString &part)
{
    return {Failure::Kind::Invalid, part, 0, 0};
}

} // namespace

QString Failure::message() const
{
    switch (kind) {
    case Kind::Invalid:
        return QCoreApplication::translate(
                   "PageRanges", "“%1” isn't a page or a range. Use numbers like 3 or 2-5.")
            .arg(part);
    case Kind::OutOfRange:
        return count == 1
                   ? QCoreApplication::translate("PageRanges",
                                                 "Page %1 doesn't exist; this PDF has %2 page.")
                         .arg(page)
                         .arg(count)
                   : QCoreApplication::translate("PageRanges",
                                                 "Page %1 doesn't exist; this PDF has %2 pages.")
                         .arg(page)
                         .arg(count);
    case Kind::Empty:
        return QCoreApplication::translate("PageRanges",
                                           "Type the pages you want, like 1-3, 5, 8-");
    }
    return {};
}

Result parse(const QString &input, int pageCount)
{
    QString text = input;
    text.replace(QChar(0x2013), u'-').replace(QChar(0x2014), u'-');

    QStringList parts;
    QString current;
    auto flush = [&] {
        const QString piece = trimmed(current);
        if (!piece.isEmpty())
            parts.append(piece);
        current.clear();
    };
    for (QChar c : text) {
        if (c == u',' || c == u';' || isLineBreak(c))
            flush();
        else
            current.append(c);
    }
    flush();
    if (parts.isEmpty())
        return Failure{Failure::Kind::Empty, {}, 0, 0};

    const qint64 count = pageCount;
    Groups groups;
    for (const QString &part : parts) {
        const QStringList pieces = part.split(u'-', Qt::KeepEmptyParts);
        qint64 lo = 0, hi = 0;
        if (pieces.size() == 1) {
            const auto n = number(trimmed(pieces[0]));
            if (!n)
                return invalid(part);
            lo = hi = *n;
        } else if (pieces.size() == 2) {
            const QString first = trimmed(pieces[0]), second = trimmed(pieces[1]);
            const auto a = number(first), b = number(second);
            if ((!first.isEmpty() && !a) || (!second.isEmpty() && !b))
                return invalid(part);
            if (first.isEmpty() && second.isEmpty())
                return invalid(part);
            lo = a.value_or(1);
            hi = b.value_or(count);
            if (lo > hi)
                return invalid(part);
        } else {
            return invalid(part);
        }
        if (lo < 1)
            return invalid(part);
        if (lo > count)
            return Failure{Failure::Kind::OutOfRange, {}, lo, count};
        if (hi > count)
            return Failure{Failure::Kind::OutOfRange, {}, hi, count};
        QList<int> pages;
        pages.reserve(hi - lo + 1);
        for (qint64 p = lo; p <= hi; ++p)
            pages.append(int(p - 1));
        groups.append(pages);
    }
    return groups;
}

QString label(const QList<int> &pages)
{
    if (pages.isEmpty())
        return {};
    const int first = pages.first(), last = pages.last();
    if (first == last)
        return QString::number(first + 1);
    return QString::number(first + 1) + QChar(0x2013) + QString::number(last + 1);
}

} // namespace PageRanges
