// The Pages screen on a big PDF, offscreen: how long from taking the file in
// to the grid being shown, how long a scroll through every page takes when
// each screenful waits for its thumbnails, and the peak memory after it.
// Prints one "name value" line per figure.

#include "core/Workspace.h"
#include "screens/ScreenRegistry.h"
#include "screens/Thumbnails.h"

#include <QAbstractScrollArea>
#include <QApplication>
#include <QElapsedTimer>
#include <QScrollBar>
#include <QTextStream>
#include <QWidget>

#include <cstdio>

#include <sys/resource.h>

namespace {
// Runs the event loop until `done` holds (or a minute has passed).
template <typename Done> bool settle(Done &&done)
{
    QElapsedTimer limit;
    limit.start();
    while (!done()) {
        if (limit.elapsed() > 60000)
            return false;
        QApplication::processEvents(QEventLoop::AllEvents, 5);
    }
    return true;
}

long peakMegabytes()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;
}
} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    if (argc < 2) {
        std::fputs("usage: bench_pageswindow FILE.pdf\n", stderr);
        return 2;
    }
    QTextStream out(stdout);
    QElapsedTimer clock;
    clock.start();

    Workspace workspace;
    workspace.add({QString::fromLocal8Bit(argv[1])});
    if (workspace.pdfs().isEmpty()) {
        std::fputs("the file wasn't taken in\n", stderr);
        return 1;
    }
    const qint64 intake = clock.elapsed();
    workspace.setTool(Tool::Pages);
    QWidget *screen = ScreenRegistry::make(Tool::Pages, workspace, nullptr);
    screen->resize(1000, 800);
    screen->show();
    QAbstractScrollArea *grid = nullptr;
    const bool shown = settle([&] {
        grid = screen->findChild<QAbstractScrollArea *>(QStringLiteral("pagesGrid"));
        return grid && grid->isVisible() && grid->verticalScrollBar()->maximum() > 0;
    });
    const qint64 gridShown = clock.elapsed();
    if (!shown) {
        std::fputs("the grid never showed\n", stderr);
        return 1;
    }
    out << "pages " << workspace.pdfs().first().pageCount() << "\n";
    out << "intake_ms " << intake << "\n";
    out << "grid_shown_ms " << gridShown << " (from the start, intake included)\n";
    out << "peak_mb_shown " << peakMegabytes() << "\n";

    // A screenful at a time, each waiting for its thumbnails.
    QScrollBar *bar = grid->verticalScrollBar();
    clock.restart();
    int screens = 0;
    for (int value = 0;; value += bar->pageStep()) {
        bar->setValue(std::min(value, bar->maximum()));
        // The grid asks for thumbnails once the scrolling has stopped a moment.
        QElapsedTimer still;
        still.start();
        settle([&] { return still.elapsed() > 250; });
        settle([] { return Thumbnails::instance().pending() == 0; });
        QApplication::processEvents();
        ++screens;
        if (value >= bar->maximum())
            break;
    }
    out << "scrolled_screenfuls " << screens << " (each waiting for its thumbnails, "
        << clock.elapsed() << " ms)\n";
    out << "peak_mb_scrolled " << peakMegabytes() << "\n";
    delete screen;
    return 0;
}
