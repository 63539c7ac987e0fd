#include "QpdfBytes.h"
#include "Fixtures.h"
#include "PDFError.h"
#include "PDFOps.h"
#include "PDFOpsCompress.h"
#include "PictureFixtures.h"

#include <qpdf/Buffer.hh>
#include <qpdf/Pl_Flate.hh>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFWriter.hh>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;

Q_DECLARE_METATYPE(CompressionLevel)
Q_DECLARE_METATYPE(Fixtures::Picture::Kind)

namespace {

const std::function<void(int, int)> noProgress = [](int, int) {};
const std::function<bool()> never = [] { return false; };

// Puts a big photo on the first page of a fixture, so that compressing it
// certainly helps and the rebuilt file (not a copy of the source) is what
// the test looks at.
QByteArray withPhoto(const QByteArray &pdf)
{
    QPDF q;
    q.processMemoryFile("photo", pdf.constData(), size_t(pdf.size()));
    const QByteArray jpeg = encode(naturalPhoto(QSize(2000, 1500), 77), "JPEG", 95);
    auto image = QPDFObjectHandle::newStream(&q);
    image.replaceStreamData(std::string(jpeg.constData(), size_t(jpeg.size())),
                            QPDFObjectHandle::newName("/DCTDecode"), QPDFObjectHandle::newNull());
    image.getDict().replaceKey("/Type", QPDFObjectHandle::newName("/XObject"));
    image.getDict().replaceKey("/Subtype", QPDFObjectHandle::newName("/Image"));
    image.getDict().replaceKey("/Width", QPDFObjectHandle::newInteger(2000));
    image.getDict().replaceKey("/Height", QPDFObjectHandle::newInteger(1500));
    image.getDict().replaceKey("/BitsPerComponent", QPDFObjectHandle::newInteger(8));
    image.getDict().replaceKey("/ColorSpace", QPDFObjectHandle::newName("/DeviceRGB"));
    auto page = QPDFPageDocumentHelper(q).getAllPages()[0];
    auto resources = page.getObjectHandle().getKey("/Resources");
    resources.replaceKey("/XObject", QPDFObjectHandle::newDictionary());
    resources.getKey("/XObject").replaceKey("/Photo", image);
    page.addPageContents(QPDFObjectHandle::newStream(&q, "q 300 0 0 225 200 100 cm /Photo Do Q\n"), false);
    return Fixtures::bytesOf(q);
}

// The same document written as small as qpdf writes it: object streams,
// every stream at the best Flate level.
QByteArray compactly(const QByteArray &pdf)
{
    QPDF q;
    q.processMemoryFile("compact", pdf.constData(), size_t(pdf.size()));
    QPDFWriter writer(q);
    writer.setOutputMemory();
    writer.setObjectStreamMode(qpdf_o_generate);
    writer.setRecompressFlate(true);
    Pl_Flate::setCompressionLevel(9);
    writer.write();
    Pl_Flate::setCompressionLevel(-1);
    auto buffer = writer.getBufferSharedPointer();
    return QByteArray(reinterpret_cast<const char *>(buffer->getBuffer()), qsizetype(buffer->getSize()));
}

} // namespace

class TestCompress : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

    // Compresses `source` (written to a file first); the result's bytes.
    QByteArray compressed(const QByteArray &source, const QString &name, CompressionLevel level,
                          PDFOps::CompressResult *result = nullptr)
    {
        const QString original = writeFile(m_dir.filePath(name + QStringLiteral(".pdf")), source);
        const QString destination = m_dir.filePath(name + QStringLiteral(" compressed.pdf"));
        QFile::remove(destination);
        auto doc = PDFDocument::open(original);
        if (!doc)
            return {};
        const auto r = PDFOps::compress(*doc, original, level, destination, noProgress, never);
        if (result)
            *result = r;
        return readFile(destination);
    }

private Q_SLOTS:
    void percent_data()
    {
        QTest::addColumn<qint64>("before");
        QTest::addColumn<qint64>("after");
        QTest::addColumn<int>("percent");
        QTest::newRow("three quarters") << qint64(1000) << qint64(250) << 75;
        QTest::newRow("same") << qint64(1000) << qint64(1000) << 0;
        QTest::newRow("unknown before") << qint64(0) << qint64(500) << 0;
        QTest::newRow("a third") << qint64(3) << qint64(2) << 33;
        QTest::newRow("half goes up") << qint64(8) << qint64(7) << 13;
        QTest::newRow("bigger is not negative") << qint64(100) << qint64(150) << 0;
        QTest::newRow("everything") << qint64(5) << qint64(0) << 100;
        QTest::newRow("large files") << qint64(8'400'000) << qint64(1'200'000) << 86;
    }
    void percent()
    {
        QFETCH(qint64, before);
        QFETCH(qint64, after);
        QFETCH(int, percent);
        PDFOps::CompressResult result;
        result.before = before;
        result.after = after;
        QCOMPARE(result.percent(), percent);
    }

    void levels_data()
    {
        QTest::addColumn<CompressionLevel>("level");
        QTest::addColumn<QString>("raw");
        QTest::addColumn<int>("quality");
        QTest::addColumn<double>("dpi");
        QTest::addColumn<int>("maxPixel");
        QTest::newRow("small") << CompressionLevel::Small << "small" << 40 << 96.0 << 1200;
        QTest::newRow("balanced") << CompressionLevel::Balanced << "balanced" << 60 << 144.0 << 2000;
        QTest::newRow("high") << CompressionLevel::High << "high" << 80 << 220.0 << 3200;
    }
    void levels()
    {
        QFETCH(CompressionLevel, level);
        QFETCH(QString, raw);
        QFETCH(int, quality);
        QFETCH(double, dpi);
        QFETCH(int, maxPixel);
        QCOMPARE(PDFOps::rawValue(level), raw);
        QCOMPARE(PDFOps::compressionLevel(raw), std::optional(level));
        const auto filter = PDFOps::makeFilter(level);
        QVERIFY(filter);
        QCOMPARE(filter->quality, quality);
        QCOMPARE(filter->dpi, dpi);
        QCOMPARE(filter->maxPixel, maxPixel);
        QCOMPARE(filter->name, QStringLiteral("Quirebook ") + raw);
    }

    void levelOrderAndUnknownNames()
    {
        QCOMPARE(PDFOps::allCompressionLevels(),
                 (QList<CompressionLevel>{CompressionLevel::Small, CompressionLevel::Balanced,
                                          CompressionLevel::High}));
        for (const char *raw : {"Small", "medium", "", " high"})
            QVERIFY2(!PDFOps::compressionLevel(QString::fromLatin1(raw)), raw);
    }

    void levelsAreOrderedBySize()
    {
        const QByteArray source = photoPDF(3, QSize(2400, 3200), 92);
        QList<qint64> sizes;
        for (CompressionLevel level : PDFOps::allCompressionLevels()) {
            PDFOps::CompressResult result;
            const QString name = QStringLiteral("photos-") + PDFOps::rawValue(level);
            const QByteArray out = compressed(source, name, level, &result);
            QVERIFY(!result.keptOriginal);
            QCOMPARE(result.before, source.size());
            QCOMPARE(result.after, out.size());
            QCOMPARE(popplerPageTexts(out),
                     (QStringList{QStringLiteral("Page 1"), QStringLiteral("Page 2"), QStringLiteral("Page 3")}));
            QVERIFY(qpdfCheck(m_dir.filePath(name + QStringLiteral(" compressed.pdf"))));
            sizes << out.size();
        }
        QVERIFY2(sizes[0] < sizes[1] && sizes[1] < sizes[2] && sizes[2] < source.size(),
                 qPrintable(QStringLiteral("%1 %2 %3 of %4").arg(sizes[0]).arg(sizes[1]).arg(sizes[2]).arg(source.size())));
    }

    void aTextPdfIsNeverMadeBigger_data()
    {
        QTest::addColumn<CompressionLevel>("level");
        QTest::newRow("small") << CompressionLevel::Small;
        QTest::newRow("high") << CompressionLevel::High;
    }
    void aTextPdfIsNeverMadeBigger()
    {
        QFETCH(CompressionLevel, level);
        // Already as compact as qpdf makes it: a rebuild can't beat it.
        const QByteArray source = compactly(textPDF(2));
        PDFOps::CompressResult result;
        const QByteArray out = compressed(source, QStringLiteral("text"), level, &result);
        QVERIFY(result.keptOriginal);
        QCOMPARE(out, source); // byte for byte
        QCOMPARE(result.before, source.size());
        QCOMPARE(result.after, result.before);
        QCOMPARE(result.percent(), 0);
        QCOMPARE(temporaryFiles(m_dir.path()), QStringList());
    }

    void picturesGetTheResolutionOfTheirLevel_data()
    {
        QTest::addColumn<Picture::Kind>("kind");
        QTest::addColumn<QSize>("pixels");
        QTest::addColumn<QList<QRectF>>("drawn"); // placements, the first one through a form if asked
        QTest::addColumn<bool>("throughForm");
        QTest::addColumn<CompressionLevel>("level");
        QTest::addColumn<QSize>("expected");
        QTest::addColumn<QString>("filter");
        using K = Picture::Kind;
        const auto balanced = CompressionLevel::Balanced;
        const QString dct = QStringLiteral("/DCTDecode");
        QTest::newRow("144 dpi") << K::Jpeg << QSize(3000, 2000) << QList<QRectF>{{50, 50, 300, 200}}
                                 << false << balanced << QSize(600, 400) << dct;
        QTest::newRow("96 dpi") << K::Jpeg << QSize(3000, 2000) << QList<QRectF>{{50, 50, 300, 200}}
                                << false << CompressionLevel::Small << QSize(400, 267) << dct;
        QTest::newRow("220 dpi") << K::Jpeg << QSize(3000, 2000) << QList<QRectF>{{50, 50, 300, 200}}
                                 << false << CompressionLevel::High << QSize(917, 611) << dct;
        QTest::newRow("pixel limit") << K::Jpeg << QSize(5000, 1000) << QList<QRectF>{{0, 0, 1000, 200}}
                                     << false << CompressionLevel::Small << QSize(1200, 240) << dct;
        QTest::newRow("through a form") << K::Jpeg << QSize(2000, 1000) << QList<QRectF>{{50, 50, 200, 100}}
                                        << true << balanced << QSize(400, 200) << dct;
        QTest::newRow("largest placement wins")
            << K::Jpeg << QSize(3000, 2000) << QList<QRectF>{{50, 500, 150, 100}, {50, 50, 450, 300}}
            << false << balanced << QSize(900, 600) << dct;
        QTest::newRow("never upwards") << K::Jpeg << QSize(600, 400) << QList<QRectF>{{0, 0, 600, 400}}
                                       << false << balanced << QSize(600, 400) << dct;
        QTest::newRow("grey JPEG") << K::JpegGray << QSize(2000, 1000) << QList<QRectF>{{50, 50, 200, 100}}
                                   << false << balanced << QSize(400, 200) << dct;
        QTest::newRow("Flate photo") << K::Rgb << QSize(1000, 600) << QList<QRectF>{{50, 50, 100, 60}}
                                     << false << balanced << QSize(200, 120) << dct;
        QTest::newRow("Flate grey photo") << K::Gray << QSize(1000, 600) << QList<QRectF>{{50, 50, 100, 60}}
                                          << false << balanced << QSize(200, 120) << dct;
        QTest::newRow("chart stays lossless")
            << K::Chart << QSize(1600, 1000) << QList<QRectF>{{50, 50, 160, 100}} << false << balanced
            << QSize(320, 200) << QStringLiteral("/FlateDecode");
    }
    void picturesGetTheResolutionOfTheirLevel()
    {
        QFETCH(Picture::Kind, kind);
        QFETCH(QSize, pixels);
        QFETCH(QList<QRectF>, drawn);
        QFETCH(bool, throughForm);
        QFETCH(CompressionLevel, level);
        QFETCH(QSize, expected);
        QFETCH(QString, filter);
        PictureDoc layout;
        layout.pages = int(drawn.size());
        layout.pictures = {{kind, pixels, 5, 95}};
        for (int i = 0; i < drawn.size(); ++i)
            layout.placements.append({0, i, drawn[i], i == 0 && throughForm});
        const QByteArray out = compressed(picturePDF(layout), QStringLiteral("resolution"), level);
        const auto images = imagesOf(out);
        QCOMPARE(images.size(), 1); // a shared picture stays one picture
        QCOMPARE(QSize(images[0].width, images[0].height), expected);
        QCOMPARE(images[0].filter, filter);
        QCOMPARE(images[0].bitsPerComponent, 8);
    }

    void specialPicturesAreLeftAlone_data()
    {
        QTest::addColumn<Picture::Kind>("kind");
        QTest::addColumn<QSize>("pixels");
        using K = Picture::Kind;
        QTest::newRow("indexed") << K::Indexed << QSize(1600, 1200);
        QTest::newRow("16-bit") << K::Gray16 << QSize(1600, 1200);
        QTest::newRow("stencil mask") << K::ImageMask << QSize(1600, 1200);
        QTest::newRow("one bit") << K::OneBit << QSize(1600, 1200);
        QTest::newRow("CMYK") << K::Cmyk << QSize(1600, 1200);
        QTest::newRow("decode array") << K::Decode << QSize(1600, 1200);
        QTest::newRow("tiny") << K::Jpeg << QSize(24, 24);
    }
    void specialPicturesAreLeftAlone()
    {
        QFETCH(Picture::Kind, kind);
        QFETCH(QSize, pixels);
        PictureDoc layout;
        layout.pictures = {{kind, pixels, 9, 90}};
        layout.placements = {{0, 0, QRectF(100, 100, 80, 60)}};
        // A photo beside it, so that compressing helps and the file is rebuilt.
        layout.pictures.append({Picture::Kind::Jpeg, QSize(2000, 1500), 3, 95});
        layout.placements.append({1, 0, QRectF(100, 300, 200, 150)});
        const QByteArray source = picturePDF(layout);
        PDFOps::CompressResult result;
        const QByteArray out = compressed(source, QStringLiteral("special"), CompressionLevel::Small, &result);
        QVERIFY(!result.keptOriginal);
        const auto before = imagesOf(source);
        const auto after = imagesOf(out);
        QCOMPARE(after.size(), 2);
        QCOMPARE(after[0].width, before[0].width);
        QCOMPARE(after[0].height, before[0].height);
        QCOMPARE(after[0].bitsPerComponent, before[0].bitsPerComponent);
        QCOMPARE(after[0].storedHash, before[0].storedHash); // the same samples
        QVERIFY(after[1].width < before[1].width);            // while the photo shrank
    }

    void softMasksFollowTheirPicture()
    {
        PictureDoc layout;
        layout.pictures = {{Picture::Kind::Jpeg, QSize(2000, 1000), 4, 95, true}};
        layout.placements = {{0, 0, QRectF(50, 50, 200, 100)}};
        const QByteArray out = compressed(picturePDF(layout), QStringLiteral("masked"), CompressionLevel::Balanced);
        const auto images = imagesOf(out);
        QCOMPARE(images.size(), 1);
        QCOMPARE(QSize(images[0].width, images[0].height), QSize(400, 200));
        QCOMPARE(QSize(images[0].maskWidth, images[0].maskHeight), QSize(400, 200));
        // The mask still fades from left to right.
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
        PDFOps::CompressResult result;
        const QByteArray out = compressed(source, QStringLiteral("inline"), CompressionLevel::Balanced, &result);
        QVERIFY(!result.keptOriginal);
        const auto images = imagesOf(out);
        // The big one became a picture of its own and shrank; the small one stayed inline.
        QCOMPARE(images.size(), 1);
        QCOMPARE(QSize(images[0].width, images[0].height), QSize(120, 80));
        const QImage before = popplerRender(source, 1, 36), after = popplerRender(out, 1, 36);
        QVERIFY2(meanDifference(before, after) < 2, qPrintable(QString::number(meanDifference(before, after))));
    }

    void photosStillLookTheSame()
    {
        const QByteArray source = photoPDF(1, QSize(1800, 2400), 92);
        const QByteArray out = compressed(source, QStringLiteral("look"), CompressionLevel::Balanced);
        const double difference = meanDifference(popplerRender(source, 1, 50), popplerRender(out, 1, 50));
        QVERIFY2(difference >= 0 && difference < 4, qPrintable(QString::number(difference)));
    }

    void structureSurvivesCompression()
    {
        DocSpec layout = numberedPages(3);
        layout.info.title = QStringLiteral("My Title");
        layout.info.author = QStringLiteral("Me");
        layout.pages[1].rotate = 90;
        layout.links = {{0, 2}};
        layout.outline = {{QStringLiteral("Third"), 2, {}}};
        PDFOps::CompressResult result;
        const QByteArray out = compressed(withPhoto(makePDF(layout)), QStringLiteral("structure"),
                                          CompressionLevel::Balanced, &result);
        QVERIFY(!result.keptOriginal);
        auto doc = PDFDocument::fromBytes(out, QStringLiteral("structure compressed.pdf"));
        QVERIFY(doc);
        QCOMPARE(doc->info().title, QStringLiteral("My Title"));
        QCOMPARE(doc->info().author, QStringLiteral("Me"));
        QCOMPARE(doc->info().creator, QStringLiteral("Quirebook"));
        QCOMPARE(doc->page(1)->rotation, 0);
        QCOMPARE(doc->page(1)->uprightSize(), QSizeF(792, 612));
        QCOMPARE(popplerOutline(out).value(0), QStringLiteral("Third|3|closed"));
        QCOMPARE(popplerLinks(out, 1).value(0).targetPage, 3);
        QCOMPARE(popplerPageTexts(out),
                 (QStringList{QStringLiteral("Page 1"), QStringLiteral("Page 2"), QStringLiteral("Page 3")}));
    }

    void aFilledFormKeepsWhatItShows()
    {
        PDFOps::CompressResult result;
        const QByteArray out = compressed(withPhoto(annotatedPDF()), QStringLiteral("form"),
                                          CompressionLevel::Small, &result);
        QVERIFY(!result.keptOriginal);
        const QString text = popplerPageTexts(out).value(0);
        QVERIFY2(text.contains(AnnotatedTexts::filled()), qPrintable(text));
        QVERIFY2(text.contains(AnnotatedTexts::generated()), qPrintable(text));
        const QImage image = popplerRender(out, 1, 72);
        const QPointF green = greenSquare().center();
        QCOMPARE(QColor(image.pixel(int(green.x()), int(792 - green.y()))), QColor(Qt::green));
    }

    void progressIsReportedOncePerPage()
    {
        const QString original = writeFile(m_dir.filePath(QStringLiteral("progress.pdf")),
                                           photoPDF(4, QSize(1200, 1600), 92));
        auto doc = PDFDocument::open(original);
        QList<QPair<int, int>> reports;
        PDFOps::compress(*doc, original, CompressionLevel::Small,
                         m_dir.filePath(QStringLiteral("progress compressed.pdf")),
                         [&](int done, int total) { reports.append({done, total}); }, never);
        QCOMPARE(reports, (QList<QPair<int, int>>{{1, 4}, {2, 4}, {3, 4}, {4, 4}}));
    }

    void cancellingLeavesNoTrace_data()
    {
        QTest::addColumn<int>("cancelAt"); // how many times the test answers "go on"
        QTest::newRow("at once") << 0;
        QTest::newRow("with pictures under way") << 2;
    }
    void cancellingLeavesNoTrace()
    {
        QFETCH(int, cancelAt);
        QTemporaryDir dir;
        const QString original = writeFile(dir.filePath(QStringLiteral("a.pdf")),
                                           photoPDF(5, QSize(1500, 2000), 92));
        const QString destination = writeFile(dir.filePath(QStringLiteral("a compressed.pdf")), "keep me");
        auto doc = PDFDocument::open(original);
        int asked = 0;
        try {
            PDFOps::compress(*doc, original, CompressionLevel::Balanced, destination, noProgress,
                             [&] { return asked++ >= cancelAt; });
            QFAIL("not cancelled");
        } catch (const PDFError &e) {
            QVERIFY(e.isCancelled());
        }
        QCOMPARE(readFile(destination), QByteArray("keep me"));
        QCOMPARE(temporaryFiles(dir.path()), QStringList());
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden).size(), 2);
    }

    void aVanishedSourceIsReported()
    {
        QTemporaryDir dir;
        auto doc = PDFDocument::fromBytes(textPDF(1), QStringLiteral("gone.pdf"));
        const QString destination = dir.filePath(QStringLiteral("gone compressed.pdf"));
        try {
            PDFOps::compress(*doc, dir.filePath(QStringLiteral("gone.pdf")), CompressionLevel::High,
                             destination, noProgress, never);
            QFAIL("no error");
        } catch (const PDFError &e) {
            QCOMPARE(e.description(), QStringLiteral("“gone.pdf” couldn't be read as a PDF."));
        }
        QVERIFY(!QFile::exists(destination));
        QCOMPARE(temporaryFiles(dir.path()), QStringList());
    }

    // Every corpus file either compresses, never bigger and readable, or
    // fails with a sentence of our own; the source is never touched.
    void corpusIsNeverMadeBigger()
    {
        const QString corpus = corpusDir();
        if (corpus.isEmpty())
            QSKIP("QUIREBOOK_CORPUS is not set");
        const auto passwords = corpusPasswords();
        QTemporaryDir dir;
        int compressedCount = 0;
        for (const QString &name : QDir(corpus).entryList({QStringLiteral("*.pdf")}, QDir::Files)) {
            const QString source = QDir(corpus).filePath(name);
            const QByteArray before = readFile(source);
            auto doc = PDFDocument::open(source);
            if (!doc)
                continue; // intake refuses it; nothing to compress
            if (doc->isLocked())
                doc->unlock(passwords.value(name).value(QStringLiteral("user")));
            if (PDFOps::isRestricted(*doc))
                doc->unlock(passwords.value(name).value(QStringLiteral("owner")));
            const QString destination = dir.filePath(QFileInfo(name).completeBaseName()
                                                     + QStringLiteral(" compressed.pdf"));
            try {
                const auto result = PDFOps::compress(*doc, source, CompressionLevel::Balanced,
                                                     destination, noProgress, never);
                const QByteArray after = readFile(destination);
                QVERIFY2(after.size() <= before.size(), qPrintable(name));
                QCOMPARE(result.after, after.size());
                if (result.keptOriginal) {
                    QVERIFY2(after == before, qPrintable(name));
                } else {
                    ++compressedCount;
                    QString report;
                    QVERIFY2(qpdfCheck(destination, &report), qPrintable(name + u' ' + report));
                    QCOMPARE(popplerPageCount(destination), doc->pageCount());
                }
            } catch (const PDFError &e) {
                QVERIFY2(e.description().endsWith(u'.'), qPrintable(name));
                QVERIFY2(!QFile::exists(destination), qPrintable(name));
            }
            QCOMPARE(readFile(source), before);
        }
        QVERIFY(compressedCount > 10);
        QCOMPARE(temporaryFiles(dir.path()), QStringList());
    }
};

QTEST_GUILESS_MAIN(TestCompress)
#include "tst_compress.moc"
