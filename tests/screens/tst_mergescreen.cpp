// The Merge screen's bindings: what its rows and footer say, when "Merge…"
// can be pressed, the name it proposes, reordering by dragging rows, and a
// merge run to the job bar (the work itself: tests/tasks).
#include "core/Dialogs.h"
#include "core/Format.h"
#include "core/Workspace.h"
#include "screens/Banner.h"
#include "screens/EmptyDrop.h"
#include "screens/MergeList.h"
#include "screens/MergeModel.h"
#include "screens/MergeScreen.h"
#include "screens/Symbols.h"
#include "support/Fixtures.h"
#include "support/ScreenParts.h"

#include <QApplication>
#include <QFileInfo>
#include <QLabel>
#include <QLayout>
#include <QMimeData>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>

using namespace Qt::StringLiterals;

using namespace Fixtures;
using namespace ScreenParts;

namespace {
// The rows on show, in order (rows replaced by a rebuild linger until deleted, out of the layout).
QList<QWidget *> rows(QWidget *screen)
{
    QList<QWidget *> shown;
    for (QWidget *r : screen->findChildren<QWidget *>(u"mergeRow"_s))
        if (r->parentWidget()->layout()->indexOf(r) >= 0)
            shown << r;
    std::sort(shown.begin(), shown.end(), [](QWidget *a, QWidget *b) {
        return a->parentWidget()->layout()->indexOf(a) < b->parentWidget()->layout()->indexOf(b);
    });
    return shown;
}

QWidget *row(QWidget *screen, const QString &fileName)
{
    for (QWidget *r : rows(screen))
        if (labelText(r, "rowName") == fileName)
            return r;
    return nullptr;
}
} // namespace

class TestMergeScreen : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

    QStringList paths(const QStringList &names) const
    {
        QStringList list;
        for (const QString &name : names)
            list << m_dir.filePath(name);
        return list;
    }

private Q_SLOTS:
    void initTestCase()
    {
        Symbols::installTheme();
        for (const auto &[name, pages] :
             {std::pair{"Report", 3}, std::pair{"Annex", 2}, std::pair{"Single", 1}})
            writeFile(m_dir.filePath(name + u".pdf"_s), textPDF(pages, QLatin1String(name)));
        writeFile(m_dir.filePath(u"Limited.pdf"_s),
                  makePDF(numberedPages(2), lock({}, u"boss"_s, true)));
        writeFile(m_dir.filePath(u"Photo.png"_s), encode(marker(400, 300), "PNG"));
    }

    void rowsFooterAndButton_data()
    {
        QTest::addColumn<QStringList>("files");
        QTest::addColumn<QStringList>("captions"); // %1: the file's size
        QTest::addColumn<QString>("summary");
        QTest::addColumn<bool>("enabled");
        QTest::addColumn<bool>("banner");
        QTest::newRow("one page is still pages")
            << QStringList{"Single.pdf"} << QStringList{"1 page · %1"} << "1 file · 1 pages"
            << false << false;
        QTest::newRow("picture counts one page")
            << QStringList{"Photo.png", "Single.pdf"}
            << QStringList{"1 page · %1 · picture", "1 page · %1"} << "2 files · 2 pages" << true
            << false;
        QTest::newRow("one restricted")
            << QStringList{"Report.pdf", "Limited.pdf", "Annex.pdf"}
            << QStringList{"3 pages · %1", "2 pages · %1 · restricted", "2 pages · %1"}
            << "3 files · 7 pages" << false << true;
    }
    void rowsFooterAndButton()
    {
        QFETCH(QStringList, files);
        QFETCH(QStringList, captions);
        QFETCH(QString, summary);
        QFETCH(bool, enabled);
        QFETCH(bool, banner);
        Workspace ws;
        ScriptedDialogs dialogs({u"boss"_s});
        ws.setDialogs(&dialogs);
        ws.add(paths(files));
        MergeScreen screen(ws);
        screen.show();
        QVERIFY(QTest::qWaitForWindowExposed(&screen));
        const auto shown = rows(&screen);
        QCOMPARE(shown.size(), files.size());
        for (int i = 0; i < files.size(); ++i) {
            QCOMPARE(labelText(shown[i], "rowName"), files[i]);
            QCOMPARE(labelText(shown[i], "rowCaption"),
                     captions[i].arg(Format::bytes(QFileInfo(m_dir.filePath(files[i])).size())));
            // Restricted: an orange caption and a button for the owner password.
            const bool restricted = captions[i].endsWith(QLatin1String("restricted"));
            QCOMPARE(
                shown[i]->findChild<QLabel *>(u"rowCaption"_s)->property("restricted").toBool(),
                restricted);
            QCOMPARE(part<QPushButton>(shown[i], "rowOwnerPassword") != nullptr, restricted);
        }
        QCOMPARE(labelText(&screen, "mergeSummary"), summary);
        auto *merge = part<QPushButton>(&screen, "mergeButton");
        QCOMPARE(merge->isEnabled(), enabled);
        auto *bannerWidget = screen.findChild<Banner *>();
        QCOMPARE(bannerWidget->isVisible(), banner);
        if (!banner)
            return;
        // The owner password given on the row, it is an ordinary row and the files can be merged.
        click(part<QPushButton>(row(&screen, u"Limited.pdf"_s), "rowOwnerPassword"));
        QCOMPARE(dialogs.asked.size(), 1);
        QVERIFY(!bannerWidget->isVisible());
        QVERIFY(merge->isEnabled());
        QWidget *unlocked = row(&screen, u"Limited.pdf"_s);
        QVERIFY(!part<QPushButton>(unlocked, "rowOwnerPassword"));
        QCOMPARE(labelText(unlocked, "rowCaption"),
                 u"2 pages · "_s +
                     Format::bytes(QFileInfo(m_dir.filePath(u"Limited.pdf"_s)).size()));
    }

    // The prompt's texts: tst_components. A file chosen in the open panel
    // brings the list; removing the last brings the prompt back.
    void emptyScreenShowsOnlyThePrompt()
    {
        Workspace ws;
        ScriptedDialogs dialogs;
        dialogs.openAnswers = {paths({"Report.pdf"})};
        ws.setDialogs(&dialogs);
        MergeScreen screen(ws);
        screen.show();
        QVERIFY(QTest::qWaitForWindowExposed(&screen));
        auto *prompt = screen.findChild<EmptyDrop *>();
        QVERIFY(prompt->isVisible());
        QVERIFY(!part<QPushButton>(&screen, "mergeButton")->isVisible());
        QTest::mouseClick(part<QPushButton>(prompt, "chooseFiles"), Qt::LeftButton);
        QVERIFY(!prompt->isVisible());
        QTest::mouseClick(row(&screen, u"Report.pdf"_s)->findChild<QToolButton *>(u"rowRemove"_s),
                          Qt::LeftButton);
        QVERIFY(ws.files().isEmpty());
        QVERIFY(prompt->isVisible());
    }

    void draggingARowMovesTheFile_data()
    {
        QTest::addColumn<int>("from"); // -1: files from outside, left to the tool area
        QTest::addColumn<int>("to");   // the row the drop lands on, its upper half
        QTest::addColumn<QStringList>("order");
        QTest::newRow("last to first")
            << 2 << 0 << QStringList{"Single.pdf", "Report.pdf", "Annex.pdf"};
        QTest::newRow("first to the end")
            << 0 << 3 << QStringList{"Annex.pdf", "Single.pdf", "Report.pdf"};
        QTest::newRow("onto itself")
            << 1 << 1 << QStringList{"Report.pdf", "Annex.pdf", "Single.pdf"};
        QTest::newRow("files from outside")
            << -1 << 0 << QStringList{"Report.pdf", "Annex.pdf", "Single.pdf"};
    }
    void draggingARowMovesTheFile()
    {
        QFETCH(int, from);
        QFETCH(int, to);
        QFETCH(QStringList, order);
        Workspace ws;
        ws.add(paths({"Report.pdf", "Annex.pdf", "Single.pdf"}));
        MergeScreen screen(ws);
        screen.resize(800, 600);
        screen.show();
        QVERIFY(QTest::qWaitForWindowExposed(&screen));
        auto *list = screen.findChild<MergeList *>();
        const auto before = rows(&screen);
        QCOMPARE(before.size(), 3);
        const QPoint at = to < 3 ? before[to]->geometry().topLeft() + QPoint(30, 4)
                                 : before[2]->geometry().bottomLeft() + QPoint(30, 10);
        QMimeData mime;
        from < 0 ? mime.setUrls({QUrl::fromLocalFile(m_dir.filePath(u"Photo.png"_s))})
                 : mime.setData(QString::fromLatin1(MergeList::kRowMime), QByteArray::number(from));
        QDragEnterEvent enter(at, Qt::MoveAction, &mime, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(list, &enter);
        QCOMPARE(enter.isAccepted(), from >= 0);
        if (from >= 0) {
            QDropEvent drop(QPointF(at), Qt::MoveAction, &mime, Qt::LeftButton, Qt::NoModifier);
            QApplication::sendEvent(list, &drop);
            QVERIFY(drop.isAccepted());
        }
        QStringList inWorkspace, shown;
        for (const PDFFile &file : ws.files())
            inWorkspace << file.fileName();
        QCOMPARE(inWorkspace, order);
        QTRY_COMPARE(rows(&screen).size(), 3);
        for (QWidget *r : rows(&screen))
            shown << labelText(r, "rowName");
        QCOMPARE(shown, order);
        // The suggestion follows too: "<first> merged".
        QCOMPARE(screen.model().suggestedName(),
                 QFileInfo(order.first()).completeBaseName() + u" merged"_s);
    }

    void mergeThroughTheScreen()
    {
        QTemporaryDir out;
        const QString destination = out.filePath(u"Together.pdf"_s);
        Workspace ws;
        ScriptedDialogs dialogs;
        dialogs.saveAnswers = {std::nullopt, destination}; // the panel cancelled, then answered
        dialogs.openAnswers = {paths({"Photo.png", "Report.pdf"})};
        ws.setDialogs(&dialogs);
        ws.add(paths({"Annex.pdf"}));
        MergeScreen screen(ws);
        screen.show();
        QVERIFY(QTest::qWaitForWindowExposed(&screen));
        click(part<QPushButton>(&screen, "mergeAddFiles"));
        auto *merge = part<QPushButton>(&screen, "mergeButton");
        click(merge);
        // The panel opens in the first file's folder with the suggested name; cancelled, nothing
        // starts.
        QCOMPARE(dialogs.saveProposals, QStringList{QFileInfo(m_dir.path()).absoluteFilePath() +
                                                    u'|' + "Annex merged.pdf"});
        QVERIFY(std::holds_alternative<Job::Idle>(screen.model().job().state()));
        QVERIFY(!part(&screen, "jobBar")->isVisible());
        click(merge);
        QVERIFY(!merge->isEnabled()); // while it runs
        // The job keeps the list it was started with.
        ws.remove(ws.files()[1].id);
        ws.add(paths({"Single.pdf"}));
        QVERIFY(finish(screen, 60000));
        QCOMPARE(labelText(&screen, "jobTitle"), u"Merged 6 pages"_s);
        QCOMPARE(labelText(&screen, "jobDetail"),
                 u"Together.pdf · "_s + Format::bytes(QFileInfo(destination).size()));
        QVERIFY(merge->isEnabled());
        QCOMPARE(popplerPageTexts(readFile(destination)),
                 (QStringList{"Annex 1", "Annex 2", "", "Report 1", "Report 2", "Report 3"}));
    }
};

QTEST_MAIN(TestMergeScreen)
#include "tst_mergescreen.moc"
