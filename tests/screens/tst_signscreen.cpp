// The Sign & Stamp screen's bindings: the signature menu over the saved
// signatures, the signature sheet, the text popover, Remove, page
// navigation, the bottom row, drags on the shown page, and a save run to
// the job bar and onto the disk. The model's geometry rules and the
// flattening itself: tests/tasks; how strokes and photos become pictures:
// tests/signing.
#include "core/Dialogs.h"
#include "core/Workspace.h"
#include "screens/ScreenRegistry.h"
#include "screens/SignPageArea.h"
#include "screens/SignScreen.h"
#include "screens/SignatureSheet.h"
#include "screens/Symbols.h"
#include "signing/SignatureStore.h"
#include "signing/Stamps.h"
#include "support/Fixtures.h"
#include "support/PictureFixtures.h"
#include "support/ScreenParts.h"
#include "tasks/SignModel.h"

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace Qt::StringLiterals;

using namespace Fixtures;
using namespace ScreenParts;
using Strokes = QList<QList<QPoint>>;

namespace {
QImage ink(int width, int height)
{
    QImage image(width, height, QImage::Format_RGBA8888_Premultiplied);
    image.fill(Qt::black);
    return image;
}

// The texts of a menu's entries, separators as "--".
QStringList entries(const QMenu *menu)
{
    QStringList texts;
    for (const QAction *action : menu->actions())
        texts << (action->isSeparator() ? u"--"_s : action->text());
    return texts;
}

// A left-button drag with every move held down, as a hand does it.
void drag(QWidget *widget, QPointF from, QPointF to)
{
    const auto send = [widget](QEvent::Type type, QPointF at, Qt::MouseButton button,
                               Qt::MouseButtons held) {
        QMouseEvent event(type, at, widget->mapToGlobal(at), button, held, {});
        QApplication::sendEvent(widget, &event);
    };
    send(QEvent::MouseButtonPress, from, Qt::LeftButton, Qt::LeftButton);
    for (int step = 1; step <= 4; ++step)
        send(QEvent::MouseMove, from + (to - from) * step / 4, Qt::NoButton, Qt::LeftButton);
    send(QEvent::MouseButtonRelease, to, Qt::LeftButton, Qt::NoButton);
}

// Each stroke one press-drag-release, in canvas coordinates.
void draw(QWidget *sheet, const Strokes &strokes)
{
    auto *canvas = sheet->findChild<QWidget *>(u"signatureCanvas"_s);
    for (const auto &points : strokes) {
        QTest::mousePress(canvas, Qt::LeftButton, {}, points.first());
        for (const QPoint &p : points.mid(1))
            QTest::mouseMove(canvas, p);
        QTest::mouseRelease(canvas, Qt::LeftButton, {}, points.last());
    }
}

// Whether the signature's middle (on the ink in every test) is that ink, opaque.
bool inInk(const std::optional<QImage> &image, int ink)
{
    const QColor found = image ? image->pixelColor(image->width() / 2, image->height() / 2)
                               : QColor(Qt::transparent);
    const QColor wanted = Stamps::inkColors()[ink].color;
    return found.alpha() == 255 && std::abs(found.red() - wanted.red()) <= 1 &&
           std::abs(found.green() - wanted.green()) <= 1 &&
           std::abs(found.blue() - wanted.blue()) <= 1;
}
} // namespace

class TestSignScreen : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QTemporaryDir m_data;      // the saved signatures live here
    ScriptedDialogs m_dialogs; // the sheet's

    QString path(const QString &name) const { return m_dir.filePath(name); }
    QString store() const { return SignatureStore::shared().folder(); }

    struct Setup : Shown<SignView> {
        SignModel *model = nullptr;
        SignPageArea *area = nullptr;
    };
    void open(Setup &s, const QString &name)
    {
        QVERIFY(s.open({path(name)}, {900, 800}));
        s.model = &s.screen->model();
        s.area = s.screen->findChild<SignPageArea *>();
        QVERIFY(s.area);
    }

    // Chooses the file ("" cancels the panel) and waits for what it shows.
    void choose(QWidget *sheet, const QString &name)
    {
        m_dialogs.imageAnswers = {name.isEmpty() ? std::nullopt : std::optional(path(name))};
        const bool before = part(sheet, "signaturePreview")->isVisible();
        part<QPushButton>(sheet, "choosePictureButton")->click();
        const bool preview = name == u"signed.png" || (name.isEmpty() && before);
        QTRY_COMPARE(part(sheet, "signaturePreview")->isVisible(), preview);
        QTRY_COMPARE(part(sheet, "noInkMessage")->isVisible(), name == u"blank.png");
        QCOMPARE(part<QPushButton>(sheet, "useSignatureButton")->isEnabled(), preview);
    }

private Q_SLOTS:
    void initTestCase()
    {
        qputenv("XDG_DATA_HOME", QFile::encodeName(m_data.path()));
        QVERIFY(store().startsWith(m_data.path()));
        Symbols::installTheme();
        QVERIFY(ScreenRegistry::has(Tool::Sign));
        writeFile(path(u"contract.pdf"_s), textPDF(3, u"Contract"_s));
        writeFile(path(u"one.pdf"_s), textPDF(1));
        QImage paper(1600, 1200, QImage::Format_RGB32);
        paper.fill(Qt::white);
        QVERIFY(paper.save(path(u"blank.png"_s)));
        paper.fill(QColor(200, 200, 200));
        QPainter(&paper).fillRect(300, 500, 1000, 60, QColor(30, 30, 30));
        QVERIFY(paper.save(path(u"signed.png"_s)));
        QFile broken(path(u"broken.png"_s));
        QVERIFY(broken.open(QIODevice::WriteOnly) && broken.write("not a picture") > 0);
    }
    void init()
    {
        // A screen points the sheet at its workspace's dialogs, gone with it.
        SignatureSheet::setDialogs(&m_dialogs);
        QDir folder(store());
        for (const QString &name : folder.entryList(QDir::Files))
            QVERIFY(folder.remove(name));
    }

    void signatureMenu_data()
    {
        QTest::addColumn<int>("saved");
        QTest::addColumn<QStringList>("menu");
        QTest::newRow("none") << 0 << QStringList{"New Signature…"};
        QTest::newRow("three") << 3
                               << QStringList{"Use saved signature 1",  "Use saved signature 2",
                                              "Use saved signature 3",  "--",
                                              "Delete saved signature", "--",
                                              "New Signature…"};
    }
    void signatureMenu()
    {
        QFETCH(int, saved);
        QFETCH(QStringList, menu);
        // Oldest first: the widths tell them apart.
        for (int i = 1; i <= saved; ++i)
            QVERIFY(
                ink(100 * i, 50).save(QDir(store()).filePath(u"signature-%1.png"_s.arg(1000 + i))));
        Setup s;
        open(s, u"contract.pdf"_s);
        auto *signatures = part<QMenu>(*s.screen, "signSignatureMenu");
        QCOMPARE(entries(signatures), menu);
        if (saved == 0)
            return;
        auto *remove = part<QMenu>(*s.screen, "signDeleteSaved");
        QCOMPARE(entries(remove), (QStringList{"Signature 1", "Signature 2", "Signature 3"}));

        signatures->actions().at(1)->trigger();
        QCOMPARE(s.model->placements().size(), 1);
        QCOMPARE(s.model->placements()[0].image.width(), 200);
        QCOMPARE(s.model->placements()[0].bounds.width(), 150.0);

        remove->actions().at(0)->trigger();
        QTRY_COMPARE(entries(part<QMenu>(*s.screen, "signDeleteSaved")),
                     (QStringList{"Signature 1", "Signature 2"}));
        QCOMPARE(SignatureStore::shared().list().size(), 2);
        QCOMPARE(SignatureStore::shared().list()[0].image.width(), 200);
    }

    void newSignature_data()
    {
        QTest::addColumn<bool>("remember");
        QTest::newRow("remembered") << true;
        QTest::newRow("this time only") << false;
    }
    void newSignature()
    {
        QFETCH(bool, remember);
        const auto previous = SignatureSheet::asker();
        SignatureSheet::asker() = [remember](QWidget *) {
            return std::optional(SignatureSheet::Result{ink(300, 90), remember});
        };
        Setup s;
        open(s, u"contract.pdf"_s);
        auto *signatures = part<QMenu>(*s.screen, "signSignatureMenu");
        signatures->actions().constLast()->trigger();
        SignatureSheet::asker() = previous;
        QCOMPARE(s.model->placements().size(), 1);
        QCOMPARE(s.model->placements()[0].bounds.size(), QSizeF(150, 45));
        QCOMPARE(SignatureStore::shared().list().size(), remember ? 1 : 0);
        QCOMPARE(entries(signatures).contains("Use saved signature 1"), remember);
    }

    // Page navigation by button and key, and the bottom row as stamps are
    // placed (on the first page, then on the page reached).
    void pagesAndBottomRow_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<int>("nexts");
        QTest::addColumn<int>("pageDowns");
        QTest::addColumn<int>("stamps");
        QTest::addColumn<QString>("label");
        QTest::addColumn<bool>("previous");
        QTest::addColumn<bool>("next");
        QTest::addColumn<QString>("summary");
        const QString placed = u"%1 placed. Your original file isn't changed."_s;
        QTest::newRow("one page, none placed")
            << "one.pdf" << 0 << 0 << 0 << "Page 1 of 1" << false << false
            << "Add a signature or some text, then drag it into place. Drag the corner dot to "
               "resize.";
        QTest::newRow("middle, one placed") << "contract.pdf" << 1 << 0 << 1 << "Page 2 of 3"
                                            << true << true << placed.arg(u"1 item"_s);
        QTest::newRow("Page Down to the end, two placed")
            << "contract.pdf" << 0 << 5 << 2 << "Page 3 of 3" << true << false
            << placed.arg(u"2 items"_s);
    }
    void pagesAndBottomRow()
    {
        QFETCH(QString, file);
        QFETCH(int, nexts);
        QFETCH(int, pageDowns);
        QFETCH(int, stamps);
        QFETCH(QString, label);
        QFETCH(bool, previous);
        QFETCH(bool, next);
        Setup s;
        open(s, file);
        if (stamps == 2)
            s.model->add(ink(30, 10), 90);
        for (int i = 0; i < nexts; ++i)
            click(part<QPushButton>(*s.screen, "signNext"));
        for (int i = 0; i < pageDowns; ++i)
            QTest::keyClick(s.area, Qt::Key_PageDown);
        if (stamps > 0)
            s.model->add(ink(30, 10), 90);
        QCOMPARE(part<QLabel>(*s.screen, "signPageLabel")->text(), label);
        QCOMPARE(part<QPushButton>(*s.screen, "signPrevious")->isEnabled(), previous);
        QCOMPARE(part<QPushButton>(*s.screen, "signNext")->isEnabled(), next);
        QTEST(part<QLabel>(*s.screen, "signSummary")->text(), "summary");
        QCOMPARE(part<QPushButton>(*s.screen, "signSave")->isEnabled(), stamps > 0);
    }

    void textAndRemove()
    {
        Setup s;
        open(s, u"contract.pdf"_s);
        click(part<QPushButton>(*s.screen, "signText"));
        auto *popover = s.screen->findChild<SignBody *>()->textPopover();
        QTRY_VERIFY(popover->isVisible());
        auto *field = popover->findChild<QLineEdit *>();
        QCOMPARE(field->placeholderText(), u"Type something (a name, APPROVED…)"_s);
        QVERIFY(!popover->findChild<QPushButton *>("signTextAdd")->isEnabled());
        QTest::keyClick(field, Qt::Key_Return);
        QVERIFY(s.model->placements().isEmpty());

        QTest::keyClicks(field, u"APPROVED"_s);
        QVERIFY(popover->findChild<QPushButton *>("signTextAdd")->isEnabled());
        QTest::keyClick(field, Qt::Key_Return);
        QCOMPARE(s.model->placements().size(), 1);
        const double width = Stamps::text(u"APPROVED"_s, 18, Qt::black, false)->width() / 3.0;
        const QRectF bounds = s.model->placements()[0].bounds;
        QCOMPARE(bounds.width(), width);
        QCOMPARE(bounds.center(), QPointF(306, 396)); // the middle of a Letter page
        QVERIFY(!popover->isVisible());
        QVERIFY(field->text().isEmpty());

        // Two stamps; Remove takes only the selected (the newer) one.
        const QUuid first = s.model->placements()[0].id;
        s.model->add(ink(30, 10), 60);
        auto *remove = part<QPushButton>(*s.screen, "signRemove");
        QVERIFY(remove->isEnabled());
        click(remove);
        QCOMPARE(s.model->placements().size(), 1);
        QCOMPARE(s.model->placements()[0].id, first);
        QVERIFY(!remove->isEnabled());
    }

    void picture()
    {
        QVERIFY(ink(2000, 1000).save(path(u"photo.png"_s)));
        Setup s;
        open(s, u"contract.pdf"_s);
        s.dialogs.imageAnswers = {std::nullopt, path(u"photo.png"_s)};
        click(part<QPushButton>(*s.screen, "signPicture")); // cancelled
        QVERIFY(s.model->placements().isEmpty());
        click(part<QPushButton>(*s.screen, "signPicture"));
        QCOMPARE(s.model->placements().size(), 1);
        QCOMPARE(s.model->placements()[0].bounds.size(), QSizeF(180, 90));
        QCOMPARE(s.model->placements()[0].image.width(), 1600);
    }

    void drags_data()
    {
        // How far a stamp may go past the page is the model's (tst_signmodel).
        QTest::addColumn<bool>("corner");
        QTest::addColumn<QPointF>("by"); // screen points
        QTest::newRow("move") << false << QPointF(60, 30);
        QTest::newRow("corner dot") << true << QPointF(75, 10);
    }
    void drags()
    {
        QFETCH(bool, corner);
        QFETCH(QPointF, by);
        Setup s;
        open(s, u"contract.pdf"_s);
        s.model->add(ink(300, 100), 150);
        const QRectF start = s.model->placements()[0].bounds;
        s.model->select(std::nullopt);
        const double scale = s.area->scale();
        QVERIFY(scale > 0.5);
        const QRectF shown = s.area->onScreen(start);
        // Corner dot only on a selected stamp: a click selects it first.
        if (corner)
            QTest::mouseClick(s.area, Qt::LeftButton, {}, shown.center().toPoint());
        const QPointF from = corner ? shown.bottomRight() : shown.center();
        drag(s.area, from, from + by);
        const QRectF bounds = s.model->placements()[0].bounds;
        QCOMPARE(s.model->selected(), s.model->placements()[0].id);
        if (corner) {
            const double width = 150 + by.x() / scale;
            QCOMPARE(bounds.size(), QSizeF(width, width / 3));
            QCOMPARE(bounds.topLeft() + QPointF(0, bounds.height()),
                     start.topLeft() + QPointF(0, start.height()));
        } else {
            QCOMPARE(bounds, start.translated(by.x() / scale, -by.y() / scale));
        }
        // A click on the page beside the stamp clears the selection.
        QTest::mouseClick(s.area, Qt::LeftButton, {},
                          s.area->pageRect().topLeft().toPoint() + QPoint(5, 5));
        QVERIFY(!s.model->selected());
    }

    void saves()
    {
        Setup s;
        open(s, u"contract.pdf"_s);
        s.model->add(ink(300, 100), 150);
        QTest::keyClick(s.area, Qt::Key_Left, Qt::ShiftModifier); // ten points to the left
        const QRectF shown = s.area->onScreen(s.model->placements()[0].bounds);
        // Screen points to 72-dpi pixels of the page, as laid out now (the job bar takes room).
        const QPointF pageOrigin = s.area->pageRect().topLeft();
        const double scale = s.area->scale();
        const QImage screen = s.area->grab().toImage();
        const qreal ratio = screen.devicePixelRatio();
        QVERIFY(qGray(screen.pixel((shown.center() * ratio).toPoint())) < 60);
        QVERIFY(qGray(screen.pixel(((shown.topLeft() - QPointF(6, 6)) * ratio).toPoint())) > 200);

        auto *save = part<QPushButton>(*s.screen, "signSave");
        for (const QString &name : {u"contract signed.pdf"_s, u"contract signed 2.pdf"_s}) {
            click(save);
            QVERIFY(!save->isEnabled());
            QTRY_VERIFY_WITH_TIMEOUT(save->isEnabled(), 60000);
            QCOMPARE(part<QLabel>(*s.screen, "jobTitle")->text(), u"Saved “%1”"_s.arg(name));
            QVERIFY(part<QPushButton>(*s.screen, "jobShow")->isVisible());
        }
        // Ink on page 1 of the copy where the stamp was shown (72 dpi: pixels are points).
        const QByteArray written = readFile(path(u"contract signed.pdf"_s));
        const QImage page = popplerRender(written, 1, 72);
        const auto atPoint = [&](QPointF onScreen) {
            return qGray(page.pixel(((onScreen - pageOrigin) / scale).toPoint()));
        };
        QVERIFY(atPoint(shown.center()) < 60);
        QVERIFY(atPoint(shown.topLeft() + QPointF(3, 3)) < 60);
        QVERIFY(atPoint(shown.topLeft() - QPointF(6, 6)) > 200);
        QVERIFY(atPoint(shown.bottomRight() + QPointF(6, 6)) > 200);
    }
    // The signature sheet: strokes on the canvas and their buttons, the photo
    // chosen through the dialogs, the ink, remembering, and what it answers.
    // A line along the top and a dot at the bottom left: the line stays on top.
    void drawing()
    {
        SignatureSheet sheet;
        sheet.show();
        QVERIFY(!part<QPushButton>(&sheet, "useSignatureButton")->isEnabled());
        draw(&sheet, {{{20, 10}, {120, 10}, {220, 10}}, {{20, 160}}});
        QVERIFY(part<QPushButton>(&sheet, "useSignatureButton")->isEnabled());
        const auto image = sheet.signature();
        QVERIFY(image);
        QCOMPARE(image->size(), QSize((200 + 12) * 3, (150 + 12) * 3));
        QCOMPARE(image->pixelColor(318, 18).alpha(), 255);
        QCOMPARE(image->pixelColor(318, 468).alpha(), 0);
    }

    void emptying()
    {
        SignatureSheet sheet;
        sheet.show();
        const auto emptied = [&] {
            return !sheet.signature() &&
                   !part<QPushButton>(&sheet, "useSignatureButton")->isEnabled() &&
                   !part<QPushButton>(&sheet, "undoStrokeButton")->isEnabled() &&
                   !part<QPushButton>(&sheet, "clearButton")->isEnabled();
        };
        draw(&sheet, {{{50, 80}}, {{150, 80}}, {{350, 80}}});
        part<QPushButton>(&sheet, "undoStrokeButton")->click();
        QCOMPARE(sheet.signature()->width(), (100 + 12) * 3); // the last stroke went
        part<QPushButton>(&sheet, "undoStrokeButton")->click();
        part<QPushButton>(&sheet, "undoStrokeButton")->click();
        QVERIFY(emptied());
        draw(&sheet, {{{50, 80}}, {{150, 80}}});
        part<QPushButton>(&sheet, "clearButton")->click();
        QVERIFY(emptied());
    }

    void photo_data()
    {
        QTest::addColumn<QStringList>("picks");
        QTest::newRow("ink on grey paper") << QStringList{"signed.png"};
        QTest::newRow("blank paper after ink") << QStringList{"signed.png", "blank.png"};
        QTest::newRow("ink after blank paper") << QStringList{"blank.png", "signed.png"};
        QTest::newRow("unreadable") << QStringList{"signed.png", "broken.png"};
        QTest::newRow("panel cancelled") << QStringList{"signed.png", ""};
    }
    void photo()
    {
        QFETCH(QStringList, picks);
        SignatureSheet sheet;
        sheet.show();
        modeButton(&sheet, "signatureMode", 1)->click();
        for (const QString &pick : picks)
            choose(&sheet, pick);
        if (const auto image = sheet.signature()) {
            QCOMPARE(image->pixelColor(0, 0).alpha(), 0);
            QVERIFY(inInk(image, 0));
        }
    }

    // Drawn, or drawn and then a photo chosen.
    void inkRecolours_data()
    {
        QTest::addColumn<int>("mode");
        QTest::newRow("drawn") << 0;
        QTest::newRow("photo") << 1;
    }
    void inkRecolours()
    {
        QFETCH(int, mode);
        SignatureSheet sheet;
        sheet.show();
        draw(&sheet, {{{40, 40}, {300, 120}}});
        modeButton(&sheet, "signatureMode", mode)->click();
        if (mode == 1)
            choose(&sheet, u"signed.png"_s);
        QVERIFY(inInk(sheet.signature(), 0));
        modeButton(&sheet, "inkChoice", 1)->click();
        QTRY_VERIFY(inInk(sheet.signature(), 1));
        // Back to black at once: each ink of a photo is worked out only once.
        modeButton(&sheet, "inkChoice", 0)->click();
        QVERIFY(inInk(sheet.signature(), 0));
        // The strokes and the photo outlast switching modes.
        modeButton(&sheet, "signatureMode", 0)->click();
        QCOMPARE(sheet.signature()->width(), (260 + 12) * 3);
        modeButton(&sheet, "signatureMode", mode)->click();
        QCOMPARE(part(&sheet, "signaturePreview")->isVisible(), mode == 1);
        QVERIFY(part<QPushButton>(&sheet, "useSignatureButton")->isEnabled());
    }

    void answer_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<bool>("used");
        QTest::newRow("Escape cancels") << int(Qt::Key_Escape) << false;
        QTest::newRow("Return uses") << int(Qt::Key_Return) << true;
    }
    void answer()
    {
        QFETCH(int, key);
        QFETCH(bool, used);
        bool rememberedAtFirst = false;
        QTimer::singleShot(0, this, [&] {
            auto *sheet = qobject_cast<SignatureSheet *>(QApplication::activeModalWidget());
            if (!sheet)
                return; // ask() showed nothing: the test hangs until its time limit
            rememberedAtFirst = sheet->remember();
            draw(sheet, {{{100, 80}}});
            sheet->findChild<QCheckBox *>(u"rememberBox"_s)->click();
            QTest::keyClick(sheet, Qt::Key(key));
            // A key that did nothing ends the sheet the other way, so the test fails.
            if (sheet->isVisible())
                used ? sheet->reject() : sheet->accept();
        });
        const auto result = SignatureSheet::ask(nullptr);
        QVERIFY(rememberedAtFirst);
        QCOMPARE(result.has_value(), used);
        if (result) {
            QCOMPARE(result->image.size(), QSize(36, 36));
            QVERIFY(!result->remember);
        }
    }
};

QTEST_MAIN(TestSignScreen)
#include "tst_signscreen.moc"
