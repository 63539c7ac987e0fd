#include "support/Fixtures.h"
#include "tasks/MakeSearchable.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;

class TestInfo : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

    QJsonObject onlyReport(const ProcessResult &result)
    {
        const QJsonArray reports = QJsonDocument::fromJson(result.out.toUtf8()).array();
        return reports.size() == 1 ? reports[0].toObject() : QJsonObject();
    }

    // A refusal is one line, in the program's words, ending in a full stop.
    static bool isOneLineMessage(const QString &err)
    {
        const QStringList lines = err.trimmed().split(u'\n');
        return lines.size() == 1 && lines[0].startsWith(QLatin1String("quirebook-cli: ")) &&
               lines[0].endsWith(u'.');
    }

private Q_SLOTS:
    void describesAFixture()
    {
        DocSpec layout = numberedPages(3);
        layout.pages[0].size = QSizeF(595, 842);
        layout.pages[0].rotate = 90;
        layout.info.title = QStringLiteral("Lease — 2026");
        layout.info.author = QStringLiteral("Ana");
        layout.outline = {{QStringLiteral("One"), 0, {{QStringLiteral("Two"), 1, {}}}}};
        const QString path =
            writeFile(m_dir.filePath(QStringLiteral("lease.pdf")), makePDF(layout));

        const auto json = runCli({QStringLiteral("info"), QStringLiteral("--json"), path});
        QCOMPARE(json.exitCode, 0);
        const QJsonObject report = onlyReport(json);
        QCOMPARE(report[QStringLiteral("kind")].toString(), QStringLiteral("PDF"));
        QCOMPARE(report[QStringLiteral("pages")].toInt(), 3);
        QCOMPARE(report[QStringLiteral("width")].toDouble(), 842.0);
        QCOMPARE(report[QStringLiteral("height")].toDouble(), 595.0);
        QCOMPARE(report[QStringLiteral("encryption")].toString(), QStringLiteral("none"));
        QCOMPARE(report[QStringLiteral("title")].toString(), QStringLiteral("Lease — 2026"));
        QCOMPARE(report[QStringLiteral("bookmarks")].toInt(), 2);
        QCOMPARE(report[QStringLiteral("restricted")].toBool(), false);

        const auto text = runCli({QStringLiteral("info"), path});
        QCOMPARE(text.exitCode, 0);
        QVERIFY(text.out.contains(QStringLiteral("  Pages: 3\n")));
        QVERIFY(text.out.contains(QStringLiteral("  Page size: 842 × 595 pt\n")));
        QVERIFY(text.out.contains(QStringLiteral("  Title: Lease — 2026\n")));
        QVERIFY(text.err.isEmpty());
    }

    // The source's password from an option, a file or the environment; the
    // owner's lifts the restrictions. Empty `err`: the file stayed locked.
    void passwordsFromEveryPlace_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("environment");
        QTest::addColumn<int>("status");
        QTest::addColumn<bool>("restricted");
        QTest::addColumn<QString>("err");
        const QString secret = writeFile(m_dir.filePath(QStringLiteral("secret")), "čaj\n");
        const QString nope = m_dir.filePath(QStringLiteral("nope"));
        QTest::newRow("none") << QStringList{} << QString() << 1 << false << QString();
        QTest::newRow("option") << QStringList{"--password", "čaj"} << QString() << 0 << true
                                << QString();
        QTest::newRow("environment") << QStringList{} << "čaj" << 0 << true << QString();
        QTest::newRow("file") << QStringList{"--password-file", secret} << QString() << 0 << true
                              << QString();
        QTest::newRow("wrong") << QStringList{"--password", "tea"} << QString() << 1 << false
                               << QString();
        QTest::newRow("missing file")
            << QStringList{"--password-file", nope} << QString() << 1 << false
            << QStringLiteral("Couldn't read the password file “%1”.").arg(nope);
        QTest::newRow("owner") << QStringList{"--password", "čaj", "--owner-password", "boss"}
                               << QString() << 0 << false << QString();
    }
    void passwordsFromEveryPlace()
    {
        QFETCH(QStringList, options);
        QFETCH(QString, environment);
        QFETCH(int, status);
        QFETCH(bool, restricted);
        QFETCH(QString, err);
        WriteOptions write;
        write.encrypt = true;
        write.userPassword = QStringLiteral("čaj");
        write.ownerPassword = QStringLiteral("boss");
        write.allowCopying = false;
        const QString path =
            writeFile(m_dir.filePath(QStringLiteral("tea.pdf")), makePDF(numberedPages(2), write));
        QMap<QString, QString> env;
        if (!environment.isEmpty())
            env.insert(QStringLiteral("QUIREBOOK_PASSWORD"), environment);
        const auto result = runCli(
            QStringList{QStringLiteral("info"), QStringLiteral("--json")} << options << path, env);
        QCOMPARE(result.exitCode, status);
        if (status == 0) {
            const QJsonObject report = onlyReport(result);
            QCOMPARE(report[QStringLiteral("encryption")].toString(), QStringLiteral("AES-256"));
            QCOMPARE(report[QStringLiteral("locked")].toBool(), true);
            QCOMPARE(report[QStringLiteral("restricted")].toBool(), restricted);
            QCOMPARE(report[QStringLiteral("copying")].toBool(), !restricted);
        } else {
            QCOMPARE(result.err,
                     QStringLiteral("quirebook-cli: ") +
                         (err.isEmpty() ? QStringLiteral("“tea.pdf” stayed locked.") : err) +
                         u'\n');
        }
    }

    void goesOnAfterARefusal()
    {
        const QString good = writeFile(m_dir.filePath(QStringLiteral("good.pdf")), textPDF(2));
        const QString bad = writeFile(m_dir.filePath(QStringLiteral("bad.pdf")), "not a pdf");
        const auto result = runCli({QStringLiteral("info"), QStringLiteral("--json"), bad, good,
                                    m_dir.filePath(QStringLiteral("missing.pdf"))});
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(QJsonDocument::fromJson(result.out.toUtf8()).array().size(), 1);
        QCOMPARE(result.err,
                 QStringLiteral("quirebook-cli: “bad.pdf” couldn't be read as a PDF.\n"
                                "quirebook-cli: “missing.pdf” couldn't be read as a PDF.\n"));
    }

    // Every verb's usage: --help and --version on stdout with status 0; a
    // usage error is status 2, its first stderr line, nothing on stdout
    // unless named, and nothing made beside the document.
    void usage_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("status");
        QTest::addColumn<QStringList>("outHas");
        QTest::addColumn<QString>("errLine");
        // Arguments (DOC: a four-page PDF), status, what stdout holds (split
        // at '|'), the first stderr line after "quirebook-cli: " (empty: any).
        const auto row = [](const QString &arguments, int status, const QString &outHas,
                            const QString &errLine = {}) {
            QTest::newRow(arguments.isEmpty() ? "no verb" : qPrintable(arguments))
                << arguments.split(u' ', Qt::SkipEmptyParts) << status
                << outHas.split(u'|', Qt::SkipEmptyParts)
                << (errLine.isEmpty() ? errLine : QStringLiteral("quirebook-cli: ") + errLine);
        };
        row({}, 2, "Usage: quirebook-cli");
        row("--help", 0, "info");
        row("--version", 0, "quirebook-cli 0.");
        row("info --help", 0, "--password-file");
        for (const QString verb : {"merge", "split", "searchable", "compress", "pages"})
            row(verb + " --help", 0, "Usage: quirebook-cli " + verb + " [options] FILE...\n");
        row("protect --help", 0,
            "--new-password-file|QUIREBOOK_NEW_PASSWORD|--owner-password-file|"
            "--new-owner-password-file|--no-printing|--no-copying|protected.pdf");
        row("unlock --help", 0, "--password-file|QUIREBOOK_PASSWORD|unlocked.pdf");
        row("frobnicate", 2, {});
        row("info --bogus x.pdf", 2, {});
        row("info", 2, {});
        row("merge DOC", 2, {});
        row("merge --fast DOC DOC", 2, {});
        row("compress", 2, {}, "Name at least one PDF. Try “quirebook-cli compress --help”.");
        row("compress --level huge DOC", 2, {},
            "“huge” isn't a level. Use small, balanced or high.");
        row("compress -o out.pdf DOC DOC", 2, {}, "With several PDFs, -o must name a folder.");
        row("unlock -o out.pdf DOC DOC", 2, {}, "With several files, -o must name a folder.");
        row("searchable -o out.pdf DOC DOC", 2, {}, "With several files, -o must name a folder.");
        row("split --ranges 1-20 DOC", 2, {}, "Page 20 doesn't exist; this PDF has 4 pages.");
        row("split --ranges x DOC", 2, {},
            "“x” isn't a page or a range. Use numbers like 3 or 2-5.");
        row("split --every 0 DOC", 2, {}, "--every takes a whole number of pages, 1 or more.");
        row("split DOC", 2, {});
        row("split --each --every 2 DOC", 2, {});
        row("pictures --format gif DOC", 2, {}, "“gif” isn't a picture format. Use png or jpeg.");
        row("pictures --dpi 0 DOC", 2, {}, "The resolution must be a number from 1 to 2400.");
        row("pictures --quality 101 DOC", 2, {},
            "The quality must be a whole number from 0 to 100.");
        row("pictures --pages 9 DOC", 2, {}, "Page 9 doesn't exist; this PDF has 4 pages.");
        row("text", 2, {}, "Name one file. Try “quirebook-cli text --help”.");
        row("text --colour", 2, {}, "Unknown option 'colour'.");
        row("protect", 2, {}, "Name a PDF to protect. Try “quirebook-cli protect --help”.");
        row("unlock", 2, {}, "Name a PDF to unlock. Try “quirebook-cli unlock --help”.");
        // The resolution's limits themselves are the request's (tst_searchabletask).
        for (const QString dpi : {"601", "high", "150.5"})
            row("searchable --dpi " + dpi + " DOC", 2, {},
                "“" + dpi +
                    "” isn't a resolution Quirebook reads at. Use a whole number of dots per inch "
                    "from 72 to 600.");
        for (const QString option : {"xx", "eng+klingon"})
            row("searchable --language " + option + " DOC", 2, {},
                *MakeSearchable::missingLanguage({option.split(u'+').last()}));
    }
    void usage()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, status);
        QFETCH(QStringList, outHas);
        QFETCH(QString, errLine);
        QTemporaryDir dir;
        const QString doc = writeFile(dir.filePath(QStringLiteral("Doc.pdf")), textPDF(4));
        arguments.replaceInStrings(QRegularExpression(QStringLiteral("^DOC$")), doc);
        arguments.replaceInStrings(QRegularExpression(QStringLiteral("^out.pdf$")),
                                   dir.filePath(QStringLiteral("out.pdf")));
        const auto result = runCli(arguments);
        QCOMPARE(result.exitCode, status);
        for (const QString &text : outHas)
            QVERIFY2(result.out.contains(text), qPrintable(text));
        if (outHas.isEmpty())
            QCOMPARE(result.out, QString());
        if (!errLine.isEmpty())
            QCOMPARE(result.err.split(u'\n').first(), errLine);
        else if (status == 2 && outHas.isEmpty())
            QVERIFY(!result.err.isEmpty());
        QCOMPARE(QDir(dir.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 QStringList{QStringLiteral("Doc.pdf")});
    }

    void describesPictures()
    {
        const QString path =
            writeFile(m_dir.filePath(QStringLiteral("wide.png")), encode(marker(600, 300), "PNG"));
        const auto result = runCli({QStringLiteral("info"), QStringLiteral("--json"), path});
        QCOMPARE(result.exitCode, 0);
        const QJsonObject report = onlyReport(result);
        QCOMPARE(report[QStringLiteral("kind")].toString(), QStringLiteral("picture"));
        QCOMPARE(report[QStringLiteral("width")].toDouble(), 842.0);
        QCOMPARE(report[QStringLiteral("height")].toDouble(), 421.0);
    }

    // Every file of the corpus either opens, with qpdf's page count where qpdf
    // can walk its pages, or is refused with one line; none crashes or hangs.
    void corpusSweep_data()
    {
        QTest::addColumn<QString>("path");
        const QString dir = corpusDir();
        if (dir.isEmpty())
            QSKIP("QUIREBOOK_CORPUS is not set");
        for (const auto &entry : QDir(dir).entryInfoList(QDir::Files, QDir::Name))
            if (entry.suffix().compare(QLatin1String("pdf"), Qt::CaseInsensitive) == 0)
                QTest::newRow(qPrintable(entry.fileName())) << entry.filePath();
    }
    void corpusSweep()
    {
        QFETCH(QString, path);
        const QByteArray before = [&] {
            QFile f(path);
            return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
        }();
        const auto result =
            runCli({QStringLiteral("info"), QStringLiteral("--json"), path}, {}, 60000);
        QVERIFY2(!result.timedOut, "hung");
        QVERIFY2(!result.crashed, "crashed");
        QVERIFY(result.exitCode == 0 || result.exitCode == 1);
        if (result.exitCode == 1) {
            QVERIFY2(isOneLineMessage(result.err), qPrintable(result.err));
        } else {
            const int pages = onlyReport(result)[QStringLiteral("pages")].toInt();
            QVERIFY(pages >= 1);
            const auto walk =
                runProgram(QStringLiteral("qpdf"), {QStringLiteral("--show-pages"), path});
            if (walk.exitCode == 0 || walk.exitCode == 3) {
                const auto count =
                    runProgram(QStringLiteral("qpdf"), {QStringLiteral("--show-npages"), path});
                QCOMPARE(pages, count.out.trimmed().toInt());
            }
        }
        QFile after(path);
        QVERIFY(after.open(QIODevice::ReadOnly));
        QVERIFY2(after.readAll() == before, "the source was changed");
    }
};

QTEST_GUILESS_MAIN(TestInfo)
#include "tst_info.moc"
