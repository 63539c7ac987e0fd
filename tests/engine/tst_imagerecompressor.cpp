#include "engine/internal/ImageRecompressor.h"
#include "engine/internal/JpegTables.h"
#include "support/Fixtures.h"
#include "support/PictureFixtures.h"

#include <QTest>

#include <sys/resource.h>

using namespace Qt::StringLiterals;
using namespace Fixtures;
using ImageRecompressor::Input;

Q_DECLARE_METATYPE(ImageRecompressor::Input)

namespace {

Input jpegInput(const QImage &photo, QSize target, int quality = 60, int storedQuality = 92)
{
    Input in;
    in.kind = Input::Kind::Jpeg;
    in.data = encode(photo, "JPEG", storedQuality);
    in.size = photo.size();
    in.components = 3;
    in.target = target;
    in.quality = quality;
    in.storedBytes = in.data.size();
    return in;
}

} // namespace

// The picture work alone: resampling and re-encoding one picture, and
// tighter coding of a JPEG kept as it is. What compression makes of whole
// documents (levels, kinds left alone, soft masks) is checked in tst_compress.
class TestImageRecompressor : public QObject {
    Q_OBJECT
private Q_SLOTS:
    // First, while the process's peak is still low: a few bytes of frame
    // header can claim 20000 × 20000 pixels, whose coefficients alone would
    // take 2.4 GB.
    void aHugeJpegClaimCostsNoMemory()
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

    void targetSize_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<double>("scale");
        QTest::addColumn<QSize>("expected");
        QTest::newRow("half") << QSize(3000, 4000) << 0.5 << QSize(1500, 2000);
        QTest::newRow("at least a pixel") << QSize(4000, 10) << 0.01 << QSize(40, 1);
        QTest::newRow("bad scale means none") << QSize(800, 600) << -1.0 << QSize(800, 600);
    }
    void targetSize()
    {
        QFETCH(QSize, size);
        QFETCH(double, scale);
        QTEST(ImageRecompressor::targetSize(size, scale, 5000), "expected");
    }

    void shrinksAPhotoToItsTarget()
    {
        const QImage photo = naturalPhoto(QSize(1600, 1200), 7);
        const Input in = jpegInput(photo, QSize(400, 300));
        const auto out = ImageRecompressor::recompress(in);
        QVERIFY(out.replaced);
        QVERIFY(out.jpeg);
        QCOMPARE(out.size, QSize(400, 300));
        QVERIFY(out.data.size() < in.data.size() / 4);
        const QImage back = QImage::fromData(out.data, "JPEG");
        QCOMPARE(back.size(), QSize(400, 300));
        // Still the same picture: compared with a plain shrink of the source.
        const double difference = meanDifference(
            back, photo.scaled(400, 300, Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
        QVERIFY2(difference >= 0 && difference < 12, qPrintable(QString::number(difference)));
    }

    // A picture is replaced only when that helps and when it is what the
    // PDF says it is (its JPEG frame read for size and components);
    // anything it can't decode is left alone.
    void replacedOnlyWhenItHelps_data()
    {
        QTest::addColumn<Input>("input");
        QTest::addColumn<bool>("replaced");
        const QImage photo = naturalPhoto(QSize(600, 400), 5);
        // Same size: a much finer source saves a lot, a rougher one nothing.
        QTest::newRow("much finer") << jpegInput(photo, photo.size(), 60, 97) << true;
        // A soft mask already smaller than the target is never enlarged to it.
        Input masked = jpegInput(naturalPhoto(QSize(800, 600), 4), QSize(200, 150));
        masked.maskSize = QSize(100, 75);
        masked.mask = QByteArray(100 * 75, char(128));
        QTest::newRow("a smaller mask") << masked << true;
        QTest::newRow("already rougher") << jpegInput(photo, photo.size(), 80, 30) << false;
        const QImage small = naturalPhoto(QSize(300, 200), 2);
        Input in = jpegInput(small, QSize(100, 60));
        in.components = 1;
        QTest::newRow("grey claimed for colour") << in << false;
        in.components = 4;
        QTest::newRow("four components") << in << false;
        in.components = 3;
        in.size = QSize(301, 200);
        QTest::newRow("other size") << in << false;
        in.size = small.size();
        in.data = in.data.left(20);
        QTest::newRow("cut short before the frame") << in << false;
        in.data = encode(small, "PNG");
        QTest::newRow("a PNG") << in << false;
        in.data = QByteArray::fromHex("ffd8ffc0001108004000400301220002110103110100") +
                  QByteArray(500, 'x');
        in.size = QSize(64, 64);
        in.target = QSize(32, 32);
        in.storedBytes = in.data.size();
        QTest::newRow("garbage JPEG") << in << false;
        Input samples;
        samples.kind = Input::Kind::Samples;
        samples.data = QByteArray(100, 'a');
        samples.size = QSize(64, 64);
        samples.target = QSize(32, 32);
        QTest::newRow("samples cut short") << samples << false;
    }
    void replacedOnlyWhenItHelps()
    {
        QFETCH(Input, input);
        QFETCH(bool, replaced);
        const auto out = ImageRecompressor::recompress(input);
        QCOMPARE(out.replaced, replaced);
        QVERIFY(!out.maskReplaced); // no mask here is bigger than its picture's target
        if (replaced)
            QVERIFY(out.data.size() < input.storedBytes);
    }

    // A JPEG kept as it is gets tighter Huffman tables, its pixels the same.
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
};

QTEST_MAIN(TestImageRecompressor)
#include "tst_imagerecompressor.moc"
