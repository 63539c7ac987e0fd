#include "core/Job.h"
#include "engine/PDFError.h"

#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <QThreadPool>

#include <atomic>

class TestJob : public QObject {
    Q_OBJECT

    static bool finished(const Job &job) { return !job.isRunning(); }
    // Every job's work has ended and everything it posted has been delivered.
    static void drain()
    {
        QThreadPool::globalInstance()->waitForDone();
        QCoreApplication::sendPostedEvents();
    }

private Q_SLOTS:
    void endsWithItsOutcome()
    {
        Job job;
        QList<Job::State> seen;
        connect(&job, &Job::stateChanged, this, [&] { seen << job.state(); });
        std::atomic<bool> offMainThread{false};
        QThread *main = QThread::currentThread();
        job.run(QStringLiteral("Testing"), [&](const Progress &progress, const IsCancelled &) {
            offMainThread = QThread::currentThread() != main;
            progress(1, 2);
            progress(2, 2);
            return Outcome{
                QStringLiteral("ok"), QStringLiteral("fine"), {QStringLiteral("/tmp/x.pdf")}};
        });
        QCOMPARE(job.state(), Job::State(Job::Running{0, 0, QStringLiteral("Testing")}));
        QTRY_VERIFY(finished(job));
        QVERIFY(offMainThread);
        QCOMPARE(job.state(), Job::State(Job::Done{{QStringLiteral("ok"),
                                                    QStringLiteral("fine"),
                                                    {QStringLiteral("/tmp/x.pdf")}}}));
        QVERIFY(seen.contains(Job::State(Job::Running{1, 2, QStringLiteral("Testing")})));
        QVERIFY(seen.contains(Job::State(Job::Running{2, 2, QStringLiteral("Testing")})));
    }

    void errorsBecomeMessages_data()
    {
        QTest::addColumn<int>("which");
        QTest::addColumn<QString>("message");
        QTest::newRow("failed") << 0 << QStringLiteral("nope");
        QTest::newRow("failed that reads Cancelled.") << 1 << QStringLiteral("Cancelled.");
        QTest::newRow("restricted") << 2 << PDFError::restricted().description();
        QTest::newRow("other exception") << 3 << QStringLiteral("disk on fire");
    }
    void errorsBecomeMessages()
    {
        QFETCH(int, which);
        QFETCH(QString, message);
        Job job;
        job.run(QStringLiteral("Failing"),
                [which](const Progress &, const IsCancelled &) -> Outcome {
                    switch (which) {
                    case 0: throw PDFError::failed(QStringLiteral("nope"));
                    case 1: throw PDFError::failed(QStringLiteral("Cancelled."));
                    case 2: throw PDFError::restricted();
                    default: throw std::runtime_error("disk on fire");
                    }
                });
        QTRY_VERIFY(finished(job));
        QCOMPARE(job.state(), Job::State(Job::Failed{message}));
    }

    // Work that runs until it is cancelled; the cancel ends it back at idle.
    void cancelReturnsToIdle()
    {
        Job job;
        std::atomic<bool> started{false};
        job.run(QStringLiteral("Slow"), [&](const Progress &, const IsCancelled &isCancelled) {
            started = true;
            for (int i = 0; i < 12000; ++i) // a minute at most, should the cancel never come
                if (isCancelled())
                    throw PDFError::cancelled();
                else
                    QThread::msleep(5);
            return Outcome{QStringLiteral("never cancelled"), {}, {}};
        });
        QTRY_VERIFY_WITH_TIMEOUT(started, 60000);
        job.cancel();
        QVERIFY(job.isRunning()); // cancel alone doesn't change the state
        QTRY_VERIFY_WITH_TIMEOUT(finished(job), 60000);
        QCOMPARE(job.state(), Job::State(Job::Idle{}));
    }

    void secondRunIsIgnoredWhileRunning()
    {
        Job job;
        std::atomic<bool> release{false}, secondCalled{false};
        job.run(QStringLiteral("First"), [&](const Progress &, const IsCancelled &) {
            while (!release)
                QThread::msleep(5);
            return Outcome{QStringLiteral("first"), {}, {}};
        });
        job.run(QStringLiteral("Second"), [&](const Progress &, const IsCancelled &) {
            secondCalled = true;
            return Outcome{QStringLiteral("second"), {}, {}};
        });
        QCOMPARE(std::get<Job::Running>(job.state()).label, QStringLiteral("First"));
        job.reset(); // does nothing while running
        QVERIFY(job.isRunning());
        release = true;
        QTRY_VERIFY(finished(job));
        QCOMPARE(std::get<Job::Done>(job.state()).outcome.title, QStringLiteral("first"));
        QVERIFY(!secondCalled);
        job.reset();
        QCOMPARE(job.state(), Job::State(Job::Idle{}));
    }

    void lateCancelDoesNotReachTheNextRun()
    {
        Job job;
        job.run(QStringLiteral("One"),
                [](const Progress &, const IsCancelled &) { return Outcome{}; });
        QTRY_VERIFY(finished(job));
        job.cancel();
        job.run(QStringLiteral("Two"), [](const Progress &, const IsCancelled &isCancelled) {
            return Outcome{
                isCancelled() ? QStringLiteral("cancelled") : QStringLiteral("ran"), {}, {}};
        });
        QTRY_VERIFY(finished(job));
        QCOMPARE(std::get<Job::Done>(job.state()).outcome.title, QStringLiteral("ran"));
    }

    void lateProgressNeverOverwritesTheEnd()
    {
        Job job;
        job.run(QStringLiteral("Racing"), [](const Progress &progress, const IsCancelled &) {
            for (int i = 0; i < 500; ++i)
                progress(i, 500);
            return Outcome{QStringLiteral("end"), {}, {}};
        });
        QTRY_VERIFY(finished(job));
        drain();
        QCOMPARE(std::get<Job::Done>(job.state()).outcome.title, QStringLiteral("end"));
    }

    void aJobThatGoesAwayDropsItsResult()
    {
        auto *job = new Job;
        std::atomic<bool> ran{false};
        job->run(QStringLiteral("Orphan"), [&](const Progress &progress, const IsCancelled &) {
            QThread::msleep(50);
            progress(1, 1);
            ran = true;
            return Outcome{};
        });
        delete job;
        // The progress and the result arrive for a job that's gone: nothing
        // may touch it (a crash, or an error under the sanitizers).
        drain();
        QVERIFY(ran);
    }
};

QTEST_GUILESS_MAIN(TestJob)
#include "tst_job.moc"
