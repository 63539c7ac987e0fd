#include "support/Fixtures.h"

#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;

class TestSelfTest : public QObject {
    Q_OBJECT
private Q_SLOTS:
    // Among other arguments it still counts: every check passes.
    void passes()
    {
        const auto result =
            runProgram(qEnvironmentVariable("QUIREBOOK_APP"),
                       {QStringLiteral("x.pdf"), QStringLiteral("--selftest")},
                       {{QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen")}});
        QVERIFY2(result.exitCode == 0, qPrintable(result.out + result.err));
        const QStringList lines = result.out.trimmed().split(u'\n');
        QVERIFY(lines.size() >= 6);
        QCOMPARE(lines.last(), QStringLiteral("ALL PASSED"));
        QVERIFY(lines.contains(QStringLiteral("PASS text recognition")));
        for (int i = 0; i < lines.size() - 1; ++i)
            QVERIFY2(lines[i].startsWith(QLatin1String("PASS ")), qPrintable(lines[i]));
    }

    // --help and --version answer and end; no window opens.
    void helpAndVersion_data()
    {
        QTest::addColumn<QString>("argument");
        QTest::addColumn<QString>("starts");
        QTest::newRow("help") << "--help"
                              << "Usage: quirebook [FILE...]\n";
        QTest::newRow("version") << "--version"
                                 << "quirebook " QUIREBOOK_VERSION "\n";
    }
    void helpAndVersion()
    {
        QFETCH(QString, argument);
        QFETCH(QString, starts);
        const auto result =
            runProgram(qEnvironmentVariable("QUIREBOOK_APP"), {argument},
                       {{QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen")}});
        QCOMPARE(result.exitCode, 0);
        QVERIFY2(result.out.startsWith(starts), qPrintable(result.out));
    }

    // With a value glued on it doesn't: the window starts instead, which in
    // the snapshot mode writes its pictures and ends by itself.
    void onlyTheExactArgumentCounts()
    {
        QTemporaryDir shots;
        const auto glued =
            runProgram(qEnvironmentVariable("QUIREBOOK_APP"), {QStringLiteral("--selftest=1")},
                       {{QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen")},
                        {QStringLiteral("QUIREBOOK_SNAPSHOTS"), shots.path()}},
                       60000);
        QVERIFY(!glued.out.contains(QLatin1String("ALL PASSED")));
        QCOMPARE(glued.exitCode, 0);
        QVERIFY(QFileInfo::exists(shots.filePath(QStringLiteral("0-empty.png"))));
    }
};

QTEST_GUILESS_MAIN(TestSelfTest)
#include "tst_selftest.moc"
