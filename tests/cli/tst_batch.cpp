// The batch recipe of the README: one quirebook-cli per file, side by side
// under xargs -P or GNU parallel, each result's path on its own line.
#include "support/Fixtures.h"
#include "support/PictureFixtures.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;

class TestBatch : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

private Q_SLOTS:
    void recipe_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<bool>("broken");
        QTest::addColumn<int>("status");
        const QString xargs = QStringLiteral(
            "find . -name '*.pdf' -print0 | xargs -0 -P 2 -n 1 \"$CLI\" compress --quiet");
        const QString parallel =
            QStringLiteral("parallel --will-cite -j 2 \"$CLI\" compress --quiet ::: *.pdf");
        // xargs ends with 123 when any run failed; parallel with the number
        // of runs that failed.
        QTest::newRow("xargs") << xargs << false << 0;
        QTest::newRow("xargs, one broken") << xargs << true << 123;
        QTest::newRow("parallel") << parallel << false << 0;
        QTest::newRow("parallel, one broken") << parallel << true << 1;
    }
    void recipe()
    {
        QFETCH(QString, command);
        QFETCH(bool, broken);
        QFETCH(int, status);
        if (command.startsWith(QLatin1String("parallel")) &&
            QStandardPaths::findExecutable(QStringLiteral("parallel")).isEmpty())
            QSKIP("GNU parallel is not installed");

        const QString dir = m_dir.filePath(QString::fromLatin1(QTest::currentDataTag()));
        QVERIFY(QDir().mkpath(dir));
        const QMap<QString, int> sources{{QStringLiteral("Holiday photos.pdf"), 3},
                                         {QStringLiteral("letter.pdf"), 1},
                                         {QStringLiteral("report.pdf"), 12},
                                         {QStringLiteral("scan 2.pdf"), 2}};
        for (auto it = sources.begin(); it != sources.end(); ++it)
            writeFile(dir + u'/' + it.key(), it.key().startsWith(u'H')
                                                 ? photoPDF(it.value(), QSize(1200, 900), 92)
                                                 : textPDF(it.value()));
        if (broken)
            writeFile(dir + QStringLiteral("/broken.pdf"), "%PDF-1.7 cut off here");

        QProcess shell;
        auto env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("CLI"), qEnvironmentVariable("QUIREBOOK_CLI"));
        shell.setProcessEnvironment(env);
        shell.setWorkingDirectory(dir);
        shell.start(QStringLiteral("sh"), {QStringLiteral("-c"), command});
        QVERIFY(shell.waitForFinished(300000));
        const QString out = QString::fromUtf8(shell.readAllStandardOutput());
        const QString err = QString::fromUtf8(shell.readAllStandardError());
        QCOMPARE(shell.exitCode(), status);

        // One line per good source, naming its result; nothing else.
        QStringList results;
        for (const QString &line : out.split(u'\n', Qt::SkipEmptyParts))
            results << QFileInfo(QDir(dir), line).fileName();
        results.sort();
        QStringList expected;
        for (const QString &source : sources.keys())
            expected << source.chopped(4) + QStringLiteral(" compressed.pdf");
        QCOMPARE(results, expected);

        for (auto it = sources.begin(); it != sources.end(); ++it) {
            const QString result =
                dir + u'/' + it.key().chopped(4) + QStringLiteral(" compressed.pdf");
            const auto doc = PDFDocument::open(result);
            QVERIFY2(doc && doc->pageCount() == it.value(), qPrintable(result));
        }
        if (broken) {
            QCOMPARE(err,
                     QStringLiteral("quirebook-cli: “broken.pdf” couldn't be read as a PDF.\n"));
            QVERIFY(!QFileInfo::exists(dir + QStringLiteral("/broken compressed.pdf")));
        } else {
            QCOMPARE(err, QString());
        }
        QCOMPARE(QDir(dir).entryList({QStringLiteral(".quirebook-*")}, QDir::Files | QDir::Hidden),
                 QStringList());
    }
};

QTEST_GUILESS_MAIN(TestBatch)
#include "tst_batch.moc"
