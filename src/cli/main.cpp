#include "cli/Cli.h"
#include "cli/Terminal.h"
#include "core/Process.h"
#include "ocr/Searchable.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QLoggingCategory>

#include <memory>

int main(int argc, char *argv[])
{
    Searchable::limitRecognitionThreads(argv);
    Process::raiseOpenFileLimit();
    Process::endCleanlyOnSignals();
    Process::setLastWords(Terminal::putBack);
    // sign draws text, which needs a GUI application's font database; the
    // offscreen platform serves without a display. Other verbs stay plain.
    // Qt's own notes (no XDG_RUNTIME_DIR, a damaged JPEG inside a PDF being
    // compressed) aren't ours to show: stderr carries the program's sentences.
    QLoggingCategory::setFilterRules(QStringLiteral("default.warning=false\nqt.*.warning=false"));
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
    return Cli::run(arguments);
}
