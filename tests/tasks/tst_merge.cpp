#include "core/Format.h"
#include "core/Workspace.h"
#include "engine/PDFError.h"
#include "support/Attempt.h"
#include "support/Fixtures.h"
#include "support/PictureFixtures.h"
#include "support/PopplerCheck.h"
#include "tasks/Merge.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;
using Attempt::errorOf;
using Attempt::never;
using Attempt::noProgress;

class TestMerge : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QString m_a, m_b;

    QList<PDFFile> files(const QStringList &names)
    {
        Workspace ws;
        for (const QString &name : names)
            ws.add({m_dir.filePath(name)});
        return ws.files();
    }

private Q_SLOTS:
    void initTestCase()
    {
        DocSpec a = numberedPages(3, QStringLiteral("Alpha"));
        a.info.title = QStringLiteral("Annual report");
        DocSpec b = numberedPages(2, QStringLiteral("Beta"));
        b.info.title = QStringLiteral("Appendix");
        m_a = writeFile(m_dir.filePath(QStringLiteral("Report.pdf")), makePDF(a));
        m_b = writeFile(m_dir.filePath(QStringLiteral("b.pdf")), makePDF(b));
        writeFile(m_dir.filePath(QStringLiteral("photo.jpg")), encode(marker(400, 300), "JPEG"));
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
        QTEST(Merge::suggestedName(files(names)), "expected");
    }

    // In list order, a picture as a page, the first document's title; an
    // existing destination is replaced.
    void mergesInListOrder()
    {
        QTemporaryDir out;
        const QString destination = writeFile(out.filePath(QStringLiteral("All.pdf")), "old");
        QList<QPair<int, int>> reports;
        const Outcome outcome = Merge::run(
            files({"Report.pdf", "photo.jpg", "b.pdf"}), destination,
            [&](int d, int t) { reports << qMakePair(d, t); }, never);
        QCOMPARE(outcome.title, QStringLiteral("Merged 6 pages"));
        QCOMPARE(outcome.detail,
                 QStringLiteral("All.pdf · ") + Format::bytes(QFileInfo(destination).size()));
        QCOMPARE(outcome.urls, QStringList{destination});
        QCOMPARE(reports.last(), qMakePair(6, 6));
        QCOMPARE(popplerPageTexts(readFile(destination)),
                 (QStringList{"Alpha 1", "Alpha 2", "Alpha 3", "", "Beta 1", "Beta 2"}));
        QCOMPARE(PopplerCheck::title(destination), QStringLiteral("Annual report"));
        QVERIFY(temporaryFiles(out.path()).isEmpty());
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
        QTest::newRow("cancelled") << "cancel" << QStringLiteral("cancelled");
    }
    void failures()
    {
        QFETCH(QString, situation);
        QTemporaryDir dir;
        PDFFile odd = files({"b.pdf"}).first();
        WriteOptions options;
        options.encrypt = true;
        options.ownerPassword = QStringLiteral("boss");
        options.userPassword = situation == "locked" ? QStringLiteral("secret") : QString();
        options.allowCopying = false;
        if (situation == "deleted") {
            odd.path = writeFile(dir.filePath(QStringLiteral("gone.pdf")), textPDF(1));
            QFile::remove(odd.path);
        } else if (situation == "locked" || situation == "restricted") {
            odd.path = writeFile(dir.filePath(QStringLiteral("odd.pdf")),
                                 makePDF(numberedPages(1), options));
        }
        const QString destination =
            situation == "folder" ? dir.filePath(QStringLiteral("missing/out.pdf"))
                                  : writeFile(dir.filePath(QStringLiteral("out.pdf")), "keep me");
        QTEST(errorOf([&] {
                  Merge::run({files({"b.pdf"}).first(), odd}, destination, noProgress,
                             [&] { return situation == "cancel"; });
              }),
              "message");
        if (situation != "folder")
            QCOMPARE(readFile(destination), QByteArray("keep me"));
        QVERIFY(temporaryFiles(dir.path()).isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestMerge)
#include "tst_merge.moc"
