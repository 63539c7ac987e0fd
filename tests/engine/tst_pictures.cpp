#include "engine/PDFOps.h"
#include "support/Fixtures.h"
#include "support/PictureFixtures.h"

#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace Fixtures;

class TestPictures : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

    static bool isRed(QRgb c) { return qRed(c) > 200 && qBlue(c) < 60; }

private Q_SLOTS:
    void pageSize_data()
    {
        QTest::addColumn<QSize>("pixels");
        QTest::addColumn<QSizeF>("points");
        QTest::newRow("landscape photo") << QSize(3000, 2000) << QSizeF(842, 561);
        QTest::newRow("portrait") << QSize(2000, 3000) << QSizeF(561, 842);
        QTest::newRow("tiny") << QSize(1, 1) << QSizeF(842, 842);
        QTest::newRow("strip") << QSize(4000, 10) << QSizeF(842, 2);
        QTest::newRow("half rounds up") << QSize(1684, 1) << QSizeF(842, 1);
    }
    void pageSize()
    {
        QFETCH(QSize, pixels);
        QFETCH(QSizeF, points);
        QCOMPARE(PDFOps::picturePageSize(pixels), points);
        auto doc = PDFOps::page(marker(pixels.width(), pixels.height()));
        QVERIFY(doc);
        QCOMPARE(doc->pageCount(), 1);
        QCOMPARE(doc->page(0)->uprightSize(), points);
        QVERIFY(!PDFOps::page(QImage()));
    }

    void loads_data()
    {
        // A stored 400 × 200 picture, red at its top left; EXIF says how to turn it.
        QTest::addColumn<QString>("format");
        QTest::addColumn<int>("orientation");
        QTest::addColumn<int>("bound"); // the longer side at most
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QPoint>("redAt"); // a point that is red once upright
        QTest::newRow("1 upright") << "JPEG" << 1 << 3200 << QSize(400, 200) << QPoint(50, 50);
        QTest::newRow("3 upside down")
            << "JPEG" << 3 << 3200 << QSize(400, 200) << QPoint(350, 150);
        QTest::newRow("6 turned right")
            << "JPEG" << 6 << 3200 << QSize(200, 400) << QPoint(150, 50);
        QTest::newRow("8 turned left") << "JPEG" << 8 << 3200 << QSize(200, 400) << QPoint(50, 350);
        QTest::newRow("2 mirrored") << "JPEG" << 2 << 3200 << QSize(400, 200) << QPoint(350, 50);
        QTest::newRow("png bounded") << "PNG" << 1 << 200 << QSize(200, 100) << QPoint(25, 25);
        QTest::newRow("jpeg bounded") << "JPEG" << 1 << 200 << QSize(200, 100) << QPoint(25, 25);
        QTest::newRow("photo.HEIC") << "HEIC" << 1 << 3200 << QSize(400, 200) << QPoint(50, 50);
        QTest::newRow("bounded.HEIC") << "HEIC" << 1 << 200 << QSize(200, 100) << QPoint(25, 25);
        QTest::newRow("turned, then bounded")
            << "JPEG" << 6 << 200 << QSize(100, 200) << QPoint(75, 25);
    }
    void loads()
    {
        QFETCH(QString, format);
        QFETCH(int, orientation);
        QFETCH(int, bound);
        QFETCH(QSize, size);
        QFETCH(QPoint, redAt);
        const QByteArray bytes = format == QLatin1String("PNG") ? encode(marker(400, 200), "PNG")
                                 : format == QLatin1String("HEIC")
                                     ? heic(marker(400, 200))
                                     : jpegWithOrientation(marker(400, 200), orientation);
        if (bytes.isEmpty())
            QSKIP("libheif has no HEVC encoder here");
        const QString path = writeFile(m_dir.filePath(QTest::currentDataTag()), bytes);
        const auto image = PDFOps::loadImage(path, bound);
        QVERIFY(image);
        QCOMPARE(image->size(), size); // never enlarged
        QVERIFY(isRed(image->pixel(redAt)));
        QVERIFY(!isRed(image->pixel(size.width() - 1 - redAt.x(), size.height() - 1 - redAt.y())));
    }

    void refusesWhatIsNoPicture_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("bytes"); // null: no such file
        QTest::newRow("pdf") << "doc.pdf" << textPDF(1);
        QTest::newRow("pdf named jpg") << "doc.jpg" << textPDF(1);
        QTest::newRow("text") << "notes.png" << QByteArray("just some words");
        QTest::newRow("empty") << "empty.jpg" << QByteArray("");
        QTest::newRow("broken jpeg") << "broken.jpg" << encode(marker(50, 50), "JPEG").left(40);
        QTest::newRow("missing") << "missing.png" << QByteArray();
    }
    void refusesWhatIsNoPicture()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, bytes);
        if (!bytes.isNull())
            writeFile(m_dir.filePath(name), bytes);
        QVERIFY(!PDFOps::loadImage(m_dir.filePath(name), 3200));
    }

    void onlyTransparencyGetsAMask()
    {
        QImage clear(100, 50, QImage::Format_ARGB32);
        clear.fill(Qt::transparent);
        clear.setPixelColor(10, 10, Qt::black);
        for (const QImage &picture : {clear, marker(100, 50)}) {
            const QString path = writeFile(m_dir.filePath(u"alpha.png"_s), encode(picture, "PNG"));
            const auto images = imagesOf(PDFOps::page(*PDFOps::loadImage(path, 3200))->toBytes());
            QCOMPARE(images.size(), 1);
            QCOMPARE(images[0].filter, u"/DCTDecode"_s);
            QCOMPARE(images[0].maskWidth, picture.hasAlphaChannel() ? 100 : 0);
        }
    }
};

QTEST_GUILESS_MAIN(TestPictures)
#include "tst_pictures.moc"
