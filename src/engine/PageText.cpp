#include "engine/PDFOpsRender.h"

#include <QChar>

#include <algorithm>
#include <vector>

// Turning a page's words into plain text. The text layer hands words over in
// reading order, each with its box; the lines, blocks, hyphenation and
// right-to-left runs are sorted out here.

namespace {

struct Line {
    QString text;
    QRectF box;
};

bool isRtl(char32_t c)
{
    const auto direction = QChar::direction(c);
    return direction == QChar::DirR || direction == QChar::DirAL;
}

bool isLtr(char32_t c)
{
    return QChar::direction(c) == QChar::DirL;
}

bool isNumber(char32_t c)
{
    const auto direction = QChar::direction(c);
    return direction == QChar::DirEN || direction == QChar::DirAN;
}

bool isMark(char32_t c)
{
    return QChar::direction(c) == QChar::DirNSM;
}

// Pages draw right-to-left script in the order it appears on the page, left
// to right. Every run of it (with the spaces and punctuation inside the run)
// is turned around into reading order; numbers inside keep their digits'
// order and marks stay after their letter.
QString logicalOrder(const QString &visual)
{
    const QList<uint> points = visual.toUcs4();
    if (std::none_of(points.begin(), points.end(), [](uint c) { return isRtl(c); }))
        return visual;

    std::vector<char32_t> out;
    out.reserve(size_t(points.size()));
    qsizetype i = 0;
    const qsizetype n = points.size();
    while (i < n) {
        if (!isRtl(points[i])) {
            out.push_back(points[i++]);
            continue;
        }
        // The run goes on until a left-to-right letter; it ends at its last
        // right-to-left letter, mark or number.
        qsizetype end = i;
        for (qsizetype j = i; j < n && !isLtr(points[j]); ++j)
            if (isRtl(points[j]) || isMark(points[j]) || isNumber(points[j]))
                end = j + 1;
        // Clusters: a letter with the marks after it, or a whole number.
        std::vector<std::pair<qsizetype, qsizetype>> clusters;
        for (qsizetype j = i; j < end;) {
            qsizetype k = j + 1;
            if (isNumber(points[j])) {
                while (k < end &&
                       (isNumber(points[k]) || (QChar::direction(points[k]) == QChar::DirCS &&
                                                k + 1 < end && isNumber(points[k + 1]))))
                    ++k;
            } else {
                while (k < end && isMark(points[k]))
                    ++k;
            }
            clusters.emplace_back(j, k);
            j = k;
        }
        for (auto it = clusters.rbegin(); it != clusters.rend(); ++it) {
            for (qsizetype k = it->first; k < it->second; ++k) {
                char32_t c = points[k];
                // Paired punctuation turns around with the run.
                if (QChar::hasMirrored(c))
                    c = QChar::mirroredChar(c);
                out.push_back(c);
            }
        }
        i = end;
    }
    return QString::fromUcs4(out.data(), qsizetype(out.size()));
}

bool isLineBreakHyphen(QChar c)
{
    return c == u'-' || c == QChar(0x00AD) || c == QChar(0x2010);
}

// "Docu-" at a line's end and "mentation" on the next line are one word.
bool joinsAcrossLines(const QString &before, const QString &after)
{
    if (before.size() < 2 || after.isEmpty())
        return false;
    return isLineBreakHyphen(before.back()) && before[before.size() - 2].isLetter() &&
           after.front().isLower();
}

// A wider gap than between the lines of a paragraph, or a step back up the
// page (the next column), starts a new block.
bool startsBlock(const Line &previous, const Line &next)
{
    const QRectF &a = previous.box;
    const QRectF &b = next.box;
    if (a.isEmpty() || b.isEmpty() || a.width() < a.height() || b.width() < b.height())
        return false;
    const double height = std::max(a.height(), b.height());
    const double gap = b.top() - a.bottom();
    return gap > 0.7 * height || b.bottom() < a.top();
}

} // namespace

namespace PDFOps {

QString assembleText(const QList<TextWord> &words)
{
    std::vector<Line> lines;
    Line current;
    bool open = false;
    for (qsizetype i = 0; i < words.size(); ++i) {
        const TextWord &word = words[i];
        const bool last = word.endsLine || i + 1 == words.size();
        current.text += word.text;
        if (word.spaceAfter && !last)
            current.text += u' ';
        current.box = open ? current.box.united(word.box) : word.box;
        open = true;
        if (last) {
            current.text = logicalOrder(current.text);
            lines.push_back(std::move(current));
            current = Line();
            open = false;
        }
    }

    QString text;
    for (size_t i = 0; i < lines.size(); ++i) {
        if (i > 0) {
            const bool block = startsBlock(lines[i - 1], lines[i]);
            if (!block && joinsAcrossLines(text, lines[i].text))
                text.chop(1);
            else
                text += block ? QStringLiteral("\n\n") : QStringLiteral("\n");
        }
        text += lines[i].text;
    }
    return text;
}

} // namespace PDFOps
