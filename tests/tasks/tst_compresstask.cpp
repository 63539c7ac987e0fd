#include "core/Workspace.h"
#include "engine/PDFError.h"
#include "support/Fixtures.h"
#include "tasks/Compress.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;

class TestCompressTask : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void screenTexts()
    {
        const auto cards = Compress::levelCards();
        QCOMPARE(cards.size(), 3);
        for (int i = 0; i < 3; ++i)
            QCOMPARE(cards[i].level, PDFOps::allCompressionLevels()[i]);
        QCOMPARE(Compress::currentSize(1'234'567), QStringLiteral("Current size: 1.2 MB"));
    }

    void outcomeTexts_data()
    {
        QTest::addColumn<qint64>("before");
        QTest::addColumn<qint64>("after");
        QTest::addColumn<bool>("kept");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("detail");
        const QString name = QStringLiteral("Report compressed.pdf");
        QTest::newRow("smaller") << qint64(8'400'000) << qint64(1'200'000) << false
                                 << QStringLiteral("8.4 MB → 1.2 MB  (86% smaller)") << name;
        QTest::newRow("a little smaller")
            << qint64(1000) << qint64(999) << false
            << QStringLiteral("1.0 kB → 999 bytes  (0% smaller)") << name;
        QTest::newRow("kept") << qint64(12'609) << qint64(12'609) << true
                              << QStringLiteral("Already as small as it gets")
                              << QStringLiteral(
                                     "Compressing wouldn't make “Report.pdf” smaller, so the "
                                     "copy is unchanged (12.6 kB).");
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
        const QString destination = QStringLiteral("/somewhere/Report compressed.pdf");
        const Outcome outcome =
            Compress::outcome(result, QStringLiteral("Report.pdf"), destination);
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
        QTest::newRow("emptied") << QByteArray("");
    }
    void aVanishedFileIsTheJobsMessage()
    {
        QFETCH(QByteArray, replacement);
        QTemporaryDir dir;
        const QString source = writeFile(dir.filePath(QStringLiteral("Gone.pdf")), textPDF(1));
        Workspace workspace;
        workspace.add({source});
        const PDFFile file = workspace.files().value(0);
        QFile::remove(source);
        if (!replacement.isNull())
            writeFile(source, replacement);
        try {
            Compress::run(
                file, {}, dir.filePath(QStringLiteral("out.pdf")), [](int, int) {},
                [] { return false; });
            QFAIL("no error");
        } catch (const PDFError &e) {
            QCOMPARE(e.description(), QStringLiteral("“Gone.pdf” couldn't be read as a PDF."));
        }
        QCOMPARE(QDir(dir.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 replacement.isNull() ? QStringList() : QStringList{QStringLiteral("Gone.pdf")});
    }
};

QTEST_GUILESS_MAIN(TestCompressTask)
#include "tst_compresstask.moc"
