// The window's shared parts: the sidebar, the notice alert, drops on the
// tool area, the tool page frame and its file bar, the job bar, Show in
// Folder and the thumbnails.
#include "core/Dialogs.h"
#include "core/Format.h"
#include "core/Job.h"
#include "core/Workspace.h"
#include "engine/PDFError.h"
#include "screens/EmptyDrop.h"
#include "screens/FileBar.h"
#include "screens/FirstPageThumb.h"
#include "screens/JobBar.h"
#include "screens/PageThumb.h"
#include "screens/QtDialogs.h"
#include "screens/Reveal.h"
#include "screens/RootView.h"
#include "screens/ScreenRegistry.h"
#include "screens/Sidebar.h"
#include "screens/Symbols.h"
#include "screens/Theme.h"
#include "screens/Thumbnails.h"
#include "screens/ToolArea.h"
#include "screens/ToolPage.h"
#include "support/Fixtures.h"
#include "support/ScreenParts.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QMimeData>
#include <QProgressBar>
#include <QPushButton>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

#include <memory>

using namespace Qt::StringLiterals;

using namespace Fixtures;
using namespace ScreenParts;

Q_DECLARE_METATYPE(Tool)

namespace {
// A stand-in screen for a tool, so rows can be chosen in this test.
QWidget *standIn(Workspace &, QWidget *parent)
{
    auto *w = new QLabel(u"stand-in"_s, parent);
    w->setObjectName(u"standIn"_s);
    return w;
}
} // namespace

class TestComponents : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QString m_a, m_b, m_photo, m_restricted;

    QString path(const QString &name) const { return m_dir.filePath(name); }

private Q_SLOTS:
    void initTestCase()
    {
        Symbols::installTheme();
        m_a = writeFile(path(u"a.pdf"_s), textPDF(3, u"A"_s));
        m_b = writeFile(path(u"b.pdf"_s), textPDF(1, u"B"_s));
        m_photo = writeFile(path(u"photo.jpg"_s), encode(marker(300, 200), "JPEG"));
        writeFile(path(u"notes.txt"_s), "hello");
        m_restricted =
            writeFile(path(u"limited.pdf"_s), makePDF(numberedPages(2), lock({}, u"boss"_s, true)));
    }

    void everySymbolHasAnIcon_data()
    {
        QTest::addColumn<QString>("symbol");
        const QString used =
            u"square.stack.3d.up square.grid.2x2 scissors arrow.down.right.and.arrow.up.left "
            "signature text.magnifyingglass lock photo.on.rectangle doc.on.doc.fill "
            "lock.trianglebadge.exclamationmark lock.doc doc.richtext plus xmark.circle.fill "
            "xmark arrow.down.doc checkmark.circle.fill xmark.octagon.fill "
            "exclamationmark.triangle.fill line.3.horizontal"_s;
        for (const QString &symbol : used.split(u' '))
            QTest::newRow(qPrintable(symbol)) << symbol;
    }
    void everySymbolHasAnIcon()
    {
        // Offscreen too: the theme is found without a desktop session.
        QFETCH(QString, symbol);
        QVERIFY(!Symbols::iconName(symbol).isEmpty());
        const QPixmap drawn = Symbols::pixmap(symbol, 20, Theme::accent());
        QCOMPARE(drawn.size(), QSize(20, 20));
        // Tinted: every visible pixel has the accent colour.
        const QImage image = drawn.toImage().convertToFormat(QImage::Format_ARGB32);
        const QColor a = Theme::accent();
        int visible = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x) {
                const QRgb p = image.pixel(x, y);
                visible += qAlpha(p) > 128;
                QVERIFY(qAlpha(p) <= 128 ||
                        (qAbs(qRed(p) - a.red()) < 8 && qAbs(qGreen(p) - a.green()) < 8 &&
                         qAbs(qBlue(p) - a.blue()) < 8));
            }
        QVERIFY(visible > 10);
    }

    void sidebarChoosesToolsWithScreensOnly()
    {
        // Convert gets a stand-in screen, Split none: Split's row is greyed
        // and a click on it changes nothing.
        const auto convert = ScreenRegistry::factory(Tool::Convert);
        const auto split = ScreenRegistry::factory(Tool::Split);
        ScreenRegistry::add(Tool::Convert, standIn);
        ScreenRegistry::remove(Tool::Split);
        Workspace ws;
        ws.add({m_a, m_b});
        ws.select(ws.files()[1].id);
        {
            RootView root(ws);
            root.show();
            QVERIFY(QTest::qWaitForWindowExposed(&root));
            QCOMPARE(root.screen()->objectName(), u"mergeScreen"_s);
            for (Tool tool : Tools::all)
                QCOMPARE(
                    part<QAbstractButton>(&root, qPrintable(u"toolRow_"_s + Tools::rawValue(tool)))
                        ->text(),
                    Tools::title(tool));

            auto *splitRow = part<QAbstractButton>(&root, "toolRow_split");
            QVERIFY(!splitRow->isEnabled());
            click(splitRow);
            QCOMPARE(ws.tool(), Tool::Merge);
            // Each row shows its screen; the file chosen before stays the chosen one.
            for (const auto &[row, tool, screen] :
                 {std::tuple{"toolRow_convert", Tool::Convert, "standIn"},
                  std::tuple{"toolRow_merge", Tool::Merge, "mergeScreen"}}) {
                click(part<QAbstractButton>(&root, row));
                QCOMPARE(ws.tool(), tool);
                QCOMPARE(root.screen()->objectName(), QLatin1String(screen));
                QCOMPARE(ws.current()->id, ws.files()[1].id);
            }
        }
        convert ? ScreenRegistry::add(Tool::Convert, convert)
                : ScreenRegistry::remove(Tool::Convert);
        if (split)
            ScreenRegistry::add(Tool::Split, split);
    }

    void noticeAlertShowsTheNoticeAndClearsIt()
    {
        Workspace ws;
        RootView root(ws);
        root.show();
        QVERIFY(QTest::qWaitForWindowExposed(&root));
        ws.add({path(u"notes.txt"_s), m_a});
        auto *box = part<QMessageBox>(&root, "noticeAlert");
        QVERIFY(box);
        QTRY_VERIFY(box->isVisible());
        QCOMPARE(box->text(), ws.notice().value_or(QString()));
        QCOMPARE(box->buttons().size(), 1);
        click(box->buttons().first());
        QCOMPARE(ws.notice(), std::nullopt);
        QTRY_VERIFY(!part<QMessageBox>(&root, "noticeAlert"));
    }

    // Which files the workspace takes, and its notice, is the intake's (tests/core); here: a drop
    // hands every file over in order, on the area or on a field of the screen, and words aren't.
    void drops_data()
    {
        QTest::addColumn<bool>("onField");      // on a text field of the screen, else on the area
        QTest::addColumn<QStringList>("names"); // empty: words, not files
        QTest::newRow("a picture and two PDFs")
            << false << QStringList{"photo.jpg", "b.pdf", "a.pdf"};
        QTest::newRow("on a text field") << true << QStringList{"a.pdf"};
        QTest::newRow("words are refused") << false << QStringList{};
    }
    void drops()
    {
        QFETCH(bool, onField);
        QFETCH(QStringList, names);
        Workspace ws;
        ToolArea area(ws);
        auto *screen = new QWidget;
        auto *field = new QLineEdit(screen);
        (new QVBoxLayout(screen))->addWidget(field);
        area.setScreen(screen);
        area.show();
        QVERIFY(QTest::qWaitForWindowExposed(&area));
        QMimeData mime;
        QList<QUrl> urls;
        for (const QString &name : names)
            urls << QUrl::fromLocalFile(path(name));
        urls.isEmpty() ? mime.setText(u"just words"_s) : mime.setUrls(urls);
        QWidget *target = onField ? static_cast<QWidget *>(field) : &area;
        const QPoint at = target->rect().center();
        QDragEnterEvent enter(at, Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(target, &enter);
        QCOMPARE(enter.isAccepted(), !names.isEmpty());
        QCOMPARE(area.targeted(), !names.isEmpty());
        QCOMPARE(part(&area, "dropHighlight")->isVisible(), !names.isEmpty());
        if (names.isEmpty())
            return;
        QDropEvent drop(QPointF(at), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(target, &drop);
        QVERIFY(drop.isAccepted());
        QVERIFY(!area.targeted());
        QVERIFY(field->text().isEmpty());
        QStringList taken;
        for (const PDFFile &file : ws.files())
            taken << file.fileName();
        QCOMPARE(taken, names);
    }

    // Every registered screen with no file: its tool's header and the drop
    // prompt (Merge's own subtitle says the rows can be dragged).
    void emptyScreens()
    {
        Workspace ws;
        for (Tool tool : Tools::all) {
            const std::unique_ptr<QWidget> screen(ScreenRegistry::make(tool, ws, nullptr));
            QVERIFY(screen);
            QCOMPARE(labelText(screen.get(), "pageTitle"), Tools::title(tool));
            QVERIFY(labelText(screen.get(), "pageSubtitle").startsWith(Tools::subtitle(tool)));
            QVERIFY(screen->findChild<EmptyDrop *>());
        }
    }

    void toolPageFollowsTheChosenFile()
    {
        Workspace ws;
        ScriptedDialogs dialogs({u"boss"_s});
        dialogs.openAnswers = {QStringList{m_photo}};
        ws.setDialogs(&dialogs);
        int made = 0;
        ToolPage page(ws, Tool::Compress, [&made](const PDFFile &file, QWidget *parent) {
            ++made;
            return new QLabel(file.fileName(), parent);
        });
        page.show();
        QVERIFY(QTest::qWaitForWindowExposed(&page));
        const auto shown = [&page] { return qobject_cast<QLabel *>(page.content())->text(); };

        // No file: no file bar.
        QVERIFY(!page.findChild<FileBar *>()->isVisible());

        // Only a picture, chosen in the open panel: still the prompt, pictures aren't PDFs here.
        click(part<QPushButton>(&page, "chooseFiles"));
        QCOMPARE(ws.files().size(), 1);
        QVERIFY(page.findChild<EmptyDrop *>());
        QVERIFY(!page.findChild<FileBar *>()->isVisible());
        QCOMPARE(made, 0);

        ws.add({m_a, m_b});
        QCOMPARE(made, 1);
        QVERIFY(page.findChild<FileBar *>()->isVisible());
        QCOMPARE(shown(), u"a.pdf"_s);
        QCOMPARE(page.findChildren<QWidget *>(u"fileChip"_s).size(), 2);

        // Adding another file keeps the content (and its state).
        QWidget *before = page.content();
        ws.add({m_restricted});
        QCOMPARE(page.content(), before);
        QCOMPARE(made, 1);

        // A click on a chip chooses that file, and the content is made anew.
        QWidget *chipB = nullptr;
        for (QWidget *chip : page.findChildren<QWidget *>(u"fileChip"_s))
            if (chip->property("fileId").toString() == ws.files()[2].id.toString())
                chipB = chip;
        QVERIFY(chipB);
        QTest::mouseClick(chipB, Qt::LeftButton, {}, QPoint(4, 4));
        QCOMPARE(ws.current()->fileName(), u"b.pdf"_s);
        QCOMPARE(made, 2);
        QCOMPARE(shown(), u"b.pdf"_s);

        // A restricted file: the panel instead of the tool, until unlocked.
        ws.select(ws.files()[3].id);
        QVERIFY(!page.content());
        auto *panel = part(&page, "restrictedPanel");
        QVERIFY(panel);
        QCOMPARE(labelText(panel, "restrictedText"), PDFError::restricted().description());
        // The wrapped description gets all the lines it needs.
        auto *description = part<QLabel>(panel, "restrictedText");
        QTRY_VERIFY(description->isVisible());
        QVERIFY(description->height() >= description->heightForWidth(description->width()));
        click(part<QPushButton>(panel, "enterOwnerPassword"));
        QCOMPARE(dialogs.asked.size(), 1);
        QVERIFY(!ws.current()->restricted());
        QCOMPARE(shown(), u"limited.pdf"_s);
    }

    void fileBarChipsAndRemoving()
    {
        Workspace ws;
        ws.add({m_a, m_photo, m_restricted});
        FileBar bar(ws);
        bar.show();
        QVERIFY(QTest::qWaitForWindowExposed(&bar));
        const auto chips = bar.findChildren<QWidget *>(u"fileChip"_s);
        QCOMPARE(chips.size(), 2); // the picture has no chip
        QCOMPARE(labelText(chips[0], "chipName"), u"a"_s);
        QCOMPARE(labelText(chips[0], "chipCaption"),
                 u"3 p · "_s + Format::bytes(QFileInfo(m_a).size()));
        QVERIFY(chips[0]->property("chosen").toBool());
        QVERIFY(!chips[1]->property("chosen").toBool());
        QCOMPARE(part(chips[0], "chipSymbol")->property("symbol").toString(), u"doc.richtext"_s);
        QCOMPARE(part(chips[1], "chipSymbol")->property("symbol").toString(), u"lock.doc"_s);
        click(part<QToolButton>(chips[0], "chipRemove"));
        QCOMPARE(ws.files().size(), 2);
        QVERIFY(QFileInfo::exists(m_a));
        // The PDF chosen next is marked.
        QTRY_COMPARE(bar.findChildren<QWidget *>(u"fileChip"_s).size(), 1);
        QVERIFY(bar.findChildren<QWidget *>(u"fileChip"_s).first()->property("chosen").toBool());
    }

    void jobBarShowsEachState()
    {
        Job job;
        QWidget host;
        JobBar &bar = *new JobBar(&job, &host);
        (new QVBoxLayout(&host))->addWidget(&bar);
        host.show();
        QVERIFY(QTest::qWaitForWindowExposed(&host));
        QVERIFY(!bar.isVisible()); // idle: nothing

        QSemaphore step, finish;
        job.run(u"Compressing"_s, [&](const Progress &progress, const IsCancelled &) {
            step.acquire();
            progress(3, 10);
            finish.acquire();
            return Outcome{u"Done it"_s, QString(), {}};
        });
        auto *text = part<QLabel>(&bar, "jobText");
        auto *progressBar = part<QProgressBar>(&bar, "jobProgress");
        QVERIFY(bar.isVisible());
        QCOMPARE(text->text(), u"Compressing…"_s);
        QCOMPARE(progressBar->maximum(), 0); // a spinner
        QVERIFY(part(&bar, "jobCancel")->isVisible());
        step.release();
        QTRY_COMPARE(text->text(), u"Compressing page 3 of 10…"_s);
        QCOMPARE(progressBar->maximum(), 10);
        QCOMPARE(progressBar->value(), 3);
        finish.release();

        // Done without files: no detail line and no Show in Folder.
        QTRY_COMPARE(labelText(&bar, "jobTitle"), u"Done it"_s);
        QVERIFY(!part(&bar, "jobDetail")->isVisible());
        QVERIFY(!part(&bar, "jobShow")->isVisible());
        QVERIFY(!text->isVisible());

        // A long failure wraps onto as many lines as it needs; the close button returns to nothing.
        host.resize(420, 200);
        const QString message = u"Quirebook can't write next to “a rather long file name.pdf”. "
                                "Copy the file to your Desktop or Documents first."_s;
        job.run(u"Merging"_s, [message](const Progress &, const IsCancelled &) -> Outcome {
            throw PDFError::failed(message);
        });
        QTRY_COMPARE(labelText(&bar, "jobTitle"), message);
        auto *title = part<QLabel>(&bar, "jobTitle");
        QTRY_VERIFY(title->height() >= title->heightForWidth(title->width()));
        QVERIFY(title->heightForWidth(title->width()) > title->fontMetrics().height() * 2);
        QVERIFY(!part(&bar, "jobShow")->isVisible());
        click(part<QToolButton>(&bar, "jobClose"));
        QVERIFY(std::holds_alternative<Job::Idle>(job.state()));
        QVERIFY(!bar.isVisible());

        // Done with files: the detail and Show in Folder, which reveals them.
        QStringList revealed;
        Reveal::setHandler([&revealed](const QStringList &paths) { revealed = paths; });
        job.run(u"Merging"_s, [](const Progress &, const IsCancelled &) {
            return Outcome{u"Merged 4 pages"_s, u"x.pdf · 1 kB"_s, {u"/tmp/x.pdf"_s}};
        });
        QTRY_COMPARE(labelText(&bar, "jobDetail"), u"x.pdf · 1 kB"_s);
        auto *show = part<QPushButton>(&bar, "jobShow");
        QVERIFY(show->isVisible());
        click(show);
        QCOMPARE(revealed, QStringList{u"/tmp/x.pdf"_s});
        Reveal::setHandler({});

        // Cancel returns the bar to nothing.
        job.run(u"Merging"_s, [](const Progress &, const IsCancelled &isCancelled) -> Outcome {
            while (!isCancelled())
                QThread::msleep(5);
            throw PDFError::cancelled();
        });
        click(part<QPushButton>(&bar, "jobCancel"));
        QTRY_VERIFY(std::holds_alternative<Job::Idle>(job.state()));
        QVERIFY(!bar.isVisible());
    }

    // "Show in Folder": the file manager is asked with percent-encoded file
    // URIs and the window goes on meanwhile; only when it can't show them are
    // their folders opened, each once.
    void urisAreEncoded()
    {
        const QString path = u"/home/zoë/Scans #3/100% done 字.pdf"_s;
        QCOMPARE(Reveal::uris({path}),
                 QStringList{"file:///home/zo%C3%AB/Scans%20%233/100%25%20done%20%E5%AD%97.pdf"});
    }

    void fallsBackOnlyWhenTheFileManagerCant_data()
    {
        QTest::addColumn<bool>("shown");
        QTest::addColumn<QStringList>("paths");
        QTest::addColumn<QStringList>("opened");
        const QStringList two{"/tmp/r/a.pdf", "/tmp/r/b.pdf"};
        QTest::newRow("shown") << true << two << QStringList{};
        QTest::newRow("failed, one folder") << false << two << QStringList{"file:///tmp/r"};
        QTest::newRow("failed, two folders")
            << false << QStringList{"/tmp/r/a.pdf", "/tmp/s/b.pdf", "/tmp/r/c.pdf"}
            << QStringList{"file:///tmp/r", "file:///tmp/s"};
    }
    void fallsBackOnlyWhenTheFileManagerCant()
    {
        QFETCH(bool, shown);
        QFETCH(QStringList, paths);
        QFETCH(QStringList, opened);
        QStringList asked, folders;
        std::function<void(bool)> answer;
        Reveal::setMeans({[&](const QStringList &uris, std::function<void(bool)> answered) {
                              asked += uris;
                              answer = std::move(answered);
                          },
                          [&](const QUrl &folder) { folders << folder.toString(); }});
        Reveal::showInFolder(paths);
        // Nothing waits for the answer, and nothing opens before it.
        QCOMPARE(asked.size(), paths.size());
        QVERIFY(answer && folders.isEmpty());
        answer(shown);
        Reveal::setMeans({});
        QCOMPARE(folders, opened);
    }
    void passwordAlert_data()
    {
        QTest::addColumn<bool>("accept");
        QTest::addColumn<std::optional<QString>>("answer");
        QTest::newRow("typed and opened") << true << std::optional<QString>(u"s3cret ü"_s);
        QTest::newRow("cancelled") << false << std::optional<QString>();
    }
    void passwordAlert()
    {
        QFETCH(bool, accept);
        QFETCH(std::optional<QString>, answer);
        QtDialogs dialogs;
        SecretPrompt prompt;
        prompt.message = u"This PDF is password-protected"_s;
        prompt.informative = u"Type the password to open “x.pdf”."_s;
        prompt.acceptTitle = u"Open"_s;
        QStringList texts;
        bool masked = false, focused = false;
        QTimer::singleShot(0, this, [&] {
            QWidget *alert = QApplication::activeModalWidget();
            QVERIFY(alert);
            for (QLabel *label : alert->findChildren<QLabel *>())
                if (!label->text().isEmpty())
                    texts << label->text();
            auto *field = part<QLineEdit>(alert, "secretField");
            masked = field->echoMode() == QLineEdit::Password;
            focused = field->hasFocus() || alert->focusWidget() == field;
            QTest::keyClicks(field, u"s3cret"_s);
            field->insert(u" ü"_s); // typed with a compose key
            for (QPushButton *button : alert->findChildren<QPushButton *>())
                if (button->text() == (accept ? u"Open"_s : u"Cancel"_s))
                    click(button);
        });
        QCOMPARE(dialogs.askSecret(prompt), answer);
        QCOMPARE(texts, (QStringList{prompt.message, prompt.informative}));
        QVERIFY(masked);
        QVERIFY(focused);
    }

    void pageThumbTurnsOnlyThePicture()
    {
        // A page turned 270 degrees, shown turned 90 more: drawn upright,
        // the document's own page keeps its rotation.
        DocSpec layout;
        layout.pages = {{u"Heading at the top"_s, {612, 792}, 270, {}}};
        std::shared_ptr<const PDFDocument> doc =
            PDFDocument::fromBytes(makePDF(layout), u"turned.pdf"_s);
        PageThumb upright(doc, 0, 90, 80);
        PageThumb asStored(doc, 0, 0, 80);
        upright.show();
        asStored.show();
        QTRY_VERIFY(upright.hasImage() && asStored.hasImage());
        const QImage image = upright.image();
        QVERIFY(image.height() > image.width());
        QVERIFY(asStored.image().width() > asStored.image().height());
        QCOMPARE(upright.pageSize().height(), 80);
        QVERIFY(upright.pageSize().width() < 80);
        // The text near the top of the upright page is in the top half.
        qint64 top = 0, all = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                if (qGray(image.pixel(x, y)) < 128) {
                    ++all;
                    top += y < image.height() / 2;
                }
        QVERIFY2(all > 0 && top > all * 9 / 10, qPrintable(u"%1 of %2"_s.arg(top).arg(all)));
        QCOMPARE(doc->page(0)->rotation, 270);
    }

    void firstPageThumbOfNothing()
    {
        FirstPageThumb none(PDFDocument::createEmpty(), 52);
        QVERIFY(!none.pageThumb());
        QCOMPARE(none.size(), QSize(39, 52));
        FirstPageThumb one(PDFDocument::open(m_b), 52);
        QVERIFY(one.pageThumb());
        one.show();
        QTRY_VERIFY(one.pageThumb()->hasImage());
        QCOMPARE(one.pageThumb()->image().height(),
                 104); // twice the shown height, for sharp pictures
    }

    void thumbnailsAreDrawnOnceAndShared()
    {
        const Thumbnails::Request request{PDFDocument::open(m_a), 1, 0, 60};
        auto &thumbnails = Thumbnails::instance();
        for (int i = 0; i < 2; ++i) { // asked twice, drawn once
            QVERIFY(!thumbnails.image(request).has_value());
            QCOMPARE(thumbnails.pending(), 1);
        }
        QTRY_COMPARE(thumbnails.pending(), 0);
        QCOMPARE(thumbnails.image(request).value_or(QImage()).height(), 60);
        // Another document object for the same file shares the picture.
        QVERIFY(thumbnails.image({PDFDocument::open(m_a), 1, 0, 60}).has_value());
        QCOMPARE(thumbnails.pending(), 0);
    }

    void thumbnailsOverTheCorpus()
    {
        const QString dir = corpusDir();
        if (dir.isEmpty())
            QSKIP("QUIREBOOK_CORPUS is not set");
        const auto passwords = corpusPasswords();
        int drawn = 0;
        for (const QString &name : QDir(dir).entryList({u"*.pdf"_s}, QDir::Files, QDir::Name)) {
            QList<std::optional<QString>> answers;
            if (passwords.value(name).contains(u"user"_s))
                answers << passwords[name][u"user"_s];
            ScriptedDialogs dialogs(answers);
            Workspace ws;
            ws.setDialogs(&dialogs);
            ws.add({QDir(dir).filePath(name)});
            if (ws.files().isEmpty())
                continue; // refused at intake, in words tst_corpus checks
            FirstPageThumb thumb(ws.files().first().doc, 52);
            QVERIFY2(thumb.pageThumb(), qPrintable(name));
            thumb.show();
            QTRY_VERIFY2_WITH_TIMEOUT(thumb.pageThumb()->isSettled(), qPrintable(name), 60000);
            QVERIFY2(thumb.pageThumb()->hasImage(), qPrintable(name));
            ++drawn;
        }
        QVERIFY(drawn > 30);
    }
};

QTEST_MAIN(TestComponents)
#include "tst_components.moc"
