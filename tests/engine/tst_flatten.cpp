#include "engine/Placement.h"
#include "support/Attempt.h"
#include "support/Fixtures.h"
#include "support/PictureFixtures.h"

#include <QCryptographicHash>
#include <QPainter>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace Fixtures;

Q_DECLARE_METATYPE(std::optional<QRectF>)

namespace {

using Attempt::never;
using Attempt::noProgress;

QImage filled(QSize size, const QColor &colour)
{
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(colour);
    return image;
}

::Placement placed(int page, const QRectF &bounds, const QImage &image)
{
    ::Placement placement;
    placement.id = QUuid::createUuid();
    placement.pageIndex = page;
    placement.bounds = bounds;
    placement.image = image;
    return placement;
}

// Red pixels of `image` inside `area` (or outside it).
int redPixels(const QImage &image, const QRect &area, bool inside)
{
    int count = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (const QRgb p = image.pixel(x, y);
                area.contains(x, y) == inside && qRed(p) > 200 && qGreen(p) < 60 && qBlue(p) < 60)
                ++count;
    return count;
}

} // namespace

class TestFlatten : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

    QString path(const QString &name) const { return m_dir.filePath(name); }

    QByteArray flattened(const QByteArray &source, const QList<::Placement> &placements,
                         const QString &name)
    {
        auto doc = PDFDocument::fromBytes(source, u"source.pdf"_s);
        if (!doc)
            return {};
        PDFOps::flatten(*doc, placements, path(name), noProgress, never);
        return readFile(path(name));
    }

private Q_SLOTS:
    // Bounds are the page as seen, y up: the ink lands there and nowhere else.
    void inkShowsWhereThePageShowsIt_data()
    {
        QTest::addColumn<int>("rotate");
        QTest::addColumn<std::optional<QRectF>>("crop");
        for (int rotate : {0, 90, 180, 270}) {
            QTest::addRow("%d°", rotate) << rotate << std::optional<QRectF>();
            QTest::addRow("%d° cropped", rotate)
                << rotate << std::optional<QRectF>(QRectF(50, 120, 400, 500));
        }
    }
    void inkShowsWhereThePageShowsIt()
    {
        QFETCH(int, rotate);
        QFETCH(std::optional<QRectF>, crop);
        DocSpec layout = numberedPages(2, u"Signed"_s);
        layout.pages[0].rotate = rotate;
        layout.pages[0].crop = crop;
        const QByteArray source = makePDF(layout);
        const QSizeF seen = popplerPage(source, 1).size;
        // Near the upper left corner of the page as shown.
        const QRectF bounds(30, seen.height() - 30 - 40, 120, 40);
        const QByteArray out =
            flattened(source, {placed(0, bounds, filled({90, 30}, Qt::red))}, u"signed.pdf"_s);
        QVERIFY(!out.isEmpty());

        const QImage page = popplerRender(out, 1, 72);
        QCOMPARE(page.size(), seen.toSize());
        const QRect where(30, 30, 120, 40); // y down
        QCOMPARE(redPixels(page, where.adjusted(2, 2, -2, -2), true), 116 * 36);
        QCOMPARE(redPixels(page, where.adjusted(-2, -2, 2, 2), false), 0);
        QCOMPARE(redPixels(popplerRender(out, 2, 72), QRect(), false), 0);
        QCOMPARE(popplerPageTexts(out), (QStringList{u"Signed 1"_s, u"Signed 2"_s}));
        QVERIFY(qpdfCheck(path(u"signed.pdf"_s)));
    }

    // One signature on every page of a long document is one picture in the
    // file, kept pixel for pixel, its transparency a soft mask.
    void eachPictureIsStoredOnce()
    {
        const auto stroke = [] { // made twice: equal pictures, separate QImages
            QImage image(450, 150, QImage::Format_ARGB32_Premultiplied);
            image.fill(Qt::transparent);
            QPainter(&image).fillRect(20, 60, 400, 20, QColor(10, 20, 120));
            return image;
        };
        const QImage signature = stroke(), twin = stroke();
        QImage date = filled({120, 30}, QColor(200, 30, 40));
        date.setPixel(5, 5, qRgb(1, 2, 3));

        QList<::Placement> placements;
        for (int page = 0; page < 30; ++page)
            placements.append(placed(page, {300, 80, 180, 60}, page % 3 ? signature : twin));
        placements.append(placed(0, {72, 80, 120, 30}, date));
        placements.append(placed(1, {72, 80, 120, 30}, date.copy()));
        const QByteArray out =
            flattened(makePDF(numberedPages(30)), placements, u"every page.pdf"_s);

        const QList<ImageInfo> images = imagesOf(out);
        QCOMPARE(images.size(), 2);
        const ImageInfo &ink = images[0].width == 450 ? images[0] : images[1];
        const ImageInfo &stamp = images[0].width == 450 ? images[1] : images[0];
        QCOMPARE(QSize(ink.maskWidth, ink.maskHeight), QSize(450, 150));
        QCOMPARE(stamp.maskWidth, 0); // opaque: no mask
        QCOMPARE(stamp.filter, u"/FlateDecode"_s);
        const QImage rgb = date.convertToFormat(QImage::Format_RGB888);
        QByteArray samples;
        for (int y = 0; y < rgb.height(); ++y)
            samples.append(reinterpret_cast<const char *>(rgb.constScanLine(y)), 120 * 3);
        QCOMPARE(stamp.storedHash, QCryptographicHash::hash(samples, QCryptographicHash::Sha1));
        QVERIFY(qpdfCheck(path(u"every page.pdf"_s)));
    }

    // A half-transparent frame with nothing inside, laid over the page's
    // text: the text shows through, the frame is light red over white.
    void transparentPartsLeaveThePageVisible()
    {
        const QByteArray source = makePDF(numberedPages(1));
        const QString plainPath = writeFile(path(u"plain.pdf"_s), source);
        const QList<QRectF> words = popplerFind(readFile(plainPath), 1, u"Page 1"_s);
        QCOMPARE(words.size(), 1);
        const QRect area = words[0].adjusted(-20, -20, 20, 20).toAlignedRect(); // y down
        QImage frame(area.size(), QImage::Format_ARGB32_Premultiplied);
        frame.fill(Qt::transparent);
        QPainter painter(&frame);
        painter.setCompositionMode(QPainter::CompositionMode_Source);
        painter.fillRect(frame.rect(), QColor(255, 0, 0, 128));
        painter.fillRect(frame.rect().adjusted(8, 8, -8, -8), Qt::transparent);
        painter.end();
        const QRectF bounds(area.x(), 792 - area.y() - area.height(), area.width(), area.height());
        const QByteArray out = flattened(source, {placed(0, bounds, frame)}, u"framed.pdf"_s);

        const QImage before = popplerRender(source, 1, 72);
        const QImage after = popplerRender(out, 1, 72);
        const QRect inside = area.adjusted(12, 12, -12, -12);
        QImage blank(inside.size(), QImage::Format_RGB32);
        blank.fill(Qt::white);
        QVERIFY(meanDifference(before.copy(inside), blank) > 5); // the text is there
        QVERIFY(meanDifference(before.copy(inside), after.copy(inside)) < 1);
        const QRgb border = after.pixel(area.x() + 4, area.center().y());
        QVERIFY2(qRed(border) > 240 && qAbs(qGreen(border) - 127) < 16 &&
                     qAbs(qBlue(border) - 127) < 16,
                 qPrintable(QColor(border).name()));
    }

    // A small light stamp drawn large: its soft edge blends the ink into the
    // page, never through black (the colour under transparent pixels).
    void enlargedEdgesStayLight()
    {
        QImage block(24, 8, QImage::Format_ARGB32_Premultiplied);
        block.fill(Qt::transparent);
        QPainter(&block).fillRect(2, 2, 20, 4, QColor(255, 220, 0));
        const QRectF bounds(100, 300, 400, 400.0 / 3);
        const QByteArray out =
            flattened(makePDF(numberedPages(1)), {placed(0, bounds, block)}, u"large.pdf"_s);
        const QImage page = popplerRender(out, 1, 72);
        int dark = 0;
        for (int y = int(792 - bounds.bottom()); y < int(792 - bounds.top()); ++y)
            for (int x = int(bounds.left()); x < int(bounds.right()); ++x)
                dark += qGreen(page.pixel(x, y)) < 200;
        QCOMPARE(dark, 0);
    }

    // Placements on pages the document lacks change nothing.
    void placementsElsewhereAreIgnored_data()
    {
        QTest::addColumn<int>("page");
        QTest::newRow("no placements") << -2;
        QTest::newRow("after the last page") << 2;
        QTest::newRow("before the first") << -1;
    }
    void placementsElsewhereAreIgnored()
    {
        QFETCH(int, page);
        const QByteArray source = makePDF(numberedPages(2));
        QList<::Placement> placements;
        if (page != -2)
            placements.append(placed(page, {72, 72, 100, 50}, filled({10, 5}, Qt::red)));
        const QByteArray out = flattened(source, placements, u"unchanged.pdf"_s);
        QVERIFY(imagesOf(out).isEmpty());
        QCOMPARE(popplerPageTexts(out), (QStringList{u"Page 1"_s, u"Page 2"_s}));
        for (int p : {1, 2})
            QCOMPARE(meanDifference(popplerRender(source, p, 36), popplerRender(out, p, 36)), 0.0);
    }
};

QTEST_GUILESS_MAIN(TestFlatten)
#include "tst_flatten.moc"
