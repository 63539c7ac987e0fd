// The Merge screen: what its rows and footer say, when "Merge…" can be
// pressed, the name it proposes, reordering by dragging rows, and merges
// run through the screen down to the file on disk.
#include "Banner.h"
#include "Dialogs.h"
#include "EmptyDrop.h"
#include "Fixtures.h"
#include "Format.h"
#include "MergeList.h"
#include "MergeModel.h"
#include "MergeScreen.h"
#include "PDFError.h"
#include "Reveal.h"
#include "Symbols.h"
#include "Workspace.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QLayout>
#include <QMimeData>
#include <QPushButton>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>

using namespace Fixtures;

namespace {
QString labelText(QWidget *parent, const char *name)
{
    auto *label = parent->findChild<QLabel *>(QLatin1String(name));
    return label ? label->text() : QStringLiteral("<no %1>").arg(QLatin1String(name));
}

QStringList leftovers(const QString &folder)
{
    return QDir(folder).entryList({QStringLiteral(".quirebook-*")}, QDir::Files | QDir::Hidden);
}

QStringList names(const Workspace &ws)
{
    QStringList list;
    for (const PDFFile &file : ws.files())
        list << file.fileName();
    return list;
}
} // namespace

class TestMergeScreen : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

    QString path(const QString &name) const { return m_dir.filePath(name); }
    QString pdf(const QString &name, int pages)
    {
        return writeFile(path(name + QStringLiteral(".pdf")), textPDF(pages, name));
    }
    QString restricted()
    {
        WriteOptions limited;
        limited.encrypt = true;
        limited.ownerPassword = QStringLiteral("boss");
        limited.allowChanges = false;
        return writeFile(path(QStringLiteral("Limited.pdf")), makePDF(numberedPages(2), limited));
    }
    QString picture() { return writeFile(path(QStringLiteral("Photo.png")), encode(marker(400, 300), "PNG")); }

    // Finds the row of a file (by its name) in the screen.
    QWidget *row(QWidget *screen, const QString &fileName)
    {
        // Rows replaced by a rebuild linger until deleted, out of the layout.
        for (QWidget *r : screen->findChildren<QWidget *>(QStringLiteral("mergeRow")))
            if (r->parentWidget()->layout()->indexOf(r) >= 0 && labelText(r, "rowName") == fileName)
                return r;
        return nullptr;
    }

private Q_SLOTS:
    void initTestCase()
    {
        Symbols::installTheme();
        pdf(QStringLiteral("Report"), 3);
        pdf(QStringLiteral("Annex"), 2);
        pdf(QStringLiteral("Single"), 1);
        restricted();
        picture();
    }

    void captions_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("start");
        QTest::addColumn<QString>("end");
        QTest::addColumn<bool>("orange");
        QTest::newRow("three pages") << "Report.pdf" << "3 pages · " << "B" << false;
        QTest::newRow("one page") << "Single.pdf" << "1 page · " << "B" << false;
        QTest::newRow("picture") << "Photo.png" << "1 page · " << " · picture" << false;
        QTest::newRow("restricted") << "Limited.pdf" << "2 pages · " << " · restricted" << true;
    }
    void captions()
    {
        QFETCH(QString, file);
        QFETCH(QString, start);
        QFETCH(QString, end);
        QFETCH(bool, orange);
        Workspace ws;
        ws.add({path(file)});
        const QString caption = MergeModel::rowCaption(ws.files().first());
        QCOMPARE(caption, start + Format::bytes(QFileInfo(path(file)).size()) +
                              (end == QLatin1String("B") ? QString() : end));
        MergeScreen screen(ws);
        QWidget *r = row(&screen, file);
        QVERIFY(r);
        QCOMPARE(labelText(r, "rowCaption"), caption);
        QCOMPARE(r->findChild<QLabel *>(QStringLiteral("rowCaption"))->property("restricted").toBool(), orange);
        QCOMPARE(r->findChild<QPushButton *>(QStringLiteral("rowOwnerPassword")) != nullptr, orange);
    }

    void footerAndButton_data()
    {
        QTest::addColumn<QStringList>("files");
        QTest::addColumn<QString>("summary");
        QTest::addColumn<bool>("enabled");
        QTest::addColumn<bool>("banner");
        QTest::newRow("one file") << QStringList{"Report.pdf"} << "1 file · 3 pages" << false << false;
        QTest::newRow("one page is still pages") << QStringList{"Single.pdf"} << "1 file · 1 pages" << false << false;
        QTest::newRow("two files") << QStringList{"Report.pdf", "Annex.pdf"} << "2 files · 5 pages" << true << false;
        QTest::newRow("picture counts one page")
            << QStringList{"Photo.png", "Single.pdf"} << "2 files · 2 pages" << true << false;
        QTest::newRow("one restricted")
            << QStringList{"Report.pdf", "Limited.pdf", "Annex.pdf"} << "3 files · 7 pages" << false << true;
    }
    void footerAndButton()
    {
        QFETCH(QStringList, files);
        QFETCH(QString, summary);
        QFETCH(bool, enabled);
        QFETCH(bool, banner);
        Workspace ws;
        QStringList paths;
        for (const QString &f : files)
            paths << path(f);
        ws.add(paths);
        MergeScreen screen(ws);
        screen.show();
        QVERIFY(QTest::qWaitForWindowExposed(&screen));
        QCOMPARE(labelText(&screen, "mergeSummary"), summary);
        QCOMPARE(screen.model().footerSummary(), summary);
        auto *merge = screen.findChild<QPushButton *>(QStringLiteral("mergeButton"));
        QCOMPARE(merge->text(), QStringLiteral("Merge…"));
        QCOMPARE(merge->isEnabled(), enabled);
        QCOMPARE(screen.model().canMerge(), enabled);
        auto *bannerWidget = screen.findChild<Banner *>();
        QCOMPARE(bannerWidget->isVisible(), banner);
        QCOMPARE(bannerWidget->text(),
                 QStringLiteral("Some files have restrictions set by their owner. Enter the owner "
                                "password for them, or remove them from the list."));
    }

    void emptyScreenShowsOnlyThePrompt()
    {
        Workspace ws;
        MergeScreen screen(ws);
        screen.show();
        QVERIFY(QTest::qWaitForWindowExposed(&screen));
        QCOMPARE(labelText(&screen, "pageTitle"), QStringLiteral("Merge"));
        QCOMPARE(labelText(&screen, "pageSubtitle"),
                 QStringLiteral("Combine PDFs and pictures into one file. Drag the rows to set the order."));
        auto *prompt = screen.findChild<EmptyDrop *>();
        QVERIFY(prompt->isVisible());
        QCOMPARE(labelText(prompt, "emptyDropText"), QStringLiteral("Drop PDFs and pictures here"));
        QCOMPARE(labelText(prompt, "emptyDropHint"), QStringLiteral("JPG, PNG and HEIC pictures work too"));
        QVERIFY(!screen.findChild<QPushButton *>(QStringLiteral("mergeButton"))->isVisible());
        // Adding files brings the list; removing the last brings the prompt back.
        ws.add({path(QStringLiteral("Report.pdf"))});
        QVERIFY(!prompt->isVisible());
        QTest::mouseClick(row(&screen, QStringLiteral("Report.pdf"))->findChild<QToolButton *>(QStringLiteral("rowRemove")),
                          Qt::LeftButton);
        QVERIFY(ws.files().isEmpty());
        QVERIFY(prompt->isVisible());
        QVERIFY(QFileInfo::exists(path(QStringLiteral("Report.pdf"))));
    }

    void suggestedNames_data()
    {
        QTest::addColumn<QStringList>("files");
        QTest::addColumn<QString>("proposal");
        QTest::newRow("two files") << QStringList{"Report.pdf", "Annex.pdf"} << "Merged.pdf";
        QTest::newRow("three PDFs") << QStringList{"Report.pdf", "Annex.pdf", "Single.pdf"} << "Report merged.pdf";
        QTest::newRow("picture first") << QStringList{"Photo.png", "Annex.pdf", "Single.pdf"} << "Merged.pdf";
    }
    void suggestedNames()
    {
        QFETCH(QStringList, files);
        QFETCH(QString, proposal);
        Workspace ws;
        ScriptedDialogs dialogs;
        ws.setDialogs(&dialogs);
        QStringList paths;
        for (const QString &f : files)
            paths << path(f);
        ws.add(paths);
        MergeScreen screen(ws);
        screen.show();
        QTest::mouseClick(screen.findChild<QPushButton *>(QStringLiteral("mergeButton")), Qt::LeftButton);
        // The panel opens in the first file's folder; cancelling it starts nothing.
        QCOMPARE(dialogs.saveProposals, QStringList{QFileInfo(m_dir.path()).absoluteFilePath() + u'|' + proposal});
        QVERIFY(std::holds_alternative<Job::Idle>(screen.model().job().state()));
        QVERIFY(!screen.findChild<QWidget *>(QStringLiteral("jobBar"))->isVisible());
    }

    void draggingARowMovesTheFile_data()
    {
        QTest::addColumn<int>("from");
        QTest::addColumn<int>("to"); // the row the drop lands on, its upper half
        QTest::addColumn<QStringList>("order");
        QTest::newRow("last to first") << 2 << 0 << QStringList{"Single.pdf", "Report.pdf", "Annex.pdf"};
        QTest::newRow("first to the end") << 0 << 3 << QStringList{"Annex.pdf", "Single.pdf", "Report.pdf"};
        QTest::newRow("first before last") << 0 << 2 << QStringList{"Annex.pdf", "Report.pdf", "Single.pdf"};
        QTest::newRow("onto itself") << 1 << 1 << QStringList{"Report.pdf", "Annex.pdf", "Single.pdf"};
    }
    void draggingARowMovesTheFile()
    {
        QFETCH(int, from);
        QFETCH(int, to);
        QFETCH(QStringList, order);
        Workspace ws;
        ws.add({path(QStringLiteral("Report.pdf")), path(QStringLiteral("Annex.pdf")),
                path(QStringLiteral("Single.pdf"))});
        MergeScreen screen(ws);
        screen.resize(800, 600);
        screen.show();
        QVERIFY(QTest::qWaitForWindowExposed(&screen));
        auto *list = screen.findChild<MergeList *>();
        const auto rows = list->findChildren<QWidget *>(QStringLiteral("mergeRow"));
        QCOMPARE(rows.size(), 3);
        const QPoint at = to < 3 ? rows[to]->geometry().topLeft() + QPoint(30, 4)
                                 : rows[2]->geometry().bottomLeft() + QPoint(30, 10);
        QMimeData mime;
        mime.setData(QString::fromLatin1(MergeList::kRowMime), QByteArray::number(from));
        QDragEnterEvent enter(at, Qt::MoveAction, &mime, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(list, &enter);
        QVERIFY(enter.isAccepted());
        QDropEvent drop(QPointF(at), Qt::MoveAction, &mime, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(list, &drop);
        QVERIFY(drop.isAccepted());
        QCOMPARE(names(ws), order);
        // The rows follow the new order.
        QStringList shown;
        for (QWidget *r : list->findChildren<QWidget *>(QStringLiteral("mergeRow")))
            if (!r->property("fileId").isNull() && r->parentWidget() == list && list->layout()->indexOf(r) >= 0)
                shown << labelText(r, "rowName");
        QCOMPARE(shown, order);
        // The suggestion follows too: "<first> merged".
        QCOMPARE(screen.model().suggestedName(), QFileInfo(order.first()).completeBaseName() + QStringLiteral(" merged"));
    }

    void filesDroppedFromOutsideAreNotRows()
    {
        Workspace ws;
        ws.add({path(QStringLiteral("Report.pdf")), path(QStringLiteral("Annex.pdf"))});
        MergeScreen screen(ws);
        screen.show();
        auto *list = screen.findChild<MergeList *>();
        QMimeData mime;
        mime.setUrls({QUrl::fromLocalFile(path(QStringLiteral("Single.pdf")))});
        QDragEnterEvent enter(QPoint(10, 10), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(list, &enter);
        QVERIFY(!enter.isAccepted()); // left to the tool area, which adds them
    }

    void mergeThroughTheScreen_data()
    {
        QTest::addColumn<QStringList>("files");
        QTest::addColumn<bool>("existing");
        QTest::addColumn<QStringList>("texts");
        QTest::newRow("two PDFs and a picture, new file")
            << QStringList{"Annex.pdf", "Photo.png", "Report.pdf"} << false
            << QStringList{"Annex 1", "Annex 2", "", "Report 1", "Report 2", "Report 3"};
        QTest::newRow("replacing a file chosen in the panel")
            << QStringList{"Single.pdf", "Annex.pdf"} << true << QStringList{"Single 1", "Annex 1", "Annex 2"};
    }
    void mergeThroughTheScreen()
    {
        QFETCH(QStringList, files);
        QFETCH(bool, existing);
        QFETCH(QStringList, texts);
        QTemporaryDir out;
        const QString destination = out.filePath(QStringLiteral("Together.pdf"));
        if (existing)
            writeFile(destination, "old contents");
        Workspace ws;
        ScriptedDialogs dialogs;
        dialogs.saveAnswers = {destination};
        ws.setDialogs(&dialogs);
        QStringList paths;
        for (const QString &f : files)
            paths << path(f);
        ws.add(paths);
        MergeScreen screen(ws);
        screen.show();
        QVERIFY(QTest::qWaitForWindowExposed(&screen));
        auto *merge = screen.findChild<QPushButton *>(QStringLiteral("mergeButton"));
        QTest::mouseClick(merge, Qt::LeftButton);
        QVERIFY(!merge->isEnabled()); // while it runs
        QTRY_VERIFY_WITH_TIMEOUT(!screen.model().job().isRunning(), 60000);
        QCOMPARE(labelText(&screen, "jobTitle"), QStringLiteral("Merged %1 pages").arg(texts.size()));
        QCOMPARE(labelText(&screen, "jobDetail"),
                 QStringLiteral("Together.pdf · ") + Format::bytes(QFileInfo(destination).size()));
        QVERIFY(merge->isEnabled());
        QCOMPARE(popplerPageCount(destination), texts.size());
        QFile written(destination);
        QVERIFY(written.open(QIODevice::ReadOnly));
        const QStringList pages = popplerPageTexts(written.readAll());
        QCOMPARE(pages.size(), texts.size());
        for (int i = 0; i < texts.size(); ++i)
            QVERIFY2(pages[i].trimmed() == texts[i], qPrintable(pages[i]));
        QVERIFY(leftovers(out.path()).isEmpty());

        QStringList revealed;
        Reveal::setHandler([&revealed](const QStringList &p) { revealed = p; });
        QTest::mouseClick(screen.findChild<QPushButton *>(QStringLiteral("jobShow")), Qt::LeftButton);
        Reveal::setHandler({});
        QCOMPARE(revealed, QStringList{destination});
    }

    void failedMergeShowsTheMessage()
    {
        QTemporaryDir out;
        const QString gone = writeFile(out.filePath(QStringLiteral("Gone.pdf")), textPDF(2));
        const QString destination = out.filePath(QStringLiteral("Result.pdf"));
        Workspace ws;
        ScriptedDialogs dialogs;
        dialogs.saveAnswers = {destination};
        ws.setDialogs(&dialogs);
        ws.add({path(QStringLiteral("Report.pdf")), gone});
        QFile::remove(gone); // deleted after it was opened
        MergeScreen screen(ws);
        screen.show();
        QTest::mouseClick(screen.findChild<QPushButton *>(QStringLiteral("mergeButton")), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(!screen.model().job().isRunning(), 60000);
        QCOMPARE(labelText(&screen, "jobTitle"), PDFError::unreadable(QStringLiteral("Gone.pdf")).description());
        QVERIFY(!screen.findChild<QPushButton *>(QStringLiteral("jobShow"))->isVisible());
        QVERIFY(!QFileInfo::exists(destination));
        QVERIFY(leftovers(out.path()).isEmpty());
    }

    void restrictedFileBlocksUntilUnlocked()
    {
        Workspace ws;
        ScriptedDialogs dialogs({QStringLiteral("wrong"), QStringLiteral("boss")});
        ws.setDialogs(&dialogs);
        ws.add({path(QStringLiteral("Report.pdf")), path(QStringLiteral("Limited.pdf"))});
        MergeScreen screen(ws);
        screen.show();
        QVERIFY(QTest::qWaitForWindowExposed(&screen));
        auto *merge = screen.findChild<QPushButton *>(QStringLiteral("mergeButton"));
        auto *banner = screen.findChild<Banner *>();
        QVERIFY(banner->isVisible());
        QVERIFY(!merge->isEnabled());
        QWidget *limited = row(&screen, QStringLiteral("Limited.pdf"));
        auto *unlock = limited->findChild<QPushButton *>(QStringLiteral("rowOwnerPassword"));
        QCOMPARE(unlock->text(), QStringLiteral("Enter Owner Password…"));
        QTest::mouseClick(unlock, Qt::LeftButton);
        QCOMPARE(dialogs.asked.size(), 2); // a wrong try, then the right one
        QCOMPARE(dialogs.asked.first().message, QStringLiteral("Owner password needed"));
        QVERIFY(!banner->isVisible());
        QVERIFY(merge->isEnabled());
        QWidget *unlocked = row(&screen, QStringLiteral("Limited.pdf"));
        QVERIFY(!unlocked->findChild<QPushButton *>(QStringLiteral("rowOwnerPassword")));
        QVERIFY(!labelText(unlocked, "rowCaption").contains(QLatin1String("restricted")));
    }

    void editsWhileRunningDontChangeTheMerge()
    {
        // The job keeps the list it was started with.
        QTemporaryDir out;
        const QString destination = out.filePath(QStringLiteral("Snapshot.pdf"));
        Workspace ws;
        ScriptedDialogs dialogs;
        dialogs.saveAnswers = {destination};
        ws.setDialogs(&dialogs);
        ws.add({path(QStringLiteral("Report.pdf")), path(QStringLiteral("Annex.pdf"))});
        MergeScreen screen(ws);
        screen.show();
        QTest::mouseClick(screen.findChild<QPushButton *>(QStringLiteral("mergeButton")), Qt::LeftButton);
        ws.remove(ws.files()[1].id);
        ws.add({path(QStringLiteral("Single.pdf"))});
        QTRY_VERIFY_WITH_TIMEOUT(!screen.model().job().isRunning(), 60000);
        QCOMPARE(popplerPageCount(destination), 5);
    }
};

QTEST_MAIN(TestMergeScreen)
#include "tst_mergescreen.moc"
