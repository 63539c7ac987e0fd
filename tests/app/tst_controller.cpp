// The application controller: the menu, the one window and its
// remembered frame, files from outside, a second start handing its files
// over, and the snapshot mode.
#include "app/AppController.h"
#include "app/SingleInstance.h"
#include "core/Dialogs.h"
#include "screens/RootView.h"
#include "screens/Symbols.h"
#include "support/Fixtures.h"

#include <QAbstractButton>
#include <QAction>
#include <QImage>
#include <QLabel>
#include <QMainWindow>
#include <QMenuBar>
#include <QProcess>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;

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
        m_photo =
            writeFile(m_dir.filePath(QStringLiteral("b.png")), encode(marker(240, 160), "PNG"));
    }

    void cleanupTestCase() { QSettings().remove(QLatin1String(AppController::kFrameKey)); }

    // The menus as shown: items, separators (-) and shortcuts.
    void menus()
    {
        AppController app;
        app.launch({});
        QStringList shown;
        for (QAction *menu : app.window()->menuBar()->actions()) {
            QStringList items;
            for (QAction *a : menu->menu()->actions())
                items << (a->isSeparator() ? QStringLiteral("-")
                                           : a->text() + u' ' +
                                                 a->shortcut().toString(QKeySequence::PortableText))
                             .trimmed();
            shown << menu->text().remove(u'&') + QStringLiteral(": ") +
                         items.join(QStringLiteral(", "));
        }
        QCOMPARE(
            shown,
            (QStringList{
                "File: Open… Ctrl+O, Close Window Ctrl+W, -, Quit Ctrl+Q",
                "Edit: Undo Ctrl+Z, Redo Ctrl+Shift+Z, -, Cut Ctrl+X, Copy Ctrl+C, Paste Ctrl+V, "
                "Select All Ctrl+A",
                "Window: Minimize Ctrl+M",
                "Help: About Quirebook",
            }));
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

    // Edit ▸ Undo and Select All reach the page grid while Pages is shown,
    // wherever the keyboard focus is.
    void editMenuReachesThePages()
    {
        AppController app;
        app.launch({m_b});
        app.workspace().setTool(Tool::Pages);
        auto *grid = app.window()->findChild<QWidget *>(QStringLiteral("pagesGrid"));
        QVERIFY(grid);
        QTRY_VERIFY(grid->isVisible());
        auto *summary = app.window()->findChild<QLabel *>(QStringLiteral("pagesSummary"));
        auto *rotate =
            app.window()->findChild<QAbstractButton *>(QStringLiteral("pagesRotateLeft"));
        auto *undo = app.window()->findChild<QAbstractButton *>(QStringLiteral("pagesUndo"));
        QVERIFY(summary && rotate && undo);
        rotate->click();
        QVERIFY(undo->isEnabled());
        app.window()->setFocus();
        app.window()->findChild<QAction *>(QStringLiteral("action_undo"))->trigger();
        QVERIFY(!undo->isEnabled());
        app.window()->findChild<QAction *>(QStringLiteral("action_selectAll"))->trigger();
        QCOMPARE(summary->text(), QStringLiteral("4 pages · 4 selected"));
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
        QTest::newRow("a PDF and a picture")
            << QStringList{QStringLiteral("a.pdf"), QStringLiteral("b.png")} << 2;
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
        QAction *open = app.window()->findChild<QAction *>(QStringLiteral("actionOpen"));
        QVERIFY(open);
        open->trigger();
        QCOMPARE(app.workspace().files().size(), files);
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

    void snapshotModeWritesOnePicturePerTool()
    {
        QTemporaryDir shots;
        const QString folder = shots.filePath(QStringLiteral("nested/shots"));
        const auto result = runProgram(
            qEnvironmentVariable("QUIREBOOK_APP"), {},
            {{QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen")},
             {QStringLiteral("QUIREBOOK_SNAPSHOTS"), folder},
             {QStringLiteral("QUIREBOOK_FILES"), QStringLiteral("::") + m_a + u':' + m_photo}},
            60000);
        QVERIFY2(result.exitCode == 0, qPrintable(result.err));
        const QStringList expected{"0-empty.png",      "1-compress.png", "1-convert.png",
                                   "1-merge.png",      "1-pages.png",    "1-protect.png",
                                   "1-searchable.png", "1-sign.png",     "1-split.png"};
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
