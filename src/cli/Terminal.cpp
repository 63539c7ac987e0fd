#include "cli/Terminal.h"

#include <QList>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cwchar>
#include <string>

#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace Terminal {

namespace {

// For putBack(), which a signal handler calls: the terminal whose echo is
// off and its settings before, and whether a progress line is open.
std::atomic<int> g_quietTty{-1};
termios g_saved{};
std::atomic<bool> g_lineOpen{false};
int g_lineWidth = 0;

int widthOf(uint c)
{
    const int width = ::wcwidth(wchar_t(c));
    return width < 0 ? 1 : width;
}

int widthOf(const QString &text)
{
    int width = 0;
    for (const uint c : text.toUcs4())
        width += widthOf(c);
    return width;
}

// A file name may hold a line break or an escape: never on the terminal.
QString printable(const QString &text)
{
    QString clean = text;
    for (QChar &c : clean)
        if (c.category() == QChar::Other_Control)
            c = u'?';
    return clean;
}

void writeAll(int fd, const QByteArray &bytes)
{
    const char *data = bytes.constData();
    qsizetype left = bytes.size();
    while (left > 0) {
        const ssize_t n = ::write(fd, data, size_t(left));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return; // a progress line that can't be shown isn't worth failing for
        data += n;
        left -= n;
    }
}

// The terminal's columns, else COLUMNS, else 80.
int columns()
{
    winsize size{};
    if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        return size.ws_col;
    bool isNumber = false;
    const int fromEnvironment = qEnvironmentVariableIntValue("COLUMNS", &isNumber);
    return isNumber && fromEnvironment > 0 ? fromEnvironment : 80;
}

// `text` made to fit `width` columns by putting "…" in place of its
// middle; its first `keep` characters stay whole where there is room.
QString elided(const QString &text, int width, qsizetype keep = 0)
{
    if (widthOf(text) <= width)
        return text;
    const QString kept = text.left(keep);
    if (keep > 0 && widthOf(kept) + 3 <= width)
        return kept + elided(text.mid(keep), width - widthOf(kept));
    const QList<uint> characters = text.toUcs4();
    const int room = std::max(0, width - 1); // the ellipsis takes one column
    int headRoom = (room + 1) / 2, tailRoom = room / 2;
    qsizetype head = 0, tail = characters.size();
    while (head < tail && widthOf(characters[head]) <= headRoom)
        headRoom -= widthOf(characters[head++]);
    while (tail > head && widthOf(characters[tail - 1]) <= tailRoom)
        tailRoom -= widthOf(characters[--tail]);
    return QString::fromUcs4(reinterpret_cast<const char32_t *>(characters.constData()), head) +
           QChar(0x2026) +
           QString::fromUcs4(reinterpret_cast<const char32_t *>(characters.constData()) + tail,
                             characters.size() - tail);
}

} // namespace

bool stdinIsInteractive()
{
    return isatty(STDIN_FILENO) != 0;
}
bool stderrIsInteractive()
{
    return isatty(STDERR_FILENO) != 0;
}

std::optional<QString> readSecret(const QString &prompt)
{
    FILE *tty = std::fopen("/dev/tty", "r+");
    if (!tty)
        return std::nullopt;
    const int fd = fileno(tty);
    std::fputs(prompt.toLocal8Bit().constData(), tty);
    std::fflush(tty);

    termios saved{};
    const bool canHide = tcgetattr(fd, &saved) == 0;
    if (canHide) {
        g_saved = saved;
        g_quietTty.store(fd);
        termios quiet = saved;
        quiet.c_lflag &= ~tcflag_t(ECHO);
        tcsetattr(fd, TCSAFLUSH, &quiet);
    }
    std::string line;
    bool ended = false;
    for (;;) {
        const int c = std::fgetc(tty);
        if (c == EOF) {
            ended = line.empty();
            break;
        }
        if (c == '\n' || c == '\r')
            break;
        line.push_back(char(c));
    }
    if (canHide) {
        tcsetattr(fd, TCSAFLUSH, &saved);
        g_quietTty.store(-1);
    }
    std::fputs("\n", tty);
    std::fclose(tty);
    if (ended)
        return std::nullopt;
    return QString::fromLocal8Bit(line.c_str());
}

void drawProgress(const QString &label, int done, int total)
{
    // The last column stays empty: some terminals wrap as soon as it is written.
    const int room = std::max(1, columns() - 1);
    QString tail = QStringLiteral("…");
    if (total > 0) {
        tail = QStringLiteral(" %1/%2").arg(done).arg(total);
        // A third of what is left, so the label keeps the rest.
        const int bar = std::min(30, (room - widthOf(tail) - 3) / 3);
        if (bar >= 5) {
            const int filled = int(qint64(bar) * std::clamp(done, 0, total) / total);
            tail = QStringLiteral(" [") + QString(filled, u'#') + QString(bar - filled, u' ') +
                   u']' + tail;
        }
    }
    // The label's first word is what is done ("Compressing"); the file
    // name after it loses its middle.
    const QString text = printable(label);
    QString line = elided(text, std::max(1, room - widthOf(tail)), text.indexOf(u' ') + 1) + tail;
    line = elided(line, room);
    const int width = widthOf(line);
    // Spaces over whatever the last line had further right.
    if (width < g_lineWidth)
        line += QString(g_lineWidth - width, u' ');
    g_lineWidth = width;
    writeAll(STDERR_FILENO, (u'\r' + line).toUtf8());
    g_lineOpen.store(true);
}

void endProgress()
{
    if (!g_lineOpen.exchange(false))
        return;
    g_lineWidth = 0;
    writeAll(STDERR_FILENO, QByteArrayLiteral("\n"));
}

void putBack()
{
    const int tty = g_quietTty.load();
    if (tty >= 0) {
        ::tcsetattr(tty, TCSANOW, &g_saved);
        (void)!::write(tty, "\n", 1);
    }
    if (g_lineOpen.load())
        (void)!::write(STDERR_FILENO, "\n", 1);
}

} // namespace Terminal
