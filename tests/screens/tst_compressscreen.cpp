// The Compress screen's bindings: the size, the cards and which one is
// chosen, the button and one run to the job bar. The texts themselves and
// the work are checked in tests/tasks; the save panel for a folder that
// can't be written in tst_protectscreen (the same ToolModel path).
#include "screens/CompressModel.h"
#include "screens/CompressScreen.h"
#include "screens/Symbols.h"
#include "support/Fixtures.h"
#include "support/PictureFixtures.h"
#include "support/ScreenParts.h"
#include "tasks/Compress.h"

#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace Fixtures;
using namespace ScreenParts;

namespace {
QList<QWidget *> cards(const CompressScreen &screen)
{
    return rootOf(screen)->findChildren<QWidget *>(u"compressLevel"_s);
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

private Q_SLOTS:
    void initTestCase() { Symbols::installTheme(); }

    // The size, the cards side by side (balanced chosen), the note; Space or
    // a click chooses a level, which the run gets; another file keeps the
    // level and clears the outcome.
    void compressThroughTheScreen()
    {
        QTemporaryDir dir;
        const QByteArray photos = photoPDF(2, QSize(1600, 1200), 95);
        const QString source = writeFile(dir.filePath(u"Photos.pdf"_s), photos);
        Shown<CompressScreen> s;
        QVERIFY(s.open({source, writeFile(dir.filePath(u"Other.pdf"_s), textPDF(1))}, {900, 640}));
        const CompressScreen &screen = *s.screen;
        QCOMPARE(labelText(screen, "compressSize"), Compress::currentSize(photos.size()));
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
        auto *compress = part<QPushButton>(screen, "compressButton");
        QCOMPARE(compress->text(), Compress::button());
        QTest::keyClick(shown[int(CompressionLevel::High)], Qt::Key_Space);
        QCOMPARE(chosen(screen), QList<int>{int(CompressionLevel::High)});
        click(shown[int(CompressionLevel::Small)]);
        QCOMPARE(s.screen->model().level(), CompressionLevel::Small);
        QCOMPARE(chosen(screen), QList<int>{int(CompressionLevel::Small)});

        click(compress);
        QVERIFY(!compress->isEnabled()); // while it runs
        QCOMPARE(labelText(screen, "jobText"), u"Compressing…"_s);
        QVERIFY(finish(screen));
        QVERIFY(compress->isEnabled());
        const QString result = dir.filePath(u"Photos compressed.pdf"_s);
        const PDFOps::CompressResult sizes{QFileInfo(source).size(), QFileInfo(result).size(),
                                           false};
        QCOMPARE(labelText(screen, "jobTitle"),
                 Compress::outcome(sizes, u"Photos.pdf"_s, result).title);
        // The chosen level reached the work: balanced would keep all 1600 pixels.
        const auto images = imagesOf(readFile(result));
        QCOMPARE(images.size(), 2);
        for (const auto &image : images)
            QVERIFY2(image.width < 1600, qPrintable(QString::number(image.width)));

        s.ws.select(s.ws.files().last().id);
        QVERIFY(std::holds_alternative<Job::Idle>(screen.model().job().state()));
        QVERIFY(!shows(screen, "jobBar"));
        QCOMPARE(chosen(screen), QList<int>{int(CompressionLevel::Small)});
        QCOMPARE(labelText(screen, "compressSize"),
                 Compress::currentSize(s.ws.files().last().bytes));
    }
};

QTEST_MAIN(TestCompressScreen)
#include "tst_compressscreen.moc"
