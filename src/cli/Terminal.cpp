#include "cli/Terminal.h"

#include <cstdio>
#include <string>

#include <termios.h>
#include <unistd.h>

namespace Terminal {

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
    if (canHide)
        tcsetattr(fd, TCSAFLUSH, &saved);
    std::fputs("\n", tty);
    std::fclose(tty);
    if (ended)
        return std::nullopt;
    return QString::fromLocal8Bit(line.c_str());
}

} // namespace Terminal
