#include "core/Format.h"
#include "core/Workspace.h"
#include "engine/PDFError.h"
#include "support/Attempt.h"
#include "support/Fixtures.h"
#include "support/PictureFixtures.h"
#include "support/ProtectChecks.h"
#include "support/TaskFixtures.h"
#include "tasks/Merge.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

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
        DocSpec a = numberedPages(3, u"Alpha"_s);
        a.info.title = u"Annual report"_s;
        DocSpec b = numberedPages(2, u"Beta"_s);
        b.info.title = u"Appendix"_s;
        m_a = writeFile(m_dir.filePath(u"Report.pdf"_s), makePDF(a));
        m_b = writeFile(m_dir.filePath(u"b.pdf"_s), makePDF(b));
        writeFile(m_dir.filePath(u"photo.jpg"_s), encode(marker(400, 300), "JPEG"));
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
        const QString destination = writeFile(out.filePath(u"All.pdf"_s), "old");
        QList<QPair<int, int>> reports;
        const Outcome outcome = Merge::run(
            files({"Report.pdf", "photo.jpg", "b.pdf"}), destination,
            [&](int d, int t) { reports << qMakePair(d, t); }, never);
        QCOMPARE(outcome, (Outcome{u"Merged 6 pages"_s,
                                   u"All.pdf · "_s + Format::bytes(QFileInfo(destination).size()),
                                   {destination}}));
        QCOMPARE(reports.last(), qMakePair(6, 6));
        QCOMPARE(popplerPageTexts(readFile(destination)),
                 (QStringList{"Alpha 1", "Alpha 2", "Alpha 3", "", "Beta 1", "Beta 2"}));
        QCOMPARE(ProtectChecks::poppler(destination).title, u"Annual report"_s);
        QVERIFY(temporaryFiles(out.path()).isEmpty());
    }

    void failures_data()
    {
        QTest::addColumn<QString>("situation");
        QTest::addColumn<QString>("message");
        QTest::newRow("source deleted") << "deleted" << u"“gone.pdf” couldn't be read as a PDF."_s;
        QTest::newRow("restricted") << "restricted" << PDFError::restricted().description();
        QTest::newRow("no such folder") << "folder" << u"Couldn't write the merged file."_s;
        QTest::newRow("cancelled") << "cancel" << u"cancelled"_s;
    }
    void failures()
    {
        QFETCH(QString, situation);
        QTemporaryDir dir;
        PDFFile odd = files({"b.pdf"}).first();
        if (situation == "deleted") {
            odd.path = writeFile(dir.filePath(u"gone.pdf"_s), textPDF(1));
            QFile::remove(odd.path);
        } else if (situation == "restricted") {
            odd.path = writeFile(dir.filePath(u"odd.pdf"_s),
                                 makePDF(numberedPages(1), lock({}, u"boss"_s, true)));
        }
        const QString destination = situation == "folder"
                                        ? dir.filePath(u"missing/out.pdf"_s)
                                        : writeFile(dir.filePath(u"out.pdf"_s), "keep me");
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
