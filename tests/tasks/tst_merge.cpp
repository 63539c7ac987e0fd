#include "Fixtures.h"
#include "Format.h"
#include "Job.h"
#include "Merge.h"
#include "PDFError.h"
#include "PopplerCheck.h"
#include "Workspace.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;

namespace {
QStringList leftovers(const QString &folder)
{
    return QDir(folder).entryList({QStringLiteral(".quirebook-*")}, QDir::Files | QDir::Hidden);
}

// Runs the work as a screen would: through a Job, on a worker thread.
Job::State runJob(const Work &work)
{
    Job job;
    job.run(QStringLiteral("Merging"), work);
    QElapsedTimer timer;
    timer.start();
    while (job.isRunning() && timer.elapsed() < 60000)
        QTest::qWait(10);
    return job.state();
}
} // namespace

class TestMerge : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QString m_a, m_b, m_photo;

private Q_SLOTS:
    void initTestCase()
    {
        DocSpec a = numberedPages(3, QStringLiteral("Alpha"));
        a.info.title = QStringLiteral("Annual report");
        a.outline = {{QStringLiteral("Summary"), 1, {}}};
        a.links = {{0, 2}};
        DocSpec b = numberedPages(2, QStringLiteral("Beta"));
        b.info.title = QStringLiteral("Appendix");
        b.outline = {{QStringLiteral("Tables"), 1, {}}};
        m_a = writeFile(m_dir.filePath(QStringLiteral("Report.pdf")), makePDF(a));
        m_b = writeFile(m_dir.filePath(QStringLiteral("b.pdf")), makePDF(b));
        m_photo = writeFile(m_dir.filePath(QStringLiteral("photo.jpg")),
                            encode(marker(400, 300), "JPEG"));
    }

    void suggestedNames_data()
    {
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<QString>("expected");
        QTest::newRow("two files") << QStringList{"Report.pdf", "b.pdf"} << "Merged";
        QTest::newRow("three, PDF first")
            << QStringList{"Report.pdf", "b.pdf", "photo.jpg"} << "Report merged";
        QTest::newRow("picture first")
            << QStringList{"photo.jpg", "Report.pdf", "b.pdf"} << "Merged";
    }
    void suggestedNames()
    {
        QFETCH(QStringList, names);
        QFETCH(QString, expected);
        Workspace ws;
        QStringList paths;
        for (const auto &name : names)
            paths << m_dir.filePath(name);
        ws.add(paths);
        QCOMPARE(Merge::suggestedName(ws.files()), expected);
    }

    void mergesInListOrder()
    {
        Workspace ws;
        ws.add({m_a, m_photo, m_b});
        QTemporaryDir out;
        const QString destination = out.filePath(QStringLiteral("All.pdf"));
        QList<QPair<int, int>> reports;
        const auto state = runJob([&](const Progress &progress, const IsCancelled &isCancelled) {
            return Merge::run(
                ws.files(), destination,
                [&](int d, int t) {
                    reports << qMakePair(d, t);
                    progress(d, t);
                },
                isCancelled);
        });
        const auto *done = std::get_if<Job::Done>(&state);
        QVERIFY(done);
        QCOMPARE(done->outcome.title, QStringLiteral("Merged 6 pages"));
        QCOMPARE(done->outcome.detail,
                 QStringLiteral("All.pdf · ") + Format::bytes(QFileInfo(destination).size()));
        QCOMPARE(done->outcome.urls, QStringList{destination});
        QCOMPARE(reports.last(), qMakePair(6, 6));

        QFile file(destination);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QStringList texts = popplerPageTexts(file.readAll());
        QCOMPARE(texts.size(), 6);
        QCOMPARE(texts[0], QStringLiteral("Alpha 1"));
        QCOMPARE(texts[3], QString()); // the picture
        QCOMPARE(texts[5], QStringLiteral("Beta 2"));
        QCOMPARE(PopplerCheck::title(destination), QStringLiteral("Annual report"));
        QCOMPARE(PopplerCheck::bookmarks(destination),
                 (QStringList{QStringLiteral("Summary→2"), QStringLiteral("Tables→6")}));
        QCOMPARE(PopplerCheck::linkTargets(destination).first(), QList<int>{3});
        QCOMPARE(
            runProgram(QStringLiteral("qpdf"), {QStringLiteral("--check"), destination}).exitCode,
            0);
        QVERIFY(leftovers(out.path()).isEmpty());
    }

    void replacesAnExistingDestination()
    {
        Workspace ws;
        ws.add({m_a, m_b});
        QTemporaryDir out;
        const QString destination =
            writeFile(out.filePath(QStringLiteral("Merged.pdf")), "old bytes");
        Merge::run(ws.files(), destination, {}, {});
        QCOMPARE(popplerPageCount(destination), 5);
        QVERIFY(leftovers(out.path()).isEmpty());
    }

    void failures_data()
    {
        QTest::addColumn<QString>("situation");
        QTest::addColumn<QString>("message");
        QTest::newRow("source deleted")
            << "deleted" << QStringLiteral("“gone.pdf” couldn't be read as a PDF.");
        QTest::newRow("locked") << "locked"
                                << QStringLiteral("This PDF is locked. Enter its password first.");
        QTest::newRow("restricted") << "restricted" << PDFError::restricted().description();
        QTest::newRow("no such folder")
            << "folder" << QStringLiteral("Couldn't write the merged file.");
    }
    void failures()
    {
        QFETCH(QString, situation);
        QFETCH(QString, message);
        QTemporaryDir dir;
        Workspace ws;
        ws.add({m_b});
        PDFFile odd;
        odd.id = QUuid::createUuid();
        odd.kind = PDFFile::Kind::Pdf;
        WriteOptions options;
        options.encrypt = true;
        options.ownerPassword = QStringLiteral("boss");
        if (situation == QLatin1String("deleted")) {
            odd.path = writeFile(dir.filePath(QStringLiteral("gone.pdf")), textPDF(1));
            QFile::remove(odd.path);
        } else if (situation == QLatin1String("locked")) {
            options.userPassword = QStringLiteral("secret");
            odd.path = writeFile(dir.filePath(QStringLiteral("locked.pdf")),
                                 makePDF(numberedPages(1), options));
        } else if (situation == QLatin1String("restricted")) {
            options.allowCopying = false;
            odd.path = writeFile(dir.filePath(QStringLiteral("limited.pdf")),
                                 makePDF(numberedPages(1), options));
        } else {
            odd = ws.files().first();
        }
        const QString destination =
            situation == QLatin1String("folder")
                ? dir.filePath(QStringLiteral("missing/out.pdf"))
                : writeFile(dir.filePath(QStringLiteral("out.pdf")), "keep me");
        const QList<PDFFile> files{ws.files().first(), odd};
        const auto state = runJob([&](const Progress &p, const IsCancelled &c) {
            return Merge::run(files, destination, p, c);
        });
        QCOMPARE(state, Job::State(Job::Failed{message}));
        if (situation != QLatin1String("folder")) {
            QFile kept(destination);
            QVERIFY(kept.open(QIODevice::ReadOnly));
            QCOMPARE(kept.readAll(), QByteArray("keep me"));
        }
        QVERIFY(leftovers(dir.path()).isEmpty());
    }

    void cancelLeavesNothing()
    {
        Workspace ws;
        ws.add({m_a, m_b});
        QTemporaryDir out;
        const QString destination = out.filePath(QStringLiteral("x.pdf"));
        const auto state = runJob([&](const Progress &p, const IsCancelled &) {
            return Merge::run(ws.files(), destination, p, [] { return true; });
        });
        QCOMPARE(state, Job::State(Job::Idle{}));
        QVERIFY(!QFile::exists(destination));
        QVERIFY(leftovers(out.path()).isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestMerge)
#include "tst_merge.moc"
