// quirebook-cli searchable: its options reach the request and its summary
// reaches stderr. What recognition finds is tst_searchable's and
// tst_searchabletask's; -o is checked once in tst_compress (cli); usage
// errors are in tst_info's table; Ctrl-C, kills and a full disk are
// tst_safewrites'.
#include "support/Fixtures.h"
#include "support/ScanFixtures.h"
#include "tasks/MakeSearchable.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

using namespace Fixtures;

namespace {

// "Read 1 page, found 9 words; skipped 0" → pages read and skipped; empty
// when the line isn't there exactly.
QString readAndSkipped(const QString &err)
{
    static const QRegularExpression line(
        u"^Read ([0-9,]+) pages?, found [0-9,]+ words; skipped ([0-9,]+)\\n$"_s);
    const auto match = line.match(err);
    return match.hasMatch() ? match.captured(1) + u'/' + match.captured(2) : QString();
}

} // namespace

class TestSearchableCli : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QTemporaryDir m_config; // no remembered languages from whoever runs the tests
    QByteArray m_scanPDF;
    QByteArray m_scanPNG;

    QString folder(const QString &name)
    {
        QDir(m_dir.path()).mkpath(name);
        return m_dir.filePath(name);
    }
    ProcessResult run(const QStringList &arguments, QMap<QString, QString> env = {})
    {
        env.insert(u"XDG_CONFIG_HOME"_s, m_config.path());
        return runCli(QStringList{u"searchable"_s} + arguments, env);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid() && m_config.isValid());
        const QImage page = scan({u"Invoice 4711 total due"_s}).image;
        m_scanPDF = scanPDF({{page, 200}});
        m_scanPNG = encode(page, "PNG");
    }

    // Pages read and skipped ("-" for a quiet run) for a scan, a picture
    // and a page with text of its own, by option.
    void summary_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("readSkipped");
        QTest::newRow("scanned PDF") << "Scan.pdf" << QStringList{} << "1/0";
        // A photo of a page is worth reading too: it becomes a one-page PDF.
        QTest::newRow("picture") << "Scan.png" << QStringList{} << "1/0";
        QTest::newRow("text skipped by default") << "Typed.pdf" << QStringList{} << "0/1";
        QTest::newRow("--all-pages reads it") << "Typed.pdf" << QStringList{"--all-pages"} << "1/0";
        QTest::newRow("quiet") << "Typed.pdf" << QStringList{"-q"} << "-";
        QTest::newRow("lowest resolution") << "Typed.pdf" << QStringList{"--dpi", "72"} << "0/1";
        QTest::newRow("English") << "Typed.pdf" << QStringList{"--language", "eng"} << "0/1";
        const QStringList installed = MakeSearchable::installedLanguages();
        if (installed.size() > 1)
            QTest::newRow("English and another")
                << "Typed.pdf" << QStringList{"--language", "eng+" + installed.last()} << "0/1";
    }
    void summary()
    {
        QFETCH(QString, source);
        QFETCH(QStringList, options);
        QFETCH(QString, readSkipped);
        const QString dir = folder(QString::fromLatin1(QTest::currentDataTag()));
        const QByteArray bytes = source == QLatin1String("Scan.pdf")   ? m_scanPDF
                                 : source == QLatin1String("Scan.png") ? m_scanPNG
                                                                       : typedPDF(1);
        const auto result = run(options + QStringList{writeFile(dir + u'/' + source, bytes)});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out,
                 dir + u'/' + QFileInfo(source).completeBaseName() + u" searchable.pdf\n"_s);
        if (readSkipped == QLatin1String("-"))
            QCOMPARE(result.err, QString());
        else
            QCOMPARE(readAndSkipped(result.err), readSkipped);
    }

    void recognitionFailureStillWritesTheCopy()
    {
        // Recognition data that can't be loaded: the copy is written
        // without text, the path is given, and the status says it failed.
        const QString dir = folder(u"broken"_s);
        const QString data = folder(u"broken-tessdata"_s);
        writeFile(data + u"/eng.traineddata"_s, QByteArray(4096, 'x'));
        const QString source = writeFile(dir + u"/Scan.pdf"_s, m_scanPDF);
        const auto result = run({source}, {{u"TESSDATA_PREFIX"_s, data}});
        QCOMPARE(result.exitCode, 1);
        const QString expected = dir + u"/Scan searchable.pdf"_s;
        QCOMPARE(result.out, expected + u'\n');
        QVERIFY2(result.err.contains(u"quirebook-cli: Text recognition failed: "_s),
                 qPrintable(result.err));
        QCOMPARE(popplerPageCount(expected), 1);
    }
};

QTEST_MAIN(TestSearchableCli)
#include "tst_searchablecli.moc"
