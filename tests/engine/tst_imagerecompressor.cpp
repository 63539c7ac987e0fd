#include "Fixtures.h"
#include "ImageRecompressor.h"
#include "PictureFixtures.h"

#include <QBuffer>
#include <QImageReader>
#include <QTest>

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

class TestImageRecompressor : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void targetSize_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<double>("scale");
        QTest::addColumn<int>("maxPixel");
        QTest::addColumn<QSize>("expected");
        QTest::newRow("half") << QSize(3000, 4000) << 0.5 << 3200 << QSize(1500, 2000);
        QTest::newRow("pixel cap") << QSize(3000, 4000) << 1.0 << 2000 << QSize(1500, 2000);
        QTest::newRow("cap wins over scale") << QSize(3000, 4000) << 0.8 << 1200 << QSize(900, 1200);
        QTest::newRow("never upwards") << QSize(300, 200) << 4.0 << 2000 << QSize(300, 200);
        QTest::newRow("at least a pixel") << QSize(4000, 10) << 0.01 << 2000 << QSize(40, 1);
        QTest::newRow("bad scale means none") << QSize(800, 600) << -1.0 << 2000 << QSize(800, 600);
    }
    void targetSize()
    {
        QFETCH(QSize, size);
        QFETCH(double, scale);
        QFETCH(int, maxPixel);
        QTEST(ImageRecompressor::targetSize(size, scale, maxPixel), "expected");
    }

    void readsJpegFrames_data()
    {
        QTest::addColumn<QByteArray>("jpeg");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<int>("components");
        const QImage photo = naturalPhoto(QSize(123, 45), 3);
        QTest::newRow("colour") << encode(photo, "JPEG", 80) << true << QSize(123, 45) << 3;
        QTest::newRow("grey") << encode(photo.convertToFormat(QImage::Format_Grayscale8), "JPEG", 80)
                              << true << QSize(123, 45) << 1;
        QTest::newRow("PNG") << encode(photo, "PNG") << false << QSize() << 0;
        QTest::newRow("cut short") << encode(photo, "JPEG", 80).left(20) << false << QSize() << 0;
        QTest::newRow("empty") << QByteArray() << false << QSize() << 0;
    }
    void readsJpegFrames()
    {
        QFETCH(QByteArray, jpeg);
        QFETCH(bool, ok);
        QSize found;
        int count = 0;
        QCOMPARE(ImageRecompressor::jpegHeader(jpeg, &found, &count), ok);
        if (ok) {
            QTEST(found, "size");
            QTEST(count, "components");
        }
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
        QByteArray copy = out.data;
        QBuffer buffer(&copy);
        const QImage back = QImageReader(&buffer, "jpeg").read();
        QCOMPARE(back.size(), QSize(400, 300));
        // Still the same picture: compared with a plain shrink of the source.
        const double difference =
            meanDifference(back, photo.scaled(400, 300, Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
        QVERIFY2(difference >= 0 && difference < 12, qPrintable(QString::number(difference)));
    }

    // A picture is replaced only when that helps and when it is what the
    // PDF says it is; anything it can't decode is left alone.
    void replacedOnlyWhenItHelps_data()
    {
        QTest::addColumn<Input>("input");
        QTest::addColumn<bool>("replaced");
        const QImage photo = naturalPhoto(QSize(600, 400), 5);
        // Same size: a much finer source saves a lot, a rougher one nothing.
        QTest::newRow("much finer") << jpegInput(photo, photo.size(), 60, 97) << true;
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
        in.data = QByteArray::fromHex("ffd8ffc0001108004000400301220002110103110100") + QByteArray(500, 'x');
        in.size = QSize(64, 64);
        in.target = QSize(32, 32);
        in.storedBytes = in.data.size();
        QTest::newRow("garbage JPEG") << in << false;
        Input samples;
        samples.kind = Input::Kind::Rgb8;
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
        if (replaced)
            QVERIFY(out.data.size() < input.storedBytes);
    }

    void softMaskFollowsThePicture()
    {
        Input in = jpegInput(naturalPhoto(QSize(800, 600), 4), QSize(200, 150));
        in.maskSize = QSize(800, 600);
        for (int y = 0; y < 600; ++y)
            in.mask.append(QByteArray(400, char(0)) + QByteArray(400, char(255)));
        const auto out = ImageRecompressor::recompress(in);
        QVERIFY(out.replaced);
        QVERIFY(out.maskReplaced);
        QCOMPARE(out.maskSize, QSize(200, 150));
        QCOMPARE(out.mask.size(), qsizetype(200) * 150);
        // Left half stays transparent, right half opaque.
        QCOMPARE(quint8(out.mask.at(10)), quint8(0));
        QCOMPARE(quint8(out.mask.at(190)), quint8(255));

        // A mask smaller than the new picture is left as it is.
        in.maskSize = QSize(100, 75);
        in.mask = QByteArray(100 * 75, char(128));
        QVERIFY(!ImageRecompressor::recompress(in).maskReplaced);
    }
};

QTEST_GUILESS_MAIN(TestImageRecompressor)
#include "tst_imagerecompressor.moc"
