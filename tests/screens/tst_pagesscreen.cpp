// The Pages screen's bindings: what clicks, buttons, keys, the add menu
// and drops do to the page list, when the buttons can be pressed, what the
// footer says, and a save run to the job bar. The list's own rules and the
// written pages in detail: tests/tasks.
#include "core/Dialogs.h"
#include "core/Job.h"
#include "core/Workspace.h"
#include "screens/PagesGrid.h"
#include "screens/PagesScreen.h"
#include "screens/Symbols.h"
#include "support/Fixtures.h"
#include "support/ScreenParts.h"
#include "tasks/PagesModel.h"

#include <QApplication>
#include <QFileInfo>
#include <QLabel>
#include <QMenu>
#include <QMimeData>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

using namespace Fixtures;

using namespace ScreenParts;

namespace {
void click(PagesGrid *grid, int index, Qt::KeyboardModifiers modifiers = {})
{
    QTest::mouseClick(grid->viewport(), Qt::LeftButton, modifiers, grid->cellRect(index).center());
}

// The pages on show as "<origin> <page number>", in order.
QStringList pages(const PagesModel &model)
{
    QStringList list;
    for (const auto &item : model.items())
        list << item.origin + u' ' + QString::number(item.page + 1);
    return list;
}
} // namespace

class TestPagesScreen : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QString path(const QString &name) const { return m_dir.filePath(name); }

    // The screen over Doc.pdf (5 pages), laid out.
    struct Setup : Shown<PagesView> {
        PagesGrid *grid = nullptr;
    };
    void open(Setup &s, const QStringList &names)
    {
        QStringList paths;
        for (const QString &name : names)
            paths << path(name);
        QVERIFY(s.open(paths, {1000, 800}));
        s.grid = part<PagesGrid>(*s.screen, "pagesGrid");
        QVERIFY(s.grid);
    }

private Q_SLOTS:
    void initTestCase()
    {
        Symbols::installTheme();
        writeFile(path(u"Doc.pdf"_s), textPDF(5, u"Doc"_s));
        writeFile(path(u"Other.pdf"_s), textPDF(2, u"Other"_s));
        writeFile(path(u"Third.pdf"_s), textPDF(3, u"Third"_s));
        writeFile(path(u"Limited.pdf"_s), makePDF(numberedPages(2), lock({}, u"boss"_s, true)));
        writeFile(path(u"Photo.png"_s), encode(marker(400, 300), "PNG"));
    }

    void selectionEnablesButtons_data()
    {
        QTest::addColumn<QList<int>>("clicks");
        QTest::addColumn<int>("shiftClick"); // -1: none
        QTest::addColumn<bool>("selectAll");
        QTest::addColumn<QString>("summary");
        QTest::addColumn<bool>("canDelete");
        QTest::newRow("none") << QList<int>{} << -1 << false << "5 pages" << false;
        QTest::newRow("two") << QList<int>{0, 2} << -1 << false << "5 pages · 2 selected" << true;
        QTest::newRow("clicked twice") << QList<int>{1, 1} << -1 << false << "5 pages" << false;
        QTest::newRow("shift run") << QList<int>{1} << 3 << false << "5 pages · 3 selected" << true;
        QTest::newRow("all") << QList<int>{} << -1 << true << "5 pages · 5 selected" << false;
    }
    void selectionEnablesButtons()
    {
        QFETCH(QList<int>, clicks);
        QFETCH(int, shiftClick);
        QFETCH(bool, selectAll);
        QFETCH(QString, summary);
        QFETCH(bool, canDelete);
        Setup s;
        open(s, {u"Doc.pdf"_s});
        const PagesView &screen = *s.screen;
        for (int index : clicks)
            click(s.grid, index);
        if (shiftClick >= 0)
            click(s.grid, shiftClick, Qt::ShiftModifier);
        if (selectAll)
            click(part<QPushButton>(screen, "pagesSelectAll"));
        QCOMPARE(part<QLabel>(screen, "pagesSummary")->text(), summary);
        QCOMPARE(part(screen, "pagesDelete")->isEnabled(), canDelete);
        QCOMPARE(part(screen, "pagesSaveSelected")->isEnabled(),
                 !s.screen->model().selected().isEmpty());
        QVERIFY(part(screen, "pagesSaveCopy")->isEnabled());
        // Nothing edited yet: nothing to undo, no caption about bookmarks.
        QVERIFY(!part(screen, "pagesUndo")->isEnabled());
        QVERIFY(!part(screen, "pagesBookmarksCaption")->isVisible());
    }

    void editsThroughTheToolbarAndKeys()
    {
        Setup s;
        open(s, {u"Doc.pdf"_s});
        const PagesView &screen = *s.screen;
        PagesModel &model = s.screen->model();
        // Nothing selected: a turn goes to every page.
        click(part<QPushButton>(screen, "pagesRotateLeft"));
        for (const auto &item : model.items())
            QCOMPARE(item.extra, 270);
        QVERIFY(part(screen, "pagesUndo")->isEnabled());
        auto *caption = part<QLabel>(screen, "pagesBookmarksCaption");
        QVERIFY(caption->isVisible());
        QCOMPARE(caption->text(), Pages::bookmarksCaption());

        click(s.grid, 1);
        click(s.grid, 3);
        click(part<QPushButton>(screen, "pagesRotateRight"));
        QCOMPARE(model.items()[1].extra, 0);
        QCOMPARE(model.items()[0].extra, 270);
        QTest::keyClick(s.grid, Qt::Key_Delete);
        QCOMPARE(pages(model), (QStringList{"Doc 1", "Doc 3", "Doc 5"}));
        QCOMPARE(part<QLabel>(screen, "pagesSummary")->text(), u"3 pages"_s);
        QTest::keyClick(s.grid, Qt::Key_Z, Qt::ControlModifier);
        QCOMPARE(model.items().size(), 5);
        // Every page selected, Backspace (like the button) deletes nothing.
        QTest::keyClick(s.grid, Qt::Key_A, Qt::ControlModifier);
        QCOMPARE(model.selected().size(), 5);
        QTest::keyClick(s.grid, Qt::Key_Backspace);
        QCOMPARE(model.items().size(), 5);
        click(s.grid, 4);
        QTest::keyClick(s.grid, Qt::Key_Backspace);
        QCOMPARE(model.items().size(), 1);
        click(part<QPushButton>(screen, "pagesUndo"));
        click(part<QPushButton>(screen, "pagesUndo"));
        click(part<QPushButton>(screen, "pagesUndo"));
        QVERIFY(!part(screen, "pagesUndo")->isEnabled());
        QVERIFY(!caption->isVisible());
        QCOMPARE(model.items()[0].extra, 0);
    }

    void addPagesFromMenu()
    {
        Setup s;
        open(s, {u"Doc.pdf"_s, u"Photo.png"_s, u"Limited.pdf"_s, u"Other.pdf"_s});
        s.dialogs.openAnswers = {{path(u"Third.pdf"_s)}};
        auto *menu = part<QPushButton>(*s.screen, "pagesAddFrom")->menu();
        Q_EMIT menu->aboutToShow();
        QStringList entries;
        for (QAction *action : menu->actions())
            entries << (action->isSeparator() ? u"—"_s : action->text());
        QCOMPARE(entries, (QStringList{"Other.pdf", "—", "Choose a File…"}));
        menu->actions().first()->trigger();
        menu->actions().last()->trigger();
        QCOMPARE(s.ws.files().size(), 5);
        QCOMPARE(pages(s.screen->model()),
                 (QStringList{"Doc 1", "Doc 2", "Doc 3", "Doc 4", "Doc 5", "Other 1", "Other 2",
                              "Third 1", "Third 2", "Third 3"}));
        QCOMPARE(part<QLabel>(*s.screen, "pagesSummary")->text(), u"10 pages"_s);
    }

    void dropReorders_data()
    {
        QTest::addColumn<int>("dragged"); // -1: a string that isn't a page's id
        QTest::addColumn<int>("onto");
        QTest::addColumn<QStringList>("order");
        QTest::newRow("fourth onto the first")
            << 3 << 0 << QStringList{"Doc 4", "Doc 1", "Doc 2", "Doc 3", "Doc 5"};
        QTest::newRow("first past the last")
            << 0 << 5 << QStringList{"Doc 2", "Doc 3", "Doc 4", "Doc 5", "Doc 1"};
        QTest::newRow("not an id")
            << -1 << 0 << QStringList{"Doc 1", "Doc 2", "Doc 3", "Doc 4", "Doc 5"};
    }
    void dropReorders()
    {
        QFETCH(int, dragged);
        QFETCH(int, onto);
        QFETCH(QStringList, order);
        Setup s;
        open(s, {u"Doc.pdf"_s});
        const auto &items = s.screen->model().items();
        QMimeData mime;
        mime.setText(dragged >= 0 ? items[dragged].id.toString() : u"Doc 4"_s);
        const QPoint at = onto < items.size()
                              ? s.grid->cellRect(onto).center()
                              : s.grid->cellRect(int(items.size()) - 1).center() + QPoint(150, 0);
        QDragEnterEvent enter(at, Qt::MoveAction, &mime, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(s.grid->viewport(), &enter);
        QCOMPARE(enter.isAccepted(), dragged >= 0);
        QDropEvent drop(QPointF(at), Qt::MoveAction, &mime, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(s.grid->viewport(), &drop);
        QCOMPARE(drop.isAccepted(), dragged >= 0);
        QCOMPARE(pages(s.screen->model()), order);
    }

    void saveSelectedToTheJobBar()
    {
        QTemporaryDir out;
        const QString destination = out.filePath(u"Picked.pdf"_s);
        Setup s;
        s.dialogs.saveAnswers = {std::nullopt, destination}; // cancelled, then answered
        open(s, {u"Doc.pdf"_s});
        const PagesView &screen = *s.screen;
        click(s.grid, 3);
        click(s.grid, 1);
        auto *save = part<QPushButton>(screen, "pagesSaveSelected");
        click(save);
        QCOMPARE(s.dialogs.saveProposals, QStringList{QFileInfo(m_dir.path()).absoluteFilePath() +
                                                      u'|' + "Doc selection.pdf"});
        QVERIFY(std::holds_alternative<Job::Idle>(s.screen->job().state()));
        click(save);
        QVERIFY(!save->isEnabled()); // while it runs
        QVERIFY(!part(screen, "pagesSaveCopy")->isEnabled());
        QVERIFY(finish(s.screen->job(), 60000));
        QCOMPARE(part<QLabel>(screen, "jobTitle")->text(), u"Saved 2 pages"_s);
        QCOMPARE(part<QLabel>(screen, "jobDetail")->text().section(u' ', 0, 0), u"Picked.pdf"_s);
        QCOMPARE(popplerPageTexts(readFile(destination)), (QStringList{"Doc 2", "Doc 4"}));
    }
};

QTEST_MAIN(TestPagesScreen)
#include "tst_pagesscreen.moc"
