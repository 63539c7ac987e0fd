#include "Fixtures.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
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

    void passwordsFromEveryPlace_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("environment");
        QTest::addColumn<int>("status");
        QTest::addColumn<bool>("restricted");
        QTest::newRow("none") << QStringList{} << QString() << 1 << false;
        QTest::newRow("option") << QStringList{QStringLiteral("--password"), QStringLiteral("čaj")}
                                << QString() << 0 << true;
        QTest::newRow("environment") << QStringList{} << QStringLiteral("čaj") << 0 << true;
        QTest::newRow("wrong") << QStringList{QStringLiteral("--password"), QStringLiteral("tea")}
                               << QString() << 1 << false;
        QTest::newRow("owner") << QStringList{QStringLiteral("--password"), QStringLiteral("čaj"),
                                              QStringLiteral("--owner-password"),
                                              QStringLiteral("boss")}
                               << QString() << 0 << false;
    }
    void passwordsFromEveryPlace()
    {
        QFETCH(QStringList, options);
        QFETCH(QString, environment);
        QFETCH(int, status);
        QFETCH(bool, restricted);
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
            QCOMPARE(result.err.trimmed(),
                     QStringLiteral("quirebook-cli: “tea.pdf” stayed locked."));
        }
    }

    void passwordFile()
    {
        WriteOptions write;
        write.encrypt = true;
        write.userPassword = QStringLiteral("from a file");
        const QString path =
            writeFile(m_dir.filePath(QStringLiteral("f.pdf")), makePDF(numberedPages(1), write));
        const QString secret = writeFile(m_dir.filePath(QStringLiteral("secret")), "from a file\n");
        QCOMPARE(runCli({QStringLiteral("info"), QStringLiteral("--password-file"), secret, path})
                     .exitCode,
                 0);
        const auto missing = runCli({QStringLiteral("info"), QStringLiteral("--password-file"),
                                     m_dir.filePath(QStringLiteral("nope")), path});
        QCOMPARE(missing.exitCode, 1);
        QVERIFY(isOneLineMessage(missing.err));
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

    void usage_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("inOut");
        QTest::newRow("no verb") << QStringList{} << 2 << QStringLiteral("Usage: quirebook-cli");
        QTest::newRow("help") << QStringList{QStringLiteral("--help")} << 0
                              << QStringLiteral("info");
        QTest::newRow("version") << QStringList{QStringLiteral("--version")} << 0
                                 << QStringLiteral("quirebook-cli 0.");
        QTest::newRow("verb help") << QStringList{QStringLiteral("info"), QStringLiteral("--help")}
                                   << 0 << QStringLiteral("--password-file");
        for (const char *verb : {"merge", "split", "searchable", "compress"})
            QTest::newRow(qPrintable(QStringLiteral("usage names %1").arg(QLatin1String(verb))))
                << QStringList{QLatin1String(verb), QStringLiteral("--help")} << 0
                << QStringLiteral("Usage: quirebook-cli %1 [options] FILE...\n")
                       .arg(QLatin1String(verb));
        QTest::newRow("unknown verb")
            << QStringList{QStringLiteral("frobnicate")} << 2 << QString();
        QTest::newRow("unknown option")
            << QStringList{QStringLiteral("info"), QStringLiteral("--bogus"),
                           QStringLiteral("x.pdf")}
            << 2 << QString();
        QTest::newRow("no file") << QStringList{QStringLiteral("info")} << 2 << QString();
    }
    void usage()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, status);
        QFETCH(QString, inOut);
        const auto result = runCli(arguments);
        QCOMPARE(result.exitCode, status);
        if (!inOut.isEmpty())
            QVERIFY2(result.out.contains(inOut), qPrintable(result.out));
        if (status == 2 && inOut.isEmpty())
            QVERIFY(!result.err.isEmpty());
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
