#include "Fixtures.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QHash>
#include <QImageReader>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace Fixtures;

namespace {

QStringList hidden(const QString &folder)
{
    return QDir(folder).entryList({QStringLiteral(".*")},
                                  QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot);
}

QStringList visible(const QString &folder) { return QDir(folder).entryList(QDir::Files, QDir::Name); }

QString readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

QStringList wordsOf(const QString &text)
{
    return text.split(QRegularExpression(QStringLiteral("\\s+")), Qt::SkipEmptyParts);
}

// The share of words the two texts have in common, counted with repeats.
double sharedWords(const QStringList &a, const QStringList &b)
{
    QHash<QString, int> counts;
    for (const QString &w : a)
        ++counts[w];
    qint64 common = 0;
    for (const QString &w : b)
        if (counts.value(w) > 0) {
            --counts[w];
            ++common;
        }
    return double(common) / double(std::max(a.size(), b.size()));
}

// A refusal is one line, in the program's words, ending in a full stop.
bool isOneLineMessage(const QString &err)
{
    const QStringList lines = err.trimmed().split(u'\n');
    return lines.size() == 1 && lines[0].startsWith(QLatin1String("quirebook-cli: "))
        && lines[0].endsWith(u'.');
}

} // namespace

class TestConvertCli : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void pictures()
    {
        QTemporaryDir dir;
        const QString path = writeFile(dir.filePath(QStringLiteral("Report.pdf")), textPDF(12));
        const auto result = runCli({QStringLiteral("pictures"), QStringLiteral("--format"),
                                    QStringLiteral("jpeg"), QStringLiteral("--dpi"), QStringLiteral("72"),
                                    QStringLiteral("--quality"), QStringLiteral("60"),
                                    QStringLiteral("--pages"), QStringLiteral("2-3, 12"), path});
        QCOMPARE(result.exitCode, 0);
        const QString folder = dir.filePath(QStringLiteral("Report pictures"));
        QCOMPARE(result.out, folder + u'\n');
        QVERIFY(result.err.isEmpty()); // no bar when stderr isn't a terminal
        QCOMPARE(visible(folder), (QStringList{QStringLiteral("Report page 02.jpg"), QStringLiteral("Report page 03.jpg"),
                                               QStringLiteral("Report page 12.jpg")}));
        QImageReader reader(QDir(folder).filePath(QStringLiteral("Report page 12.jpg")));
        QCOMPARE(reader.format(), QByteArray("jpeg"));
        const QImage image = reader.read();
        QCOMPARE(image.size(), QSize(612, 792));
        QVERIFY(qAbs(image.dotsPerMeterX() * 0.0254 - 72) < 0.5);

        // Defaults: every page, PNG at 150 dpi, into a new numbered folder.
        const auto again = runCli({QStringLiteral("pictures"), path});
        QCOMPARE(again.exitCode, 0);
        const QString second = dir.filePath(QStringLiteral("Report pictures 2"));
        QCOMPARE(again.out, second + u'\n');
        QCOMPARE(visible(second).size(), 12);
        QCOMPARE(QImage(QDir(second).filePath(QStringLiteral("Report page 01.png"))).size(), QSize(1275, 1650));
        QVERIFY(hidden(second).isEmpty());
    }

    void wrongUsage_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("message");
        QTest::newRow("format") << QStringList{"pictures", "--format", "gif"}
                                << "quirebook-cli: “gif” isn't a picture format. Use png or jpeg.";
        QTest::newRow("dpi") << QStringList{"pictures", "--dpi", "0"}
                             << "quirebook-cli: The resolution must be a number from 1 to 2400.";
        QTest::newRow("quality") << QStringList{"pictures", "--quality", "101"}
                                 << "quirebook-cli: The quality must be a whole number from 0 to 100.";
        QTest::newRow("pages") << QStringList{"pictures", "--pages", "9"}
                               << "quirebook-cli: Page 9 doesn't exist; this PDF has 3 pages.";
        QTest::newRow("no file") << QStringList{"text"}
                                 << "quirebook-cli: Name one file. Try “quirebook-cli text --help”.";
        QTest::newRow("unknown option") << QStringList{"text", "--colour"} << "quirebook-cli: Unknown option 'colour'.";
    }
    void wrongUsage()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, message);
        QTemporaryDir dir;
        const QString path = writeFile(dir.filePath(QStringLiteral("a.pdf")), textPDF(3));
        if (!arguments.contains(QStringLiteral("--colour")) && arguments.size() > 1)
            arguments << path;
        const auto result = runCli(arguments);
        QCOMPARE(result.exitCode, 2);
        QCOMPARE(result.err.split(u'\n').first(), message);
        QVERIFY(result.out.isEmpty());
        QCOMPARE(QDir(dir.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
                 QStringList{QStringLiteral("a.pdf")});
    }

    void helpForBothVerbs()
    {
        for (const QString &verb : {QStringLiteral("pictures"), QStringLiteral("text")}) {
            const auto result = runCli({verb, QStringLiteral("--help")});
            QCOMPARE(result.exitCode, 0);
            QVERIFY(result.out.contains(QLatin1String("--password")));
            QVERIFY(result.out.contains(verb == QLatin1String("text") ? QLatin1String("--output")
                                                                      : QLatin1String("--dpi")));
        }
    }

    void text()
    {
        QTemporaryDir dir;
        WriteOptions locked;
        locked.encrypt = true;
        locked.userPassword = QStringLiteral("čaj");
        locked.ownerPassword = QStringLiteral("boss");
        const QString path =
            writeFile(dir.filePath(QStringLiteral("Notes.pdf")), makePDF(numberedPages(2, QStringLiteral("Line")), locked));
        const QString password = QStringLiteral("--password=čaj");

        const auto first = runCli({QStringLiteral("text"), password, path});
        QCOMPARE(first.exitCode, 0);
        QCOMPARE(first.out, dir.filePath(QStringLiteral("Notes.txt")) + u'\n');
        QCOMPARE(readAll(dir.filePath(QStringLiteral("Notes.txt"))), QStringLiteral("Line 1\n\fLine 2"));

        const auto second = runCli({QStringLiteral("text"), password, path});
        QCOMPARE(second.out, dir.filePath(QStringLiteral("Notes 2.txt")) + u'\n');

        const QString sub = dir.filePath(QStringLiteral("elsewhere"));
        QVERIFY(QDir().mkdir(sub));
        const auto intoFolder = runCli({QStringLiteral("text"), password, QStringLiteral("-o"), sub, path});
        QCOMPARE(intoFolder.out, sub + QStringLiteral("/Notes.txt\n"));
        writeFile(sub + QStringLiteral("/keep.txt"), "keep me");
        const auto named = runCli({QStringLiteral("text"), password, QStringLiteral("--output"),
                                   sub + QStringLiteral("/keep.txt"), path});
        QCOMPARE(named.exitCode, 0);
        QCOMPARE(named.out, sub + QStringLiteral("/keep 2.txt\n"));
        QCOMPARE(readAll(sub + QStringLiteral("/keep.txt")), QStringLiteral("keep me"));

        const auto noPassword = runCli({QStringLiteral("text"), path});
        QCOMPARE(noPassword.exitCode, 1);
        QVERIFY(isOneLineMessage(noPassword.err));

        const auto nowhere = runCli({QStringLiteral("text"), password, QStringLiteral("-o"),
                                     dir.filePath(QStringLiteral("missing/x.txt")), path});
        QCOMPARE(nowhere.exitCode, 1);
        QCOMPARE(nowhere.err.trimmed(), QStringLiteral("quirebook-cli: Couldn't save “x.txt”."));
    }

    void scanHasNoText()
    {
        QTemporaryDir dir;
        const QString photo = writeFile(dir.filePath(QStringLiteral("scan.png")), encode(marker(300, 400), "PNG"));
        const auto result = runCli({QStringLiteral("text"), photo});
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.err.trimmed(), QStringLiteral("quirebook-cli: There's no text in this PDF — it's probably "
                                                      "a scan. Use Make Searchable first, then try again."));
        QCOMPARE(QDir(dir.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
                 QStringList{QStringLiteral("scan.png")});
    }

    // A real manual: the same words as pdftotext, and the same pictures as
    // pdftoppm.
    void manualAgainstPeers()
    {
        if (corpusDir().isEmpty())
            QSKIP("QUIREBOOK_CORPUS is not set");
        const QString pdftotext = QStandardPaths::findExecutable(QStringLiteral("pdftotext"));
        const QString pdftoppm = QStandardPaths::findExecutable(QStringLiteral("pdftoppm"));
        if (pdftotext.isEmpty() || pdftoppm.isEmpty())
            QSKIP("needs pdftotext and pdftoppm");
        QTemporaryDir dir;
        const QString manual = dir.filePath(QStringLiteral("manual.pdf"));
        QVERIFY(QFile::copy(corpusDir() + QStringLiteral("/manual-mupdf-285pages.pdf"), manual));

        const auto ours = runCli({QStringLiteral("text"), manual});
        QCOMPARE(ours.exitCode, 0);
        const QString peerText = dir.filePath(QStringLiteral("peer.txt"));
        QCOMPARE(runProgram(pdftotext, {manual, peerText}).exitCode, 0);
        const QStringList a = wordsOf(readAll(ours.out.trimmed()));
        const QStringList b = wordsOf(readAll(peerText));
        QVERIFY(b.size() > 50000);
        const double shared = sharedWords(a, b);
        QVERIFY2(shared > 0.995, qPrintable(QString::number(shared)));

        const auto pictures = runCli({QStringLiteral("pictures"), QStringLiteral("--format"), QStringLiteral("png"),
                                      QStringLiteral("--dpi"), QStringLiteral("150"), QStringLiteral("--pages"),
                                      QStringLiteral("1, 40"), manual});
        QCOMPARE(pictures.exitCode, 0);
        for (const int page : {1, 40}) {
            const QString prefix = dir.filePath(QStringLiteral("peer-%1").arg(page));
            QCOMPARE(runProgram(pdftoppm, {QStringLiteral("-r"), QStringLiteral("150"), QStringLiteral("-png"),
                                           QStringLiteral("-singlefile"), QStringLiteral("-f"), QString::number(page),
                                           QStringLiteral("-l"), QString::number(page), manual, prefix})
                         .exitCode,
                     0);
            const QImage theirs = QImage(prefix + QStringLiteral(".png")).convertToFormat(QImage::Format_RGB32);
            const QImage mine = QImage(QStringLiteral("%1/manual page %2.png")
                                           .arg(pictures.out.trimmed())
                                           .arg(page, 3, 10, QLatin1Char('0')))
                                    .convertToFormat(QImage::Format_RGB32);
            QCOMPARE(mine.size(), theirs.size());
            qint64 difference = 0;
            for (int y = 0; y < mine.height(); ++y)
                for (int x = 0; x < mine.width(); ++x)
                    difference += qAbs(qGray(mine.pixel(x, y)) - qGray(theirs.pixel(x, y)));
            const double mean = double(difference) / (qint64(mine.width()) * mine.height());
            QVERIFY2(mean < 1.0, qPrintable(QString::number(mean)));
        }
    }

    // Ctrl-C half way: status 130, only whole pictures, no temporary file.
    void interrupted()
    {
        const QString cli = qEnvironmentVariable("QUIREBOOK_CLI");
        if (cli.isEmpty())
            QSKIP("QUIREBOOK_CLI is not set");
        QTemporaryDir dir;
        const QString path = writeFile(dir.filePath(QStringLiteral("Long.pdf")), textPDF(200));
        QProcess process;
        process.start(cli, {QStringLiteral("pictures"), QStringLiteral("--dpi"), QStringLiteral("300"), path});
        QVERIFY(process.waitForStarted());
        const QString folder = dir.filePath(QStringLiteral("Long pictures"));
        QElapsedTimer timer;
        timer.start();
        while (visible(folder).size() < 3 && timer.elapsed() < 60000
               && process.state() == QProcess::Running)
            QTest::qWait(5);
        QVERIFY(process.state() == QProcess::Running);
        ::kill(pid_t(process.processId()), SIGINT);
        QVERIFY(process.waitForFinished(30000));
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 130);
        QVERIFY(process.readAllStandardOutput().isEmpty());
        const QStringList names = visible(folder);
        QVERIFY(names.size() >= 3 && names.size() < 200);
        QVERIFY2(hidden(folder).isEmpty(), qPrintable(hidden(folder).join(u',')));
        for (const QString &name : names) {
            QImageReader reader(QDir(folder).filePath(name));
            QVERIFY2(!reader.read().isNull(), qPrintable(name));
        }
    }

    // Every corpus file either converts or fails with a clear message; no
    // crash, no temporary file.
    void corpusSweep()
    {
        if (corpusDir().isEmpty())
            QSKIP("QUIREBOOK_CORPUS is not set");
        const auto passwords = corpusPasswords();
        const QStringList names = QDir(corpusDir()).entryList({QStringLiteral("*.pdf")}, QDir::Files, QDir::Name);
        QVERIFY(names.size() > 20);
        int converted = 0;
        for (const QString &name : names) {
            QTemporaryDir dir;
            const QString copy = dir.filePath(name);
            QVERIFY(QFile::copy(corpusDir() + u'/' + name, copy));
            QStringList options;
            if (passwords.contains(name) && !passwords[name].value(QStringLiteral("user")).isEmpty())
                options << QStringLiteral("--password") << passwords[name].value(QStringLiteral("user"));
            const auto text = runCli(QStringList{QStringLiteral("text")} + options + QStringList{copy});
            const auto pictures = runCli(QStringList{QStringLiteral("pictures"), QStringLiteral("--dpi"),
                                                     QStringLiteral("20")}
                                         + options + QStringList{copy});
            for (const auto &result : {text, pictures}) {
                QVERIFY2(!result.crashed && !result.timedOut, qPrintable(name));
                QVERIFY2(result.exitCode == 0 || result.exitCode == 1, qPrintable(name));
                if (result.exitCode == 1)
                    QVERIFY2(isOneLineMessage(result.err), qPrintable(name + u' ' + result.err));
            }
            if (pictures.exitCode == 0)
                ++converted;
            QVERIFY2(hidden(dir.path()).isEmpty(), qPrintable(name));
            const QString folder = pictures.out.trimmed();
            if (!folder.isEmpty())
                QVERIFY2(hidden(folder).isEmpty(), qPrintable(name));
        }
        QVERIFY2(converted > 30, qPrintable(QString::number(converted)));
    }
};

QTEST_GUILESS_MAIN(TestConvertCli)
#include "tst_convertcli.moc"
