#include "app/AppController.h"
#include "app/SelfTest.h"
#include "app/SingleInstance.h"
#include "core/Format.h"
#include "core/Process.h"
#include "ocr/Searchable.h"
#include "screens/AppIcon.h"
#include "screens/Symbols.h"

#include "engine/SafeWrite.h"

#include <QApplication>
#include <QCoreApplication>
#include <QFileInfo>
#include <QThreadPool>

#include <cstdio>

#include <unistd.h>

namespace {
const char *const usage =
    "Usage: quirebook [FILE...]\n"
    "Merge, rearrange, split, compress, sign and stamp, make searchable, protect and convert\n"
    "PDFs and pictures. Everything happens on your computer. Files are never uploaded.\n"
    "\n"
    "Opens the window with the files given (PDFs and JPG, PNG or HEIC pictures); a second\n"
    "start hands its files to the window already open. Every tool is also there for scripts\n"
    "and batch work as quirebook-cli (see quirebook-cli --help).\n"
    "\n"
    "Options:\n"
    "  --selftest   run the built-in self-check without a window and exit with its status\n"
    "  --help       show this help and exit\n"
    "  --version    show the version and exit\n"
    "\n"
    "Environment:\n"
    "  QUIREBOOK_SNAPSHOTS  a folder: the window saves a picture of each tool there, then ends\n"
    "  QUIREBOOK_FILES      the files opened for those pictures, separated by \":\"\n";
} // namespace

int main(int argc, char *argv[])
{
    Searchable::limitRecognitionThreads(argv);
    Process::raiseOpenFileLimit();
    Process::keepLibrariesQuiet();
    bool selfTest = false, help = false, version = false;
    for (int i = 1; i < argc; ++i) {
        if (qstrcmp(argv[i], "--") == 0)
            break;
        selfTest = selfTest || qstrcmp(argv[i], "--selftest") == 0;
        help = help || qstrcmp(argv[i], "--help") == 0 || qstrcmp(argv[i], "-h") == 0;
        version = version || qstrcmp(argv[i], "--version") == 0;
    }
    if (help || version) {
        QCoreApplication app(argc, argv);
        std::fputs(qPrintable(help ? QCoreApplication::translate("main", usage)
                                   : Format::version(QStringLiteral("quirebook"))),
                   stdout);
        return 0;
    }
    if (selfTest) {
        QCoreApplication app(argc, argv);
        return SelfTest::run();
    }

    // Interrupted or terminated: the hidden temporary files of running jobs
    // go with the process.
    Process::endCleanlyOnSignals();
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Quirebook"));
    QApplication::setOrganizationName(QStringLiteral("Quirebook"));
    QApplication::setApplicationVersion(QStringLiteral(QUIREBOOK_VERSION));
    // Ties the window to its launcher, so the desktop shows the right icon
    // and name (Wayland asks for this; X11 gets it as the window class).
    QApplication::setDesktopFileName(QStringLiteral(QUIREBOOK_APP_ID));
    Symbols::installTheme();
    QApplication::setWindowIcon(AppIcon::make());

    // Every argument that isn't an option is a file to open.
    QStringList files;
    bool optionsEnded = false;
    const QStringList arguments = QCoreApplication::arguments();
    for (int i = 1; i < arguments.size(); ++i) {
        const QString &argument = arguments[i];
        if (!optionsEnded && argument == QLatin1String("--")) {
            optionsEnded = true;
            continue;
        }
        if (!optionsEnded && argument.startsWith(u'-'))
            continue;
        files << QFileInfo(argument).absoluteFilePath();
    }

    // The snapshot mode runs on its own, beside any window the person has open.
    const bool snapshots = qEnvironmentVariableIsSet("QUIREBOOK_SNAPSHOTS");
    if (!snapshots && SingleInstance::handOver(files))
        return 0;

    AppController controller;
    SingleInstance instance;
    if (!snapshots) {
        instance.listen();
        QObject::connect(&instance, &SingleInstance::filesReceived, &controller,
                         [&controller](const QStringList &paths) { controller.open(paths); });
    }
    controller.launch(files);
    const int status = QApplication::exec();
    // A job still running when the window closes is abandoned: its
    // temporary file is removed and nothing waits for it.
    if (QThreadPool::globalInstance()->activeThreadCount() > 0) {
        SafeWrite::removeAllInProgress();
        ::_exit(status);
    }
    return status;
}
