#include "Cli.h"

#include "PDFError.h"
#include "SafeWrite.h"
#include "Terminal.h"

#include <QCoreApplication>

#include <csignal>
#include <cstdio>

#include <unistd.h>

namespace Cli {

namespace {

extern "C" void onInterrupt(int)
{
    // Only async-signal-safe calls here.
    SafeWrite::removeAllInProgress();
    const char newline = '\n';
    (void)!::write(STDERR_FILENO, &newline, 1);
    ::_exit(Interrupted);
}

void drawBar(const QString &label, int done, int total)
{
    QString line;
    if (total > 0) {
        const int width = 30;
        const int filled = int(qint64(width) * done / total);
        line = QStringLiteral("\r%1 [%2%3] %4/%5")
                   .arg(label, QString(filled, u'#'), QString(width - filled, u' '))
                   .arg(done)
                   .arg(total);
    } else {
        line = QStringLiteral("\r%1…").arg(label);
    }
    std::fputs(line.toUtf8().constData(), stderr);
    std::fflush(stderr);
}

} // namespace

int printResults(const std::variant<Outcome, int> &result)
{
    if (const int *status = std::get_if<int>(&result))
        return *status;
    for (const QString &url : std::get<Outcome>(result).urls)
        out(url);
    return Done;
}

QCommandLineOption quietOption()
{
    return QCommandLineOption({QStringLiteral("q"), QStringLiteral("quiet")},
                              QCoreApplication::translate("Cli", "Show no progress."));
}

std::variant<Outcome, int> execute(const QString &label, const Work &work, bool quiet)
{
    std::signal(SIGINT, onInterrupt);
    std::signal(SIGTERM, onInterrupt);
    std::signal(SIGHUP, onInterrupt);
    const bool bar = !quiet && Terminal::stderrIsInteractive();
    bool drawn = false;
    const Progress progress = [&](int done, int total) {
        if (bar) {
            drawBar(label, done, total);
            drawn = true;
        }
    };
    const IsCancelled isCancelled = [] { return false; };
    std::variant<Outcome, int> result = Failed;
    try {
        if (bar)
            drawBar(label, 0, 0), drawn = true;
        result = work(progress, isCancelled);
    } catch (const PDFError &e) {
        if (drawn)
            std::fputs("\n", stderr);
        drawn = false;
        if (e.isCancelled())
            return Interrupted;
        complain(e.description());
        return Failed;
    } catch (const std::exception &e) {
        if (drawn)
            std::fputs("\n", stderr);
        drawn = false;
        complain(QString::fromLocal8Bit(e.what()));
        return Failed;
    }
    if (drawn)
        std::fputs("\n", stderr);
    return result;
}

} // namespace Cli
