// The Make Searchable screen's bindings: its controls in order, the toggle
// and the language picker (the choice remembered, which is what a run
// reads), one run to the job bar, the toggle reaching the work, and what
// changes with the chosen file. The texts and the work: tests/tasks.
#include "core/Workspace.h"
#include "screens/SearchableModel.h"
#include "screens/SearchableScreen.h"
#include "screens/Symbols.h"
#include "screens/ToolPage.h"
#include "support/Fixtures.h"
#include "support/ScanFixtures.h"
#include "support/ScreenParts.h"
#include "tasks/MakeSearchable.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QLabel>
#include <QPushButton>
#include <QRegularExpression>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;

using namespace ScreenParts;

namespace {
// Pages of typed text long enough to count as text, small so reading
// them again is quick.
QByteArray typedPDF(int pages)
{
    DocSpec layout;
    for (int i = 1; i <= pages; ++i)
        layout.pages.append(PageSpec{QStringLiteral("Typed words already on page %1").arg(i),
                                     QSizeF(560, 120), 0, std::nullopt});
    return makePDF(layout);
}
} // namespace

class TestSearchableScreen : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QTemporaryDir m_config;
    QByteArray m_typed;

    // A folder of its own holding the files (the first chosen), and the screen.
    std::unique_ptr<SearchableScreen> screenFor(Workspace &ws, const QString &folder,
                                                const QList<QPair<QString, QByteArray>> &files)
    {
        QDir(m_dir.path()).mkpath(folder);
        for (const auto &[name, bytes] : files)
            ws.add({writeFile(m_dir.filePath(folder + u'/' + name), bytes)});
        ws.select(ws.files().first().id);
        auto screen = std::make_unique<SearchableScreen>(ws);
        screen->resize(900, 600);
        screen->show();
        return screen;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid() && m_config.isValid());
        // The remembered languages go to a settings file of the test's own.
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_config.path());
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, m_config.path());
        Symbols::installTheme();
        m_typed = typedPDF(2);
    }
    void init() { MakeSearchable::rememberLanguages({}); }

    void screenForAFile()
    {
        Workspace ws;
        const auto screen = screenFor(ws, QStringLiteral("shown"), {{"Shown.pdf", m_typed}});
        QVERIFY(QTest::qWaitForWindowExposed(screen.get()));
        auto *explanation = part<QLabel>(*screen, "searchableExplanation");
        QCOMPARE(explanation->text(), MakeSearchable::explanation());
        auto *skip = part<QCheckBox>(*screen, "searchableSkip");
        QCOMPARE(skip->text(), MakeSearchable::skipToggle());
        QVERIFY(skip->isChecked());
        QVERIFY(screen->model().skip());
        auto *languageLabel = part<QLabel>(*screen, "searchableLanguageLabel");
        auto *language = part<QComboBox>(*screen, "searchableLanguage");
        QCOMPARE(languageLabel->text(), QStringLiteral("Language"));
        QCOMPARE(languageLabel->buddy(), language);
        auto *button = part<QPushButton>(*screen, "searchableButton");
        QCOMPARE(button->text(), MakeSearchable::button());
        QVERIFY(button->isEnabled());
        // Top to bottom: explanation, toggle, language, button.
        const auto top = [&](QWidget *w) { return w->mapTo(screen.get(), QPoint(0, 0)).y(); };
        QVERIFY(top(explanation) < top(skip));
        QVERIFY(top(skip) < top(language));
        QVERIFY(top(language) < top(button));
        // The wrapped explanation is shown whole.
        QVERIFY(explanation->height() >= explanation->heightForWidth(explanation->width()));
    }

    // English, then English with each other installed language; the choice
    // is remembered (a run reads it) and the next screen starts on it; a
    // remembered language no longer installed isn't shown, nor forgotten.
    void languagePicker()
    {
        const QStringList installed = MakeSearchable::installedLanguages();
        Workspace ws;
        ws.add({writeFile(m_dir.filePath(QStringLiteral("Languages.pdf")), m_typed)});
        QStringList expected{QStringLiteral("English")};
        for (const QString &code : installed)
            if (code != QLatin1String("eng"))
                expected << QStringLiteral("English and ") + MakeSearchable::languageName(code);
        const auto picker = [&ws] { return std::make_unique<SearchableScreen>(ws); };
        const auto items = [](const SearchableScreen &screen) {
            auto *box = part<QComboBox>(screen, "searchableLanguage");
            QStringList list;
            for (int i = 0; i < box->count(); ++i)
                list << box->itemText(i);
            return list;
        };
        QCOMPARE(items(*picker()), expected);

        MakeSearchable::rememberLanguages({QStringLiteral("xx")});
        QCOMPARE(part<QComboBox>(*picker(), "searchableLanguage")->currentText(),
                 QStringLiteral("English"));
        QCOMPARE(MakeSearchable::rememberedLanguages(), QStringList{QStringLiteral("xx")});
        if (installed.size() >= 3) {
            MakeSearchable::rememberLanguages(installed.mid(1, 2));
            QCOMPARE(part<QComboBox>(*picker(), "searchableLanguage")->currentText(),
                     QStringLiteral("English and %1 and %2")
                         .arg(MakeSearchable::languageName(installed.at(1)),
                              MakeSearchable::languageName(installed.at(2))));
        }
        if (installed.size() < 2)
            QSKIP("only one recognition language is installed");
        part<QComboBox>(*picker(), "searchableLanguage")->setCurrentIndex(1);
        QCOMPARE(MakeSearchable::rememberedLanguages(), QStringList{installed.at(1)});
        auto *language = part<QComboBox>(*picker(), "searchableLanguage");
        QCOMPARE(language->currentText(),
                 QStringLiteral("English and ") + MakeSearchable::languageName(installed.at(1)));
        language->setCurrentIndex(0);
        QCOMPARE(MakeSearchable::rememberedLanguages(), QStringList{});
    }

    // A scan read through the screen to the job bar; the controls rest
    // while it runs.
    void readsAScan()
    {
        Workspace ws;
        const auto page =
            scan({QStringLiteral("Invoice 4711 total due")}, QSizeF(360, 144), 200, 18);
        const auto screen =
            screenFor(ws, QStringLiteral("scan"), {{"Scan.pdf", scanPDF({{page.image, 200}})}});
        auto *button = part<QPushButton>(*screen, "searchableButton");
        auto *language = part<QComboBox>(*screen, "searchableLanguage");
        click(button);
        QVERIFY(!button->isEnabled()); // while it runs
        QVERIFY(!language->isEnabled());
        QCOMPARE(labelText(*screen, "jobText"), QStringLiteral("Reading…"));
        QVERIFY(finish(*screen));
        QVERIFY(button->isEnabled());
        QVERIFY(language->isEnabled());
        QCOMPARE(labelText(*screen, "jobTitle"), QStringLiteral("Saved “Scan searchable.pdf”"));
        static const QRegularExpression detail(
            QStringLiteral("^Read 1 page, found [1-9][0-9]* words\\.$"));
        QVERIFY2(detail.match(labelText(*screen, "jobDetail")).hasMatch(),
                 qPrintable(labelText(*screen, "jobDetail")));
        QVERIFY(part(*screen, "jobShow")->isVisible());
    }

    // The toggle reaches the work: pages with text are skipped or read again.
    void pagesWithText_data()
    {
        QTest::addColumn<bool>("skip");
        QTest::newRow("skipped") << true;
        QTest::newRow("read again") << false;
    }
    void pagesWithText()
    {
        QFETCH(bool, skip);
        Workspace ws;
        const auto screen =
            screenFor(ws, QString::fromLatin1(QTest::currentDataTag()), {{"Typed.pdf", m_typed}});
        auto *toggle = part<QCheckBox>(*screen, "searchableSkip");
        if (!skip)
            ScreenParts::toggle(toggle, 8);
        QCOMPARE(screen->model().skip(), skip);
        click(part<QPushButton>(*screen, "searchableButton"));
        QVERIFY(finish(*screen));
        static const QRegularExpression readAgain(
            QStringLiteral("^Read 2 pages, found ([0-9]+) words\\.$"));
        const QString shown = labelText(*screen, "jobDetail");
        if (skip)
            QCOMPARE(shown, QStringLiteral("Read 0 pages, found 0 words. 2 already had text."));
        else
            QVERIFY2(readAgain.match(shown).hasMatch() &&
                         readAgain.match(shown).captured(1).toInt() >= 10,
                     qPrintable(shown));
    }

    // The toggle, set off, outlasts the change of file; the outcome doesn't.
    void anotherFileResetsTheJob()
    {
        Workspace ws;
        const auto screen = screenFor(ws, QStringLiteral("another"),
                                      {{"First.pdf", m_typed}, {"Second.pdf", m_typed}});
        click(part<QPushButton>(*screen, "searchableButton"));
        QVERIFY(finish(*screen)); // skipping every page: quick
        QVERIFY(part(*screen, "jobBar")->isVisible());
        part<QCheckBox>(*screen, "searchableSkip")->setChecked(false);
        ws.select(ws.files().last().id);
        QVERIFY(std::holds_alternative<Job::Idle>(screen->model().job().state()));
        QVERIFY(!part(*screen, "jobBar")->isVisible());
        QVERIFY(!part<QCheckBox>(*screen, "searchableSkip")->isChecked());
        QVERIFY(!screen->model().skip());
    }
};

QTEST_MAIN(TestSearchableScreen)
#include "tst_searchablescreen.moc"
