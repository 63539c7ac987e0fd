// Closing the window while a job runs asks first; stopping waits for the
// work to end and clean up before the window closes.
#include "app/AppController.h"
#include "core/Dialogs.h"
#include "core/Job.h"
#include "engine/PDFError.h"
#include "engine/SafeWrite.h"

#include <QDir>
#include <QMainWindow>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>

using namespace Qt::StringLiterals;

class TestCloseWhileWorking : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

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
};

QTEST_MAIN(TestCloseWhileWorking)
#include "tst_closewhileworking.moc"
