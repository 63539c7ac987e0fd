#include "Fixtures.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;

class TestSplitCli : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void splits_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QStringList>("parts");
        QTest::newRow("each") << QStringList{QStringLiteral("--each")}
                              << QStringList{"Doc page 1.pdf", "Doc page 2.pdf", "Doc page 3.pdf",
                                             "Doc page 4.pdf"};
        QTest::newRow("every 3") << QStringList{QStringLiteral("--every"), QStringLiteral("3")}
                                 << QStringList{"Doc page 4.pdf", "Doc pages 1-3.pdf"};
        QTest::newRow("ranges") << QStringList{QStringLiteral("--ranges"), QStringLiteral("4, 1–2")}
                                << QStringList{"Doc page 4.pdf", "Doc pages 1-2.pdf"};
    }
    void splits()
    {
        QFETCH(QStringList, options);
        QFETCH(QStringList, parts);
        QTemporaryDir dir;
        const QString source = writeFile(dir.filePath(QStringLiteral("Doc.pdf")), textPDF(4));
        const auto result =
            runCli(QStringList{QStringLiteral("split"), QStringLiteral("-q")} << options << source);
        QCOMPARE(result.exitCode, 0);
        const QString folder = dir.filePath(QStringLiteral("Doc split"));
        QCOMPARE(result.out.trimmed(), folder);
        QCOMPARE(QDir(folder).entryList(QDir::Files | QDir::Hidden, QDir::Name), parts);
        for (const QString &part : parts)
            QCOMPARE(runProgram(QStringLiteral("qpdf"),
                                {QStringLiteral("--check"), folder + u'/' + part})
                         .exitCode,
                     0);
        const auto again =
            runCli(QStringList{QStringLiteral("split"), QStringLiteral("-q")} << options << source);
        QCOMPARE(again.out.trimmed(), dir.filePath(QStringLiteral("Doc split 2")));
    }

    void refuses_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("message");
        QTest::newRow("out of range")
            << QStringList{QStringLiteral("--ranges"), QStringLiteral("1-20")}
            << QStringLiteral("quirebook-cli: Page 20 doesn't exist; this PDF has 4 pages.");
        QTest::newRow("not a range")
            << QStringList{QStringLiteral("--ranges"), QStringLiteral("x")}
            << QStringLiteral(
                   "quirebook-cli: “x” isn't a page or a range. Use numbers like 3 or 2-5.");
        QTest::newRow("zero")
            << QStringList{QStringLiteral("--every"), QStringLiteral("0")}
            << QStringLiteral("quirebook-cli: --every takes a whole number of pages, 1 or more.");
        QTest::newRow("no mode") << QStringList{} << QString();
        QTest::newRow("two modes")
            << QStringList{QStringLiteral("--each"), QStringLiteral("--every"), QStringLiteral("2")}
            << QString();
    }
    void refuses()
    {
        QFETCH(QStringList, options);
        QFETCH(QString, message);
        QTemporaryDir dir;
        const QString source = writeFile(dir.filePath(QStringLiteral("Doc.pdf")), textPDF(4));
        const auto result = runCli(QStringList{QStringLiteral("split")} << options << source);
        QCOMPARE(result.exitCode, 2);
        if (!message.isEmpty())
            QCOMPARE(result.err.trimmed(), message);
        QVERIFY(!QFileInfo::exists(dir.filePath(QStringLiteral("Doc split"))));
    }
};

QTEST_GUILESS_MAIN(TestSplitCli)
#include "tst_splitcli.moc"
