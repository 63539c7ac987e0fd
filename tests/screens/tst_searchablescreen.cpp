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

using namespace Qt::StringLiterals;

using namespace Fixtures;

using namespace ScreenParts;

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
        const auto screen = screenFor(ws, u"shown"_s, {{"Shown.pdf", m_typed}});
        QVERIFY(QTest::qWaitForWindowExposed(screen.get()));
        auto *explanation = part<QLabel>(*screen, "searchableExplanation");
        QCOMPARE(explanation->text(), MakeSearchable::explanation());
        auto *skip = part<QCheckBox>(*screen, "searchableSkip");
        QCOMPARE(skip->text(), MakeSearchable::skipToggle());
        QVERIFY(skip->isChecked());
        QVERIFY(screen->model().skip());
        auto *languageLabel = part<QLabel>(*screen, "searchableLanguageLabel");
        auto *language = part<QComboBox>(*screen, "searchableLanguage");
        QCOMPARE(languageLabel->text(), u"Language"_s);
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
        ws.add({writeFile(m_dir.filePath(u"Languages.pdf"_s), m_typed)});
        QStringList expected{u"English"_s};
        for (const QString &code : installed)
            if (code != QLatin1String("eng"))
                expected << u"English and "_s + MakeSearchable::languageName(code);
        const auto picker = [&ws] { return std::make_unique<SearchableScreen>(ws); };
        const auto items = [](const SearchableScreen &screen) {
            auto *box = part<QComboBox>(screen, "searchableLanguage");
            QStringList list;
            for (int i = 0; i < box->count(); ++i)
                list << box->itemText(i);
            return list;
        };
        QCOMPARE(items(*picker()), expected);

        MakeSearchable::rememberLanguages({u"xx"_s});
        QCOMPARE(part<QComboBox>(*picker(), "searchableLanguage")->currentText(), u"English"_s);
        QCOMPARE(MakeSearchable::rememberedLanguages(), QStringList{u"xx"_s});
        if (installed.size() >= 3) {
            MakeSearchable::rememberLanguages(installed.mid(1, 2));
            QCOMPARE(part<QComboBox>(*picker(), "searchableLanguage")->currentText(),
                     u"English and %1 and %2"_s.arg(MakeSearchable::languageName(installed.at(1)),
                                                    MakeSearchable::languageName(installed.at(2))));
        }
        if (installed.size() < 2)
            QSKIP("only one recognition language is installed");
        part<QComboBox>(*picker(), "searchableLanguage")->setCurrentIndex(1);
        QCOMPARE(MakeSearchable::rememberedLanguages(), QStringList{installed.at(1)});
        auto *language = part<QComboBox>(*picker(), "searchableLanguage");
        QCOMPARE(language->currentText(),
                 u"English and "_s + MakeSearchable::languageName(installed.at(1)));
        language->setCurrentIndex(0);
        QCOMPARE(MakeSearchable::rememberedLanguages(), QStringList{});
    }

    // The toggle reaches the work: pages with text are skipped, or read
    // again, the controls resting while that runs. The toggle, set off,
    // outlasts the change of file; the outcome doesn't.
    void pagesWithText()
    {
        Workspace ws;
        const auto screen =
            screenFor(ws, u"typed"_s, {{"First.pdf", m_typed}, {"Second.pdf", m_typed}});
        click(part<QPushButton>(*screen, "searchableButton"));
        QVERIFY(finish(*screen)); // skipping every page: quick
        QCOMPARE(labelText(*screen, "jobTitle"), u"Saved “First searchable.pdf”"_s);
        QCOMPARE(labelText(*screen, "jobDetail"),
                 u"Read 0 pages, found 0 words. 2 already had text."_s);
        toggle(part<QCheckBox>(*screen, "searchableSkip"), 8);
        QVERIFY(!screen->model().skip());
        ws.select(ws.files().last().id);
        QVERIFY(std::holds_alternative<Job::Idle>(screen->model().job().state()));
        QVERIFY(!shows(*screen, "jobBar"));
        QVERIFY(!part<QCheckBox>(*screen, "searchableSkip")->isChecked());

        // The panel is made anew for the file chosen now.
        auto *button = part<QPushButton>(*screen, "searchableButton");
        auto *language = part<QComboBox>(*screen, "searchableLanguage");
        click(button);
        QVERIFY(!button->isEnabled()); // while it runs
        QVERIFY(!language->isEnabled());
        QCOMPARE(labelText(*screen, "jobText"), u"Reading…"_s);
        QVERIFY(finish(*screen));
        QVERIFY(button->isEnabled() && language->isEnabled());
        static const QRegularExpression readAgain(u"^Read 2 pages, found ([0-9]+) words\\.$"_s);
        const auto match = readAgain.match(labelText(*screen, "jobDetail"));
        QVERIFY2(match.hasMatch() && match.captured(1).toInt() >= 10,
                 qPrintable(labelText(*screen, "jobDetail")));
    }
};

QTEST_MAIN(TestSearchableScreen)
#include "tst_searchablescreen.moc"
