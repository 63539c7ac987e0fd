#include "signing/SignatureStore.h"
#include "support/Fixtures.h"
#include "support/PictureFixtures.h"
#include "tasks/MakeSearchable.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

using namespace Fixtures;

class TestInfo : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QTemporaryDir m_data; // XDG_DATA_HOME, holding one saved signature

    QJsonObject onlyReport(const ProcessResult &result)
    {
        const QJsonArray reports = QJsonDocument::fromJson(result.out.toUtf8()).array();
        return reports.size() == 1 ? reports[0].toObject() : QJsonObject();
    }

private Q_SLOTS:
    void initTestCase()
    {
        QImage ink(300, 100, QImage::Format_ARGB32_Premultiplied);
        ink.fill(Qt::black);
        QVERIFY(SignatureStore(m_data.filePath(u"Quirebook/Signatures"_s)).save(ink));
    }

    void describesAFixture()
    {
        DocSpec layout = numberedPages(3);
        layout.pages[0].size = QSizeF(595, 842);
        layout.pages[0].rotate = 90;
        layout.info.title = u"Lease — 2026"_s;
        layout.info.author = u"Ana"_s;
        layout.outline = {{u"One"_s, 0, {{u"Two"_s, 1, {}}}}};
        const QString path = writeFile(m_dir.filePath(u"lease.pdf"_s), makePDF(layout));
        const QString picture =
            writeFile(m_dir.filePath(u"wide.png"_s), encode(marker(600, 300), "PNG"));

        const auto json = runCli({u"info"_s, u"--json"_s, path, picture});
        QCOMPARE(json.exitCode, 0);
        const QJsonArray reports = QJsonDocument::fromJson(json.out.toUtf8()).array();
        QCOMPARE(reports.size(), 2);
        const QJsonObject report = reports[0].toObject();
        QCOMPARE(report[u"kind"_s].toString(), u"PDF"_s);
        QCOMPARE(report[u"pages"_s].toInt(), 3);
        QCOMPARE(report[u"width"_s].toDouble(), 842.0);
        QCOMPARE(report[u"height"_s].toDouble(), 595.0);
        QCOMPARE(report[u"encryption"_s].toString(), u"none"_s);
        QCOMPARE(report[u"title"_s].toString(), u"Lease — 2026"_s);
        QCOMPARE(report[u"bookmarks"_s].toInt(), 2);
        QCOMPARE(report[u"restricted"_s].toBool(), false);
        QCOMPARE(reports[1][u"kind"_s].toString(), u"picture"_s);
        QCOMPARE(reports[1][u"width"_s].toDouble(), 842.0);
        QCOMPARE(reports[1][u"height"_s].toDouble(), 421.0);

        const auto text = runCli({u"info"_s, path});
        QCOMPARE(text.exitCode, 0);
        QVERIFY(text.out.contains(u"  Pages: 3\n"_s));
        QVERIFY(text.out.contains(u"  Page size: 842 × 595 pt\n"_s));
        QVERIFY(text.out.contains(u"  Title: Lease — 2026\n"_s));
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
        const QString secret = writeFile(m_dir.filePath(u"secret"_s), "čaj\n");
        const QString nope = m_dir.filePath(u"nope"_s);
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
            << u"Couldn't read the password file “%1”."_s.arg(nope);
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
        const QString path = writeFile(m_dir.filePath(u"tea.pdf"_s),
                                       makePDF(numberedPages(2), lock(u"čaj"_s, u"boss"_s, true)));
        QMap<QString, QString> env;
        if (!environment.isEmpty())
            env.insert(u"QUIREBOOK_PASSWORD"_s, environment);
        const auto result = runCli(QStringList{u"info"_s, u"--json"_s} << options << path, env);
        QCOMPARE(result.exitCode, status);
        if (status == 0) {
            const QJsonObject report = onlyReport(result);
            QCOMPARE(report[u"encryption"_s].toString(), u"AES-256"_s);
            QCOMPARE(report[u"locked"_s].toBool(), true);
            QCOMPARE(report[u"restricted"_s].toBool(), restricted);
            QCOMPARE(report[u"copying"_s].toBool(), !restricted);
        } else {
            QCOMPARE(result.err, u"quirebook-cli: "_s +
                                     (err.isEmpty() ? u"“tea.pdf” stayed locked."_s : err) + u'\n');
        }
    }

    void goesOnAfterARefusal()
    {
        const QString good = writeFile(m_dir.filePath(u"good.pdf"_s), textPDF(2));
        const QString bad = writeFile(m_dir.filePath(u"bad.pdf"_s), "not a pdf");
        const auto result =
            runCli({u"info"_s, u"--json"_s, bad, good, m_dir.filePath(u"missing.pdf"_s)});
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(QJsonDocument::fromJson(result.out.toUtf8()).array().size(), 1);
        QCOMPARE(result.err, u"quirebook-cli: “bad.pdf” couldn't be read as a PDF.\n"
                             "quirebook-cli: “missing.pdf” couldn't be read as a PDF.\n"_s);
    }

    // Every verb's usage: --help and --version on stdout with status 0; a
    // usage error is status 2, a source refused status 1, with its first
    // stderr line, nothing on stdout unless named, and nothing made beside
    // the sources; all before anything is written.
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
                << (errLine.isEmpty() ? errLine : u"quirebook-cli: "_s + errLine);
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
        // pages: numbers across FILE and the --append PDFs (MORE: two pages).
        row("pages DOC", 2, {},
            "Say what to change with --order, --delete, --rotate or --append. Try "
            "“quirebook-cli pages --help”.");
        row("pages --delete 1 DOC MORE", 2, {}, "Name one PDF. Try “quirebook-cli pages --help”.");
        row("pages --append MORE --order 7 DOC", 2, {},
            "Page 7 doesn't exist; this PDF has 6 pages.");
        row("pages --delete x DOC", 2, {},
            "“x” isn't a page or a range. Use numbers like 3 or 2-5.");
        row("pages --rotate 90:5 DOC", 2, {}, "Page 5 doesn't exist; this PDF has 4 pages.");
        row("pages --rotate 45:1 DOC", 2, {},
            "Pages turn in quarter turns: 45 isn't a multiple of 90.");
        for (const QString turn : {"90", "right:1"})
            row("pages --rotate " + turn + " DOC", 2, {},
                "“" + turn + "” isn't a turn. Use DEGREES:PAGES, like 90:1-3 or -90:5.");
        row("pages --order 3-4,1-3 DOC", 2, {},
            "Page 3 is named twice in --order; each page can be there once.");
        for (const QString change : {"--delete 4,1-3", "--order 2-3 --delete 2-4"})
            row("pages " + change + " DOC", 2, {}, "That would leave no pages. Keep at least one.");
        for (const QString arguments : {"--delete 1 PNG", "--append PNG DOC"})
            row("pages " + arguments, 1, {}, "“Photo.png” is a picture; pages works on PDFs.");
        // sign: stamps in order with the options that follow them (PNG: a
        // photo of a signature, GREY: one without ink; one saved signature).
        row("sign DOC", 2, {},
            "Say what to place with --signature, --picture, --signature-photo, --text or --date. "
            "Try “quirebook-cli sign --help”.");
        row("sign DOC --page 2 --date", 2, {},
            "--page goes after the stamp it applies to, like --text Approved --page 2.");
        row("sign DOC --date --page 1,5", 2, {}, "Page 5 doesn't exist; this PDF has 4 pages.");
        row("sign DOC --date --width 0", 2, {},
            "“0” isn't a width. Give it in points, a number above 0, like 150.");
        row("sign DOC --date --at 100", 2, {},
            "“100” isn't a place on the page. Use X,Y in points from the lower left of the page, "
            "like 360,60, or bottom-left, bottom-right, top-left, top-right or center.");
        row("sign DOC --signature-photo PNG --ink red", 2, {},
            "“red” isn't an ink. Use black or blue.");
        row("sign DOC --signature 2", 2, {},
            "There's no saved signature “2”; the only one is number 1.");
        row("sign DOC --picture DOC", 1, {}, "“Doc.pdf” couldn't be read as a picture.");
        row("sign DOC --signature-photo GREY", 1, {}, "Couldn't find any ink in that picture.");
        row("sign PNG --date", 1, {}, "“Photo.png” is a picture; sign works on PDFs.");
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
        QImage grey(400, 300, QImage::Format_RGB32);
        grey.fill(QColor(188, 186, 180));
        const QMap<QString, QString> files{
            {u"DOC"_s, writeFile(dir.filePath(u"Doc.pdf"_s), textPDF(4))},
            {u"MORE"_s, writeFile(dir.filePath(u"More.pdf"_s), textPDF(2))},
            {u"PNG"_s, writeFile(dir.filePath(u"Photo.png"_s), encode(signaturePhoto(), "PNG"))},
            {u"GREY"_s, writeFile(dir.filePath(u"Grey.png"_s), encode(grey, "PNG"))},
            {u"out.pdf"_s, dir.filePath(u"out.pdf"_s)}};
        for (QString &argument : arguments)
            argument = files.value(argument, argument);
        const auto result = runCli(arguments, {{u"XDG_DATA_HOME"_s, m_data.path()}});
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
                 (QStringList{u"Doc.pdf"_s, u"Grey.png"_s, u"More.pdf"_s, u"Photo.png"_s}));
    }
};

QTEST_GUILESS_MAIN(TestInfo)
#include "tst_info.moc"
