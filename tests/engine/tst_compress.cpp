#include "engine/PDFOps.h"
#include "engine/PDFOpsCompress.h"
#include "support/Attempt.h"
#include "support/ColourFixtures.h"
#include "support/Fixtures.h"
#include "support/PictureFixtures.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace Fixtures;
using Attempt::errorOf;

Q_DECLARE_METATYPE(CompressionLevel)
Q_DECLARE_METATYPE(Fixtures::Picture)
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

class TestCompress : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    PDFOps::CompressResult m_result;
    QList<QPair<int, int>> m_progress;

    // Compresses `source` (written to a file first); the result's bytes.
    QByteArray compressed(const QByteArray &source, const QString &name, CompressionLevel level)
    {
        const QString original = writeFile(m_dir.filePath(name + u".pdf"_s), source);
        const QString destination = m_dir.filePath(name + u" compressed.pdf"_s);
        QFile::remove(destination);
        auto doc = PDFDocument::open(original);
        if (!doc)
            return {};
        m_progress.clear();
        m_result = PDFOps::compress(
            *doc, original, level, destination,
            [this](int done, int total) {
                m_progress.append({done, total});
            },
            Attempt::never);
        return readFile(destination);
    }

    static QSize sizeOf(const ImageInfo &image) { return {image.width, image.height}; }

private Q_SLOTS:
    void percent_data()
    {
        QTest::addColumn<qint64>("before");
        QTest::addColumn<qint64>("after");
        QTest::addColumn<int>("percent");
        QTest::newRow("unknown before") << qint64(0) << qint64(500) << 0;
        QTest::newRow("a third") << qint64(3) << qint64(2) << 33;
        QTest::newRow("half goes up") << qint64(8) << qint64(7) << 13;
        QTest::newRow("bigger is not negative") << qint64(100) << qint64(150) << 0;
        QTest::newRow("everything") << qint64(5) << qint64(0) << 100;
    }
    void percent()
    {
        QFETCH(qint64, before);
        QFETCH(qint64, after);
        PDFOps::CompressResult result;
        result.before = before;
        result.after = after;
        QTEST(result.percent(), "percent");
    }

    // The names the command line takes, exactly as written.
    void levelNames()
    {
        for (CompressionLevel level : PDFOps::allCompressionLevels())
            QCOMPARE(PDFOps::compressionLevel(PDFOps::rawValue(level)), std::optional(level));
        QCOMPARE(PDFOps::rawValue(CompressionLevel::High), u"high"_s);
        QVERIFY(!PDFOps::compressionLevel(u"High"_s));
        QVERIFY(!PDFOps::compressionLevel(u" small"_s));
    }

    // Smaller levels give smaller files that still read and look the same;
    // progress comes once per page.
    void levelsAreOrderedBySize()
    {
        const QByteArray source = photoPDF(3, QSize(2400, 3200), 92);
        QList<qint64> sizes;
        for (CompressionLevel level : PDFOps::allCompressionLevels()) {
            const QString name = u"photos-"_s + PDFOps::rawValue(level);
            const QByteArray out = compressed(source, name, level);
            QVERIFY(!m_result.keptOriginal);
            QCOMPARE(m_result.before, source.size());
            QCOMPARE(m_result.after, out.size());
            QCOMPARE(m_progress, (QList<QPair<int, int>>{{1, 3}, {2, 3}, {3, 3}}));
            QCOMPARE(popplerPageTexts(out), (QStringList{"Page 1", "Page 2", "Page 3"}));
            QVERIFY(qpdfCheck(m_dir.filePath(name + u" compressed.pdf"_s)));
            const double difference =
                meanDifference(popplerRender(source, 1, 50), popplerRender(out, 1, 50));
            QVERIFY2(difference >= 0 && difference < 4, qPrintable(QString::number(difference)));
            sizes << out.size();
        }
        QVERIFY2(sizes[0] < sizes[1] && sizes[1] < sizes[2] && sizes[2] < source.size(),
                 qPrintable(u"%1 %2 %3 of %4"_s.arg(sizes[0]).arg(sizes[1]).arg(sizes[2]).arg(
                     source.size())));
    }

    // Our own output can't be made smaller again: the copy is the source.
    void aCompressedTextPdfIsNeverMadeBigger()
    {
        const QByteArray source = compressed(textPDF(2), u"text"_s, CompressionLevel::High);
        const QByteArray out = compressed(source, u"text again"_s, CompressionLevel::Small);
        QVERIFY(m_result.keptOriginal);
        QCOMPARE(out, source); // byte for byte
        QCOMPARE(m_result.after, m_result.before);
        QCOMPARE(m_result.percent(), 0);
        QCOMPARE(temporaryFiles(m_dir.path()), QStringList());
    }

    // Each picture gets the resolution of its level, or is left alone when
    // it is of a kind compression must not touch (a photo beside it then
    // makes sure the file is rebuilt).
    void picturesGetTheResolutionOfTheirLevel_data()
    {
        QTest::addColumn<Picture>("picture");
        QTest::addColumn<QList<QRectF>>("drawn"); // placements, the first through a form if asked
        QTest::addColumn<bool>("throughForm");
        QTest::addColumn<CompressionLevel>("level");
        QTest::addColumn<QSize>("expected"); // empty: left alone
        QTest::addColumn<QString>("filter");
        using K = Picture::Kind;
        using L = CompressionLevel;
        const auto row = [](const char *name, Picture p, QList<QRectF> drawn, L level,
                            QSize expected, bool form = false, const char *filter = "/DCTDecode") {
            p.seed = 5, p.quality = 95;
            QTest::newRow(name) << p << drawn << form << level << expected
                                << QString::fromLatin1(filter);
        };
        const QList<QRectF> photo{{50, 50, 300, 200}};
        row("144 dpi", {K::Jpeg, {3000, 2000}}, photo, L::Balanced, {600, 400});
        row("96 dpi", {K::Jpeg, {3000, 2000}}, photo, L::Small, {400, 267});
        row("220 dpi", {K::Jpeg, {3000, 2000}}, photo, L::High, {917, 611});
        // Each level's longest side, reached before its resolution.
        row("pixel limit", {K::Jpeg, {5000, 1000}}, {{0, 0, 1000, 200}}, L::Small, {1200, 240});
        row("balanced pixel limit", {K::Jpeg, {4000, 1000}}, {{0, 0, 2000, 500}}, L::Balanced,
            {2000, 500});
        row("high pixel limit", {K::Jpeg, {4000, 1000}}, {{0, 0, 2000, 500}}, L::High, {3200, 800});
        row("through a form", {K::Jpeg, {2000, 1000}}, {{50, 50, 200, 100}}, L::Balanced,
            {400, 200}, true);
        row("largest placement wins", {K::Jpeg, {3000, 2000}},
            {{50, 500, 150, 100}, {50, 50, 450, 300}}, L::Balanced, {900, 600});
        row("never upwards", {K::Jpeg, {600, 400}}, {{0, 0, 600, 400}}, L::Balanced, {600, 400});
        // Drawn at up to 5 % more than the level's 144 dpi, a picture keeps
        // its pixels (it may be re-encoded); beyond that it is resampled.
        row("150 dpi keeps its pixels", {K::Jpeg, {1000, 500}}, {{50, 50, 480, 240}}, L::Balanced,
            {1000, 500});
        row("160 dpi is resampled", {K::Jpeg, {1000, 500}}, {{50, 50, 450, 225}}, L::Balanced,
            {900, 450});
        row("grey JPEG", {K::JpegGray, {2000, 1000}}, {{50, 50, 200, 100}}, L::Balanced,
            {400, 200});
        row("Flate photo", {K::Rgb, {1000, 600}}, {{50, 50, 100, 60}}, L::Balanced, {200, 120});
        row("Flate grey photo", {K::Gray, {1000, 600}}, {{50, 50, 100, 60}}, L::Balanced,
            {200, 120});
        row("chart stays lossless", {K::Chart, {1600, 1000}}, {{50, 50, 160, 100}}, L::Balanced,
            {320, 200}, false, "/FlateDecode");
        const QList<QRectF> small{{100, 100, 80, 60}};
        const QSize big(1600, 1200);
        row("stencil mask", {K::ImageMask, big}, small, L::Small, {}, false, "/FlateDecode");
        row("one bit", {K::OneBit, big}, small, L::Small, {}, false, "/FlateDecode");
        row("tiny", {K::Jpeg, {24, 24}}, small, L::Small, {});
        // A /Matte mask's samples are tied to the picture's: neither may change.
        row("soft mask with /Matte",
            {.kind = K::Jpeg, .pixels = big, .softMask = true, .matte = true}, small, L::Small, {});
    }
    void picturesGetTheResolutionOfTheirLevel()
    {
        QFETCH(Picture, picture);
        QFETCH(QList<QRectF>, drawn);
        QFETCH(bool, throughForm);
        QFETCH(CompressionLevel, level);
        QFETCH(QSize, expected);
        PictureDoc layout;
        layout.pages = int(drawn.size());
        layout.pictures = {picture};
        for (int i = 0; i < drawn.size(); ++i)
            layout.placements.append({0, i, drawn[i], i == 0 && throughForm});
        const bool leftAlone = expected.isEmpty();
        if (leftAlone) {
            layout.pictures.append({Picture::Kind::Jpeg, QSize(2000, 1500), 3, 95});
            layout.placements.append({1, 0, QRectF(100, 300, 200, 150)});
        }
        const QByteArray source = picturePDF(layout);
        const auto images = imagesOf(compressed(source, u"resolution"_s, level));
        QVERIFY(!m_result.keptOriginal);
        QCOMPARE(images.size(), leftAlone ? 2 : 1); // a shared picture stays one picture
        QTEST(images[0].filter, "filter");
        if (!leftAlone) {
            QCOMPARE(sizeOf(images[0]), expected);
            QCOMPARE(images[0].bitsPerComponent, 8);
            return;
        }
        const auto before = imagesOf(source);
        QCOMPARE(sizeOf(images[0]), sizeOf(before[0]));
        QCOMPARE(images[0].bitsPerComponent, before[0].bitsPerComponent);
        QCOMPARE(images[0].storedHash, before[0].storedHash); // the same samples
        QCOMPARE(images[0].maskWidth, before[0].maskWidth);
        QVERIFY(images[1].width < before[1].width); // while the photo shrank
    }

    // A soft mask shrinks with its picture and still fades from left to
    // right; one that two pictures share can't follow both and stays as it
    // was, while the pictures shrink.
    void softMasks_data()
    {
        QTest::addColumn<bool>("shared");
        QTest::newRow("its own") << false;
        QTest::newRow("shared by two pictures") << true;
    }
    void softMasks()
    {
        QFETCH(bool, shared);
        PictureDoc layout;
        layout.pictures = {{.pixels = {2000, 1000}, .seed = 4, .quality = 95, .softMask = true}};
        layout.placements = {{0, 0, QRectF(50, 50, 200, 100)}};
        if (shared) {
            layout.pictures.append({.pixels = {2000, 1000}, .seed = 6, .quality = 95, .maskOf = 0});
            layout.placements.append({1, 0, QRectF(50, 400, 400, 200)});
        }
        const QByteArray out =
            compressed(picturePDF(layout), u"masked"_s, CompressionLevel::Balanced);
        auto images = imagesOf(out);
        std::sort(images.begin(), images.end(),
                  [](const ImageInfo &a, const ImageInfo &b) { return a.width < b.width; });
        QCOMPARE(images.size(), shared ? 2 : 1);
        QCOMPARE(sizeOf(images[0]), QSize(400, 200));
        if (shared)
            QCOMPARE(sizeOf(images[1]), QSize(800, 400));
        for (const auto &image : images)
            QCOMPARE(QSize(image.maskWidth, image.maskHeight),
                     shared ? QSize(2000, 1000) : QSize(400, 200));
        const QImage page = popplerRender(out, 1, 72);
        const QColor left(page.pixel(55, 792 - 100)), right(page.pixel(245, 792 - 100));
        QVERIFY2(left.lightness() > 240, qPrintable(left.name()));
        QVERIFY2(right.lightness() < 240, qPrintable(right.name()));
    }

    void inlinePicturesAreCompressedToo()
    {
        PictureDoc layout;
        layout.pictures = {{Picture::Kind::Rgb, QSize(600, 400), 8, 90, false, true},
                           {Picture::Kind::Gray, QSize(30, 30), 2, 90, false, true}};
        layout.placements = {{0, 0, QRectF(100, 300, 60, 40)}, {1, 0, QRectF(100, 100, 30, 30)}};
        const QByteArray source = picturePDF(layout);
        const QByteArray out = compressed(source, u"inline"_s, CompressionLevel::Balanced);
        QVERIFY(!m_result.keptOriginal);
        // The big one became a picture of its own and shrank; the small one stayed inline.
        const auto images = imagesOf(out);
        QCOMPARE(images.size(), 1);
        QCOMPARE(sizeOf(images[0]), QSize(120, 80));
        const double difference =
            meanDifference(popplerRender(source, 1, 36), popplerRender(out, 1, 36));
        QVERIFY2(difference >= 0 && difference < 2, qPrintable(QString::number(difference)));
    }

    // Pictures of every colour kind print and scanning produce: each is
    // resampled and re-encoded at every level, keeps its colours (CMYK stays
    // CMYK, for the printer) and looks as it did.
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
            const QByteArray out = compressed(source, u"kind"_s, level);
            QVERIFY2(qpdfCheck(m_dir.filePath(u"kind compressed.pdf"_s)), qPrintable(at));
            QVERIFY2(!m_result.keptOriginal && out.size() < source.size(), qPrintable(at));
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
        const QByteArray out = compressed(source, u"broken"_s, CompressionLevel::Balanced);
        QVERIFY(!m_result.keptOriginal);
        const auto before = imagesOf(source), after = imagesOf(out);
        QCOMPARE(after.size(), 2);
        QCOMPARE(after[0].filter, u"/JPXDecode"_s);
        QCOMPARE(after[0].storedHash, before[0].storedHash);
        QVERIFY(after[1].width < before[1].width);
    }
    // Cancelled, or the source gone when its bytes are needed: an existing
    // destination stays as it was and no temporary file is left.
    void failuresLeaveNoTrace_data()
    {
        QTest::addColumn<int>("cancelAt"); // "go on" answers before the cancel; -1: never
        QTest::addColumn<QString>("message");
        QTest::newRow("cancelled at once") << 0 << "cancelled";
        QTest::newRow("cancelled with pictures under way") << 2 << "cancelled";
        QTest::newRow("source gone") << -1 << "“a.pdf” couldn't be read as a PDF.";
    }
    void failuresLeaveNoTrace()
    {
        QFETCH(int, cancelAt);
        QTemporaryDir dir;
        const QString original =
            writeFile(dir.filePath(u"a.pdf"_s),
                      cancelAt < 0 ? textPDF(1) : photoPDF(5, QSize(1500, 2000), 92));
        const QString destination = writeFile(dir.filePath(u"a compressed.pdf"_s), "keep me");
        auto doc = PDFDocument::open(original);
        if (cancelAt < 0)
            QFile::remove(original);
        int asked = 0;
        QTEST(errorOf([&] {
                  PDFOps::compress(*doc, original, CompressionLevel::Balanced, destination,
                                   Attempt::noProgress,
                                   [&] { return cancelAt >= 0 && asked++ >= cancelAt; });
              }),
              "message");
        QCOMPARE(readFile(destination), QByteArray("keep me"));
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden).size(),
                 cancelAt < 0 ? 1 : 2);
    }
};

QTEST_MAIN(TestCompress)
#include "tst_compress.moc"
