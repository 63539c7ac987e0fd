#include "core/Workspace.h"
#include "engine/PDFError.h"
#include "support/Fixtures.h"
#include "support/ScanFixtures.h"
#include "tasks/MakeSearchable.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;

Q_DECLARE_METATYPE(Searchable::Stats)

namespace {

const Progress kNoProgress = [](int, int) {};
const IsCancelled kNotCancelled = [] { return false; };

} // namespace

class TestSearchableTask : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

    std::optional<PDFFile> intake(const QString &path, QList<std::optional<QString>> answers = {})
    {
        ScriptedDialogs dialogs(std::move(answers));
        Workspace workspace;
        workspace.setDialogs(&dialogs);
        workspace.add({path});
        return workspace.current();
    }

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
        QCoreApplication::setOrganizationName(QStringLiteral("QuirebookTests"));
        QCoreApplication::setApplicationName(QStringLiteral("tst_searchabletask"));
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
        const QString coarse =
            QStringLiteral("“71” isn't a resolution Quirebook reads at. Use a whole "
                           "number of dots per inch from 72 to 600.");
        QTest::newRow("lowest") << 72 << QString() << QString();
        QTest::newRow("highest") << 600 << QStringLiteral("eng") << QString();
        QTest::newRow("too coarse") << 71 << QString() << coarse;
        QTest::newRow("too fine") << 601 << QString()
                                  << QString(coarse).replace(QStringLiteral("71"),
                                                             QStringLiteral("601"));
        QTest::newRow("not installed")
            << 200 << QStringLiteral("xyz") << QStringLiteral("The language “xyz” isn't installed");
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

    void languageNames_data()
    {
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("name");
        QTest::newRow("english") << QStringLiteral("eng") << QStringLiteral("English");
        QTest::newRow("simplified chinese")
            << QStringLiteral("chi_sim") << QStringLiteral("Chinese (Simplified)");
        QTest::newRow("unknown code") << QStringLiteral("xyz") << QStringLiteral("xyz");
    }
    void languageNames()
    {
        QFETCH(QString, code);
        QTEST(MakeSearchable::languageName(code), "name");
    }

    void languagesChosenAndRemembered()
    {
        const QStringList installed = Searchable::installedLanguages();
        QVERIFY2(installed.contains(QStringLiteral("eng")), "English recognition data is missing");
        QCOMPARE(MakeSearchable::installedLanguages().value(0), QStringLiteral("eng"));

        QSettings().clear();
        QCOMPARE(MakeSearchable::languagesFor(std::nullopt), QStringList{QStringLiteral("eng")});
        // A remembered language that is no longer installed is passed over.
        MakeSearchable::rememberLanguages({QStringLiteral("eng"), QStringLiteral("xyz")});
        QCOMPARE(MakeSearchable::rememberedLanguages(), QStringList{QStringLiteral("xyz")});
        QCOMPARE(MakeSearchable::languagesFor(std::nullopt), QStringList{QStringLiteral("eng")});
        if (installed.size() > 1) {
            const QString other =
                installed.value(installed.indexOf(QStringLiteral("eng")) == 0 ? 1 : 0);
            MakeSearchable::rememberLanguages({other});
            QCOMPARE(MakeSearchable::languagesFor(std::nullopt),
                     (QStringList{QStringLiteral("eng"), other}));
        }
        // Given ones stand as given, in order, split at '+'.
        QCOMPARE(
            MakeSearchable::languagesFor(
                QStringList{QStringLiteral("deu+eng"), QStringLiteral("fra")}),
            (QStringList{QStringLiteral("deu"), QStringLiteral("eng"), QStringLiteral("fra")}));
        QCOMPARE(MakeSearchable::missingLanguage({QStringLiteral("eng")}), std::nullopt);
        const auto missing =
            MakeSearchable::missingLanguage({QStringLiteral("eng"), QStringLiteral("xyz")});
        QVERIFY(missing);
        QVERIFY2(missing->startsWith(
                     QStringLiteral("The language “xyz” isn't installed for text recognition. "
                                    "Installed: ")),
                 qPrintable(*missing));
        QVERIFY(missing->contains(QStringLiteral("eng")));
        QSettings().clear();
    }

    void scanMadeSearchable()
    {
        const QString dir = folder(QStringLiteral("scan"));
        const auto page = scan({QStringLiteral("Invoice 4711 total due")});
        const QString source =
            writeFile(dir + QStringLiteral("/Scan.pdf"), scanPDF({{page.image}}));
        const auto file = intake(source);
        QVERIFY(file);
        const QString destination = dir + QStringLiteral("/Scan searchable.pdf");
        auto stats = std::make_shared<Searchable::Stats>();
        const Outcome outcome =
            MakeSearchable::run(*file, {}, destination, kNoProgress, kNotCancelled, stats);
        QCOMPARE(outcome.title, QStringLiteral("Saved “Scan searchable.pdf”"));
        QCOMPARE(outcome.detail, QStringLiteral("Read 1 page, found 4 words."));
        QCOMPARE(outcome.urls, QStringList{destination});
        QCOMPARE(*stats, (Searchable::Stats{1, 0, 4}));
        QVERIFY(popplerPageTexts(readFile(destination))
                    .value(0)
                    .contains(QStringLiteral("Invoice 4711 total due")));
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
        std::optional<PDFFile> file;
        MakeSearchable::Request options;
        if (what == QLatin1String("deleted")) {
            const QString source = writeFile(dir + QStringLiteral("/Gone.pdf"), textPDF(1));
            file = intake(source);
            QFile::remove(source);
        } else if (what == QLatin1String("restricted")) {
            WriteOptions protection;
            protection.encrypt = true;
            protection.userPassword = QStringLiteral("u");
            protection.ownerPassword = QStringLiteral("o");
            protection.allowChanges = false;
            file = intake(writeFile(dir + QStringLiteral("/Owned.pdf"),
                                    makePDF(numberedPages(1), protection)),
                          {QStringLiteral("u")});
        } else {
            file = intake(writeFile(dir + QStringLiteral("/Plain.pdf"), textPDF(1)));
            options.languages = QStringList{QStringLiteral("xyz")};
        }
        QVERIFY(file);
        const QString destination = dir + QStringLiteral("/out.pdf");
        try {
            MakeSearchable::run(*file, options, destination, kNoProgress, kNotCancelled);
            QFAIL("no error");
        } catch (const PDFError &error) {
            QVERIFY2(error.description().startsWith(message), qPrintable(error.description()));
        }
        QVERIFY(!QFile::exists(destination));
        QCOMPARE(QDir(dir).entryList({QStringLiteral(".quirebook-*")}, QDir::Hidden | QDir::Files),
                 QStringList());
    }
};

QTEST_MAIN(TestSearchableTask)
#include "tst_searchabletask.moc"
