// quirebook-cli searchable: a scan made here from known text comes back
// with those words readable by pdftotext, pages with text are skipped
// unless asked, the options refuse what they can't use, results land where
// they should without overwriting, and the source stays as it was.
#include "Fixtures.h"
#include "MakeSearchable.h"
#include "PictureFixtures.h"
#include "ScanFixtures.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;

namespace {

const QStringList kLines{QStringLiteral("Invoice 4711 total due"),
                         QStringLiteral("Please pay within thirty days")};

// The words of each line, as a reader would split them.
QStringList wordsOf(const QString &text)
{
    static const QRegularExpression space(QStringLiteral("\\s+"));
    return text.split(space, Qt::SkipEmptyParts);
}

// A page that already has more than enough text of its own.
QByteArray typedPDF(int pages = 1)
{
    DocSpec layout;
    for (int i = 1; i <= pages; ++i) {
        PageSpec page;
        page.text = QStringLiteral("Typed words already on page %1").arg(i);
        page.size = QSizeF(560, 120);
        layout.pages.append(page);
    }
    return makePDF(layout);
}

struct Summary {
    int read = -1;
    int words = -1;
    int skipped = -1;
};

// "Read 1 page, found 9 words; skipped 0" → its numbers; -1s when the
// line isn't there exactly.
Summary summaryOf(const QString &err)
{
    static const QRegularExpression line(
        QStringLiteral("^Read ([0-9,]+) pages?, found ([0-9,]+) words; skipped ([0-9,]+)\\n$"));
    const auto match = line.match(err);
    if (!match.hasMatch())
        return {};
    const auto number = [&](int i) { return match.captured(i).remove(u',').toInt(); };
    return {number(1), number(2), number(3)};
}

} // namespace

class TestSearchableCli : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QTemporaryDir m_config; // no remembered languages from whoever runs the tests
    QByteArray m_scanPDF;
    QByteArray m_scanPNG;
    QString m_pdftotext;

    QString folder(const QString &name)
    {
        QDir(m_dir.path()).mkpath(name);
        return m_dir.filePath(name);
    }
    ProcessResult run(const QStringList &arguments, QMap<QString, QString> env = {})
    {
        env.insert(QStringLiteral("XDG_CONFIG_HOME"), m_config.path());
        return runCli(QStringList{QStringLiteral("searchable")} + arguments, env);
    }
    // The text as a reader extracts it; `raw` keeps text drawn twice in
    // one place (the layout mode keeps one copy).
    QString pdftotext(const QString &path, bool raw = false)
    {
        const QStringList options = raw ? QStringList{QStringLiteral("-raw")} : QStringList{};
        const auto result =
            runProgram(m_pdftotext, options + QStringList{path, QStringLiteral("-")});
        return result.exitCode == 0 ? result.out : QString();
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid() && m_config.isValid());
        m_pdftotext = QStandardPaths::findExecutable(QStringLiteral("pdftotext"));
        if (m_pdftotext.isEmpty())
            QSKIP("pdftotext (poppler-utils) is needed to read the results");
        const Scan page = scan(kLines, QSizeF(432, 200), 200, 18);
        m_scanPDF = scanPDF({{page.image, 200}});
        m_scanPNG = encode(page.image, "PNG");
        // The scan has no text of its own.
        QCOMPARE(popplerPageTexts(m_scanPDF).join(QString()).trimmed(), QString());
    }

    void scanBecomesSearchable_data()
    {
        QTest::addColumn<QString>("fileName");
        QTest::newRow("scanned PDF") << QStringLiteral("Scan.pdf");
        // A photo of a page is worth reading too: it becomes a one-page PDF.
        QTest::newRow("picture") << QStringLiteral("Scan.png");
    }
    void scanBecomesSearchable()
    {
        QFETCH(QString, fileName);
        const QString dir = folder(QStringLiteral("scan-") + QFileInfo(fileName).suffix());
        const QByteArray bytes = fileName.endsWith(QLatin1String(".pdf")) ? m_scanPDF : m_scanPNG;
        const QString source = writeFile(dir + u'/' + fileName, bytes);

        const auto result = run({source});
        QCOMPARE(result.exitCode, 0);
        const QString expected = dir + QStringLiteral("/Scan searchable.pdf");
        QCOMPARE(result.out, expected + u'\n');
        const Summary summary = summaryOf(result.err);
        QVERIFY2(summary.read == 1 && summary.skipped == 0, qPrintable(result.err));

        const QString text = pdftotext(expected);
        for (const QString &word : wordsOf(kLines.join(u' ')))
            QVERIFY2(wordsOf(text).contains(word),
                     qPrintable(word + QStringLiteral(" not in: ") + text));
        // The summary counts what was put in the file.
        QCOMPARE(summary.words, int(wordsOf(text).size()));
        QCOMPARE(popplerPageCount(expected), 1);

        QCOMPARE(readFile(source), bytes);
        QCOMPARE(QDir(dir).entryList(QDir::Files | QDir::Hidden).size(), 2);
    }

    void pagesWithText_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<bool>("read");
        QTest::newRow("skipped by default") << QStringList{} << false;
        QTest::newRow("--all-pages reads them")
            << QStringList{QStringLiteral("--all-pages")} << true;
    }
    void pagesWithText()
    {
        QFETCH(QStringList, options);
        QFETCH(bool, read);
        const QString dir = folder(QStringLiteral("typed-") + QString::number(read));
        const QByteArray bytes = typedPDF();
        const QString source = writeFile(dir + QStringLiteral("/Typed.pdf"), bytes);

        const auto result = run(options + QStringList{source});
        QCOMPARE(result.exitCode, 0);
        const QString expected = dir + QStringLiteral("/Typed searchable.pdf");
        QCOMPARE(result.out, expected + u'\n');
        const Summary summary = summaryOf(result.err);
        QVERIFY2(summary.read == (read ? 1 : 0), qPrintable(result.err));
        QVERIFY2(summary.skipped == (read ? 0 : 1), qPrintable(result.err));
        const QStringList typed = wordsOf(QStringLiteral("Typed words already on page 1"));
        const QStringList words = wordsOf(pdftotext(expected, true));
        if (read) {
            // The page's own text, and the same words read once more.
            QVERIFY2(summary.words >= typed.size() - 1, qPrintable(result.err));
            QCOMPARE(words.mid(0, typed.size()), typed);
            QVERIFY2(words.size() == typed.size() + summary.words, qPrintable(words.join(u' ')));
        } else {
            QCOMPARE(summary.words, 0);
            QCOMPARE(words, typed);
        }
        QCOMPARE(readFile(source), bytes);
    }

    void quietSaysNothing()
    {
        const QString dir = folder(QStringLiteral("quiet"));
        const QString source = writeFile(dir + QStringLiteral("/Typed.pdf"), typedPDF());
        const auto result = run({QStringLiteral("-q"), source});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, dir + QStringLiteral("/Typed searchable.pdf\n"));
        QCOMPARE(result.err, QString());
    }

    void languages_data()
    {
        QTest::addColumn<QString>("option");
        QTest::addColumn<QString>("missing"); // the code refused, empty when accepted
        QTest::newRow("not installed") << QStringLiteral("xx") << QStringLiteral("xx");
        QTest::newRow("one of two not installed")
            << QStringLiteral("eng+klingon") << QStringLiteral("klingon");
        QTest::newRow("English") << QStringLiteral("eng") << QString();
        const QStringList installed = MakeSearchable::installedLanguages();
        if (installed.size() > 1)
            QTest::newRow("English and another")
                << QStringLiteral("eng+") + installed.last() << QString();
    }
    void languages()
    {
        QFETCH(QString, option);
        QFETCH(QString, missing);
        const QString dir = folder(QStringLiteral("language-") + option);
        const QString source = writeFile(dir + QStringLiteral("/Typed.pdf"), typedPDF());
        const auto result = run({QStringLiteral("--language"), option, source});
        if (missing.isEmpty()) {
            QCOMPARE(result.exitCode, 0);
            QCOMPARE(result.out, dir + QStringLiteral("/Typed searchable.pdf\n"));
            return;
        }
        QCOMPARE(result.exitCode, 2);
        const auto message = MakeSearchable::missingLanguage({missing});
        QVERIFY(message);
        QCOMPARE(result.err, QStringLiteral("quirebook-cli: ") + *message + u'\n');
        QVERIFY(message->contains(u'“' + missing + u'”'));
        QCOMPARE(result.out, QString());
        QCOMPARE(QDir(dir).entryList(QDir::Files | QDir::Hidden),
                 QStringList{QStringLiteral("Typed.pdf")});
    }

    void resolution_data()
    {
        QTest::addColumn<QString>("dpi");
        QTest::addColumn<bool>("accepted");
        // The limits themselves are the request's (tst_searchabletask).
        QTest::newRow("too fine") << QStringLiteral("601") << false;
        QTest::newRow("not a number") << QStringLiteral("high") << false;
        QTest::newRow("not whole") << QStringLiteral("150.5") << false;
        QTest::newRow("lowest") << QStringLiteral("72") << true;
    }
    void resolution()
    {
        QFETCH(QString, dpi);
        QFETCH(bool, accepted);
        const QString dir = folder(QStringLiteral("dpi-") + dpi);
        const QString source = writeFile(dir + QStringLiteral("/Typed.pdf"), typedPDF());
        const auto result = run({QStringLiteral("--dpi"), dpi, source});
        if (accepted) {
            QCOMPARE(result.exitCode, 0);
            return;
        }
        QCOMPARE(result.exitCode, 2);
        QCOMPARE(result.err,
                 QStringLiteral("quirebook-cli: “%1” isn't a resolution Quirebook reads at. "
                                "Use a whole number of dots per inch from 72 to 600.\n")
                     .arg(dpi));
        QCOMPARE(QDir(dir).entryList(QDir::Files | QDir::Hidden),
                 QStringList{QStringLiteral("Typed.pdf")});
    }

    void outputNeverOverwrites()
    {
        const QString dir = folder(QStringLiteral("out-source"));
        const QString out = folder(QStringLiteral("out-folder"));
        const QString source = writeFile(dir + QStringLiteral("/Typed.pdf"), typedPDF());
        // A folder: the usual name inside it, then numbered.
        for (const QString &name :
             {QStringLiteral("Typed searchable.pdf"), QStringLiteral("Typed searchable 2.pdf")}) {
            const auto result = run({QStringLiteral("-o"), out, source});
            QCOMPARE(result.exitCode, 0);
            QCOMPARE(result.out, out + u'/' + name + u'\n');
            QVERIFY(QFileInfo::exists(out + u'/' + name));
        }
        // A file name that is taken gets a number.
        const QString taken =
            writeFile(out + QStringLiteral("/Named.pdf"), QByteArrayLiteral("mine"));
        const auto named = run({QStringLiteral("-o"), taken, source});
        QCOMPARE(named.exitCode, 0);
        QCOMPARE(named.out, out + QStringLiteral("/Named 2.pdf\n"));
        QCOMPARE(readFile(taken), QByteArrayLiteral("mine"));
        QCOMPARE(popplerPageCount(out + QStringLiteral("/Named 2.pdf")), 1);
        QVERIFY(temporaryFiles(out).isEmpty());
        // Several sources need a folder.
        const auto several =
            run({QStringLiteral("-o"), out + QStringLiteral("/Both.pdf"), source, source});
        QCOMPARE(several.exitCode, 2);
        QVERIFY(!QFileInfo::exists(out + QStringLiteral("/Both.pdf")));
    }

    void recognitionFailureStillWritesTheCopy()
    {
        // Recognition data that can't be loaded: the copy is written
        // without text, the path is given, and the status says it failed.
        const QString dir = folder(QStringLiteral("broken"));
        const QString data = folder(QStringLiteral("broken-tessdata"));
        writeFile(data + QStringLiteral("/eng.traineddata"), QByteArray(4096, 'x'));
        const QString source = writeFile(dir + QStringLiteral("/Scan.pdf"), m_scanPDF);
        const auto result = run({source}, {{QStringLiteral("TESSDATA_PREFIX"), data}});
        QCOMPARE(result.exitCode, 1);
        const QString expected = dir + QStringLiteral("/Scan searchable.pdf");
        QCOMPARE(result.out, expected + u'\n');
        QVERIFY2(result.err.contains(QStringLiteral("quirebook-cli: Text recognition failed: ")),
                 qPrintable(result.err));
        QCOMPARE(popplerPageCount(expected), 1);
        QCOMPARE(pdftotext(expected).trimmed(), QString());
        QCOMPARE(readFile(source), m_scanPDF);
        QVERIFY(temporaryFiles(dir).isEmpty());
    }
};

QTEST_MAIN(TestSearchableCli)
#include "tst_searchablecli.moc"
