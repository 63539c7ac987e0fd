// The Make Searchable screen: its texts and controls in order, the toggle
// and the language picker (and that the choice is remembered and is what a
// run reads), runs through the screen down to the searchable copy on disk
// and the words of the outcome, and what changes with the chosen file.
#include "EmptyDrop.h"
#include "Fixtures.h"
#include "MakeSearchable.h"
#include "PDFError.h"
#include "PictureFixtures.h"
#include "Reveal.h"
#include "ScanFixtures.h"
#include "SearchableModel.h"
#include "SearchableScreen.h"
#include "Sidebar.h"
#include "Symbols.h"
#include "ToolPage.h"
#include "Workspace.h"

#include <QAbstractButton>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFileInfo>
#include <QLabel>
#include <QPushButton>
#include <QRegularExpression>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;

namespace {
template <typename T> T *part(const SearchableScreen &screen, const char *name)
{
    QWidget *content = screen.page()->content();
    return content ? content->findChild<T *>(QLatin1String(name)) : nullptr;
}

QString text(const SearchableScreen &screen, const char *name)
{
    auto *label = part<QLabel>(screen, name);
    return label ? label->text() : QStringLiteral("<no %1>").arg(QLatin1String(name));
}

QString pageText(const SearchableScreen &screen, const char *name)
{
    auto *label = screen.findChild<QLabel *>(QLatin1String(name));
    return label ? label->text() : QStringLiteral("<no %1>").arg(QLatin1String(name));
}

QStringList items(QComboBox *box)
{
    QStringList list;
    for (int i = 0; i < box->count(); ++i)
        list << box->itemText(i);
    return list;
}

// With QUIREBOOK_SNAPSHOTS set, keeps a picture of the screen in that folder.
void snapshot(SearchableScreen &screen, const QString &name)
{
    const QString folder = qEnvironmentVariable("QUIREBOOK_SNAPSHOTS");
    if (folder.isEmpty() || !QDir().mkpath(folder))
        return;
    QTest::qWait(100); // let pending layouts settle
    screen.grab().save(QDir(folder).filePath(name + QStringLiteral(".png")), "PNG");
}

bool finish(SearchableScreen &screen)
{
    return QTest::qWaitFor([&] { return !screen.model().job().isRunning(); }, 120000);
}

// Pages of typed text long enough to count as text, small so reading
// them again is quick.
QByteArray typedPDF(int pages)
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

const QStringList kScanLines{QStringLiteral("Invoice 4711 total due")};
} // namespace

class TestSearchableScreen : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QTemporaryDir m_config;
    QByteArray m_scan;
    QByteArray m_typed;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid() && m_config.isValid());
        // The remembered languages go to a settings file of the test's own.
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_config.path());
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, m_config.path());
        Symbols::installTheme();
        m_scan = scanPDF({{scan(kScanLines, QSizeF(360, 144), 200, 18).image, 200}});
        m_typed = typedPDF(2);
    }
    void init() { MakeSearchable::rememberLanguages({}); }

    void noFileShowsThePrompt()
    {
        Workspace ws;
        SearchableScreen screen(ws);
        screen.show();
        QCOMPARE(pageText(screen, "pageTitle"), QStringLiteral("Make Searchable"));
        QCOMPARE(pageText(screen, "pageSubtitle"),
                 QStringLiteral("Turn scans into text you can search and copy."));
        QVERIFY(screen.findChild<EmptyDrop *>());
        QVERIFY(!screen.page()->content());
        // The tool has a screen now, so its sidebar row can be chosen.
        Sidebar sidebar(ws);
        auto *row = sidebar.findChild<QAbstractButton *>(QStringLiteral("toolRow_searchable"));
        QVERIFY(row && row->isEnabled());
    }

    void screenForAFile()
    {
        Workspace ws;
        ws.add({writeFile(m_dir.filePath(QStringLiteral("Shown.pdf")), m_scan)});
        SearchableScreen screen(ws);
        screen.resize(900, 600);
        screen.show();
        QVERIFY(QTest::qWaitForWindowExposed(&screen));
        QCOMPARE(text(screen, "searchableExplanation"),
                 QStringLiteral(
                     "Quirebook reads each scanned page with on-device text recognition (on "
                     "your computer, nothing is uploaded) and hides the words behind the "
                     "picture. The page looks exactly the same, but you can search it, select "
                     "text and copy it."));
        auto *skip = part<QCheckBox>(screen, "searchableSkip");
        QCOMPARE(skip->text(), QStringLiteral("Skip pages that already have text"));
        QVERIFY(skip->isChecked());
        QVERIFY(screen.model().skip());
        auto *languageLabel = part<QLabel>(screen, "searchableLanguageLabel");
        auto *language = part<QComboBox>(screen, "searchableLanguage");
        QCOMPARE(languageLabel->text(), QStringLiteral("Language"));
        QCOMPARE(languageLabel->buddy(), language);
        QCOMPARE(language->currentText(), QStringLiteral("English"));
        auto *button = part<QPushButton>(screen, "searchableButton");
        QCOMPARE(button->text(), QStringLiteral("Make Searchable"));
        QVERIFY(button->isEnabled());
        QVERIFY(!part<QWidget>(screen, "jobBar")->isVisible());
        // Top to bottom: explanation, toggle, language, button.
        const auto top = [&](QWidget *w) { return w->mapTo(&screen, QPoint(0, 0)).y(); };
        QVERIFY(top(part<QWidget>(screen, "searchableExplanation")) < top(skip));
        QVERIFY(top(skip) < top(language));
        QVERIFY(top(language) < top(button));
        // The wrapped explanation is shown whole.
        auto *explanation = part<QLabel>(screen, "searchableExplanation");
        QVERIFY(explanation->height() >= explanation->heightForWidth(explanation->width()));
        snapshot(screen, QStringLiteral("searchable"));
    }

    void languagePickerOffersEachInstalledLanguage()
    {
        Workspace ws;
        ws.add({writeFile(m_dir.filePath(QStringLiteral("Languages.pdf")), m_typed)});
        SearchableScreen screen(ws);
        QStringList expected{QStringLiteral("English")};
        for (const QString &code : MakeSearchable::installedLanguages())
            if (code != QLatin1String("eng"))
                expected << QStringLiteral("English and ") + MakeSearchable::languageName(code);
        QCOMPARE(items(part<QComboBox>(screen, "searchableLanguage")), expected);
        if (MakeSearchable::installedLanguages().contains(QLatin1String("deu")))
            QVERIFY(expected.contains(QStringLiteral("English and German")));
    }

    void aLanguageChoiceIsRemembered()
    {
        const QStringList installed = MakeSearchable::installedLanguages();
        if (installed.size() < 2)
            QSKIP("only one recognition language is installed");
        const QString extra = installed.at(1);
        Workspace ws;
        ws.add({writeFile(m_dir.filePath(QStringLiteral("Remember.pdf")), m_typed)});
        {
            SearchableScreen screen(ws);
            auto *language = part<QComboBox>(screen, "searchableLanguage");
            language->setCurrentIndex(1);
            QCOMPARE(MakeSearchable::rememberedLanguages(), QStringList{extra});
            // What a run of the screen reads.
            QCOMPARE(MakeSearchable::languagesFor(std::nullopt),
                     (QStringList{QStringLiteral("eng"), extra}));
        }
        // In the test's own settings, not the user's.
        QVERIFY(QFileInfo::exists(m_config.path() + QStringLiteral("/Quirebook/Quirebook.conf")));
        {
            // The next screen starts on it; English is a choice like any other.
            SearchableScreen screen(ws);
            auto *language = part<QComboBox>(screen, "searchableLanguage");
            QCOMPARE(language->currentText(),
                     QStringLiteral("English and ") + MakeSearchable::languageName(extra));
            language->setCurrentIndex(0);
            QCOMPARE(MakeSearchable::rememberedLanguages(), QStringList{});
            QCOMPARE(MakeSearchable::languagesFor(std::nullopt),
                     QStringList{QStringLiteral("eng")});
        }
    }

    void pickerShowsWhatARunReads_data()
    {
        QTest::addColumn<QStringList>("remembered");
        QTest::addColumn<QString>("shown");
        // A language removed since it was chosen isn't read.
        QTest::newRow("no longer installed")
            << QStringList{QStringLiteral("xx")} << QStringLiteral("English");
        const QStringList installed = MakeSearchable::installedLanguages();
        if (installed.size() >= 3)
            QTest::newRow("two extra") << installed.mid(1, 2)
                                       << QStringLiteral("English and %1 and %2")
                                              .arg(MakeSearchable::languageName(installed.at(1)),
                                                   MakeSearchable::languageName(installed.at(2)));
    }
    void pickerShowsWhatARunReads()
    {
        QFETCH(QStringList, remembered);
        QFETCH(QString, shown);
        MakeSearchable::rememberLanguages(remembered);
        Workspace ws;
        ws.add({writeFile(m_dir.filePath(QStringLiteral("Shows.pdf")), m_typed)});
        SearchableScreen screen(ws);
        QCOMPARE(part<QComboBox>(screen, "searchableLanguage")->currentText(), shown);
        // Opening the screen changes nothing that is remembered.
        QCOMPARE(MakeSearchable::rememberedLanguages(), remembered);
    }

    void readsAScan()
    {
        QTemporaryDir dir;
        const QString source = writeFile(dir.filePath(QStringLiteral("Scan.pdf")), m_scan);
        Workspace ws;
        ws.add({source});
        SearchableScreen screen(ws);
        screen.resize(900, 600);
        screen.show();
        QVERIFY(QTest::qWaitForWindowExposed(&screen));
        auto *button = part<QPushButton>(screen, "searchableButton");
        auto *language = part<QComboBox>(screen, "searchableLanguage");
        QTest::mouseClick(button, Qt::LeftButton);
        QVERIFY(!button->isEnabled()); // while it runs
        QVERIFY(!language->isEnabled());
        QCOMPARE(text(screen, "jobText"), QStringLiteral("Reading…"));
        QVERIFY(finish(screen));
        QVERIFY(button->isEnabled());
        QVERIFY(language->isEnabled());

        const QString result = dir.filePath(QStringLiteral("Scan searchable.pdf"));
        QCOMPARE(text(screen, "jobTitle"), QStringLiteral("Saved “Scan searchable.pdf”"));
        static const QRegularExpression detail(
            QStringLiteral("^Read 1 page, found ([0-9]+) words\\.$"));
        const auto match = detail.match(text(screen, "jobDetail"));
        QVERIFY2(match.hasMatch(), qPrintable(text(screen, "jobDetail")));
        const QStringList found =
            popplerPageTexts(readFile(result)).join(u' ').split(u' ', Qt::SkipEmptyParts);
        QCOMPARE(match.captured(1).toInt(), int(found.size()));
        QVERIFY2(found.contains(QStringLiteral("4711")), qPrintable(found.join(u' ')));
        QVERIFY2(found.contains(QStringLiteral("Invoice")), qPrintable(found.join(u' ')));
        snapshot(screen, QStringLiteral("searchable-done"));

        QStringList revealed;
        Reveal::setHandler([&revealed](const QStringList &p) { revealed = p; });
        QTest::mouseClick(part<QPushButton>(screen, "jobShow"), Qt::LeftButton);
        Reveal::setHandler({});
        QCOMPARE(revealed, QStringList{result});
        QCOMPARE(readFile(source), m_scan);
        QVERIFY(temporaryFiles(dir.path()).isEmpty());
    }

    void pagesWithText_data()
    {
        QTest::addColumn<bool>("skip");
        QTest::newRow("skipped") << true;
        QTest::newRow("read again") << false;
    }
    void pagesWithText()
    {
        QFETCH(bool, skip);
        QTemporaryDir dir;
        const QString source = writeFile(dir.filePath(QStringLiteral("Typed.pdf")), m_typed);
        Workspace ws;
        ws.add({source});
        SearchableScreen screen(ws);
        screen.show();
        auto *toggle = part<QCheckBox>(screen, "searchableSkip");
        if (!skip)
            QTest::mouseClick(toggle, Qt::LeftButton, {}, QPoint(8, toggle->height() / 2));
        QCOMPARE(screen.model().skip(), skip);
        QTest::mouseClick(part<QPushButton>(screen, "searchableButton"), Qt::LeftButton);
        QVERIFY(finish(screen));
        QCOMPARE(text(screen, "jobTitle"), QStringLiteral("Saved “Typed searchable.pdf”"));
        if (skip) {
            QCOMPARE(text(screen, "jobDetail"),
                     QStringLiteral("Read 0 pages, found 0 words. 2 already had text."));
        } else {
            static const QRegularExpression detail(
                QStringLiteral("^Read 2 pages, found ([0-9]+) words\\.$"));
            const auto match = detail.match(text(screen, "jobDetail"));
            QVERIFY2(match.hasMatch() && match.captured(1).toInt() >= 10,
                     qPrintable(text(screen, "jobDetail")));
        }
        QCOMPARE(popplerPageCount(dir.filePath(QStringLiteral("Typed searchable.pdf"))), 2);
        QCOMPARE(readFile(source), m_typed);
    }

    void anotherFileResetsTheJob()
    {
        QTemporaryDir dir;
        Workspace ws;
        ws.add({writeFile(dir.filePath(QStringLiteral("First.pdf")), m_typed),
                writeFile(dir.filePath(QStringLiteral("Second.pdf")), m_typed)});
        ws.select(ws.files().first().id);
        SearchableScreen screen(ws);
        screen.show();
        auto *toggle = part<QCheckBox>(screen, "searchableSkip");
        toggle->setChecked(false);
        toggle->setChecked(true); // back on: nothing is read, it's quick
        QTest::mouseClick(part<QPushButton>(screen, "searchableButton"), Qt::LeftButton);
        QVERIFY(finish(screen));
        QVERIFY(std::holds_alternative<Job::Done>(screen.model().job().state()));
        QVERIFY(part<QWidget>(screen, "jobBar")->isVisible());
        // The toggle, set off, outlasts the change of file; the outcome doesn't.
        part<QCheckBox>(screen, "searchableSkip")->setChecked(false);
        ws.select(ws.files().last().id);
        QVERIFY(std::holds_alternative<Job::Idle>(screen.model().job().state()));
        QVERIFY(!part<QWidget>(screen, "jobBar")->isVisible());
        QVERIFY(!part<QCheckBox>(screen, "searchableSkip")->isChecked());
        QVERIFY(!screen.model().skip());
    }

    void unwritableFolderAsksWhereToSave_data()
    {
        QTest::addColumn<bool>("answer");
        QTest::newRow("panel cancelled") << false;
        QTest::newRow("panel answered") << true;
    }
    void unwritableFolderAsksWhereToSave()
    {
        QFETCH(bool, answer);
        QTemporaryDir dir;
        const QString sub = dir.filePath(QStringLiteral("gone"));
        QVERIFY(QDir().mkdir(sub));
        const QString source = writeFile(sub + QStringLiteral("/Report.pdf"), m_typed);
        const QString destination = dir.filePath(QStringLiteral("Elsewhere.pdf"));
        Workspace ws;
        ScriptedDialogs dialogs;
        if (answer)
            dialogs.saveAnswers = {destination};
        ws.setDialogs(&dialogs);
        ws.add({source});
        SearchableScreen screen(ws);
        screen.show();
        QVERIFY(QDir(sub).removeRecursively()); // its folder went away after opening
        QTest::mouseClick(part<QPushButton>(screen, "searchableButton"), Qt::LeftButton);
        QCOMPARE(dialogs.saveProposals, QStringList{QStringLiteral("|Report searchable.pdf")});
        if (!answer) {
            QVERIFY(std::holds_alternative<Job::Idle>(screen.model().job().state()));
            return;
        }
        QVERIFY(finish(screen));
        // The source itself went with its folder: the job says so.
        QCOMPARE(text(screen, "jobTitle"),
                 PDFError::unreadable(QStringLiteral("Report.pdf")).description());
        QVERIFY(!QFileInfo::exists(destination));
        QVERIFY(temporaryFiles(dir.path()).isEmpty());
    }
};

QTEST_MAIN(TestSearchableScreen)
#include "tst_searchablescreen.moc"
