#include "support/Fixtures.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

using namespace Fixtures;

// Each mode option reaches the request: the parts it makes, in a new folder
// beside the source, printed on stdout. (What a part holds is tst_split's;
// the refusals are in tst_info's usage table.)
class TestSplitCli : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void splits_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QStringList>("parts");
        QTest::newRow("each") << QStringList{u"--each"_s}
                              << QStringList{"Doc page 1.pdf", "Doc page 2.pdf", "Doc page 3.pdf",
                                             "Doc page 4.pdf"};
        QTest::newRow("every 3") << QStringList{u"--every"_s, u"3"_s}
                                 << QStringList{"Doc page 4.pdf", "Doc pages 1-3.pdf"};
        QTest::newRow("ranges") << QStringList{u"--ranges"_s, u"4, 1–2"_s}
                                << QStringList{"Doc page 4.pdf", "Doc pages 1-2.pdf"};
    }
    void splits()
    {
        QFETCH(QStringList, options);
        QFETCH(QStringList, parts);
        QTemporaryDir dir;
        const QString source = writeFile(dir.filePath(u"Doc.pdf"_s), textPDF(4));
        const auto result = runCli(QStringList{u"split"_s, u"-q"_s} << options << source);
        QCOMPARE(result.exitCode, 0);
        const QString folder = dir.filePath(u"Doc split"_s);
        QCOMPARE(result.out, folder + u'\n');
        QCOMPARE(result.err, QString());
        QCOMPARE(QDir(folder).entryList(QDir::Files | QDir::Hidden, QDir::Name), parts);
    }
};

QTEST_GUILESS_MAIN(TestSplitCli)
#include "tst_splitcli.moc"
