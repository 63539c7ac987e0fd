// The application controller: the menu, the one window and its
// remembered frame, files from outside, a second start handing its files
// over, and the snapshot mode.
#include "AppController.h"
#include "Dialogs.h"
#include "Fixtures.h"
#include "RootView.h"
#include "SingleInstance.h"
#include "Symbols.h"
#include "Thumbnails.h"

#include <QAction>
#include <QElapsedTimer>
#include <QImage>
#include <QProgressBar>
#include <QLabel>
#include <QPushButton>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QProcess>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;

namespace {
QStringList menuTitles(QMenuBar *bar)
{
    QStringList titles;
    for (QAction *a : bar->actions())
        titles << a->text().remove(u'&');
    return titles;
}

QMenu *menu(QMenuBar *bar, const QString &title)
{
    for (QAction *a : bar->actions())
        if (a->text().remove(u'&') == title)
            return a->menu();
    return nullptr;
}
} // namespace

class TestController : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QString m_a, m_b, m_photo;

private Q_SLOTS:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        QCoreApplication::setOrganizationName(QStringLiteral("QuirebookTests"));
        QCoreApplication::setApplicationName(QStringLiteral("QuirebookTests"));
        QSettings().remove(QLatin1String(AppController::kFrameKey));
        Symbols::installTheme();
        m_a = writeFile(m_dir.filePath(QStringLiteral("a.pdf")), textPDF(2));
        m_b = writeFile(m_dir.filePath(QStringLiteral("b.pdf")), textPDF(4));
        m_photo = writeFile(m_dir.filePath(QStringLiteral("b.png")), encode(marker(240, 160), "PNG"));
    }

    void cleanupTestCase() { QSettings().remove(QLatin1String(AppController::kFrameKey)); }

    void menuItems_data()
    {
        QTest::addColumn<QString>("menuTitle");
        QTest::addColumn<QStringList>("items");
        QTest::addColumn<QStringList>("keys");
        QTest::newRow("File") << "File" << QStringList{"Open…", "Close Window", "", "Quit"}
                              << QStringList{"Ctrl+O", "Ctrl+W", "", "Ctrl+Q"};
        QTest::newRow("Edit") << "Edit"
                              << QStringList{"Undo", "Redo", "", "Cut", "Copy", "Paste", "Select All"}
                              << QStringList{"Ctrl+Z", "Ctrl+Shift+Z", "", "Ctrl+X", "Ctrl+C", "Ctrl+V", "Ctrl+A"};
        QTest::newRow("Window") << "Window" << QStringList{"Minimize"} << QStringList{"Ctrl+M"};
        QTest::newRow("Help") << "Help" << QStringList{"About Quirebook"} << QStringList{""};
    }
    void menuItems()
    {
        QFETCH(QString, menuTitle);
        QFETCH(QStringList, items);
        QFETCH(QStringList, keys);
        AppController app;
        app.launch({});
        QCOMPARE(menuTitles(app.window()->menuBar()), (QStringList{"File", "Edit", "Window", "Help"}));
        QMenu *m = menu(app.window()->menuBar(), menuTitle);
        QVERIFY(m);
        QStringList shownItems, shownKeys;
        for (QAction *a : m->actions()) {
            shownItems << (a->isSeparator() ? QString() : a->text());
            shownKeys << a->shortcut().toString(QKeySequence::PortableText);
        }
        QCOMPARE(shownItems, items);
        QCOMPARE(shownKeys, keys);
    }

    void oneWindowOfTheRightSize()
    {
        AppController app;
        QVERIFY(!app.window());
        // Files from outside before the launch: the window comes first.
        app.open({m_b, m_a});
        QMainWindow *window = app.window();
        QVERIFY(window);
        QCOMPARE(window->windowTitle(), QStringLiteral("Quirebook"));
        QCOMPARE(window->size(), QSize(1060, 720));
        QCOMPARE(app.rootView()->minimumSize(), QSize(940, 640));
        QCOMPARE(app.workspace().files().size(), 2);
        QCOMPARE(app.workspace().files()[0].fileName(), QStringLiteral("b.pdf"));
        app.launch({});
        app.showWindow();
        QCOMPARE(app.window(), window); // never a second one
    }

    void frameIsRemembered()
    {
        {
            AppController app;
            app.launch({});
            app.window()->resize(1200, 800);
            QVERIFY(app.window()->close());
        }
        QVERIFY(QSettings().contains(QLatin1String(AppController::kFrameKey)));
        AppController again;
        again.launch({});
        QCOMPARE(again.window()->size(), QSize(1200, 800));
        QSettings().remove(QLatin1String(AppController::kFrameKey));
    }

    void openWithThePanel_data()
    {
        QTest::addColumn<QStringList>("answer");
        QTest::addColumn<int>("files");
        QTest::newRow("cancelled") << QStringList() << 0;
        QTest::newRow("a PDF and a picture") << QStringList{QStringLiteral("a.pdf"), QStringLiteral("b.png")} << 2;
    }
    void openWithThePanel()
    {
        QFETCH(QStringList, answer);
        QFETCH(int, files);
        AppController app;
        ScriptedDialogs dialogs;
        QStringList paths;
        for (const QString &name : answer)
            paths << m_dir.filePath(name);
        dialogs.openAnswers = {paths};
        app.setDialogs(&dialogs);
        app.launch({});
        app.workspace().setNotice(QStringLiteral("Earlier notice"));
        QAction *open = app.window()->findChild<QAction *>(QStringLiteral("actionOpen"));
        QVERIFY(open);
        open->trigger();
        QCOMPARE(app.workspace().files().size(), files);
        QCOMPARE(app.workspace().notice(), std::optional<QString>(QStringLiteral("Earlier notice")));
        app.workspace().setNotice(std::nullopt);
    }

    void aSecondStartHandsItsFilesOver()
    {
        QTemporaryDir runtime;
        qputenv("XDG_RUNTIME_DIR", runtime.path().toLocal8Bit());
        AppController app;
        SingleInstance instance;
        QVERIFY(instance.listen());
        connect(&instance, &SingleInstance::filesReceived, &app,
                [&app](const QStringList &paths) { app.open(paths); });
        app.launch({m_a});

        QProcess second;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime.path());
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        env.remove(QStringLiteral("QUIREBOOK_SNAPSHOTS"));
        second.setProcessEnvironment(env);
        second.setWorkingDirectory(m_dir.path());
        second.start(qEnvironmentVariable("QUIREBOOK_APP"), {QStringLiteral("b.pdf")});
        QVERIFY(second.waitForStarted());
        QTRY_COMPARE_WITH_TIMEOUT(app.workspace().files().size(), 2, 20000);
        QCOMPARE(app.workspace().files()[1].path, m_b);
        QTRY_COMPARE_WITH_TIMEOUT(second.state(), QProcess::NotRunning, 20000);
        QCOMPARE(second.exitStatus(), QProcess::NormalExit);
        QCOMPARE(second.exitCode(), 0);
        qunsetenv("XDG_RUNTIME_DIR");
    }

    // Pictures of the Merge screen in each state, for the documentation:
    // written only when QUIREBOOK_SCREENSHOTS names a folder.
    void mergeScreenshots()
    {
        const QString folder = qEnvironmentVariable("QUIREBOOK_SCREENSHOTS");
        const QString corpus = corpusDir();
        if (folder.isEmpty() || corpus.isEmpty())
            QSKIP("QUIREBOOK_SCREENSHOTS or QUIREBOOK_CORPUS is not set");
        QDir().mkpath(folder);
        QTemporaryDir work;
        QStringList files;
        for (const QString &name : {QStringLiteral("book-freeculture-352pages.pdf"),
                                    QStringLiteral("manual-mupdf-285pages.pdf"),
                                    QStringLiteral("paper-tracemonkey-14pages.pdf")})
            files << QDir(corpus).filePath(name);
        files << writeFile(work.filePath(QStringLiteral("Receipt.jpg")),
                           encode(marker(900, 1200), "JPEG"));
        WriteOptions limited;
        limited.encrypt = true;
        limited.ownerPassword = QStringLiteral("boss");
        limited.allowCopying = false;
        const QString restricted =
            writeFile(work.filePath(QStringLiteral("Contract.pdf")), makePDF(numberedPages(3), limited));

        AppController app;
        ScriptedDialogs dialogs;
        dialogs.saveAnswers = {work.filePath(QStringLiteral("Everything.pdf"))};
        app.setDialogs(&dialogs);
        app.launch({});
        QMainWindow *window = app.window();
        auto shot = [&](const QString &name) {
            QTest::qWait(300);
            QTRY_VERIFY_WITH_TIMEOUT(Thumbnails::instance().pending() == 0, 20000);
            QVERIFY(window->grab().save(QDir(folder).filePath(name), "PNG"));
        };
        shot(QStringLiteral("merge-empty.png"));
        app.workspace().add(files);
        shot(QStringLiteral("merge-files.png"));
        app.workspace().add({restricted});
        shot(QStringLiteral("merge-restricted.png"));
        app.workspace().remove(app.workspace().files().last().id);

        auto *merge = window->findChild<QPushButton *>(QStringLiteral("mergeButton"));
        auto *text = window->findChild<QLabel *>(QStringLiteral("jobText"));
        QTest::mouseClick(merge, Qt::LeftButton);
        // Caught about a third of the way, while the bar shows something.
        auto *bar = window->findChild<QProgressBar *>(QStringLiteral("jobProgress"));
        QElapsedTimer waited;
        waited.start();
        while (!(bar->maximum() > 0 && bar->value() * 3 >= bar->maximum()) && waited.elapsed() < 30000)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        QVERIFY(text->isVisible());
        QVERIFY(window->grab().save(QDir(folder).filePath(QStringLiteral("merge-running.png")), "PNG"));
        auto *title = window->findChild<QLabel *>(QStringLiteral("jobTitle"));
        QTRY_VERIFY_WITH_TIMEOUT(title->isVisible(), 60000);
        shot(QStringLiteral("merge-done.png"));
    }

    void snapshotModeWritesOnePicturePerTool()
    {
        QTemporaryDir shots;
        const QString folder = shots.filePath(QStringLiteral("nested/shots"));
        const auto result = runProgram(qEnvironmentVariable("QUIREBOOK_APP"), {},
                                       {{QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen")},
                                        {QStringLiteral("QUIREBOOK_SNAPSHOTS"), folder},
                                        {QStringLiteral("QUIREBOOK_FILES"), QStringLiteral("::") + m_a + u':' + m_photo}},
                                       60000);
        QVERIFY2(result.exitCode == 0, qPrintable(result.err));
        const QStringList expected{"0-empty.png", "1-compress.png", "1-convert.png", "1-merge.png",
                                   "1-pages.png", "1-protect.png", "1-searchable.png", "1-sign.png",
                                   "1-split.png"};
        QCOMPARE(QDir(folder).entryList(QDir::Files, QDir::Name), expected);
        const QImage empty(QDir(folder).filePath(QStringLiteral("0-empty.png")));
        const QImage merge(QDir(folder).filePath(QStringLiteral("1-merge.png")));
        QCOMPARE(empty.size(), QSize(1060, 720));
        QCOMPARE(merge.size(), QSize(1060, 720));
        QVERIFY(empty != merge); // the files are listed
        // The accent marks the chosen tool in the sidebar.
        const QImage convert(QDir(folder).filePath(QStringLiteral("1-convert.png")));
        QVERIFY(convert != merge);
    }
};

QTEST_MAIN(TestController)
#include "tst_controller.moc"
