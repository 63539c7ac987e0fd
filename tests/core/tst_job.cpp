#include "core/Job.h"
#include "engine/PDFError.h"

#include <QTest>
#include <QThread>
#include <QThreadPool>

#include <atomic>

using namespace Qt::StringLiterals;

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
        job.run(u"Testing"_s, [&](const Progress &progress, const IsCancelled &) {
            offMainThread = QThread::currentThread() != main;
            progress(1, 2);
            progress(2, 2);
            return Outcome{u"ok"_s, u"fine"_s, {u"/tmp/x.pdf"_s}};
        });
        QCOMPARE(job.state(), Job::State(Job::Running{0, 0, u"Testing"_s}));
        QTRY_VERIFY(finished(job));
        QVERIFY(offMainThread);
        QCOMPARE(job.state(), Job::State(Job::Done{{u"ok"_s, u"fine"_s, {u"/tmp/x.pdf"_s}}}));
        QVERIFY(seen.contains(Job::State(Job::Running{1, 2, u"Testing"_s})));
        QVERIFY(seen.contains(Job::State(Job::Running{2, 2, u"Testing"_s})));
    }

    void errorsBecomeMessages_data()
    {
        QTest::addColumn<int>("which");
        QTest::addColumn<QString>("message");
        QTest::newRow("failed") << 0 << u"nope"_s;
        QTest::newRow("failed that reads Cancelled.") << 1 << u"Cancelled."_s;
        QTest::newRow("restricted") << 2 << PDFError::restricted().description();
        QTest::newRow("other exception") << 3 << u"disk on fire"_s;
    }
    void errorsBecomeMessages()
    {
        QFETCH(int, which);
        QFETCH(QString, message);
        Job job;
        job.run(u"Failing"_s, [which](const Progress &, const IsCancelled &) -> Outcome {
            switch (which) {
            case 0: throw PDFError::failed(u"nope"_s);
            case 1: throw PDFError::failed(u"Cancelled."_s);
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
        job.run(u"Slow"_s, [&](const Progress &, const IsCancelled &isCancelled) {
            started = true;
            for (int i = 0; i < 12000; ++i) // a minute at most, should the cancel never come
                if (isCancelled())
                    throw PDFError::cancelled();
                else
                    QThread::msleep(5);
            return Outcome{u"never cancelled"_s, {}, {}};
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
        job.run(u"First"_s, [&](const Progress &, const IsCancelled &) {
            while (!release)
                QThread::msleep(5);
            return Outcome{u"first"_s, {}, {}};
        });
        job.run(u"Second"_s, [&](const Progress &, const IsCancelled &) {
            secondCalled = true;
            return Outcome{u"second"_s, {}, {}};
        });
        QCOMPARE(std::get<Job::Running>(job.state()).label, u"First"_s);
        job.reset(); // does nothing while running
        QVERIFY(job.isRunning());
        release = true;
        QTRY_VERIFY(finished(job));
        QCOMPARE(std::get<Job::Done>(job.state()).outcome.title, u"first"_s);
        QVERIFY(!secondCalled);
        job.reset();
        QCOMPARE(job.state(), Job::State(Job::Idle{}));
    }

    void lateCancelDoesNotReachTheNextRun()
    {
        Job job;
        job.run(u"One"_s, [](const Progress &, const IsCancelled &) { return Outcome{}; });
        QTRY_VERIFY(finished(job));
        job.cancel();
        job.run(u"Two"_s, [](const Progress &, const IsCancelled &isCancelled) {
            return Outcome{isCancelled() ? u"cancelled"_s : u"ran"_s, {}, {}};
        });
        QTRY_VERIFY(finished(job));
        QCOMPARE(std::get<Job::Done>(job.state()).outcome.title, u"ran"_s);
    }

    void lateProgressNeverOverwritesTheEnd()
    {
        Job job;
        job.run(u"Racing"_s, [](const Progress &progress, const IsCancelled &) {
            for (int i = 0; i < 500; ++i)
                progress(i, 500);
            return Outcome{u"end"_s, {}, {}};
        });
        QTRY_VERIFY(finished(job));
        drain();
        QCOMPARE(std::get<Job::Done>(job.state()).outcome.title, u"end"_s);
    }

    void aJobThatGoesAwayDropsItsResult()
    {
        auto *job = new Job;
        std::atomic<bool> ran{false};
        job->run(u"Orphan"_s, [&](const Progress &progress, const IsCancelled &) {
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
