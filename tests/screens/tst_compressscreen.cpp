// The Compress screen's bindings: the size, the cards and which one is
// chosen, the button and one run to the job bar. The texts themselves and
// the work are checked in tests/tasks; the save panel for a folder that
// can't be written in tst_protectscreen (the same ToolModel path).
#include "Compress.h"
#include "CompressModel.h"
#include "CompressScreen.h"
#include "Fixtures.h"
#include "PictureFixtures.h"
#include "Symbols.h"
#include "Workspace.h"

#include <QFileInfo>
#include <QLabel>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;

namespace {
QWidget *panel(QWidget *screen)
{
    for (QWidget *p : screen->findChildren<QWidget *>(QStringLiteral("compressPanel")))
        if (!p->isHidden())
            return p;
    return nullptr;
}

QString labelText(QWidget *parent, const char *name)
{
    auto *label = parent ? parent->findChild<QLabel *>(QLatin1String(name)) : nullptr;
    return label ? label->text() : QStringLiteral("<no %1>").arg(QLatin1String(name));
}

QPushButton *button(QWidget *screen, const char *name)
{
    QWidget *p = panel(screen);
    return p ? p->findChild<QPushButton *>(QLatin1String(name)) : nullptr;
}

QList<QWidget *> cards(QWidget *screen)
{
    return panel(screen)->findChildren<QWidget *>(QStringLiteral("compressLevel"));
}

// The levels of the cards drawn as chosen (cards go smallest first, in the
// order of the levels).
QList<int> chosen(QWidget *screen)
{
    QList<int> levels;
    for (QWidget *card : cards(screen))
        if (card->property("chosen").toBool())
            levels << card->property("level").toInt();
    return levels;
}

bool finish(CompressScreen &screen)
{
    return QTest::qWaitFor([&] { return !screen.model().job().isRunning(); }, 120000);
}
} // namespace

class TestCompressScreen : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QByteArray m_photos;

private Q_SLOTS:
    void initTestCase()
    {
        Symbols::installTheme();
        m_photos = photoPDF(2, QSize(1600, 1200), 95);
    }

    // The size, the cards side by side (balanced chosen), the note; a click
    // or Space chooses a level, which another file keeps.
    void screenForAFile()
    {
        Workspace ws;
        ws.add({writeFile(m_dir.filePath(QStringLiteral("A.pdf")), m_photos),
                writeFile(m_dir.filePath(QStringLiteral("B.pdf")), textPDF(3))});
        ws.select(ws.files().first().id);
        CompressScreen screen(ws);
        screen.show();
        QVERIFY(QTest::qWaitForWindowExposed(&screen));
        QCOMPARE(labelText(panel(&screen), "compressSize"), Compress::currentSize(m_photos.size()));
        const auto shown = cards(&screen);
        const auto expected = Compress::levelCards();
        QCOMPARE(shown.size(), expected.size());
        for (int i = 0; i < shown.size(); ++i) {
            QCOMPARE(shown[i]->property("level").toInt(), int(expected[i].level));
            QCOMPARE(labelText(shown[i], "levelTitle"), expected[i].title);
            QCOMPARE(labelText(shown[i], "levelDescription"), expected[i].description);
            QVERIFY(i == 0 ||
                    (shown[i - 1]->x() < shown[i]->x() && shown[i - 1]->y() == shown[i]->y()));
        }
        QCOMPARE(chosen(&screen), QList<int>{int(CompressionLevel::Balanced)});
        QCOMPARE(labelText(panel(&screen), "compressNote"), Compress::note());
        QCOMPARE(button(&screen, "compressButton")->text(), Compress::button());

        for (CompressionLevel level :
             {CompressionLevel::Small, CompressionLevel::Balanced, CompressionLevel::High}) {
            QTest::mouseClick(cards(&screen)[int(level)], Qt::LeftButton);
            QCOMPARE(screen.model().level(), level);
            QCOMPARE(chosen(&screen), QList<int>{int(level)});
        }
        ws.select(ws.files().last().id);
        QCOMPARE(chosen(&screen), QList<int>{int(CompressionLevel::High)});
        QCOMPARE(labelText(panel(&screen), "compressSize"),
                 Compress::currentSize(ws.files().last().bytes));
        QTest::keyClick(cards(&screen)[int(CompressionLevel::Small)], Qt::Key_Space);
        QCOMPARE(screen.model().level(), CompressionLevel::Small);
        QCOMPARE(chosen(&screen), QList<int>{int(CompressionLevel::Small)});
    }

    // A run at the chosen level to the job bar; choosing another file
    // clears the outcome.
    void compressThroughTheScreen()
    {
        QTemporaryDir dir;
        const QString source = writeFile(dir.filePath(QStringLiteral("Photos.pdf")), m_photos);
        Workspace ws;
        ws.add({source, writeFile(dir.filePath(QStringLiteral("Other.pdf")), textPDF(1))});
        ws.select(ws.files().first().id);
        CompressScreen screen(ws);
        screen.show();
        QVERIFY(QTest::qWaitForWindowExposed(&screen));
        QPushButton *compress = button(&screen, "compressButton");
        QTest::mouseClick(cards(&screen)[int(CompressionLevel::Small)], Qt::LeftButton);
        QTest::mouseClick(compress, Qt::LeftButton);
        QVERIFY(!compress->isEnabled()); // while it runs
        QCOMPARE(labelText(panel(&screen), "jobText"), QStringLiteral("Compressing…"));
        QVERIFY(finish(screen));
        QVERIFY(compress->isEnabled());
        const QString result = dir.filePath(QStringLiteral("Photos compressed.pdf"));
        const PDFOps::CompressResult sizes{QFileInfo(source).size(), QFileInfo(result).size(),
                                           false};
        QCOMPARE(labelText(panel(&screen), "jobTitle"),
                 Compress::outcome(sizes, QStringLiteral("Photos.pdf"), result).title);
        QCOMPARE(labelText(panel(&screen), "jobDetail"), QStringLiteral("Photos compressed.pdf"));
        // The chosen level reached the work: balanced would keep all 1600 pixels.
        const auto images = imagesOf(readFile(result));
        QCOMPARE(images.size(), 2);
        for (const auto &image : images)
            QVERIFY2(image.width < 1600, qPrintable(QString::number(image.width)));

        QVERIFY(button(&screen, "jobShow")->isVisible());
        ws.select(ws.files().last().id);
        QVERIFY(std::holds_alternative<Job::Idle>(screen.model().job().state()));
        QVERIFY(!panel(&screen)->findChild<QWidget *>(QStringLiteral("jobBar"))->isVisible());
    }
};

QTEST_MAIN(TestCompressScreen)
#include "tst_compressscreen.moc"
