// The Split screen: what the picker, the field, the stepper, the preview and
// the error say for a file, when "Split" can be pressed, and splits run
// through the screen down to the parts on disk.
#include "EmptyDrop.h"
#include "Fixtures.h"
#include "Reveal.h"
#include "SplitModel.h"
#include "SplitScreen.h"
#include "Symbols.h"
#include "Workspace.h"

#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;

namespace {
// The panel on show (a replaced one lingers hidden until deleted).
QWidget *panel(QWidget *screen)
{
    for (QWidget *p : screen->findChildren<QWidget *>(QStringLiteral("splitPanel")))
        if (!p->isHidden())
            return p;
    return nullptr;
}

template <typename T = QWidget> T *control(QWidget *screen, const char *name)
{
    QWidget *p = panel(screen);
    return p ? p->findChild<T *>(QLatin1String(name)) : nullptr;
}

// A label's text, empty while it is hidden.
QString shownText(QWidget *screen, const char *name)
{
    auto *label = control<QLabel>(screen, name);
    if (!label)
        return QStringLiteral("<no %1>").arg(QLatin1String(name));
    return label->isVisibleTo(label->parentWidget()) ? label->text() : QString();
}

QPushButton *modeButton(QWidget *screen, Split::Mode mode)
{
    for (QPushButton *b : panel(screen)->findChildren<QPushButton *>(QStringLiteral("splitMode")))
        if (b->property("mode").toInt() == int(mode))
            return b;
    return nullptr;
}
} // namespace

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
        writeFile(path(QStringLiteral("One.pdf")), textPDF(1, QStringLiteral("One")));
    }

    void startsOnPageNumbers()
    {
        Workspace ws;
        SplitScreen screen(ws);
        screen.show();
        QVERIFY(QTest::qWaitForWindowExposed(&screen));
        QCOMPARE(screen.findChild<QLabel *>(QStringLiteral("pageTitle"))->text(),
                 QStringLiteral("Split"));
        QCOMPARE(screen.findChild<QLabel *>(QStringLiteral("pageSubtitle"))->text(),
                 QStringLiteral("Cut a PDF into several files."));
        QVERIFY(screen.findChild<EmptyDrop *>());
        QVERIFY(!panel(&screen));

        ws.add({path(QStringLiteral("Ten.pdf"))});
        QVERIFY(panel(&screen));
        QStringList labels;
        for (QPushButton *b :
             panel(&screen)->findChildren<QPushButton *>(QStringLiteral("splitMode")))
            labels << b->text();
        QCOMPARE(labels, (QStringList{"By page numbers", "Every N pages", "Every page"}));
        QVERIFY(modeButton(&screen, Split::Mode::Ranges)->isChecked());
        auto *field = control<QLineEdit>(&screen, "splitRanges");
        QVERIFY(field->isVisible());
        QCOMPARE(field->placeholderText(), QStringLiteral("For example: 1-3, 5, 8-"));
        QCOMPARE(
            shownText(&screen, "splitRangesHelp"),
            QStringLiteral(
                "Each part separated by a comma becomes its own file. This PDF has 10 pages."));
        QCOMPARE(control<QPushButton>(&screen, "splitButton")->text(), QStringLiteral("Split"));
        QVERIFY(!control(&screen, "jobBar")->isVisible());
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
        QTest::newRow("every four of ten") << "Ten.pdf" << every << "" << -1 << "Every 4 pages"
                                           << "This will make 3 files: 1–4, 5–8, 9–10"
                                           << "";
        QTest::newRow("every caps at the page count")
            << "Three.pdf" << every << "" << 1 << "Every 3 pages"
            << "This will make 1 file: 1–3"
            << "";
        QTest::newRow("one page file") << "One.pdf" << every << "" << 2 << "Every 1 page"
                                       << "This will make 1 file: 1"
                                       << "";
        QTest::newRow("each page") << "Three.pdf" << each << "" << 0 << "One file per page."
                                   << "This will make 3 files: 1, 2, 3"
                                   << "";
        // Every five pages at first; typed text that doesn't parse is no concern of the other
        // modes.
        QTest::newRow("bad text, every mode") << "Ten.pdf" << every << "x" << 0 << "Every 5 pages"
                                              << "This will make 2 files: 1–5, 6–10"
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
        QTest::keyClicks(control<QLineEdit>(&screen, "splitRanges"), typed);
        QTest::mouseClick(modeButton(&screen, Split::Mode(mode)), Qt::LeftButton);
        QCOMPARE(int(screen.model().mode()), mode);
        auto *stepper = control<QSpinBox>(&screen, "splitEvery");
        for (int i = 0; i < std::abs(steps); ++i)
            steps > 0 ? stepper->stepUp() : stepper->stepDown();
        QCOMPARE(stepper->isVisible(), mode == int(Split::Mode::Every));
        if (mode == int(Split::Mode::Every)) {
            QCOMPARE(shownText(&screen, "splitEveryLabel"), option);
            QCOMPARE(QString::number(stepper->value()), option.section(u' ', 1, 1));
        }
        QCOMPARE(shownText(&screen, "splitEach"),
                 mode == int(Split::Mode::Each) ? option : QString());
        QCOMPARE(control(&screen, "splitRanges")->isVisible(), mode == int(Split::Mode::Ranges));
        QCOMPARE(shownText(&screen, "splitPreview"), preview);
        QCOMPARE(shownText(&screen, "splitError"), error);
        QCOMPARE(control<QPushButton>(&screen, "splitButton")->isEnabled(), !preview.isEmpty());
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
        QTest::mouseClick(modeButton(&screen, Split::Mode::Every), Qt::LeftButton);
        auto *stepper = control<QSpinBox>(&screen, "splitEvery");
        stepper->stepDown();
        stepper->stepDown(); // every 3
        screen.model().job().fail(QStringLiteral("An earlier failure"));
        QVERIFY(screen.findChild<QWidget *>(QStringLiteral("jobBar"))->isVisible());

        ws.select(ws.files().last().id);
        QVERIFY(std::holds_alternative<Job::Idle>(screen.model().job().state()));
        QVERIFY(modeButton(&screen, Split::Mode::Every)->isChecked());
        QCOMPARE(shownText(&screen, "splitEveryLabel"), QStringLiteral("Every 3 pages"));
        QCOMPARE(shownText(&screen, "splitPreview"), QStringLiteral("This will make 1 file: 1–3"));
        QVERIFY(!control(&screen, "jobBar")->isVisible());

        // Back on the ten pages, the typed text and chunk size are as left.
        screen.model().setRangeText(QStringLiteral("2-4"));
        ws.select(ws.files().first().id);
        QCOMPARE(shownText(&screen, "splitPreview"),
                 QStringLiteral("This will make 4 files: 1–3, 4–6, 7–9, 10"));
        QTest::mouseClick(modeButton(&screen, Split::Mode::Ranges), Qt::LeftButton);
        QCOMPARE(control<QLineEdit>(&screen, "splitRanges")->text(), QStringLiteral("2-4"));
    }

    void splitThroughTheScreen_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QStringList>("parts"); // as the folder lists them
        QTest::addColumn<QList<int>>("pages");  // each part's page count
        // The same pages twice: the second part is numbered, not overwritten.
        QTest::newRow("repeated") << "8-, 3, 8-"
                                  << "Made 3 files"
                                  << QStringList{"Ten page 3.pdf", "Ten pages 8-10 2.pdf",
                                                 "Ten pages 8-10.pdf"}
                                  << QList<int>{1, 3, 3};
        QTest::newRow("one part") << "2-3"
                                  << "Made 1 file" << QStringList{"Ten pages 2-3.pdf"}
                                  << QList<int>{2};
    }
    void splitThroughTheScreen()
    {
        QFETCH(QString, typed);
        QFETCH(QString, title);
        QFETCH(QStringList, parts);
        QFETCH(QList<int>, pages);
        QTemporaryDir dir;
        const QByteArray before = textPDF(10, QStringLiteral("Ten"));
        const QString source = writeFile(dir.filePath(QStringLiteral("Ten.pdf")), before);
        Workspace ws;
        ws.add({source});
        SplitScreen screen(ws);
        screen.show();
        QVERIFY(QTest::qWaitForWindowExposed(&screen));
        QTest::keyClicks(control<QLineEdit>(&screen, "splitRanges"), typed);
        auto *split = control<QPushButton>(&screen, "splitButton");
        // A second split makes a second folder.
        for (const QString &folderName :
             {QStringLiteral("Ten split"), QStringLiteral("Ten split 2")}) {
            QTest::mouseClick(split, Qt::LeftButton);
            QVERIFY(!split->isEnabled()); // while it runs
            QCOMPARE(control<QLabel>(&screen, "jobText")->text(), QStringLiteral("Splitting…"));
            QTRY_VERIFY_WITH_TIMEOUT(split->isEnabled(), 60000);
            QCOMPARE(control<QLabel>(&screen, "jobTitle")->text(), title);
            QCOMPARE(control<QLabel>(&screen, "jobDetail")->text(),
                     QStringLiteral("In the folder “%1”.").arg(folderName));
            const QDir folder(dir.filePath(folderName));
            QCOMPARE(folder.entryList(QDir::Files | QDir::Hidden, QDir::Name), parts);
            for (int i = 0; i < parts.size(); ++i)
                QCOMPARE(popplerPageCount(folder.filePath(parts[i])), pages[i]);

            QStringList revealed;
            Reveal::setHandler([&revealed](const QStringList &p) { revealed = p; });
            QTest::mouseClick(control<QPushButton>(&screen, "jobShow"), Qt::LeftButton);
            Reveal::setHandler({});
            QCOMPARE(revealed, QStringList{folder.path()});
        }
        QCOMPARE(readFile(source), before);
    }

    void folderThatCantBeMadeFailsAtOnce()
    {
        // The source's folder went away after the file was opened.
        QTemporaryDir dir;
        const QString sub = dir.filePath(QStringLiteral("gone"));
        QVERIFY(QDir().mkdir(sub));
        Workspace ws;
        ws.add({writeFile(sub + QStringLiteral("/Report.pdf"), textPDF(4))});
        SplitScreen screen(ws);
        screen.show();
        QTest::mouseClick(modeButton(&screen, Split::Mode::Each), Qt::LeftButton);
        QVERIFY(QDir(sub).removeRecursively());
        QTest::mouseClick(control<QPushButton>(&screen, "splitButton"), Qt::LeftButton);
        QVERIFY(std::holds_alternative<Job::Failed>(screen.model().job().state()));
        QCOMPARE(control<QLabel>(&screen, "jobTitle")->text(),
                 QStringLiteral("Quirebook can't write next to “Report.pdf”. Copy the file to your "
                                "Desktop or Documents first."));
        QVERIFY(!control(&screen, "jobShow")->isVisible());
        QVERIFY(control<QPushButton>(&screen, "splitButton")->isEnabled());
        QVERIFY(QDir(dir.path()).isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden));
    }
};

QTEST_MAIN(TestSplitScreen)
#include "tst_splitscreen.moc"
