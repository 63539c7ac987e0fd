// The Split screen: what the picker, the field, the stepper, the preview and
// the error say for a file, when "Split" can be pressed, and splits run
// through the screen down to the parts on disk.
#include "EmptyDrop.h"
#include "Fixtures.h"
#include "PDFError.h"
#include "Reveal.h"
#include "SplitModel.h"
#include "SplitScreen.h"
#include "Symbols.h"
#include "ToolPage.h"
#include "Workspace.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
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

template <typename T> T *control(QWidget *screen, const char *name)
{
    QWidget *p = panel(screen);
    return p ? p->findChild<T *>(QLatin1String(name)) : nullptr;
}

QString shownText(QWidget *screen, const char *name)
{
    auto *label = control<QLabel>(screen, name);
    if (!label)
        return QStringLiteral("<no %1>").arg(QLatin1String(name));
    return label->isVisibleTo(label->parentWidget()) ? label->text() : QString();
}

QString labelText(QWidget *parent, const char *name)
{
    auto *label = parent->findChild<QLabel *>(QLatin1String(name));
    return label ? label->text() : QStringLiteral("<no %1>").arg(QLatin1String(name));
}

QPushButton *modeButton(QWidget *screen, Split::Mode mode)
{
    for (QPushButton *b : panel(screen)->findChildren<QPushButton *>(QStringLiteral("splitMode")))
        if (b->property("mode").toInt() == int(mode))
            return b;
    return nullptr;
}

QStringList entries(const QString &folder)
{
    QStringList names = QDir(folder).entryList(QDir::Files | QDir::Hidden);
    names.sort();
    return names;
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

    void noFileShowsThePrompt()
    {
        Workspace ws;
        SplitScreen screen(ws);
        screen.show();
        QCOMPARE(labelText(&screen, "pageTitle"), QStringLiteral("Split"));
        QCOMPARE(labelText(&screen, "pageSubtitle"), QStringLiteral("Cut a PDF into several files."));
        QVERIFY(screen.findChild<EmptyDrop *>());
        QVERIFY(!panel(&screen));
        ws.add({path(QStringLiteral("Ten.pdf"))});
        QVERIFY(panel(&screen));
    }

    void startsOnPageNumbers()
    {
        Workspace ws;
        ws.add({path(QStringLiteral("Ten.pdf"))});
        SplitScreen screen(ws);
        screen.show();
        QVERIFY(QTest::qWaitForWindowExposed(&screen));
        QStringList labels;
        for (QPushButton *b : panel(&screen)->findChildren<QPushButton *>(QStringLiteral("splitMode")))
            labels << b->text();
        QCOMPARE(labels, (QStringList{"By page numbers", "Every N pages", "Every page"}));
        QVERIFY(modeButton(&screen, Split::Mode::Ranges)->isChecked());
        auto *field = control<QLineEdit>(&screen, "splitRanges");
        QVERIFY(field->isVisible());
        QCOMPARE(field->placeholderText(), QStringLiteral("For example: 1-3, 5, 8-"));
        QCOMPARE(shownText(&screen, "splitRangesHelp"),
                 QStringLiteral("Each part separated by a comma becomes its own file. This PDF has 10 pages."));
        // An empty field: no error, no preview, nothing to press.
        QCOMPARE(shownText(&screen, "splitError"), QString());
        QCOMPARE(shownText(&screen, "splitPreview"), QString());
        auto *split = control<QPushButton>(&screen, "splitButton");
        QCOMPARE(split->text(), QStringLiteral("Split"));
        QVERIFY(!split->isEnabled());
        QVERIFY(!control<QSpinBox>(&screen, "splitEvery")->isVisible());
        QCOMPARE(screen.model().chosenEvery(), 5);
        QVERIFY(!screen.findChild<QWidget *>(QStringLiteral("jobBar"))->isVisible());
    }

    void choices_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<int>("mode");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<int>("steps"); // stepper clicks up (negative: down)
        QTest::addColumn<QString>("option"); // the every label or the each text
        QTest::addColumn<QString>("preview");
        QTest::addColumn<QString>("error");
        const int ranges = int(Split::Mode::Ranges), every = int(Split::Mode::Every), each = int(Split::Mode::Each);
        QTest::newRow("typed ranges") << "Ten.pdf" << ranges << "1-3, 5, 8-" << 0 << ""
                                      << "This will make 3 files: 1–3, 5, 8–10" << "";
        QTest::newRow("one typed page") << "Ten.pdf" << ranges << "4" << 0 << "" << "This will make 1 file: 4" << "";
        QTest::newRow("eight groups show six")
            << "Ten.pdf" << ranges << "1,2,3,4,5,6,7,9-10" << 0 << ""
            << "This will make 8 files: 1, 2, 3, 4, 5, 6, …" << "";
        QTest::newRow("page past the end") << "Ten.pdf" << ranges << "2, 12" << 0 << "" << ""
                                           << "Page 12 doesn't exist; this PDF has 10 pages.";
        QTest::newRow("not a range") << "Three.pdf" << ranges << "1, abc" << 0 << "" << ""
                                     << "“abc” isn't a page or a range. Use numbers like 3 or 2-5.";
        QTest::newRow("only commas") << "Three.pdf" << ranges << " , " << 0 << "" << ""
                                     << "Type the pages you want, like 1-3, 5, 8-";
        QTest::newRow("every five of ten") << "Ten.pdf" << every << "" << 0 << "Every 5 pages"
                                           << "This will make 2 files: 1–5, 6–10" << "";
        QTest::newRow("every four of ten") << "Ten.pdf" << every << "" << -1 << "Every 4 pages"
                                           << "This will make 3 files: 1–4, 5–8, 9–10" << "";
        QTest::newRow("every one") << "Ten.pdf" << every << "" << -4 << "Every 1 page"
                                   << "This will make 10 files: 1, 2, 3, 4, 5, 6, …" << "";
        QTest::newRow("every caps at the page count") << "Three.pdf" << every << "" << 3 << "Every 3 pages"
                                                      << "This will make 1 file: 1–3" << "";
        QTest::newRow("one page file") << "One.pdf" << every << "" << 2 << "Every 1 page"
                                       << "This will make 1 file: 1" << "";
        QTest::newRow("each page") << "Three.pdf" << each << "" << 0 << "One file per page."
                                   << "This will make 3 files: 1, 2, 3" << "";
        // Typed text that doesn't parse is no concern of the other modes.
        QTest::newRow("bad text, every mode") << "Ten.pdf" << every << "x" << 0 << "Every 5 pages"
                                              << "This will make 2 files: 1–5, 6–10" << "";
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
        if (mode == int(Split::Mode::Every)) {
            QVERIFY(stepper->isVisible());
            QCOMPARE(shownText(&screen, "splitEveryLabel"), option);
            QCOMPARE(QString::number(stepper->value()), option.section(u' ', 1, 1));
        } else if (mode == int(Split::Mode::Each)) {
            QCOMPARE(shownText(&screen, "splitEach"), option);
        }
        QCOMPARE(control<QLineEdit>(&screen, "splitRanges")->isVisible(), mode == int(Split::Mode::Ranges));
        QCOMPARE(shownText(&screen, "splitPreview"), preview);
        QCOMPARE(shownText(&screen, "splitError"), error);
        QCOMPARE(control<QPushButton>(&screen, "splitButton")->isEnabled(), !preview.isEmpty());
    }

    void stepperStaysWithinThePages()
    {
        Workspace ws;
        ws.add({path(QStringLiteral("Three.pdf"))});
        SplitScreen screen(ws);
        screen.show();
        QTest::mouseClick(modeButton(&screen, Split::Mode::Every), Qt::LeftButton);
        auto *stepper = control<QSpinBox>(&screen, "splitEvery");
        QCOMPARE(stepper->minimum(), 1);
        QCOMPARE(stepper->maximum(), 3);
        QCOMPARE(stepper->value(), 3); // 5 does not fit three pages
        for (int i = 0; i < 5; ++i)
            stepper->stepDown();
        QCOMPARE(stepper->value(), 1);
        QCOMPARE(screen.model().every(), 1);
        screen.model().setEvery(0);
        QCOMPARE(screen.model().every(), 1);
        screen.model().setEvery(40);
        QCOMPARE(screen.model().every(), 3);
        QCOMPARE(stepper->value(), 3);
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
        auto *bar = control<QWidget>(&screen, "jobBar");
        QVERIFY(bar && !bar->isVisible());

        // Back on the ten pages, the typed text and chunk size are as left.
        screen.model().setRangeText(QStringLiteral("2-4"));
        ws.select(ws.files().first().id);
        QCOMPARE(shownText(&screen, "splitPreview"), QStringLiteral("This will make 4 files: 1–3, 4–6, 7–9, 10"));
        QTest::mouseClick(modeButton(&screen, Split::Mode::Ranges), Qt::LeftButton);
        QCOMPARE(control<QLineEdit>(&screen, "splitRanges")->text(), QStringLiteral("2-4"));
        QCOMPARE(shownText(&screen, "splitRangesHelp"),
                 QStringLiteral("Each part separated by a comma becomes its own file. This PDF has 10 pages."));
    }

    void splitThroughTheScreen_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QStringList>("parts");
        QTest::addColumn<QList<int>>("pages"); // each part's page count
        QTest::newRow("every five") << int(Split::Mode::Every) << "" << "Made 2 files"
                                    << QStringList{"Ten pages 1-5.pdf", "Ten pages 6-10.pdf"} << QList<int>{5, 5};
        QStringList each;
        for (int i = 1; i <= 10; ++i)
            each << QStringLiteral("Ten page %1.pdf").arg(i);
        QTest::newRow("each page") << int(Split::Mode::Each) << "" << "Made 10 files" << each
                                   << QList<int>(10, 1);
        // The same pages twice: the second part is numbered, not overwritten.
        QTest::newRow("typed, repeated") << int(Split::Mode::Ranges) << "8-, 3, 8-" << "Made 3 files"
                                         << QStringList{"Ten page 3.pdf", "Ten pages 8-10 2.pdf", "Ten pages 8-10.pdf"}
                                         << QList<int>{1, 3, 3};
        QTest::newRow("one part") << int(Split::Mode::Ranges) << "2-3" << "Made 1 file"
                                  << QStringList{"Ten pages 2-3.pdf"} << QList<int>{2};
    }
    void splitThroughTheScreen()
    {
        QFETCH(int, mode);
        QFETCH(QString, typed);
        QFETCH(QString, title);
        QFETCH(QStringList, parts);
        QFETCH(QList<int>, pages);
        parts.sort(); // as the folder lists them
        QTemporaryDir dir;
        const QString source = writeFile(dir.filePath(QStringLiteral("Ten.pdf")), textPDF(10, QStringLiteral("Ten")));
        const QByteArray before = textPDF(10, QStringLiteral("Ten"));
        Workspace ws;
        ws.add({source});
        SplitScreen screen(ws);
        screen.show();
        QVERIFY(QTest::qWaitForWindowExposed(&screen));
        QTest::mouseClick(modeButton(&screen, Split::Mode(mode)), Qt::LeftButton);
        QTest::keyClicks(control<QLineEdit>(&screen, "splitRanges"), typed);
        auto *split = control<QPushButton>(&screen, "splitButton");
        QVERIFY(split->isEnabled());

        for (const QString &folderName : {QStringLiteral("Ten split"), QStringLiteral("Ten split 2")}) {
            QTest::mouseClick(split, Qt::LeftButton);
            QVERIFY(!split->isEnabled()); // while it runs
            QCOMPARE(labelText(panel(&screen), "jobText"), QStringLiteral("Splitting…"));
            QTRY_VERIFY_WITH_TIMEOUT(!screen.model().job().isRunning(), 60000);
            QTRY_VERIFY(split->isEnabled());
            QCOMPARE(labelText(panel(&screen), "jobTitle"), title);
            QCOMPARE(labelText(panel(&screen), "jobDetail"), QStringLiteral("In the folder “%1”.").arg(folderName));
            const QString folder = dir.filePath(folderName);
            QCOMPARE(entries(folder), parts);
            for (int i = 0; i < parts.size(); ++i)
                QCOMPARE(popplerPageCount(QDir(folder).filePath(parts[i])), pages[i]);

            QStringList revealed;
            Reveal::setHandler([&revealed](const QStringList &p) { revealed = p; });
            QTest::mouseClick(control<QPushButton>(&screen, "jobShow"), Qt::LeftButton);
            Reveal::setHandler({});
            QCOMPARE(revealed, QStringList{folder});
        }
        // The parts hold the pages they are named after.
        QFile first(QDir(dir.filePath(QStringLiteral("Ten split"))).filePath(parts.last()));
        QVERIFY(first.open(QIODevice::ReadOnly));
        const QStringList texts = popplerPageTexts(first.readAll());
        const int firstPage = parts.last().section(u' ', 2, 2).section(u'-', 0, 0).section(u'.', 0, 0).toInt();
        QVERIFY2(texts.first().contains(QStringLiteral("Ten %1").arg(firstPage)), qPrintable(texts.first()));
        QFile original(source);
        QVERIFY(original.open(QIODevice::ReadOnly));
        QCOMPARE(original.readAll(), before);
    }

    void folderThatCantBeMadeFailsAtOnce()
    {
        // The source's folder went away after the file was opened.
        QTemporaryDir dir;
        const QString sub = dir.filePath(QStringLiteral("gone"));
        QVERIFY(QDir().mkdir(sub));
        writeFile(sub + QStringLiteral("/Report.pdf"), textPDF(4));
        Workspace ws;
        ws.add({sub + QStringLiteral("/Report.pdf")});
        SplitScreen screen(ws);
        screen.show();
        QTest::mouseClick(modeButton(&screen, Split::Mode::Each), Qt::LeftButton);
        QVERIFY(QDir(sub).removeRecursively());
        QTest::mouseClick(control<QPushButton>(&screen, "splitButton"), Qt::LeftButton);
        QVERIFY(std::holds_alternative<Job::Failed>(screen.model().job().state()));
        QCOMPARE(labelText(panel(&screen), "jobTitle"),
                 QStringLiteral("Quirebook can't write next to “Report.pdf”. Copy the file to your "
                                "Desktop or Documents first."));
        QVERIFY(!control<QPushButton>(&screen, "jobShow")->isVisible());
        QVERIFY(control<QPushButton>(&screen, "splitButton")->isEnabled());
    }

    void deletedSourceFailsAndLeavesNoFolder()
    {
        QTemporaryDir dir;
        const QString source = writeFile(dir.filePath(QStringLiteral("Brief.pdf")), textPDF(3));
        Workspace ws;
        ws.add({source});
        SplitScreen screen(ws);
        screen.show();
        QTest::mouseClick(modeButton(&screen, Split::Mode::Each), Qt::LeftButton);
        QFile::remove(source);
        QTest::mouseClick(control<QPushButton>(&screen, "splitButton"), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(!screen.model().job().isRunning(), 60000);
        QCOMPARE(labelText(panel(&screen), "jobTitle"), PDFError::unreadable(QStringLiteral("Brief.pdf")).description());
        QVERIFY(QDir(dir.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden).isEmpty());
    }

    void restrictedFileAsksForTheOwnerPassword()
    {
        WriteOptions limited;
        limited.encrypt = true;
        limited.ownerPassword = QStringLiteral("boss");
        limited.allowChanges = false;
        const QString file = writeFile(path(QStringLiteral("Limited.pdf")), makePDF(numberedPages(2), limited));
        Workspace ws;
        ScriptedDialogs dialogs({QStringLiteral("boss")});
        ws.setDialogs(&dialogs);
        ws.add({file});
        SplitScreen screen(ws);
        screen.show();
        QVERIFY(!panel(&screen));
        auto *unlock = screen.findChild<QPushButton *>(QStringLiteral("enterOwnerPassword"));
        QVERIFY(unlock && unlock->isVisible());
        QTest::mouseClick(unlock, Qt::LeftButton);
        QTRY_VERIFY(panel(&screen));
        QTest::mouseClick(modeButton(&screen, Split::Mode::Each), Qt::LeftButton);
        QCOMPARE(shownText(&screen, "splitPreview"), QStringLiteral("This will make 2 files: 1, 2"));
    }
};

QTEST_MAIN(TestSplitScreen)
#include "tst_splitscreen.moc"
