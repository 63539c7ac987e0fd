#include "engine/PDFError.h"
#include "support/Attempt.h"
#include "support/Fixtures.h"
#include "support/PictureFixtures.h"
#include "support/ScanFixtures.h"
#include "support/TaskFixtures.h"
#include "tasks/MakeSearchable.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

using namespace Fixtures;
using namespace Attempt;

Q_DECLARE_METATYPE(Searchable::Stats)

class TestSearchableTask : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

    QString folder(const QString &name)
    {
        QDir(m_dir.path()).mkpath(name);
        return m_dir.filePath(name);
    }

private Q_SLOTS:
    void initTestCase()
    {
        // Settings of this test only.
        QStandardPaths::setTestModeEnabled(true);
        QCoreApplication::setOrganizationName(u"QuirebookTests"_s);
        QCoreApplication::setApplicationName(u"tst_searchabletask"_s);
        QSettings().clear();
    }

    void detail_data()
    {
        QTest::addColumn<Searchable::Stats>("stats");
        QTest::addColumn<QString>("detail");
        QTest::addColumn<QString>("summary");
        QTest::newRow("three pages")
            << Searchable::Stats{3, 0, 412} << "Read 3 pages, found 412 words."
            << "Read 3 pages, found 412 words; skipped 0";
        QTest::newRow("one blank page")
            << Searchable::Stats{1, 0, 0}
            << "Read 1 page, found 0 words. No text was recognised — the pages may be blank or "
               "too blurry."
            << "Read 1 page, found 0 words; skipped 0";
        QTest::newRow("some had text")
            << Searchable::Stats{2, 4, 150} << "Read 2 pages, found 150 words. 4 already had text."
            << "Read 2 pages, found 150 words; skipped 4";
        QTest::newRow("all had text")
            << Searchable::Stats{0, 2, 0} << "Read 0 pages, found 0 words. 2 already had text."
            << "Read 0 pages, found 0 words; skipped 2";
        QTest::newRow("thousands")
            << Searchable::Stats{10, 0, 3412} << "Read 10 pages, found 3,412 words."
            << "Read 10 pages, found 3,412 words; skipped 0";
    }
    void detail()
    {
        QFETCH(Searchable::Stats, stats);
        QTEST(MakeSearchable::detail(stats), "detail");
        QTEST(MakeSearchable::summary(stats), "summary");
    }

    // What a request refuses before any work: a resolution outside 72 to
    // 600 dots per inch, a language that isn't installed.
    void requests_data()
    {
        QTest::addColumn<int>("dpi");
        QTest::addColumn<QString>("language");
        QTest::addColumn<QString>("refusal");
        const QString coarse = u"“71” isn't a resolution Quirebook reads at. Use a whole "
                               "number of dots per inch from 72 to 600."_s;
        QTest::newRow("lowest") << 72 << QString() << QString();
        QTest::newRow("highest") << 600 << u"eng"_s << QString();
        QTest::newRow("too coarse") << 71 << QString() << coarse;
        QTest::newRow("too fine") << 601 << QString() << QString(coarse).replace(u"71"_s, u"601"_s);
        QTest::newRow("not installed")
            << 200 << u"xyz"_s << u"The language “xyz” isn't installed"_s;
    }
    void requests()
    {
        QFETCH(int, dpi);
        QFETCH(QString, language);
        QFETCH(QString, refusal);
        MakeSearchable::Request request;
        request.dpi = dpi;
        if (!language.isEmpty())
            request.languages = QStringList{language};
        const auto problem = request.validate();
        QCOMPARE(problem.has_value(), !refusal.isEmpty());
        if (problem)
            QVERIFY2(problem->startsWith(refusal), qPrintable(*problem));
    }

    void languagesChosenAndRemembered()
    {
        const QStringList installed = Searchable::installedLanguages();
        QVERIFY2(installed.contains(u"eng"_s), "English recognition data is missing");
        QCOMPARE(MakeSearchable::installedLanguages().value(0), u"eng"_s);

        QSettings().clear();
        QCOMPARE(MakeSearchable::languagesFor(std::nullopt), QStringList{u"eng"_s});
        // A remembered language that is no longer installed is passed over.
        MakeSearchable::rememberLanguages({u"eng"_s, u"xyz"_s});
        QCOMPARE(MakeSearchable::rememberedLanguages(), QStringList{u"xyz"_s});
        QCOMPARE(MakeSearchable::languagesFor(std::nullopt), QStringList{u"eng"_s});
        if (installed.size() > 1) {
            const QString other = installed.value(installed.indexOf(u"eng"_s) == 0 ? 1 : 0);
            MakeSearchable::rememberLanguages({other});
            QCOMPARE(MakeSearchable::languagesFor(std::nullopt), (QStringList{u"eng"_s, other}));
        }
        // Given ones stand as given, in order, split at '+'.
        QCOMPARE(MakeSearchable::languagesFor(QStringList{u"deu+eng"_s, u"fra"_s}),
                 (QStringList{u"deu"_s, u"eng"_s, u"fra"_s}));
        QCOMPARE(MakeSearchable::missingLanguage({u"eng"_s}), std::nullopt);
        const auto missing = MakeSearchable::missingLanguage({u"eng"_s, u"xyz"_s});
        QVERIFY(missing);
        QVERIFY2(missing->startsWith(u"The language “xyz” isn't installed for text recognition. "
                                     "Installed: "_s),
                 qPrintable(*missing));
        QVERIFY(missing->contains(u"eng"_s));
        QSettings().clear();
    }

    void scanMadeSearchable()
    {
        const QString dir = folder(u"scan"_s);
        const auto page = scan({u"Invoice 4711 total due"_s});
        const QString source = writeFile(dir + u"/Scan.pdf"_s, scanPDF({{page.image}}));
        const QString destination = dir + u"/Scan searchable.pdf"_s;
        auto stats = std::make_shared<Searchable::Stats>();
        QCOMPARE(MakeSearchable::run(opened(source), {}, destination, noProgress, never, stats),
                 (Outcome{u"Saved “Scan searchable.pdf”"_s,
                          u"Read 1 page, found 4 words."_s,
                          {destination}}));
        QCOMPARE(*stats, (Searchable::Stats{1, 0, 4}));
        QVERIFY(
            popplerPageTexts(readFile(destination)).value(0).contains(u"Invoice 4711 total due"_s));
    }

    void failures_data()
    {
        QTest::addColumn<QString>("what");
        QTest::addColumn<QString>("message");
        QTest::newRow("deleted meanwhile") << "deleted"
                                           << "“Gone.pdf” couldn't be read as a PDF.";
        QTest::newRow("restricted") << "restricted" << PDFError::restricted().description();
        QTest::newRow("language not installed")
            << "language"
            << "The language “xyz” isn't installed for text recognition.";
    }
    void failures()
    {
        QFETCH(QString, what);
        QFETCH(QString, message);
        const QString dir = folder(what);
        PDFFile file;
        MakeSearchable::Request options;
        if (what == QLatin1String("deleted")) {
            file = opened(writeFile(dir + u"/Gone.pdf"_s, textPDF(1)));
            QFile::remove(file.path);
        } else if (what == QLatin1String("restricted")) {
            file = opened(writeFile(dir + u"/Owned.pdf"_s,
                                    makePDF(numberedPages(1), lock(u"u"_s, u"o"_s, true))),
                          {u"u"_s});
        } else {
            file = opened(writeFile(dir + u"/Plain.pdf"_s, textPDF(1)));
            options.languages = QStringList{u"xyz"_s};
        }
        const QString destination = dir + u"/out.pdf"_s;
        const QString error =
            errorOf([&] { MakeSearchable::run(file, options, destination, noProgress, never); });
        QVERIFY2(error.startsWith(message), qPrintable(error));
        QVERIFY(!QFile::exists(destination));
        QCOMPARE(temporaryFiles(dir), QStringList());
    }
};

QTEST_MAIN(TestSearchableTask)
#include "tst_searchabletask.moc"
