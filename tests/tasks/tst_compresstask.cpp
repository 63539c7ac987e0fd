#include "engine/PDFError.h"
#include "support/Attempt.h"
#include "support/Fixtures.h"
#include "support/TaskFixtures.h"
#include "tasks/Compress.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

using namespace Fixtures;
using namespace Attempt;

class TestCompressTask : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void outcomeTexts_data()
    {
        QTest::addColumn<qint64>("before");
        QTest::addColumn<qint64>("after");
        QTest::addColumn<bool>("kept");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("detail");
        const QString name = u"Report compressed.pdf"_s;
        QTest::newRow("smaller") << qint64(8'400'000) << qint64(1'200'000) << false
                                 << u"8.4 MB → 1.2 MB  (86% smaller)"_s << name;
        QTest::newRow("a little smaller") << qint64(1000) << qint64(999) << false
                                          << u"1.0 kB → 999 bytes  (0% smaller)"_s << name;
        QTest::newRow("kept") << qint64(12'609) << qint64(12'609) << true
                              << u"Already as small as it gets"_s
                              << u"Compressing wouldn't make “Report.pdf” smaller, so the "
                                 "copy is unchanged (12.6 kB)."_s;
    }
    void outcomeTexts()
    {
        PDFOps::CompressResult result;
        QFETCH(qint64, before);
        QFETCH(qint64, after);
        QFETCH(bool, kept);
        result.before = before;
        result.after = after;
        result.keptOriginal = kept;
        const QString destination = u"/somewhere/Report compressed.pdf"_s;
        const Outcome outcome = Compress::outcome(result, u"Report.pdf"_s, destination);
        QTEST(outcome.title, "title");
        QTEST(outcome.detail, "detail");
        QCOMPARE(outcome.urls, QStringList{destination});
    }

    // The file went away or was replaced after it was chosen: the work says
    // so, and leaves nothing.
    void aVanishedFileIsTheJobsMessage_data()
    {
        QTest::addColumn<QByteArray>("replacement");
        QTest::newRow("deleted") << QByteArray();
        QTest::newRow("replaced by text") << QByteArray("meeting notes\n");
    }
    void aVanishedFileIsTheJobsMessage()
    {
        QFETCH(QByteArray, replacement);
        QTemporaryDir dir;
        const QString source = writeFile(dir.filePath(u"Gone.pdf"_s), textPDF(1));
        const PDFFile file = opened(source);
        QFile::remove(source);
        if (!replacement.isNull())
            writeFile(source, replacement);
        QCOMPARE(errorOf([&] {
                     Compress::run(file, {}, dir.filePath(u"out.pdf"_s), noProgress, never);
                 }),
                 u"“Gone.pdf” couldn't be read as a PDF."_s);
        QCOMPARE(QDir(dir.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 replacement.isNull() ? QStringList() : QStringList{u"Gone.pdf"_s});
    }
};

QTEST_GUILESS_MAIN(TestCompressTask)
#include "tst_compresstask.moc"
