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
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;

using namespace ScreenParts;

class TestSplitScreen : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

    QString path(const QString &name) const { return m_dir.filePath(name); }

private Q_SLOTS:
    void initTestCase()
    {
        Symbols::installTheme();
        writeFile(path(QStringLiteral("Ten.pdf")), textPDF(10, QStringLiteral("Ten")));
        writeFile(path(QStringLiteral("Three.pdf")), textPDF(3, QStringLiteral("Three")));
    }

    void startsOnPageNumbers()
    {
        Workspace ws;
        ws.add({path(QStringLiteral("Ten.pdf"))});
        SplitScreen screen(ws);
        screen.show();
        QVERIFY(QTest::qWaitForWindowExposed(&screen));
        for (const Split::Mode mode : {Split::Mode::Ranges, Split::Mode::Every, Split::Mode::Each})
            QCOMPARE(modeButton(screen, "splitMode", mode)->text(), Split::label(mode));
        QVERIFY(modeButton(screen, "splitMode", Split::Mode::Ranges)->isChecked());
        auto *field = part<QLineEdit>(screen, "splitRanges");
        QVERIFY(field->isVisible());
        QCOMPARE(field->placeholderText(), QStringLiteral("For example: 1-3, 5, 8-"));
        QCOMPARE(shownText(screen, "splitRangesHelp"), Split::rangesHelp(10));
        QCOMPARE(part<QPushButton>(screen, "splitButton")->text(), QStringLiteral("Split"));
        QVERIFY(!part(screen, "jobBar")->isVisible());
    }

    void choices_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<int>("mode");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<int>("steps");      // stepper clicks up (negative: down)
        QTest::addColumn<QString>("option"); // the every label or the each text
        QTest::addColumn<QString>("preview");
        QTest::addColumn<QString>("error");
        const int ranges = int(Split::Mode::Ranges), every = int(Split::Mode::Every),
                  each = int(Split::Mode::Each);
        QTest::newRow("empty field") << "Ten.pdf" << ranges << "" << 0 << ""
                                     << ""
                                     << "";
        QTest::newRow("typed ranges") << "Ten.pdf" << ranges << "1-3, 5, 8-" << 0 << ""
                                      << "This will make 3 files: 1–3, 5, 8–10"
                                      << "";
        QTest::newRow("page past the end") << "Ten.pdf" << ranges << "2, 12" << 0 << ""
                                           << ""
                                           << "Page 12 doesn't exist; this PDF has 10 pages.";
        QTest::newRow("every caps at the page count")
            << "Three.pdf" << every << "" << 1 << "Every 3 pages"
            << "This will make 1 file: 1–3"
            << "";
        QTest::newRow("each page") << "Three.pdf" << each << "" << 0 << "One file per page."
                                   << "This will make 3 files: 1, 2, 3"
                                   << "";
        // Every five pages at first, one step down; typed text that doesn't parse is no concern
        // of the other modes.
        QTest::newRow("every four, bad text") << "Ten.pdf" << every << "x" << -1 << "Every 4 pages"
                                              << "This will make 3 files: 1–4, 5–8, 9–10"
                                              << "";
    }
    void choices()
    {
        QFETCH(QString, file);
        QFETCH(int, mode);
        QFETCH(QString, typed);
        QFETCH(int, steps);
        QFETCH(QString, option);
        QFETCH(QString, preview);
        QFETCH(QString, error);
        Workspace ws;
        ws.add({path(file)});
        SplitScreen screen(ws);
        screen.show();
        QVERIFY(QTest::qWaitForWindowExposed(&screen));
        QTest::keyClicks(part<QLineEdit>(screen, "splitRanges"), typed);
        click(modeButton(screen, "splitMode", Split::Mode(mode)));
        QCOMPARE(int(screen.model().mode()), mode);
        auto *stepper = part<QSpinBox>(screen, "splitEvery");
        for (int i = 0; i < std::abs(steps); ++i)
            steps > 0 ? stepper->stepUp() : stepper->stepDown();
        QCOMPARE(stepper->isVisible(), mode == int(Split::Mode::Every));
        if (mode == int(Split::Mode::Every)) {
            QCOMPARE(shownText(screen, "splitEveryLabel"), option);
            QCOMPARE(QString::number(stepper->value()), option.section(u' ', 1, 1));
        }
        QCOMPARE(shownText(screen, "splitEach"),
                 mode == int(Split::Mode::Each) ? option : QString());
        QCOMPARE(part(screen, "splitRanges")->isVisible(), mode == int(Split::Mode::Ranges));
        QCOMPARE(shownText(screen, "splitPreview"), preview);
        QCOMPARE(shownText(screen, "splitError"), error);
        QCOMPARE(part<QPushButton>(screen, "splitButton")->isEnabled(), !preview.isEmpty());
        if (mode != int(Split::Mode::Every))
            return;
        // The stepper and the chunk size stay between one page and the file's page count.
        QCOMPARE(stepper->minimum(), 1);
        QCOMPARE(stepper->maximum(), screen.model().pageCount());
        screen.model().setEvery(0);
        QCOMPARE(stepper->value(), 1);
        screen.model().setEvery(40);
        QCOMPARE(stepper->value(), screen.model().pageCount());
    }

    void choicesOutliveTheFileButTheOutcomeDoesNot()
    {
        Workspace ws;
        ws.add({path(QStringLiteral("Ten.pdf")), path(QStringLiteral("Three.pdf"))});
        ws.select(ws.files().first().id);
        SplitScreen screen(ws);
        screen.show();
        click(modeButton(screen, "splitMode", Split::Mode::Every));
        auto *stepper = part<QSpinBox>(screen, "splitEvery");
        stepper->stepDown();
        stepper->stepDown(); // every 3
        screen.model().job().fail(QStringLiteral("An earlier failure"));
        QVERIFY(screen.findChild<QWidget *>(QStringLiteral("jobBar"))->isVisible());

        ws.select(ws.files().last().id);
        QVERIFY(std::holds_alternative<Job::Idle>(screen.model().job().state()));
        QVERIFY(modeButton(screen, "splitMode", Split::Mode::Every)->isChecked());
        QCOMPARE(shownText(screen, "splitEveryLabel"), QStringLiteral("Every 3 pages"));
        QCOMPARE(shownText(screen, "splitPreview"), QStringLiteral("This will make 1 file: 1–3"));
        QVERIFY(!part(screen, "jobBar")->isVisible());

        // Back on the ten pages, the typed text and chunk size are as left.
        screen.model().setRangeText(QStringLiteral("2-4"));
        ws.select(ws.files().first().id);
        QCOMPARE(shownText(screen, "splitPreview"),
                 QStringLiteral("This will make 4 files: 1–3, 4–6, 7–9, 10"));
        click(modeButton(screen, "splitMode", Split::Mode::Ranges));
        QCOMPARE(part<QLineEdit>(screen, "splitRanges")->text(), QStringLiteral("2-4"));
    }

    void splitThroughTheScreen_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QStringList>("parts"); // as the folder lists them
        // The same pages twice: the second part is numbered, not overwritten.
        QTest::newRow("repeated") << "8-, 3, 8-"
                                  << "Made 3 files"
                                  << QStringList{"Ten page 3.pdf", "Ten pages 8-10 2.pdf",
                                                 "Ten pages 8-10.pdf"};
        QTest::newRow("one part") << "2-3"
                                  << "Made 1 file" << QStringList{"Ten pages 2-3.pdf"};
    }
    void splitThroughTheScreen()
    {
        QFETCH(QString, typed);
        QFETCH(QString, title);
        QFETCH(QStringList, parts);
        QTemporaryDir dir;
        Workspace ws;
        ws.add({writeFile(dir.filePath(QStringLiteral("Ten.pdf")), textPDF(10))});
        SplitScreen screen(ws);
        screen.show();
        QVERIFY(QTest::qWaitForWindowExposed(&screen));
        QTest::keyClicks(part<QLineEdit>(screen, "splitRanges"), typed);
        auto *split = part<QPushButton>(screen, "splitButton");
        // A second split makes a second folder.
        for (const QString &folderName :
             {QStringLiteral("Ten split"), QStringLiteral("Ten split 2")}) {
            click(split);
            QVERIFY(!split->isEnabled()); // while it runs
            QCOMPARE(part<QLabel>(screen, "jobText")->text(), QStringLiteral("Splitting…"));
            QTRY_VERIFY_WITH_TIMEOUT(split->isEnabled(), 60000);
            QCOMPARE(part<QLabel>(screen, "jobTitle")->text(), title);
            QCOMPARE(part<QLabel>(screen, "jobDetail")->text(),
                     QStringLiteral("In the folder “%1”.").arg(folderName));
            QCOMPARE(
                QDir(dir.filePath(folderName)).entryList(QDir::Files | QDir::Hidden, QDir::Name),
                parts);
            QVERIFY(part(screen, "jobShow")->isVisible());
        }
    }
};

QTEST_MAIN(TestSplitScreen)
#include "tst_splitscreen.moc"
