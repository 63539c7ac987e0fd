#include "engine/PDFOps.h"
#include "engine/PDFOpsCompress.h"
#include "support/Attempt.h"
#include "support/ColourFixtures.h"
#include "support/Fixtures.h"
#include "support/PictureFixtures.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace Fixtures;

Q_DECLARE_METATYPE(Fixtures::ColourKind)

namespace {

// A 1200 × 900 picture over four by three inches: 300 dpi, more than any
// level keeps, so every level must resample it.
const QSize kPixels(1200, 900);
const QRectF kPlaced(100, 250, 288, 216);

// The picture's area in a 72-dpi render of the page (y down).
QImage pictureArea(const QByteArray &pdf)
{
    return popplerRender(pdf, 1, 72)
        .copy(int(kPlaced.left()), int(792 - kPlaced.bottom()), int(kPlaced.width()),
              int(kPlaced.height()));
}

} // namespace

// Pictures of every colour kind print and scanning produce: each is
// resampled and re-encoded at every level, keeps its colours (CMYK stays
// CMYK, for the printer) and looks as it did.
class TestPictureKinds : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

    QByteArray compressed(const QByteArray &source, CompressionLevel level,
                          PDFOps::CompressResult *result)
    {
        const QString original = writeFile(m_dir.filePath(u"kind.pdf"_s), source);
        const QString destination = m_dir.filePath(u"kind compressed.pdf"_s);
        QFile::remove(destination);
        auto doc = PDFDocument::open(original);
        if (!doc)
            return {};
        *result = PDFOps::compress(*doc, original, level, destination, Attempt::noProgress,
                                   Attempt::never);
        QString report;
        if (!qpdfCheck(destination, &report)) {
            qWarning("qpdf --check: %s", qPrintable(report));
            return {};
        }
        return readFile(destination);
    }

private Q_SLOTS:
    void shrinkAtEveryLevelAndLookTheSame_data()
    {
        QTest::addColumn<ColourKind>("kind");
        QTest::addColumn<QString>("colours"); // what the colour space ends in
        using K = ColourKind;
        QTest::newRow("CMYK JPEG") << K::CmykJpeg << u"/DeviceCMYK"_s;
        QTest::newRow("Adobe's inverted CMYK JPEG") << K::AdobeCmykJpeg << u"/DeviceCMYK"_s;
        QTest::newRow("raw CMYK") << K::CmykFlate << u"/DeviceCMYK"_s;
        QTest::newRow("indexed chart") << K::IndexedChart << u"/DeviceRGB"_s;
        QTest::newRow("indexed CMYK photo") << K::IndexedCmyk << u"/DeviceCMYK"_s;
        QTest::newRow("4-bit indexes read backwards") << K::IndexedDecode << u"/DeviceGray"_s;
        QTest::newRow("JPEG 2000") << K::Jpx << u"/DeviceRGB"_s;
        QTest::newRow("JPEG 2000 in its own colours") << K::JpxOwnColours << u"/DeviceRGB"_s;
        QTest::newRow("JPEG 2000 with alpha") << K::JpxAlpha << u"/DeviceRGB"_s;
        QTest::newRow("16-bit RGB") << K::Rgb16 << u"/DeviceRGB"_s;
        QTest::newRow("grey under an inverting Decode") << K::InvertedGray << u"/DeviceGray"_s;
    }
    void shrinkAtEveryLevelAndLookTheSame()
    {
        QFETCH(ColourKind, kind);
        QFETCH(QString, colours);
        const QByteArray source = colourPDF(kind, kPixels, kPlaced);
        const bool alpha = kind == ColourKind::JpxAlpha;
        // poppler draws a JPEG 2000 picture's own alpha channel as colour;
        // after compression the alpha is a soft mask it does draw.
        const QImage before =
            alpha ? fadedLook(kPixels, kPlaced.size().toSize()) : pictureArea(source);
        for (CompressionLevel level : PDFOps::allCompressionLevels()) {
            const QString at = PDFOps::rawValue(level);
            PDFOps::CompressResult result;
            const QByteArray out = compressed(source, level, &result);
            QVERIFY2(!out.isEmpty(), qPrintable(at));
            QVERIFY2(!result.keptOriginal && out.size() < source.size(), qPrintable(at));
            const ImageInfo picture = imagesOf(out).value(0);
            QVERIFY2(picture.width < kPixels.width(), qPrintable(at));
            QVERIFY2(picture.colourSpace.endsWith(colours),
                     qPrintable(at + u' ' + picture.colourSpace));
            // CMYK JPEG data is stored as Adobe's marker says: inverted,
            // which the /Decode array undoes.
            const bool inverted = picture.filter == "/DCTDecode"_L1 &&
                                  colours == "/DeviceCMYK"_L1 &&
                                  !picture.colourSpace.startsWith(u"/Indexed"_s);
            QCOMPARE(picture.decode, inverted ? u"[ 1 0 1 0 1 0 1 0 ]"_s : QString());
            QCOMPARE(picture.maskWidth > 0, alpha);
            QVERIFY(!picture.smaskInData);
            const double difference = meanDifference(before, pictureArea(out));
            QVERIFY2(difference >= 0 && difference < 6,
                     qPrintable(at + u' ' + QString::number(difference)));
        }
    }

    // A picture that can't be decoded is carried over as it was, while the
    // rest of the file is compressed.
    void anUndecodablePictureIsKept()
    {
        const QByteArray source = colourPDF(ColourKind::BrokenJpx, kPixels, kPlaced);
        PDFOps::CompressResult result;
        const QByteArray out = compressed(source, CompressionLevel::Balanced, &result);
        QVERIFY(!result.keptOriginal);
        const auto before = imagesOf(source), after = imagesOf(out);
        QCOMPARE(after.size(), 2);
        QCOMPARE(after[0].filter, u"/JPXDecode"_s);
        QCOMPARE(after[0].storedHash, before[0].storedHash);
        QVERIFY(after[1].width < before[1].width);
    }
};

QTEST_MAIN(TestPictureKinds)
#include "tst_picturekinds.moc"
