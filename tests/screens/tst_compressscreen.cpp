// The Compress screen's bindings: the size, the cards and which one is
// chosen, the button and one run to the job bar. The texts themselves and
// the work are checked in tests/tasks; the save panel for a folder that
// can't be written in tst_protectscreen (the same ToolModel path).
#include "core/Workspace.h"
#include "screens/CompressModel.h"
#include "screens/CompressScreen.h"
#include "screens/Symbols.h"
#include "support/Fixtures.h"
#include "support/PictureFixtures.h"
#include "support/ScreenParts.h"
#include "tasks/Compress.h"

#include <QFileInfo>
#include <QLabel>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;

using namespace ScreenParts;

namespace {
QList<QWidget *> cards(const CompressScreen &screen)
{
    return rootOf(screen)->findChildren<QWidget *>(QStringLiteral("compressLevel"));
}

// The levels of the cards drawn as chosen (cards go smallest first, in the
// order of the levels).
QList<int> chosen(const CompressScreen &screen)
{
    QList<int> levels;
    for (QWidget *card : cards(screen))
        if (card->property("chosen").toBool())
            levels << card->property("level").toInt();
    return levels;
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
        QCOMPARE(labelText(screen, "compressSize"), Compress::currentSize(m_photos.size()));
        const auto shown = cards(screen);
        const auto expected = Compress::levelCards();
        QCOMPARE(shown.size(), expected.size());
        for (int i = 0; i < shown.size(); ++i) {
            QCOMPARE(shown[i]->property("level").toInt(), int(expected[i].level));
            QCOMPARE(labelText(shown[i], "levelTitle"), expected[i].title);
            QCOMPARE(labelText(shown[i], "levelDescription"), expected[i].description);
            QVERIFY(i == 0 ||
                    (shown[i - 1]->x() < shown[i]->x() && shown[i - 1]->y() == shown[i]->y()));
        }
        QCOMPARE(chosen(screen), QList<int>{int(CompressionLevel::Balanced)});
        QCOMPARE(labelText(screen, "compressNote"), Compress::note());
        QCOMPARE(part<QPushButton>(screen, "compressButton")->text(), Compress::button());

        for (CompressionLevel level :
             {CompressionLevel::Small, CompressionLevel::Balanced, CompressionLevel::High}) {
            click(cards(screen)[int(level)]);
            QCOMPARE(screen.model().level(), level);
            QCOMPARE(chosen(screen), QList<int>{int(level)});
        }
        ws.select(ws.files().last().id);
        QCOMPARE(chosen(screen), QList<int>{int(CompressionLevel::High)});
        QCOMPARE(labelText(screen, "compressSize"), Compress::currentSize(ws.files().last().bytes));
        QTest::keyClick(cards(screen)[int(CompressionLevel::Small)], Qt::Key_Space);
        QCOMPARE(screen.model().level(), CompressionLevel::Small);
        QCOMPARE(chosen(screen), QList<int>{int(CompressionLevel::Small)});
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
        QPushButton *compress = part<QPushButton>(screen, "compressButton");
        click(cards(screen)[int(CompressionLevel::Small)]);
        click(compress);
        QVERIFY(!compress->isEnabled()); // while it runs
        QCOMPARE(labelText(screen, "jobText"), QStringLiteral("Compressing…"));
        QVERIFY(finish(screen));
        QVERIFY(compress->isEnabled());
        const QString result = dir.filePath(QStringLiteral("Photos compressed.pdf"));
        const PDFOps::CompressResult sizes{QFileInfo(source).size(), QFileInfo(result).size(),
                                           false};
        QCOMPARE(labelText(screen, "jobTitle"),
                 Compress::outcome(sizes, QStringLiteral("Photos.pdf"), result).title);
        QCOMPARE(labelText(screen, "jobDetail"), QStringLiteral("Photos compressed.pdf"));
        // The chosen level reached the work: balanced would keep all 1600 pixels.
        const auto images = imagesOf(readFile(result));
        QCOMPARE(images.size(), 2);
        for (const auto &image : images)
            QVERIFY2(image.width < 1600, qPrintable(QString::number(image.width)));

        QVERIFY(part<QPushButton>(screen, "jobShow")->isVisible());
        ws.select(ws.files().last().id);
        QVERIFY(std::holds_alternative<Job::Idle>(screen.model().job().state()));
        QVERIFY(!part(screen, "jobBar")->isVisible());
    }
};

QTEST_MAIN(TestCompressScreen)
#include "tst_compressscreen.moc"
