// The Split screen's bindings: the picker, the field, the stepper, the
// preview and the error for a file, when "Split" can be pressed, what
// outlives another file, and splits run to the job bar and the parts'
// names. The groups, texts and the parts' contents: tests/tasks.
#include "core/Workspace.h"
#include "screens/SplitModel.h"
#include "screens/SplitScreen.h"
#include "screens/Symbols.h"
#include "support/Fixtures.h"
#include "support/ScreenParts.h"

#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

using namespace Fixtures;

using namespace ScreenParts;

Q_DECLARE_METATYPE(Split::Mode)

class TestSplitScreen : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

    QString path(const QString &name) const { return m_dir.filePath(name); }

private Q_SLOTS:
    void initTestCase()
    {
        Symbols::installTheme();
        writeFile(path(u"Ten.pdf"_s), textPDF(10, u"Ten"_s));
        writeFile(path(u"Three.pdf"_s), textPDF(3, u"Three"_s));
    }

    void startsOnPageNumbers()
    {
        Shown<SplitScreen> s;
        QVERIFY(s.open({path(u"Ten.pdf"_s)}, {900, 640}));
        for (const Split::Mode mode : {Split::Mode::Ranges, Split::Mode::Every, Split::Mode::Each})
            QCOMPARE(modeButton(*s.screen, "splitMode", mode)->text(), Split::label(mode));
        QVERIFY(modeButton(*s.screen, "splitMode", Split::Mode::Ranges)->isChecked());
        QVERIFY(shows(*s.screen, "splitRanges"));
        QCOMPARE(shownText(*s.screen, "splitRangesHelp"), Split::rangesHelp(10));
        QVERIFY(!shows(*s.screen, "jobBar"));
    }

    void choices_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<Split::Mode>("mode");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<int>("steps");      // stepper clicks up (negative: down)
        QTest::addColumn<QString>("option"); // the every label or the each text
        QTest::addColumn<QString>("preview");
        QTest::addColumn<QString>("error");
        const auto row = [](const char *name, const char *file, Split::Mode mode, const char *typed,
                            int steps, const char *option, const char *preview,
                            const char *error = "") {
            QTest::newRow(name) << QString::fromUtf8(file) << mode << QString::fromUtf8(typed)
                                << steps << QString::fromUtf8(option) << QString::fromUtf8(preview)
                                << QString::fromUtf8(error);
        };
        using M = Split::Mode;
        row("empty field", "Ten.pdf", M::Ranges, "", 0, "", "");
        row("typed ranges", "Ten.pdf", M::Ranges, "1-3, 5, 8-", 0, "",
            "This will make 3 files: 1–3, 5, 8–10");
        row("page past the end", "Ten.pdf", M::Ranges, "2, 12", 0, "", "",
            "Page 12 doesn't exist; this PDF has 10 pages.");
        row("every caps at the page count", "Three.pdf", M::Every, "", 1, "Every 3 pages",
            "This will make 1 file: 1–3");
        row("each page", "Three.pdf", M::Each, "", 0, "One file per page.",
            "This will make 3 files: 1, 2, 3");
        // Every five pages at first, one step down; typed text that doesn't
        // parse is no concern of the other modes.
        row("every four, bad text", "Ten.pdf", M::Every, "x", -1, "Every 4 pages",
            "This will make 3 files: 1–4, 5–8, 9–10");
    }
    void choices()
    {
        QFETCH(QString, file);
        QFETCH(Split::Mode, mode);
        QFETCH(QString, typed);
        QFETCH(int, steps);
        QFETCH(QString, option);
        QFETCH(QString, preview);
        Shown<SplitScreen> s;
        QVERIFY(s.open({path(file)}, {900, 640}));
        const SplitScreen &screen = *s.screen;
        QTest::keyClicks(part<QLineEdit>(screen, "splitRanges"), typed);
        click(modeButton(screen, "splitMode", mode));
        QCOMPARE(screen.model().mode(), mode);
        auto *stepper = part<QSpinBox>(screen, "splitEvery");
        for (int i = 0; i < std::abs(steps); ++i)
            steps > 0 ? stepper->stepUp() : stepper->stepDown();
        QCOMPARE(stepper->isVisible(), mode == Split::Mode::Every);
        if (mode == Split::Mode::Every)
            QCOMPARE(shownText(screen, "splitEveryLabel"), option);
        QCOMPARE(shownText(screen, "splitEach"), mode == Split::Mode::Each ? option : QString());
        QCOMPARE(shows(screen, "splitRanges"), mode == Split::Mode::Ranges);
        QCOMPARE(shownText(screen, "splitPreview"), preview);
        QTEST(shownText(screen, "splitError"), "error");
        QCOMPARE(part<QPushButton>(screen, "splitButton")->isEnabled(), !preview.isEmpty());
        if (mode != Split::Mode::Every)
            return;
        // The stepper and the chunk size stay between one page and the file's page count.
        QCOMPARE(QString::number(stepper->value()), option.section(u' ', 1, 1));
        QCOMPARE(stepper->minimum(), 1);
        QCOMPARE(stepper->maximum(), screen.model().pageCount());
        s.screen->model().setEvery(0);
        QCOMPARE(stepper->value(), 1);
        s.screen->model().setEvery(40);
        QCOMPARE(stepper->value(), screen.model().pageCount());
    }

    void choicesOutliveTheFileButTheOutcomeDoesNot()
    {
        Workspace ws;
        ws.add({path(u"Ten.pdf"_s), path(u"Three.pdf"_s)});
        ws.select(ws.files().first().id);
        SplitScreen screen(ws);
        screen.show();
        click(modeButton(screen, "splitMode", Split::Mode::Every));
        auto *stepper = part<QSpinBox>(screen, "splitEvery");
        stepper->stepDown();
        stepper->stepDown(); // every 3
        screen.model().job().fail(u"An earlier failure"_s);
        QVERIFY(screen.findChild<QWidget *>(u"jobBar"_s)->isVisible());

        ws.select(ws.files().last().id);
        QVERIFY(std::holds_alternative<Job::Idle>(screen.model().job().state()));
        QVERIFY(modeButton(screen, "splitMode", Split::Mode::Every)->isChecked());
        QCOMPARE(shownText(screen, "splitEveryLabel"), u"Every 3 pages"_s);
        QCOMPARE(shownText(screen, "splitPreview"), u"This will make 1 file: 1–3"_s);
        QVERIFY(!part(screen, "jobBar")->isVisible());

        // Back on the ten pages, the typed text and chunk size are as left.
        screen.model().setRangeText(u"2-4"_s);
        ws.select(ws.files().first().id);
        QCOMPARE(shownText(screen, "splitPreview"), u"This will make 4 files: 1–3, 4–6, 7–9, 10"_s);
        click(modeButton(screen, "splitMode", Split::Mode::Ranges));
        QCOMPARE(part<QLineEdit>(screen, "splitRanges")->text(), u"2-4"_s);
    }

    // The typed ranges reach the work (one part: "1 file"); a second split
    // makes a second folder.
    void splitThroughTheScreen()
    {
        QTemporaryDir dir;
        Workspace ws;
        ws.add({writeFile(dir.filePath(u"Ten.pdf"_s), textPDF(10))});
        SplitScreen screen(ws);
        screen.show();
        QVERIFY(QTest::qWaitForWindowExposed(&screen));
        QTest::keyClicks(part<QLineEdit>(screen, "splitRanges"), u"2-3"_s);
        auto *split = part<QPushButton>(screen, "splitButton");
        for (const QString &folderName : {u"Ten split"_s, u"Ten split 2"_s}) {
            click(split);
            QVERIFY(!split->isEnabled()); // while it runs
            QCOMPARE(part<QLabel>(screen, "jobText")->text(), u"Splitting…"_s);
            QTRY_VERIFY_WITH_TIMEOUT(split->isEnabled(), 60000);
            QCOMPARE(part<QLabel>(screen, "jobTitle")->text(), u"Made 1 file"_s);
            QCOMPARE(part<QLabel>(screen, "jobDetail")->text(),
                     u"In the folder “%1”."_s.arg(folderName));
            QCOMPARE(
                QDir(dir.filePath(folderName)).entryList(QDir::Files | QDir::Hidden, QDir::Name),
                QStringList{"Ten pages 2-3.pdf"});
            QVERIFY(part(screen, "jobShow")->isVisible());
        }
    }
};

QTEST_MAIN(TestSplitScreen)
#include "tst_splitscreen.moc"
