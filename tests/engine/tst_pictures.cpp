#include "Fixtures.h"
#include "PDFOps.h"

#include <QTemporaryDir>
#include <QTest>

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
        QTest::newRow("square") << QSize(1000, 1000) << QSizeF(842, 842);
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
    }

    void emptyPictureMakesNoPage() { QVERIFY(!PDFOps::page(QImage())); }

    void loadsUpright_data()
    {
        // A stored 400 × 200 picture, red at its top left; EXIF says how to turn it.
        QTest::addColumn<int>("orientation");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QPoint>("redAt"); // a point that is red once upright
        QTest::newRow("1 upright") << 1 << QSize(400, 200) << QPoint(50, 50);
        QTest::newRow("3 upside down") << 3 << QSize(400, 200) << QPoint(350, 150);
        QTest::newRow("6 turned right") << 6 << QSize(200, 400) << QPoint(150, 50);
        QTest::newRow("8 turned left") << 8 << QSize(200, 400) << QPoint(50, 350);
        QTest::newRow("2 mirrored") << 2 << QSize(400, 200) << QPoint(350, 50);
    }
    void loadsUpright()
    {
        QFETCH(int, orientation);
        QFETCH(QSize, size);
        QFETCH(QPoint, redAt);
        const QString path = writeFile(m_dir.filePath(QStringLiteral("o%1.jpg").arg(orientation)),
                                       jpegWithOrientation(marker(400, 200), orientation));
        const auto image = PDFOps::loadImage(path, 3200);
        QVERIFY(image);
        QCOMPARE(image->size(), size);
        QVERIFY(isRed(image->pixel(redAt)));
    }

    void boundsTheLongerSide_data()
    {
        QTest::addColumn<QString>("format");
        QTest::addColumn<int>("orientation");
        QTest::newRow("png") << "PNG" << 1;
        QTest::newRow("jpeg") << "JPEG" << 1;
        QTest::newRow("jpeg turned") << "JPEG" << 6;
    }
    void boundsTheLongerSide()
    {
        QFETCH(QString, format);
        QFETCH(int, orientation);
        const QImage big = marker(3000, 2000);
        const QByteArray bytes = orientation == 1 ? encode(big, qPrintable(format))
                                                  : jpegWithOrientation(big, orientation);
        const QString path = writeFile(m_dir.filePath(QStringLiteral("big.") + format.toLower()), bytes);
        const auto image = PDFOps::loadImage(path, 1500);
        QVERIFY(image);
        const QSize expected = orientation == 6 ? QSize(1000, 1500) : QSize(1500, 1000);
        QCOMPARE(image->size(), expected);
        // Small pictures are never enlarged.
        const auto small = PDFOps::loadImage(path, 5000);
        QCOMPARE(std::max(small->width(), small->height()), 3000);
    }

    void readsHeic()
    {
        const QByteArray bytes = heic(marker(320, 240));
        if (bytes.isEmpty())
            QSKIP("libheif has no HEVC encoder here");
        const QString path = writeFile(m_dir.filePath(QStringLiteral("photo.HEIC")), bytes);
        const auto image = PDFOps::loadImage(path, 3200);
        QVERIFY(image);
        QCOMPARE(image->size(), QSize(320, 240));
        QVERIFY(isRed(image->pixel(40, 40)));
        QVERIFY(!isRed(image->pixel(280, 200)));
        const auto bounded = PDFOps::loadImage(path, 160);
        QCOMPARE(bounded->size(), QSize(160, 120));
    }

    void refusesWhatIsNoPicture_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("pdf") << "doc.pdf" << textPDF(1);
        QTest::newRow("pdf named jpg") << "doc.jpg" << textPDF(1);
        QTest::newRow("text") << "notes.png" << QByteArray("just some words");
        QTest::newRow("empty") << "empty.jpg" << QByteArray();
        QTest::newRow("broken jpeg") << "broken.jpg" << encode(marker(50, 50), "JPEG").left(40);
    }
    void refusesWhatIsNoPicture()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, bytes);
        const QString path = writeFile(m_dir.filePath(name), bytes);
        QVERIFY(!PDFOps::loadImage(path, 3200));
        QVERIFY(!PDFOps::loadImage(m_dir.filePath(QStringLiteral("missing.png")), 3200));
    }

    void transparencyIsKept()
    {
        QImage image(100, 50, QImage::Format_ARGB32);
        image.fill(Qt::transparent);
        image.setPixelColor(10, 10, Qt::black);
        const QString path = writeFile(m_dir.filePath(QStringLiteral("alpha.png")), encode(image, "PNG"));
        auto doc = PDFOps::page(*PDFOps::loadImage(path, 3200));
        QVERIFY(doc);
        const QByteArray pdf = doc->toBytes({.encrypt = false, .userPassword = {}, .ownerPassword = {},
                                             .allowPrinting = true, .allowCopying = true,
                                             .allowChanges = true, .compact = false});
        QVERIFY(pdf.contains("/SMask"));
    }
};

QTEST_GUILESS_MAIN(TestPictures)
#include "tst_pictures.moc"
