#include "Fixtures.h"
#include "ImageRecompressor.h"
#include "PictureFixtures.h"

#include <QBuffer>
#include <QImageReader>
#include <QTest>

using namespace Fixtures;
using ImageRecompressor::Input;

namespace {

QImage decode(const QByteArray &jpeg)
{
    QByteArray copy = jpeg;
    QBuffer buffer(&copy);
    buffer.open(QIODevice::ReadOnly);
    return QImageReader(&buffer, "jpeg").read();
}

Input jpegInput(const QImage &photo, QSize target, int quality = 60)
{
    Input in;
    in.kind = Input::Kind::Jpeg;
    in.data = encode(photo, "JPEG", 92);
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
        QTest::newRow("small already") << QSize(100, 50) << 1.0 << 1200 << QSize(100, 50);
        QTest::newRow("at least a pixel") << QSize(4000, 10) << 0.01 << 2000 << QSize(40, 1);
        QTest::newRow("bad scale means none") << QSize(800, 600) << -1.0 << 2000 << QSize(800, 600);
    }
    void targetSize()
    {
        QFETCH(QSize, size);
        QFETCH(double, scale);
        QFETCH(int, maxPixel);
        QFETCH(QSize, expected);
        QCOMPARE(ImageRecompressor::targetSize(size, scale, maxPixel), expected);
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
        QFETCH(QSize, size);
        QFETCH(int, components);
        QSize found;
        int count = 0;
        QCOMPARE(ImageRecompressor::jpegHeader(jpeg, &found, &count), ok);
        if (ok) {
            QCOMPARE(found, size);
            QCOMPARE(count, components);
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
        const QImage back = decode(out.data);
        QCOMPARE(back.size(), QSize(400, 300));
        // Still the same picture: compared with a plain shrink of the source.
        const QImage reference = photo.scaled(400, 300, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        QVERIFY2(meanDifference(back, reference) < 12,
                 qPrintable(QString::number(meanDifference(back, reference))));
    }

    void leavesWhatWouldNotShrink_data()
    {
        QTest::addColumn<int>("storedQuality");
        QTest::addColumn<int>("quality");
        QTest::addColumn<bool>("replaced");
        // Same size, source already rougher than asked: nothing to gain.
        QTest::newRow("already rougher") << 30 << 80 << false;
        // Same size, much finer source: re-encoding saves a lot.
        QTest::newRow("much finer") << 97 << 60 << true;
    }
    void leavesWhatWouldNotShrink()
    {
        QFETCH(int, storedQuality);
        QFETCH(int, quality);
        QFETCH(bool, replaced);
        const QImage photo = naturalPhoto(QSize(600, 400), 5);
        Input in = jpegInput(photo, photo.size(), quality);
        in.data = encode(photo, "JPEG", storedQuality);
        in.storedBytes = in.data.size();
        const auto out = ImageRecompressor::recompress(in);
        QCOMPARE(out.replaced, replaced);
        if (replaced)
            QVERIFY(out.data.size() < in.storedBytes);
    }

    void refusesJpegsThatDisagreeWithThePdf_data()
    {
        QTest::addColumn<QSize>("claimedSize");
        QTest::addColumn<int>("claimedComponents");
        QTest::newRow("grey claimed for colour") << QSize(300, 200) << 1;
        QTest::newRow("other size") << QSize(301, 200) << 3;
        QTest::newRow("four components") << QSize(300, 200) << 4;
    }
    void refusesJpegsThatDisagreeWithThePdf()
    {
        QFETCH(QSize, claimedSize);
        QFETCH(int, claimedComponents);
        Input in = jpegInput(naturalPhoto(QSize(300, 200), 2), QSize(100, 60));
        in.size = claimedSize;
        in.components = claimedComponents;
        QVERIFY(!ImageRecompressor::recompress(in).replaced);
    }

    void softMaskFollowsThePicture()
    {
        Input in = jpegInput(naturalPhoto(QSize(800, 600), 4), QSize(200, 150));
        in.maskSize = QSize(800, 600);
        for (int y = 0; y < 600; ++y)
            for (int x = 0; x < 800; ++x)
                in.mask.append(char(x < 400 ? 0 : 255));
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

    void garbageIsLeftAlone()
    {
        Input in;
        in.kind = Input::Kind::Jpeg;
        in.data = QByteArray::fromHex("ffd8ffc0001108004000400301220002110103110100") + QByteArray(500, 'x');
        in.size = QSize(64, 64);
        in.components = 3;
        in.target = QSize(32, 32);
        in.storedBytes = in.data.size();
        QVERIFY(!ImageRecompressor::recompress(in).replaced);

        Input shortSamples;
        shortSamples.kind = Input::Kind::Rgb8;
        shortSamples.data = QByteArray(100, 'a');
        shortSamples.size = QSize(64, 64);
        shortSamples.target = QSize(32, 32);
        QVERIFY(!ImageRecompressor::recompress(shortSamples).replaced);
    }
};

QTEST_GUILESS_MAIN(TestImageRecompressor)
#include "tst_imagerecompressor.moc"
