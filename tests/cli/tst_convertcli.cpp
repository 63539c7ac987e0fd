#include "support/Fixtures.h"

#include <QDir>
#include <QFile>
#include <QHash>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

using namespace Fixtures;

namespace {

QStringList visible(const QString &folder)
{
    return QDir(folder).entryList(QDir::Files, QDir::Name);
}

QString textOf(const QString &path)
{
    return QString::fromUtf8(readFile(path));
}

} // namespace

// pictures and text: their options reach the request, results land where
// they should. What the work writes is tst_convert's; Ctrl-C, kills and a
// full disk are tst_safewrites'; usage errors are in tst_info's table.
class TestConvertCli : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void pictures()
    {
        QTemporaryDir dir;
        const QString path = writeFile(dir.filePath(u"Report.pdf"_s), textPDF(12));
        const auto result = runCli({u"pictures"_s, u"--format"_s, u"jpeg"_s, u"--dpi"_s, u"72"_s,
                                    u"--quality"_s, u"60"_s, u"--pages"_s, u"2-3, 12"_s, path});
        QCOMPARE(result.exitCode, 0);
        const QString folder = dir.filePath(u"Report pictures"_s);
        QCOMPARE(result.out, folder + u'\n');
        QVERIFY(result.err.isEmpty()); // no bar when stderr isn't a terminal
        QCOMPARE(visible(folder),
                 (QStringList{"Report page 02.jpg", "Report page 03.jpg", "Report page 12.jpg"}));
        QCOMPARE(QImage(QDir(folder).filePath(u"Report page 12.jpg"_s)).size(), QSize(612, 792));

        // Defaults: every page, PNG at 150 dpi.
        const auto again = runCli({u"pictures"_s, path});
        QCOMPARE(again.exitCode, 0);
        const QString second = dir.filePath(u"Report pictures 2"_s);
        QCOMPARE(again.out, second + u'\n');
        QCOMPARE(visible(second).size(), 12);
        QCOMPARE(QImage(QDir(second).filePath(u"Report page 01.png"_s)).size(), QSize(1275, 1650));
    }

    // Beside the source; -o names the file, one that exists is never
    // overwritten; a place that can't be written is status 1.
    void text()
    {
        QTemporaryDir dir;
        const QString path =
            writeFile(dir.filePath(u"Notes.pdf"_s),
                      makePDF(numberedPages(2, u"Line"_s), lock(u"čaj"_s, u"čaj"_s)));
        const QString password = u"--password=čaj"_s;
        const auto first = runCli({u"text"_s, password, path});
        QCOMPARE(first.exitCode, 0);
        QCOMPARE(first.out, dir.filePath(u"Notes.txt"_s) + u'\n');

        const QString keep = writeFile(dir.filePath(u"keep.txt"_s), "keep me");
        const auto named = runCli({u"text"_s, password, u"--output"_s, keep, path});
        QCOMPARE(named.exitCode, 0);
        QCOMPARE(named.out, dir.filePath(u"keep 2.txt\n"_s));
        QCOMPARE(textOf(keep), u"keep me"_s);

        const auto nowhere =
            runCli({u"text"_s, password, u"-o"_s, dir.filePath(u"missing/x.txt"_s), path});
        QCOMPARE(nowhere.exitCode, 1);
        QCOMPARE(nowhere.out, QString());
        QCOMPARE(nowhere.err, u"quirebook-cli: Couldn't save “x.txt”.\n"_s);
    }

    // A real manual: nearly every word pdftotext reads, counted with repeats.
    void manualReadsLikePdftotext()
    {
        const QString pdftotext = QStandardPaths::findExecutable(u"pdftotext"_s);
        if (corpusDir().isEmpty() || pdftotext.isEmpty())
            QSKIP("needs QUIREBOOK_CORPUS and pdftotext");
        QTemporaryDir dir;
        const QString manual = dir.filePath(u"manual.pdf"_s);
        QVERIFY(QFile::copy(corpusDir() + u"/manual-mupdf-285pages.pdf"_s, manual));
        const auto ours = runCli({u"text"_s, manual});
        QCOMPARE(ours.exitCode, 0);
        const QString peerText = dir.filePath(u"peer.txt"_s);
        QCOMPARE(runProgram(pdftotext, {manual, peerText}).exitCode, 0);
        static const QRegularExpression space(u"\\s+"_s);
        const QStringList mine = textOf(ours.out.trimmed()).split(space, Qt::SkipEmptyParts);
        const QStringList theirs = textOf(peerText).split(space, Qt::SkipEmptyParts);
        QVERIFY(theirs.size() > 50000);
        QHash<QString, int> counts;
        for (const QString &word : mine)
            ++counts[word];
        qint64 common = 0;
        for (const QString &word : theirs)
            if (counts.value(word) > 0) {
                --counts[word];
                ++common;
            }
        const double shared = double(common) / double(std::max(mine.size(), theirs.size()));
        QVERIFY2(shared > 0.995, qPrintable(QString::number(shared)));
    }
};

QTEST_GUILESS_MAIN(TestConvertCli)
#include "tst_convertcli.moc"
