#include "Fixtures.h"
#include "JpegTables.h"

#include <QBuffer>
#include <QImage>
#include <QImageWriter>
#include <QPainter>
#include <QTest>

namespace {

QImage scene(QImage::Format format)
{
    QImage image(640, 480, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    QLinearGradient sky(0, 0, 0, 480);
    sky.setColorAt(0, QColor(40, 90, 200));
    sky.setColorAt(1, QColor(250, 200, 120));
    painter.fillRect(image.rect(), sky);
    painter.setBrush(QColor(30, 120, 40));
    painter.drawEllipse(QPoint(320, 480), 400, 180);
    painter.end();
    return image.convertToFormat(format);
}

QByteArray plainJpeg(const QImage &image, int quality)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "jpeg");
    writer.setQuality(quality);
    writer.setOptimizedWrite(false);
    writer.write(image);
    return bytes;
}

} // namespace

class TestJpegTables : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void samePixelsFewerBytes_data()
    {
        QTest::addColumn<QImage>("image");
        QTest::addColumn<int>("quality");
        QTest::newRow("colour, quality 90") << scene(QImage::Format_RGB32) << 90;
        QTest::newRow("colour, quality 50") << scene(QImage::Format_RGB32) << 50;
        QTest::newRow("grey scan") << scene(QImage::Format_Grayscale8) << 85;
    }
    void samePixelsFewerBytes()
    {
        QFETCH(QImage, image);
        QFETCH(int, quality);
        const QByteArray before = plainJpeg(image, quality);
        const auto after = tighterJpeg(before);
        QVERIFY(after);
        QVERIFY2(after->size() < before.size(),
                 qPrintable(QStringLiteral("%1 → %2").arg(before.size()).arg(after->size())));
        const QImage was = QImage::fromData(before, "JPEG");
        const QImage is = QImage::fromData(*after, "JPEG");
        QVERIFY(!is.isNull());
        QCOMPARE(is.size(), was.size());
        QCOMPARE(is.format(), was.format());
        QVERIFY(is == was);
    }

    void refusesWhatIsntAJpeg_data()
    {
        QTest::addColumn<QByteArray>("data");
        const QByteArray jpeg = plainJpeg(scene(QImage::Format_RGB32), 80);
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("a PNG") << Fixtures::encode(scene(QImage::Format_RGB32), "PNG");
        QTest::newRow("cut short") << jpeg.left(jpeg.size() / 3);
        QTest::newRow("only the start marker") << QByteArray("\xFF\xD8\xFF", 3);
        QTest::newRow("garbage after the marker")
            << QByteArray("\xFF\xD8") + QByteArray(500, '\x42');
    }
    void refusesWhatIsntAJpeg()
    {
        QFETCH(QByteArray, data);
        QCOMPARE(tighterJpeg(data), std::nullopt);
    }
};

QTEST_MAIN(TestJpegTables)
#include "tst_jpegtables.moc"
