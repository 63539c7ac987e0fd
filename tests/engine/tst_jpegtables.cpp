#include "engine/internal/JpegTables.h"
#include "support/Fixtures.h"
#include "support/PictureFixtures.h"

#include <QImage>
#include <QTest>

#include <sys/resource.h>

using namespace Qt::StringLiterals;
using namespace Fixtures;

class TestJpegTables : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void samePixelsFewerBytes_data()
    {
        QTest::addColumn<QImage>("image");
        QTest::addColumn<int>("quality");
        const QImage photo = naturalPhoto(QSize(640, 480), 3);
        QTest::newRow("colour") << photo << 90;
        QTest::newRow("grey scan") << photo.convertToFormat(QImage::Format_Grayscale8) << 50;
    }
    void samePixelsFewerBytes()
    {
        QFETCH(QImage, image);
        QFETCH(int, quality);
        const QByteArray before = encode(image, "JPEG", quality);
        const auto after = tighterJpeg(before);
        QVERIFY(after);
        QVERIFY2(after->size() < before.size(),
                 qPrintable(u"%1 → %2"_s.arg(before.size()).arg(after->size())));
        const QImage was = QImage::fromData(before, "JPEG");
        const QImage is = QImage::fromData(*after, "JPEG");
        QVERIFY(!is.isNull());
        QCOMPARE(is.format(), was.format());
        QVERIFY(is == was);
    }

    void refusesWhatIsntAJpeg_data()
    {
        QTest::addColumn<QByteArray>("data");
        const QImage photo = naturalPhoto(QSize(64, 48), 1);
        const QByteArray jpeg = encode(photo, "JPEG", 80);
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("a PNG") << encode(photo, "PNG");
        QTest::newRow("cut short") << jpeg.left(jpeg.size() / 3);
        QTest::newRow("only the start marker") << QByteArray("\xFF\xD8\xFF", 3);
        QTest::newRow("garbage after the marker") << QByteArray("\xFF\xD8") + QByteArray(500, 'B');
    }
    void refusesWhatIsntAJpeg()
    {
        QFETCH(QByteArray, data);
        QCOMPARE(tighterJpeg(data), std::nullopt);
    }

    // A few bytes of frame header can claim 20000 × 20000 pixels, whose
    // coefficients alone would take 2.4 GB.
    void aHugeClaimCostsNoMemory()
    {
        QByteArray jpeg = encode(naturalPhoto(QSize(64, 48), 1), "JPEG", 80);
        const qsizetype frame = jpeg.indexOf("\xFF\xC0");
        QVERIFY(frame > 0);
        for (const qsizetype at : {frame + 5, frame + 7}) // height, width
            jpeg.replace(at, 2, QByteArray("\x4E\x20", 2));
        rusage before{}, after{};
        ::getrusage(RUSAGE_SELF, &before);
        QCOMPARE(tighterJpeg(jpeg), std::nullopt);
        ::getrusage(RUSAGE_SELF, &after);
        QVERIFY2(after.ru_maxrss - before.ru_maxrss < 64 * 1024,
                 qPrintable(u"%1 KB more"_s.arg(after.ru_maxrss - before.ru_maxrss)));
    }
};

QTEST_MAIN(TestJpegTables)
#include "tst_jpegtables.moc"
