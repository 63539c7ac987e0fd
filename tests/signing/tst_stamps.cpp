#include "signing/Stamps.h"

#include <QFontDatabase>
#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>
#include <QTest>

#include <cmath>

using namespace Qt::StringLiterals;

using Strokes = QList<Stamps::Stroke>;

namespace {

// The box of the pixels with at least `minAlpha`.
QRect inkBox(const QImage &image, int minAlpha = 1)
{
    QRect box;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (image.pixelColor(x, y).alpha() >= minAlpha)
                box |= QRect(x, y, 1, 1);
    return box;
}

bool allTransparent(const QImage &image)
{
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width() * 4; ++x)
            if (image.constScanLine(y)[x] != 0)
                return false;
    return true;
}

// The first pixel of full alpha, row by row.
QPoint firstSolid(const QImage &image)
{
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (image.pixelColor(x, y).alpha() == 255)
                return {x, y};
    return {-1, -1};
}

QImage grey(QSize size, int level)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(QColor(level, level, level));
    return image;
}

// The raw bytes of one pixel: r, g, b, a.
QList<int> bytes(const QImage &image, int x, int y)
{
    const uchar *p = image.constScanLine(y) + 4 * x;
    return {p[0], p[1], p[2], p[3]};
}

} // namespace

class TestStamps : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void text_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<double>("size");
        QTest::addColumn<bool>("bold");
        QTest::newRow("name") << u"Hi"_s << 20.0 << false;
        QTest::newRow("bold word") << u"APPROVED"_s << 18.0 << true;
        QTest::newRow("two lines") << u"Signed\nhere"_s << 14.0 << false;
    }
    void text()
    {
        QFETCH(QString, text);
        QFETCH(double, size);
        QFETCH(bool, bold);
        const auto image = Stamps::text(text, size, QColor(200, 0, 0), bold);
        QVERIFY(image);
        QCOMPARE(image->format(), QImage::Format_RGBA8888_Premultiplied);

        QFont font(QFontDatabase::systemFont(QFontDatabase::GeneralFont).family());
        font.setPixelSize(int(size * 3));
        font.setWeight(bold ? QFont::DemiBold : QFont::Normal);
        const QRectF measured = QFontMetricsF(font).boundingRect(
            QRectF(0, 0, 4000, 1000), Qt::AlignLeft | Qt::AlignTop, text);
        QCOMPARE(image->size(),
                 QSize(int(std::ceil(measured.width())), int(std::ceil(measured.height()))) +
                     QSize(12, 12));

        QCOMPARE(bytes(*image, 0, 0), QList<int>({0, 0, 0, 0}));
        const QRect ink = inkBox(*image);
        QVERIFY(!ink.isEmpty());
        QVERIFY(image->rect().adjusted(6, 6, -6, -6).contains(ink));
        QCOMPARE(image->pixelColor(firstSolid(*image)), QColor(200, 0, 0));
    }

    void nothingToDraw()
    {
        QVERIFY(!Stamps::text(QString(), 18, Qt::black, false));
        QVERIFY(!Stamps::signature({}, 3.2, Qt::black));
        QVERIFY(!Stamps::signature({{}, {}}, 3.2, Qt::black));
        const auto spaces = Stamps::text(u"   "_s, 18, Qt::black, false);
        QVERIFY(spaces);
        QVERIFY(spaces->width() >= 12 && spaces->height() > 12);
        QVERIFY(allTransparent(*spaces));
    }

    void strokes_data()
    {
        QTest::addColumn<Strokes>("strokes");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QRect>("expectedInk"); // pixels with alpha ≥ 128, ±2
        QTest::addColumn<QPoint>("lowest");     // where the lowest point lands
        // y-up: (10, 10) is the lowest point, so it lands on the bottom margin.
        QTest::newRow("line") << Strokes{{{10, 10}, {60, 40}, {120, 12}}} << QSize(366, 126)
                              << QRect(QPoint(13, 13), QPoint(353, 113)) << QPoint(18, 108);
        QTest::newRow("dot") << Strokes{{{40, 70}}} << QSize(36, 36)
                             << QRect(QPoint(13, 13), QPoint(23, 22)) << QPoint(18, 18);
        QTest::newRow("two strokes and an empty one")
            << Strokes{{}, {{0, 0}, {0, 20}}, {{30, 0}}} << QSize(126, 96)
            << QRect(QPoint(13, 13), QPoint(113, 83)) << QPoint(108, 78);
    }
    void strokes()
    {
        QFETCH(Strokes, strokes);
        QFETCH(QSize, size);
        QFETCH(QRect, expectedInk);
        QFETCH(QPoint, lowest);
        const auto image = Stamps::signature(strokes, 3.2, QColor(13, 51, 178));
        QVERIFY(image);
        QCOMPARE(image->format(), QImage::Format_RGBA8888_Premultiplied);
        QCOMPARE(image->size(), size);
        QCOMPARE(bytes(*image, 0, 0), QList<int>({0, 0, 0, 0}));
        const QRect ink = inkBox(*image, 128);
        QVERIFY2(expectedInk.adjusted(-2, -2, 2, 2).contains(ink) &&
                     ink.adjusted(-2, -2, 2, 2).contains(expectedInk),
                 qPrintable(u"ink from %1,%2 to %3,%4"_s.arg(ink.left())
                                .arg(ink.top())
                                .arg(ink.right())
                                .arg(ink.bottom())));
        QCOMPARE(image->pixelColor(firstSolid(*image)), QColor(13, 51, 178));
        QCOMPARE(image->pixelColor(lowest).alpha(), 255);
    }

    void alphaRamp()
    {
        // Paper of luminance 209 with patches of 26, 150 and 194 side by side.
        QImage photo = grey({100, 100}, 209);
        QPainter painter(&photo);
        painter.fillRect(40, 40, 10, 10, QColor(26, 26, 26));
        painter.fillRect(50, 40, 10, 10, QColor(150, 150, 150));
        painter.fillRect(60, 40, 10, 10, QColor(194, 194, 194));
        painter.end();
        const auto ink = Stamps::signatureFromPhoto(photo, QColor(10, 50, 200));
        QVERIFY(ink);
        // The ink (26 and 150) at columns 40–59, rows 40–49, plus 4 pixels.
        QCOMPARE(ink->size(), QSize(28, 18));
        QCOMPARE(bytes(*ink, 8, 9), QList<int>({10, 50, 200, 255}));
        QCOMPARE(bytes(*ink, 18, 9), QList<int>({3, 17, 69, 89}));
        QCOMPARE(bytes(*ink, 26, 9), QList<int>({0, 0, 0, 0}));
        QCOMPARE(bytes(*ink, 0, 0), QList<int>({0, 0, 0, 0}));
    }

    void workingSize_data()
    {
        QTest::addColumn<QSize>("photo");
        QTest::addColumn<int>("paper");
        QTest::addColumn<QRect>("mark"); // black, on the paper
        QTest::addColumn<QSize>("result");
        QTest::addColumn<QPoint>("probe"); // inside the mark, in the result
        QTest::addColumn<int>("alpha");
        // A uniform dark picture is ink all over: the whole working picture.
        QTest::newRow("wide, halved")
            << QSize(2800, 1000) << 50 << QRect() << QSize(1400, 500) << QPoint(0, 499) << 212;
        QTest::newRow("tall, reduced")
            << QSize(700, 2100) << 50 << QRect() << QSize(466, 1400) << QPoint(233, 700) << 212;
        QTest::newRow("full size")
            << QSize(1000, 700) << 50 << QRect() << QSize(1000, 700) << QPoint(999, 699) << 212;
        QTest::newRow("mark on the left edge") << QSize(200, 100) << 255 << QRect(0, 40, 10, 20)
                                               << QSize(14, 28) << QPoint(0, 4) << 255;
        QTest::newRow("mark in a corner") << QSize(200, 100) << 230 << QRect(190, 90, 10, 10)
                                          << QSize(14, 14) << QPoint(13, 13) << 255;
    }
    void workingSize()
    {
        QFETCH(QSize, photo);
        QFETCH(int, paper);
        QFETCH(QRect, mark);
        QFETCH(QSize, result);
        QFETCH(QPoint, probe);
        QFETCH(int, alpha);
        QImage picture = grey(photo, paper);
        if (!mark.isNull())
            QPainter(&picture).fillRect(mark, Qt::black);
        const auto ink = Stamps::signatureFromPhoto(picture, Qt::black);
        QVERIFY(ink);
        QCOMPARE(ink->format(), QImage::Format_RGBA8888_Premultiplied);
        QCOMPARE(ink->size(), result);
        QCOMPARE(bytes(*ink, probe.x(), probe.y()), QList<int>({0, 0, 0, alpha}));
    }

    void noInk_data()
    {
        QTest::addColumn<int>("level");
        QTest::newRow("white") << 255;
        QTest::newRow("grey 100") << 100;
        // Below the paper floor of 100, but within the cut-off.
        QTest::newRow("grey 97") << 97;
    }
    void noInk()
    {
        QFETCH(int, level);
        QVERIFY(!Stamps::signatureFromPhoto(grey({300, 200}, level), Qt::black));
    }

    void photoOfSignature_data()
    {
        QTest::addColumn<bool>("shadow");
        QTest::newRow("even paper") << false;
        QTest::newRow("shadow across the paper") << true;
    }
    void photoOfSignature()
    {
        QFETCH(bool, shadow);
        const QColor paper = QColor::fromRgbF(0.82f, 0.82f, 0.82f);
        QImage photo(800, 400, QImage::Format_RGB32);
        QPainter painter(&photo);
        if (shadow) {
            QLinearGradient gradient(0, 0, 800, 0);
            gradient.setColorAt(0, QColor(196, 196, 196));
            gradient.setColorAt(1, paper);
            painter.fillRect(photo.rect(), gradient);
        } else {
            photo.fill(paper);
        }
        painter.setRenderHint(QPainter::Antialiasing);
        QPainterPath curve({200, 150});
        curve.cubicTo({300, 300}, {450, 50}, {600, 250});
        painter.setPen(QPen(QColor::fromRgbF(0.1f, 0.1f, 0.1f), 8));
        painter.drawPath(curve);
        painter.end();

        const QColor ink = Stamps::inkColors().at(1).color;
        const auto result = Stamps::signatureFromPhoto(photo, ink);
        QVERIFY(result);
        // The curve spans x 192–608 and about y 146–254 with its pen.
        QVERIFY2(result->width() > 400 && result->width() < 430,
                 qPrintable(QString::number(result->width())));
        QVERIFY2(result->height() > 100 && result->height() < 140,
                 qPrintable(QString::number(result->height())));
        QCOMPARE(bytes(*result, 0, 0), QList<int>({0, 0, 0, 0}));
        QCOMPARE(bytes(*result, result->width() - 1, result->height() - 1),
                 QList<int>({0, 0, 0, 0}));
        // The middle of the stroke is solid ink, in the ink's own colour.
        const QPoint solid = firstSolid(*result);
        QCOMPARE(bytes(*result, solid.x(), solid.y()), QList<int>({12, 51, 178, 255}));
    }
};

QTEST_MAIN(TestStamps)
#include "tst_stamps.moc"
