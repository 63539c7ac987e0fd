#include "support/Fixtures.h"
#include "support/PictureFixtures.h"

#include <QDir>
#include <QFile>
#include <QHash>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

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

// A refusal is one line, in the program's words, ending in a full stop.
bool isOneLineMessage(const QString &err)
{
    const QStringList lines = err.trimmed().split(u'\n');
    return lines.size() == 1 && lines[0].startsWith(QLatin1String("quirebook-cli: ")) &&
           lines[0].endsWith(u'.');
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
        const QString path = writeFile(dir.filePath(QStringLiteral("Report.pdf")), textPDF(12));
        const auto result = runCli(
            {QStringLiteral("pictures"), QStringLiteral("--format"), QStringLiteral("jpeg"),
             QStringLiteral("--dpi"), QStringLiteral("72"), QStringLiteral("--quality"),
             QStringLiteral("60"), QStringLiteral("--pages"), QStringLiteral("2-3, 12"), path});
        QCOMPARE(result.exitCode, 0);
        const QString folder = dir.filePath(QStringLiteral("Report pictures"));
        QCOMPARE(result.out, folder + u'\n');
        QVERIFY(result.err.isEmpty()); // no bar when stderr isn't a terminal
        QCOMPARE(visible(folder),
                 (QStringList{"Report page 02.jpg", "Report page 03.jpg", "Report page 12.jpg"}));
        QCOMPARE(QImage(QDir(folder).filePath(QStringLiteral("Report page 12.jpg"))).size(),
                 QSize(612, 792));

        // Defaults: every page, PNG at 150 dpi.
        const auto again = runCli({QStringLiteral("pictures"), path});
        QCOMPARE(again.exitCode, 0);
        const QString second = dir.filePath(QStringLiteral("Report pictures 2"));
        QCOMPARE(again.out, second + u'\n');
        QCOMPARE(visible(second).size(), 12);
        QCOMPARE(QImage(QDir(second).filePath(QStringLiteral("Report page 01.png"))).size(),
                 QSize(1275, 1650));
    }

    // Beside the source; -o names the file, one that exists is never
    // overwritten; a place that can't be written is status 1.
    void text()
    {
        QTemporaryDir dir;
        WriteOptions locked;
        locked.encrypt = true;
        locked.userPassword = locked.ownerPassword = QStringLiteral("čaj");
        const QString path = writeFile(dir.filePath(QStringLiteral("Notes.pdf")),
                                       makePDF(numberedPages(2, QStringLiteral("Line")), locked));
        const QString password = QStringLiteral("--password=čaj");
        const auto first = runCli({QStringLiteral("text"), password, path});
        QCOMPARE(first.exitCode, 0);
        QCOMPARE(first.out, dir.filePath(QStringLiteral("Notes.txt")) + u'\n');

        const QString keep = writeFile(dir.filePath(QStringLiteral("keep.txt")), "keep me");
        const auto named =
            runCli({QStringLiteral("text"), password, QStringLiteral("--output"), keep, path});
        QCOMPARE(named.exitCode, 0);
        QCOMPARE(named.out, dir.filePath(QStringLiteral("keep 2.txt\n")));
        QCOMPARE(textOf(keep), QStringLiteral("keep me"));

        const auto nowhere = runCli({QStringLiteral("text"), password, QStringLiteral("-o"),
                                     dir.filePath(QStringLiteral("missing/x.txt")), path});
        QCOMPARE(nowhere.exitCode, 1);
        QCOMPARE(nowhere.out, QString());
        QCOMPARE(nowhere.err, QStringLiteral("quirebook-cli: Couldn't save “x.txt”.\n"));
    }

    // A real manual: nearly every word pdftotext reads, counted with repeats.
    void manualReadsLikePdftotext()
    {
        const QString pdftotext = QStandardPaths::findExecutable(QStringLiteral("pdftotext"));
        if (corpusDir().isEmpty() || pdftotext.isEmpty())
            QSKIP("needs QUIREBOOK_CORPUS and pdftotext");
        QTemporaryDir dir;
        const QString manual = dir.filePath(QStringLiteral("manual.pdf"));
        QVERIFY(QFile::copy(corpusDir() + QStringLiteral("/manual-mupdf-285pages.pdf"), manual));
        const auto ours = runCli({QStringLiteral("text"), manual});
        QCOMPARE(ours.exitCode, 0);
        const QString peerText = dir.filePath(QStringLiteral("peer.txt"));
        QCOMPARE(runProgram(pdftotext, {manual, peerText}).exitCode, 0);
        static const QRegularExpression space(QStringLiteral("\\s+"));
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

    // Every corpus file either converts or fails with a clear message; no
    // crash, no temporary file.
    void corpusSweep()
    {
        if (corpusDir().isEmpty())
            QSKIP("QUIREBOOK_CORPUS is not set");
        const auto passwords = corpusPasswords();
        const QStringList names =
            QDir(corpusDir()).entryList({QStringLiteral("*.pdf")}, QDir::Files, QDir::Name);
        QVERIFY(names.size() > 20);
        int converted = 0;
        for (const QString &name : names) {
            QTemporaryDir dir;
            const QString copy = dir.filePath(name);
            QVERIFY(QFile::copy(corpusDir() + u'/' + name, copy));
            QStringList options;
            if (!passwords.value(name).value(QStringLiteral("user")).isEmpty())
                options << QStringLiteral("--password")
                        << passwords[name].value(QStringLiteral("user"));
            const auto text =
                runCli(QStringList{QStringLiteral("text")} + options + QStringList{copy});
            const auto pictures =
                runCli(QStringList{QStringLiteral("pictures"), QStringLiteral("--dpi"),
                                   QStringLiteral("20")} +
                       options + QStringList{copy});
            for (const auto &result : {text, pictures}) {
                QVERIFY2(!result.crashed && !result.timedOut, qPrintable(name));
                QVERIFY2(result.exitCode == 0 || result.exitCode == 1, qPrintable(name));
                if (result.exitCode == 1)
                    QVERIFY2(isOneLineMessage(result.err), qPrintable(name + u' ' + result.err));
            }
            if (pictures.exitCode == 0)
                ++converted;
            QVERIFY2(temporaryFiles(dir.path()).isEmpty(), qPrintable(name));
            if (!pictures.out.trimmed().isEmpty())
                QVERIFY2(temporaryFiles(pictures.out.trimmed()).isEmpty(), qPrintable(name));
        }
        QVERIFY2(converted > 30, qPrintable(QString::number(converted)));
    }
};

QTEST_GUILESS_MAIN(TestConvertCli)
#include "tst_convertcli.moc"
