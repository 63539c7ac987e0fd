#include "app/AppController.h"

#include "core/Job.h"
#include "core/Tool.h"
#include "screens/QtDialogs.h"
#include "screens/RootView.h"
#include "screens/Thumbnails.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QMainWindow>
#include <QMenuBar>
#include <QMessageBox>
#include <QScreen>
#include <QSettings>
#include <QTimer>

namespace {

// Asks before it closes, and remembers its frame when it does.
class MainWindow : public QMainWindow {
public:
    explicit MainWindow(std::function<bool()> mayClose)
        : m_mayClose(std::move(mayClose))
    {
    }

protected:
    void closeEvent(QCloseEvent *event) override
    {
        if (!m_mayClose()) {
            event->ignore();
            return;
        }
        QSettings().setValue(QLatin1String(AppController::kFrameKey), saveGeometry());
        QMainWindow::closeEvent(event);
    }

private:
    std::function<bool()> m_mayClose;
};

// The steps of the snapshot mode, one after another on the event loop.
class SnapshotRun : public QObject {
public:
    SnapshotRun(AppController &app, const QString &folder)
        : QObject(&app)
        , m_app(app)
        , m_folder(folder)
    {
    }

    void start()
    {
        QDir().mkpath(m_folder); // a failure shows later as missing pictures, nothing more
        QStringList files;
        for (const QString &piece : qEnvironmentVariable("QUIREBOOK_FILES").split(u':'))
            if (!piece.isEmpty())
                files << QFileInfo(piece).absoluteFilePath();
        m_steps.append([this] { shot(QStringLiteral("0-empty")); });
        m_steps.append([this, files] {
            m_app.workspace().add(files);
            next();
        });
        for (Tool tool : Tools::all)
            m_steps.append([this, tool] {
                m_app.workspace().setTool(tool);
                shot(QStringLiteral("1-") + Tools::rawValue(tool));
            });
        m_steps.append([this] {
            Q_EMIT m_app.snapshotsFinished();
            QCoreApplication::exit(0);
        });
        next();
    }

private:
    void next()
    {
        if (m_steps.isEmpty())
            return;
        auto step = m_steps.takeFirst();
        step();
    }

    // Waits 0.9 s (and for thumbnails still being drawn, a few seconds at
    // most), then saves the window as a PNG.
    void shot(const QString &name)
    {
        QTimer::singleShot(900, this, [this, name] {
            QElapsedTimer waited;
            waited.start();
            auto *poll = new QTimer(this);
            poll->setInterval(50);
            connect(poll, &QTimer::timeout, this, [this, poll, name, waited] {
                if (Thumbnails::instance().pending() > 0 && waited.elapsed() < 5000)
                    return;
                poll->stop();
                poll->deleteLater();
                if (QMainWindow *window = m_app.window())
                    window->grab().save(QDir(m_folder).filePath(name + QStringLiteral(".png")),
                                        "PNG");
                next();
            });
            poll->start();
        });
    }

    AppController &m_app;
    QString m_folder;
    QList<std::function<void()>> m_steps;
};

} // namespace

AppController::AppController(QObject *parent)
    : QObject(parent)
    , m_dialogs(std::make_unique<QtDialogs>())
{
    m_workspace.setDialogs(m_dialogs.get());
}

AppController::~AppController()
{
    delete m_window;
}

RootView *AppController::rootView() const
{
    return m_window ? qobject_cast<RootView *>(m_window->centralWidget()) : nullptr;
}

void AppController::launch(const QStringList &files)
{
    showWindow();
    buildMenu();
    if (!files.isEmpty())
        open(files);
    const QByteArray snapshots = qgetenv("QUIREBOOK_SNAPSHOTS");
    if (qEnvironmentVariableIsSet("QUIREBOOK_SNAPSHOTS"))
        startSnapshots(QString::fromLocal8Bit(snapshots));
}

void AppController::showWindow()
{
    if (m_window) {
        if (m_window->isMinimized())
            m_window->showNormal();
        m_window->show();
        m_window->raise();
        m_window->activateWindow();
        return;
    }
    auto *window = new MainWindow([this] { return mayCloseWindow(); });
    window->setObjectName(QStringLiteral("mainWindow"));
    window->setWindowTitle(tr("Quirebook"));
    window->setCentralWidget(new RootView(m_workspace, window));
    window->resize(1060, 720);
    if (QScreen *screen = QGuiApplication::primaryScreen()) {
        QRect frame = window->frameGeometry();
        frame.moveCenter(screen->availableGeometry().center());
        window->move(frame.topLeft());
    }
    const QByteArray frame = QSettings().value(QLatin1String(kFrameKey)).toByteArray();
    if (!frame.isEmpty())
        window->restoreGeometry(frame);
    m_dialogs->setWindow(window);
    m_window = window;
    window->show();
    window->raise();
    window->activateWindow();
}

void AppController::open(const QStringList &paths)
{
    showWindow();
    m_workspace.add(paths);
}

void AppController::setDialogs(Dialogs *dialogs)
{
    m_workspace.setDialogs(dialogs ? dialogs : m_dialogs.get());
}

void AppController::openDocument()
{
    if (Dialogs *dialogs = m_workspace.dialogs())
        m_workspace.add(dialogs->openFiles(true));
}

void AppController::forwardToFocus(const char *method)
{
    // The edit commands go to whatever has the keyboard focus (a text
    // field), as the standard ones would; failing that, to the shown
    // screen's own edit target (the page grid), wherever the focus is.
    const QByteArray signature = QByteArray(method) + "()";
    const auto answers = [&](QWidget *widget) {
        return widget->metaObject()->indexOfMethod(signature.constData()) >= 0;
    };
    for (QWidget *w = QApplication::focusWidget(); w; w = w->parentWidget())
        if (answers(w)) {
            QMetaObject::invokeMethod(w, method);
            return;
        }
    if (!m_window)
        return;
    for (QWidget *w : m_window->findChildren<QWidget *>())
        if (w->property("editTarget").toBool() && w->isVisible() && answers(w)) {
            QMetaObject::invokeMethod(w, method);
            return;
        }
}

void AppController::buildMenu()
{
    if (m_menuBuilt || !m_window)
        return;
    m_menuBuilt = true;
    QMenuBar *bar = m_window->menuBar();

    QMenu *file = bar->addMenu(tr("&File"));
    QAction *openAction = file->addAction(tr("Open…"), this, &AppController::openDocument);
    openAction->setShortcut(QKeySequence::Open);
    openAction->setObjectName(QStringLiteral("actionOpen"));
    QAction *close = file->addAction(tr("Close Window"), m_window.data(), &QWidget::close);
    close->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_W));
    close->setObjectName(QStringLiteral("actionClose"));
    file->addSeparator();
    QAction *quit = file->addAction(tr("Quit"), this, [] {
        // A window that stays open (work to stop first) keeps the program.
        for (QWidget *w : QApplication::topLevelWidgets())
            if (qobject_cast<QMainWindow *>(w) && !w->close())
                return;
        QApplication::quit();
    });
    quit->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
    quit->setObjectName(QStringLiteral("actionQuit"));

    QMenu *edit = bar->addMenu(tr("&Edit"));
    struct EditItem {
        QString title;
        const char *method;
        QKeySequence key;
    };
    const QList<EditItem> items{
        {tr("Undo"), "undo", QKeySequence(Qt::CTRL | Qt::Key_Z)},
        {tr("Redo"), "redo", QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_Z)},
        {{}, nullptr, {}},
        {tr("Cut"), "cut", QKeySequence(Qt::CTRL | Qt::Key_X)},
        {tr("Copy"), "copy", QKeySequence(Qt::CTRL | Qt::Key_C)},
        {tr("Paste"), "paste", QKeySequence(Qt::CTRL | Qt::Key_V)},
        {tr("Select All"), "selectAll", QKeySequence(Qt::CTRL | Qt::Key_A)},
    };
    for (const EditItem &item : items) {
        if (!item.method) {
            edit->addSeparator();
            continue;
        }
        const char *method = item.method;
        QAction *action =
            edit->addAction(item.title, this, [this, method] { forwardToFocus(method); });
        action->setShortcut(item.key);
        // A focused text field answers these keys itself first.
        action->setShortcutContext(Qt::WindowShortcut);
        action->setObjectName(QStringLiteral("action_") + QLatin1String(method));
    }

    QMenu *windowMenu = bar->addMenu(tr("&Window"));
    QAction *minimize =
        windowMenu->addAction(tr("Minimize"), m_window.data(), &QWidget::showMinimized);
    minimize->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_M));
    minimize->setObjectName(QStringLiteral("actionMinimize"));

    QMenu *help = bar->addMenu(tr("&Help"));
    QAction *aboutAction = help->addAction(tr("About Quirebook"), this, &AppController::about);
    aboutAction->setObjectName(QStringLiteral("actionAbout"));
}

bool AppController::mayCloseWindow()
{
    JobsInFlight &jobs = JobsInFlight::instance();
    if (jobs.count() == 0)
        return true;
    if (m_stopping)
        return false; // the window closes by itself once the work has stopped
    Dialogs *dialogs = m_workspace.dialogs();
    const Question question{tr("Stop the work in progress?"),
                            tr("Quirebook is still working. If you close the window now, the "
                               "work stops and what isn't finished isn't saved."),
                            tr("Stop and Close"), tr("Keep Working")};
    if (!dialogs || !dialogs->confirm(question))
        return false;
    if (jobs.count() == 0)
        return true; // it finished while the question was up
    // Each work ends at its next look at the cancel flag and removes its
    // temporary file on the way out; only then does the window close.
    m_stopping = true;
    m_whenStopped = connect(&jobs, &JobsInFlight::countChanged, this, [this](int left) {
        if (left > 0)
            return;
        disconnect(m_whenStopped);
        m_stopping = false;
        if (m_window)
            m_window->close();
    });
    jobs.cancelAll();
    return false;
}

void AppController::about()
{
    QMessageBox::about(
        m_window, tr("About Quirebook"),
        tr("<h3>Quirebook %1</h3>"
           "<p>Everyday work on PDF files and pictures: merge, reorder, split, compress, sign, "
           "make searchable, protect and convert.</p>"
           "<p>Everything happens on your computer. Files are never uploaded.</p>"
           "<p>Free software under the GNU General Public License, version 3 or later.</p>")
            .arg(QStringLiteral(QUIREBOOK_VERSION)));
}

void AppController::startSnapshots(const QString &folder)
{
    auto *run = new SnapshotRun(*this, folder);
    run->start();
}
