// The signature sheet's bindings: strokes on the canvas and their buttons,
// the photo chosen through the dialogs, the ink, remembering, and what the
// sheet answers. How strokes and photos become pictures: tests/signing.
#include "core/Dialogs.h"
#include "screens/SignatureSheet.h"
#include "signing/Stamps.h"
#include "support/ScreenParts.h"

#include <QApplication>
#include <QCheckBox>
#include <QFile>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace Qt::StringLiterals;

using namespace ScreenParts;
using Strokes = QList<QList<QPoint>>;

namespace {
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

class TestSignatureSheet : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    ScriptedDialogs m_dialogs;

    // Chooses the file ("" cancels the panel) and waits for what it shows.
    void choose(QWidget *sheet, const QString &name)
    {
        m_dialogs.imageAnswers = {name.isEmpty() ? std::nullopt
                                                 : std::optional(m_dir.filePath(name))};
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
        SignatureSheet::setDialogs(&m_dialogs);
        QImage paper(1600, 1200, QImage::Format_RGB32);
        paper.fill(Qt::white);
        QVERIFY(paper.save(m_dir.filePath(u"blank.png"_s)));
        paper.fill(QColor(200, 200, 200));
        QPainter(&paper).fillRect(300, 500, 1000, 60, QColor(30, 30, 30));
        QVERIFY(paper.save(m_dir.filePath(u"signed.png"_s)));
        QFile broken(m_dir.filePath(u"broken.png"_s));
        QVERIFY(broken.open(QIODevice::WriteOnly) && broken.write("not a picture") > 0);
    }

    void drawing_data()
    {
        QTest::addColumn<Strokes>("strokes");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QPoint>("inked");
        QTest::addColumn<QPoint>("clear");
        QTest::newRow("a click is a dot")
            << Strokes{{{100, 80}}} << QSize(36, 36) << QPoint(18, 18) << QPoint(0, 0);
        // A line along the top and a dot at the bottom left: the line stays on top.
        QTest::newRow("top stays on top")
            << Strokes{{{20, 10}, {120, 10}, {220, 10}}, {{20, 160}}}
            << QSize((200 + 12) * 3, (150 + 12) * 3) << QPoint(318, 18) << QPoint(318, 468);
    }
    void drawing()
    {
        QFETCH(Strokes, strokes);
        QFETCH(QSize, size);
        QFETCH(QPoint, inked);
        QFETCH(QPoint, clear);
        SignatureSheet sheet;
        sheet.show();
        QVERIFY(!part<QPushButton>(&sheet, "useSignatureButton")->isEnabled());
        draw(&sheet, strokes);
        QVERIFY(part<QPushButton>(&sheet, "useSignatureButton")->isEnabled());
        const auto image = sheet.signature();
        QVERIFY(image);
        QCOMPARE(image->size(), size);
        QCOMPARE(image->pixelColor(inked).alpha(), 255);
        QCOMPARE(image->pixelColor(clear).alpha(), 0);
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

QTEST_MAIN(TestSignatureSheet)
#include "tst_signaturesheet.moc"
