// The application: the one window and its remembered frame, the Edit menu
// and Open…, files from outside, a second start handing its files over,
// closing while a job runs, the snapshot mode, and the self-check.
#include "app/AppController.h"
#include "app/SingleInstance.h"
#include "core/Dialogs.h"
#include "core/Job.h"
#include "engine/PDFError.h"
#include "engine/SafeWrite.h"
#include "screens/RootView.h"
#include "screens/Symbols.h"
#include "support/Fixtures.h"

#include <QAbstractButton>
#include <QAction>
#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QLabel>
#include <QMainWindow>
#include <QProcess>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <atomic>

using namespace Qt::StringLiterals;

using namespace Fixtures;

class TestController : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QString m_a, m_b, m_photo;

private Q_SLOTS:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        QCoreApplication::setOrganizationName(u"QuirebookTests"_s);
        QCoreApplication::setApplicationName(u"QuirebookTests"_s);
        QSettings().remove(QLatin1String(AppController::kFrameKey));
        Symbols::installTheme();
        m_a = writeFile(m_dir.filePath(u"a.pdf"_s), textPDF(2));
        m_b = writeFile(m_dir.filePath(u"b.pdf"_s), textPDF(4));
        m_photo = writeFile(m_dir.filePath(u"b.png"_s), encode(marker(240, 160), "PNG"));
    }

    void cleanupTestCase() { QSettings().remove(QLatin1String(AppController::kFrameKey)); }

    void oneWindowOfTheRightSize()
    {
        AppController app;
        QVERIFY(!app.window());
        // Files from outside before the launch: the window comes first.
        app.open({m_b, m_a});
        QMainWindow *window = app.window();
        QVERIFY(window);
        QCOMPARE(window->windowTitle(), u"Quirebook"_s);
        QCOMPARE(window->size(), QSize(1060, 720));
        QCOMPARE(app.rootView()->minimumSize(), QSize(940, 640));
        QCOMPARE(app.workspace().files().size(), 2);
        QCOMPARE(app.workspace().files()[0].fileName(), u"b.pdf"_s);
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
        auto *grid = app.window()->findChild<QWidget *>(u"pagesGrid"_s);
        QVERIFY(grid);
        QTRY_VERIFY(grid->isVisible());
        auto *summary = app.window()->findChild<QLabel *>(u"pagesSummary"_s);
        auto *rotate = app.window()->findChild<QAbstractButton *>(u"pagesRotateLeft"_s);
        auto *undo = app.window()->findChild<QAbstractButton *>(u"pagesUndo"_s);
        QVERIFY(summary && rotate && undo);
        rotate->click();
        QVERIFY(undo->isEnabled());
        app.window()->setFocus();
        app.window()->findChild<QAction *>(u"action_undo"_s)->trigger();
        QVERIFY(!undo->isEnabled());
        app.window()->findChild<QAction *>(u"action_selectAll"_s)->trigger();
        QCOMPARE(summary->text(), u"4 pages · 4 selected"_s);
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
        QTest::newRow("a PDF and a picture") << QStringList{u"a.pdf"_s, u"b.png"_s} << 2;
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
        QAction *open = app.window()->findChild<QAction *>(u"actionOpen"_s);
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
        env.insert(u"XDG_RUNTIME_DIR"_s, runtime.path());
        env.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
        env.remove(u"QUIREBOOK_SNAPSHOTS"_s);
        second.setProcessEnvironment(env);
        second.setWorkingDirectory(m_dir.path());
        second.start(qEnvironmentVariable("QUIREBOOK_APP"), {u"b.pdf"_s});
        QVERIFY(second.waitForStarted());
        QTRY_COMPARE_WITH_TIMEOUT(app.workspace().files().size(), 2, 20000);
        QCOMPARE(app.workspace().files()[1].path, m_b);
        QTRY_COMPARE_WITH_TIMEOUT(second.state(), QProcess::NotRunning, 20000);
        QCOMPARE(second.exitStatus(), QProcess::NormalExit);
        QCOMPARE(second.exitCode(), 0);
        qunsetenv("XDG_RUNTIME_DIR");
    }

    // Closing the window while a job runs asks first; stopping waits for the
    // work to end and clean up before the window closes.
    void close_data()
    {
        QTest::addColumn<bool>("working");
        QTest::addColumn<bool>("stop");
        QTest::newRow("nothing running") << false << false;
        QTest::newRow("keep working") << true << false;
        QTest::newRow("stop and close") << true << true;
    }
    void close()
    {
        QFETCH(bool, working);
        QFETCH(bool, stop);
        QTemporaryDir dir;
        ScriptedDialogs dialogs;
        dialogs.confirmAnswers = {stop};
        AppController app;
        app.setDialogs(&dialogs);
        app.launch({});
        QMainWindow *window = app.window();

        // A job halfway through writing its result, which stops only when asked.
        Job job;
        std::atomic<bool> writing = false, sawCancel = false;
        if (working) {
            const QString destination = dir.filePath(u"a compressed.pdf"_s);
            job.run(u"Compressing"_s,
                    [&, destination](const Progress &, const IsCancelled &isCancelled) {
                        SafeWrite::write(
                            destination,
                            [&](SafeWrite::Target &out) {
                                out.write(QByteArray("%PDF-1.7\n"));
                                writing = true;
                                while (!isCancelled())
                                    QThread::msleep(5);
                                sawCancel = true;
                                throw PDFError::cancelled();
                            },
                            u"Couldn't write the file."_s);
                        return Outcome{};
                    });
            QTRY_VERIFY_WITH_TIMEOUT(writing, 60000);
        }

        const bool closedAtOnce = window->close();
        QCOMPARE(closedAtOnce, !working);
        QCOMPARE(dialogs.questions.size(), working ? 1 : 0);
        if (!working)
            return;
        const Question &asked = dialogs.questions.first();
        QCOMPARE(asked.title, u"Stop the work in progress?"_s);
        QCOMPARE(asked.accept, u"Stop and Close"_s);
        QCOMPARE(asked.keep, u"Keep Working"_s);
        if (stop) {
            QTRY_VERIFY_WITH_TIMEOUT(!window->isVisible(), 60000);
            QVERIFY(sawCancel);
            QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList());
            QVERIFY(std::holds_alternative<Job::Idle>(job.state()));
        } else {
            QVERIFY(window->isVisible() && job.isRunning() && !sawCancel);
            job.cancel();
            QTRY_COMPARE_WITH_TIMEOUT(JobsInFlight::instance().count(), 0, 60000);
            QVERIFY(window->isVisible()); // the window stays, and no second question
            QCOMPARE(dialogs.questions.size(), 1);
        }
    }

    void snapshotModeWritesOnePicturePerTool()
    {
        QTemporaryDir shots;
        const QString folder = shots.filePath(u"nested/shots"_s);
        const auto result = runProgram(qEnvironmentVariable("QUIREBOOK_APP"), {},
                                       {{u"QT_QPA_PLATFORM"_s, u"offscreen"_s},
                                        {u"QUIREBOOK_SNAPSHOTS"_s, folder},
                                        {u"QUIREBOOK_FILES"_s, u"::"_s + m_a + u':' + m_photo}},
                                       60000);
        QVERIFY2(result.exitCode == 0, qPrintable(result.err));
        const QStringList expected{"0-empty.png",      "1-compress.png", "1-convert.png",
                                   "1-merge.png",      "1-pages.png",    "1-protect.png",
                                   "1-searchable.png", "1-sign.png",     "1-split.png"};
        QCOMPARE(QDir(folder).entryList(QDir::Files, QDir::Name), expected);
        const QImage empty(QDir(folder).filePath(u"0-empty.png"_s));
        const QImage merge(QDir(folder).filePath(u"1-merge.png"_s));
        QCOMPARE(empty.size(), QSize(1060, 720));
        QCOMPARE(merge.size(), QSize(1060, 720));
        QVERIFY(empty != merge); // the files are listed
        // The accent marks the chosen tool in the sidebar.
        const QImage convert(QDir(folder).filePath(u"1-convert.png"_s));
        QVERIFY(convert != merge);
    }

    // The self-check, run by "--selftest" instead of the window.
    // Among other arguments it still counts: every check passes.
    void passes()
    {
        const auto result =
            runProgram(qEnvironmentVariable("QUIREBOOK_APP"), {u"x.pdf"_s, u"--selftest"_s},
                       {{u"QT_QPA_PLATFORM"_s, u"offscreen"_s}});
        QVERIFY2(result.exitCode == 0, qPrintable(result.out + result.err));
        const QStringList lines = result.out.trimmed().split(u'\n');
        QVERIFY(lines.size() >= 6);
        QCOMPARE(lines.last(), u"ALL PASSED"_s);
        QVERIFY(lines.contains(u"PASS text recognition"_s));
        for (int i = 0; i < lines.size() - 1; ++i)
            QVERIFY2(lines[i].startsWith(QLatin1String("PASS ")), qPrintable(lines[i]));
    }

    // --help and --version answer and end; no window opens.
    void helpAndVersion_data()
    {
        QTest::addColumn<QString>("argument");
        QTest::addColumn<QString>("starts");
        QTest::newRow("help") << "--help"
                              << "Usage: quirebook [FILE...]\n";
        QTest::newRow("version") << "--version"
                                 << "quirebook " QUIREBOOK_VERSION "\n";
    }
    void helpAndVersion()
    {
        QFETCH(QString, argument);
        QFETCH(QString, starts);
        const auto result = runProgram(qEnvironmentVariable("QUIREBOOK_APP"), {argument},
                                       {{u"QT_QPA_PLATFORM"_s, u"offscreen"_s}});
        QCOMPARE(result.exitCode, 0);
        QVERIFY2(result.out.startsWith(starts), qPrintable(result.out));
    }

    // With a value glued on it doesn't: the window starts instead, which in
    // the snapshot mode writes its pictures and ends by itself.
    void onlyTheExactArgumentCounts()
    {
        QTemporaryDir shots;
        const auto glued = runProgram(
            qEnvironmentVariable("QUIREBOOK_APP"), {u"--selftest=1"_s},
            {{u"QT_QPA_PLATFORM"_s, u"offscreen"_s}, {u"QUIREBOOK_SNAPSHOTS"_s, shots.path()}},
            60000);
        QVERIFY(!glued.out.contains(QLatin1String("ALL PASSED")));
        QCOMPARE(glued.exitCode, 0);
        QVERIFY(QFileInfo::exists(shots.filePath(u"0-empty.png"_s)));
    }
};

QTEST_MAIN(TestController)
#include "tst_controller.moc"
