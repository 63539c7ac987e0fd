#include "cli/Cli.h"
#include "cli/Terminal.h"
#include "core/Process.h"
#include "ocr/Searchable.h"

#include <QCoreApplication>
#include <QGuiApplication>

#include <cstdio>
#include <cstdlib>
#include <memory>

// The sanitizers' leak check runs at a normal exit only.
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QUIREBOOK_LEAK_CHECK 1
#endif
#endif
#ifndef QUIREBOOK_LEAK_CHECK
#define QUIREBOOK_LEAK_CHECK 0
#endif

int main(int argc, char *argv[])
{
    // Only recognition needs its threads limited, which takes starting again.
    if (argc > 1 && qstrcmp(argv[1], "searchable") == 0)
        Searchable::limitRecognitionThreads(argv);
    Process::raiseOpenFileLimit();
    Process::endCleanlyOnSignals();
    Process::setLastWords(Terminal::putBack);
    Process::keepLibrariesQuiet();
    // sign draws text, which needs a GUI application's font database; the
    // offscreen platform serves without a display. Other verbs stay plain.
    std::unique_ptr<QCoreApplication> app;
    if (argc > 1 && qstrcmp(argv[1], "sign") == 0) {
        if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
            qputenv("QT_QPA_PLATFORM", "offscreen");
        app = std::make_unique<QGuiApplication>(argc, argv);
    } else {
        app = std::make_unique<QCoreApplication>(argc, argv);
    }
    QCoreApplication::setApplicationName(QStringLiteral("quirebook-cli"));
    QCoreApplication::setApplicationVersion(QStringLiteral(QUIREBOOK_VERSION));
    QStringList arguments = QCoreApplication::arguments();
    arguments.removeFirst();
    const int status = Cli::run(arguments);
#if !QUIREBOOK_LEAK_CHECK
    // Every result is on disk and every line said: tearing down a big
    // document object by object, then Qt and the libraries, would only
    // keep a script waiting.
    std::fflush(nullptr);
    std::_Exit(status);
#endif
    return status;
}
