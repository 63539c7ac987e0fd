#include "engine/DrawingDocument.h"
#include "engine/PDFError.h"
#include "engine/PDFOpsRender.h"
#include "support/Attempt.h"
#include "support/Fixtures.h"
#include "support/PictureFixtures.h"

#include <QColorSpace>
#include <QImageReader>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace Fixtures;

namespace {

std::unique_ptr<DrawingDocument> drawingOf(const DocSpec &layout)
{
    const auto doc = PDFDocument::fromBytes(makePDF(layout), u"fixture.pdf"_s);
    if (!doc)
        return nullptr;
    const auto source = DrawingDocument::sourceFor(*doc);
    return source ? DrawingDocument::open(*source) : nullptr;
}

DocSpec onePage(QSizeF size, int rotate = 0, std::optional<QRectF> crop = std::nullopt)
{
    DocSpec layout;
    layout.pages = {{u"Hello"_s, size, rotate, crop}};
    return layout;
}

// Share of pixels that are clearly not white.
double ink(const QImage &image)
{
    qint64 dark = 0;
    for (int y = 0; y < image.height(); ++y) {
        const auto *row = reinterpret_cast<const QRgb *>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x)
            dark += qGray(row[x]) < 128;
    }
    return double(dark) / (qint64(image.width()) * image.height());
}

// Lines of words {top, left, words}, each word 40 points wide and 50 from
// the next, a space after every word but the last of its line.
QList<PDFOps::TextWord> lines(const QList<std::tuple<double, double, QStringList>> &rows)
{
    QList<PDFOps::TextWord> words;
    for (const auto &[top, left, texts] : rows)
        for (qsizetype i = 0; i < texts.size(); ++i)
            words.append({texts[i], QRectF(left + 50 * i, top, 40, 12), i + 1 < texts.size(),
                          i + 1 == texts.size()});
    return words;
}

} // namespace

class TestRender : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

private Q_SLOTS:
    // The page as shown: turned by /Rotate (any multiple of 90), cut to the
    // crop box within the media box. Both readers agree on its size.
    void pixelSizes_data()
    {
        QTest::addColumn<QSizeF>("size");
        QTest::addColumn<int>("rotate");
        QTest::addColumn<QRectF>("crop"); // empty: none
        QTest::addColumn<double>("dpi");
        QTest::addColumn<QSize>("pixels");
        QTest::addColumn<int>("rotation");
        const auto row = [](const char *name, QSizeF size, int rotate, QRectF crop, double dpi,
                            QSize pixels, int rotation) {
            QTest::newRow(name) << size << rotate << crop << dpi << pixels << rotation;
        };
        const QSizeF letter(612, 792), a4(595, 842);
        const QRectF crop(100, 200, 300, 150);
        row("letter at 144 dpi", letter, 0, {}, 144, {1224, 1584}, 0);
        row("fractions at 72 dpi", {100.4, 50.5}, 0, {}, 72, {100, 51}, 0);
        row("rotated 90 is landscape", letter, 90, {}, 72, {792, 612}, 90);
        row("rotated 270", a4, 270, {}, 36, {421, 298}, 270);
        row("negative turn", letter, -90, {}, 72, {792, 612}, 270);
        row("rotated 180 stays", a4, 180, {}, 72, {595, 842}, 180);
        row("full turns", a4, 540, {}, 72, {595, 842}, 180);
        row("crop box", letter, 0, crop, 72, {300, 150}, 0);
        row("crop box rotated", letter, 90, crop, 144, {300, 600}, 90);
        row("crop box larger than media", {300, 300}, 0, {-50, -50, 500, 500}, 72, {300, 300}, 0);
        row("tiny page is one pixel", {0.2, 0.2}, 0, {}, 72, {1, 1}, 0);
    }
    void pixelSizes()
    {
        QFETCH(QSizeF, size);
        QFETCH(int, rotate);
        QFETCH(QRectF, crop);
        QFETCH(double, dpi);
        QFETCH(QSize, pixels);
        const DocSpec layout =
            onePage(size, rotate, crop.isEmpty() ? std::nullopt : std::optional(crop));
        const auto drawing = drawingOf(layout);
        QVERIFY(drawing);
        const auto image = PDFOps::render(*drawing, 0, dpi);
        QVERIFY(image);
        QCOMPARE(image->size(), pixels);
        QCOMPARE(PDFOps::pixelSize(*drawing->uprightSize(0), dpi), pixels);
        QCOMPARE(image->format(), QImage::Format_RGB32);
        QVERIFY(image->colorSpace() == QColorSpace(QColorSpace::SRgb));
        const auto page = PDFDocument::fromBytes(makePDF(layout), u"g.pdf"_s)->page(0);
        QVERIFY(page);
        QTEST(page->rotation, "rotation");
        QCOMPARE(page->uprightSize(), *drawing->uprightSize(0));
    }

    // The paper is opaque white where nothing is drawn, and the page's own
    // text ("Hello" in 24 pt at 72, 720) shows up where it was put: near the
    // top left, or the top right when the page is turned clockwise.
    void drawsWhereTheContentIs_data()
    {
        QTest::addColumn<int>("rotate");
        QTest::addColumn<int>("scale");
        QTest::addColumn<QRect>("inked");
        QTest::addColumn<QRect>("blank");
        // Scaled 8 times, the page is large enough (124 MB) to be drawn
        // without the kept device.
        for (const int scale : {1, 8}) {
            const QByteArray size = scale == 1 ? "" : " large";
            QTest::newRow("upright" + size)
                << 0 << scale << QRect(60, 40, 120, 40) << QRect(300, 300, 300, 400);
            QTest::newRow("turned" + size)
                << 90 << scale << QRect(792 - 80, 40, 60, 160) << QRect(0, 0, 300, 612);
        }
    }
    void drawsWhereTheContentIs()
    {
        QFETCH(int, rotate);
        QFETCH(int, scale);
        QFETCH(QRect, inked);
        QFETCH(QRect, blank);
        inked = QRect(inked.topLeft() * scale, inked.size() * scale);
        blank = QRect(blank.topLeft() * scale, blank.size() * scale);
        const auto drawing = drawingOf(onePage({612, 792}, rotate));
        QVERIFY(drawing);
        const auto image = PDFOps::render(*drawing, 0, 72 * scale);
        QVERIFY(image);
        QCOMPARE(image->format(), QImage::Format_RGB32);
        QCOMPARE(image->size(), (rotate ? QSize(792, 612) : QSize(612, 792)) * scale);
        QCOMPARE(image->pixel(0, 0), qRgb(255, 255, 255));
        QCOMPARE(image->pixel(image->width() - 1, image->height() - 1), qRgb(255, 255, 255));
        QCOMPARE(qAlpha(image->pixel(300, 400)), 255);
        QVERIFY2(ink(image->copy(inked)) > 0.02,
                 qPrintable(QString::number(ink(image->copy(inked)))));
        QCOMPARE(ink(image->copy(blank)), 0.0);
    }

    void nothingForImpossibleRequests()
    {
        const auto drawing = drawingOf(onePage({612, 792}));
        QVERIFY(drawing);
        const auto doc = PDFDocument::fromBytes(makePDF(onePage({612, 792})), u"one.pdf"_s);
        QVERIFY(!doc->page(1) && !doc->page(-1));
        QVERIFY(!PDFOps::render(*drawing, 1, 72));
        QVERIFY(!PDFOps::render(*drawing, -1, 72));
        QVERIFY(!PDFOps::render(*drawing, 0, 0));
        QVERIFY(!PDFOps::render(*drawing, 0, 1e9)); // far too many pixels
    }

    void lockedDocumentsAreNotDrawn()
    {
        const QString path = writeFile(m_dir.filePath(u"locked.pdf"_s),
                                       makePDF(numberedPages(2), lock(u"tea"_s, u"boss"_s)));
        const auto doc = PDFDocument::open(path);
        QVERIFY(doc && doc->isLocked());
        QVERIFY(!DrawingDocument::sourceFor(*doc));
        QVERIFY(doc->unlock(u"tea"_s));
        const auto source = DrawingDocument::sourceFor(*doc);
        QVERIFY(source);
        const auto drawing = DrawingDocument::open(*source);
        QVERIFY(drawing);
        QCOMPARE(drawing->pageCount(), 2);
        QCOMPARE(drawing->text(1), u"Page 2"_s);
    }

    // A page tree that holds a page as a direct object: poppler counts it but
    // can't reach it, so the page is drawn from the engine's mended copy.
    void drawsPagesWrittenInsideTheTree()
    {
        const QByteArray page = "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 200 200] "
                                "/Contents 4 0 R >>";
        QByteArray pdf = "%PDF-1.4\n";
        QList<qsizetype> offsets;
        const QList<QByteArray> objects{
            "<< /Type /Catalog /Pages 2 0 R >>",
            "<< /Type /Pages /Count 2 /Kids [3 0 R " + page + "] >>",
            "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 200 200] /Contents 4 0 R >>",
            "<< /Length 24 >>\nstream\n0 0 0 rg 0 0 200 200 re f\nendstream"};
        for (qsizetype i = 0; i < objects.size(); ++i) {
            offsets << pdf.size();
            pdf += QByteArray::number(i + 1) + " 0 obj\n" + objects[i] + "\nendobj\n";
        }
        const qsizetype xref = pdf.size();
        pdf += "xref\n0 5\n0000000000 65535 f \n";
        for (const qsizetype offset : offsets)
            pdf += QByteArray::number(offset).rightJustified(10, '0') + " 00000 n \n";
        pdf += "trailer << /Size 5 /Root 1 0 R >>\nstartxref\n" + QByteArray::number(xref) +
               "\n%%EOF\n";

        const auto doc = PDFDocument::open(writeFile(m_dir.filePath(u"inline.pdf"_s), pdf));
        QVERIFY(doc);
        QCOMPARE(doc->pageCount(), 2);
        const auto source = DrawingDocument::sourceFor(*doc);
        QVERIFY(source);
        const auto drawing = DrawingDocument::open(*source);
        QVERIFY(drawing);
        for (int index : {0, 1}) {
            const auto image = PDFOps::render(*drawing, index, 36);
            QVERIFY2(image, qPrintable(QString::number(index)));
            QCOMPARE(ink(*image), 1.0);
        }
    }

    // One document draws all its pages through one kept output device:
    // each page comes out as a document opened for it alone draws it,
    // whatever was drawn before (other sizes, turns and crops, the page
    // itself again).
    void drawsEachPageAsIfAlone()
    {
        DocSpec layout;
        layout.pages = {{u"One"_s, {612, 792}, 0, std::nullopt},
                        {u"Two"_s, {400, 300}, 90, std::nullopt},
                        {u"Three"_s, {612, 792}, 180, QRectF(50, 400, 400, 380)},
                        {u"Four"_s, {612, 792}, 270, std::nullopt}};
        const auto kept = drawingOf(layout);
        QVERIFY(kept);
        for (const int index : {0, 1, 2, 3, 0, 2}) {
            const auto alone = drawingOf(layout);
            QVERIFY(alone);
            const auto expected = alone->render(index, 50);
            const auto drawn = kept->render(index, 50);
            QVERIFY(expected && drawn);
            QVERIFY2(ink(*drawn) > 0, qPrintable(QString::number(index)));
            QVERIFY2(*drawn == *expected, qPrintable(QString::number(index)));
        }
    }

    void writesFormatResolutionAndQuality()
    {
        const auto drawing = drawingOf(onePage({200, 100}));
        QVERIFY(drawing);
        const auto image = PDFOps::render(*drawing, 0, 300);
        QVERIFY(image);
        for (const auto format : PDFOps::kImageFormats) {
            QList<qint64> sizes;
            for (const double quality : {0.1, 0.95}) {
                const QString path =
                    m_dir.filePath(PDFOps::rawValue(format) + QString::number(quality));
                PDFOps::writeImage(*image, path, format, 300, quality);
                QImageReader reader(path);
                QCOMPARE(reader.format(), format == PDFOps::ImageFormat::Png ? QByteArray("png")
                                                                             : QByteArray("jpeg"));
                const QImage back = reader.read();
                QCOMPARE(back.size(), image->size());
                QVERIFY2(qAbs(back.dotsPerMeterX() * 0.0254 - 300) < 0.5,
                         qPrintable(QString::number(back.dotsPerMeterX())));
                sizes << QFileInfo(path).size();
            }
            // Quality means nothing to PNG.
            QVERIFY2(format == PDFOps::ImageFormat::Png ? sizes[0] == sizes[1]
                                                        : sizes[0] < sizes[1],
                     qPrintable(u"%1 %2"_s.arg(sizes[0]).arg(sizes[1])));
        }
    }

    // Colours come back as drawn, each channel in its place, tagged sRGB.
    void writesColoursInPlace()
    {
        QImage image(90, 30, QImage::Format_RGB32);
        image.setColorSpace(QColorSpace(QColorSpace::SRgb));
        const QList<QRgb> colours = {qRgb(220, 30, 20), qRgb(20, 200, 40), qRgb(30, 40, 210)};
        for (int third = 0; third < 3; ++third)
            for (int y = 0; y < 30; ++y)
                for (int x = 0; x < 30; ++x)
                    image.setPixel(30 * third + x, y, colours[third]);
        for (const auto format : PDFOps::kImageFormats) {
            const QString path = m_dir.filePath(u"colours."_s + PDFOps::rawValue(format));
            PDFOps::writeImage(image, path, format, 150, 0.9);
            const QImage back(path);
            QVERIFY(back.colorSpace() == QColorSpace(QColorSpace::SRgb));
            for (int third = 0; third < 3; ++third) {
                const QRgb got = back.pixel(30 * third + 15, 15);
                const QRgb want = colours[third];
                QVERIFY2(
                    qAbs(qRed(got) - qRed(want)) < 12 && qAbs(qGreen(got) - qGreen(want)) < 12 &&
                        qAbs(qBlue(got) - qBlue(want)) < 12,
                    qPrintable(
                        u"%1 %2: %3"_s.arg(PDFOps::rawValue(format)).arg(third).arg(got, 8, 16)));
            }
        }
    }

    void writeFailuresNameTheFile_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("empty");
        QTest::addColumn<QString>("message");
        QTest::newRow("missing folder")
            << "/nonexistent-folder/a.png" << false << "Couldn't create a.png.";
        QTest::newRow("nothing to encode")
            << m_dir.filePath(u"b.png"_s) << true << "Couldn't write b.png.";
    }
    void writeFailuresNameTheFile()
    {
        QFETCH(QString, path);
        QFETCH(bool, empty);
        QFETCH(QString, message);
        QImage image;
        if (!empty) {
            image = QImage(300, 300, QImage::Format_RGB32);
            image.fill(Qt::darkCyan);
        }
        QCOMPARE(Attempt::errorOf(
                     [&] { PDFOps::writeImage(image, path, PDFOps::ImageFormat::Png, 72, 1); }),
                 message);
        QVERIFY(!QFileInfo::exists(path));
        QCOMPARE(temporaryFiles(m_dir.path()), QStringList());
    }

    void assemblesText_data()
    {
        QTest::addColumn<QList<PDFOps::TextWord>>("words");
        QTest::addColumn<QString>("text");
        QTest::newRow("one line") << lines({{100, 72, {"Hello", "world"}}}) << u"Hello world"_s;
        QTest::newRow("lines") << lines({{100, 72, {"one"}}, {114, 72, {"two"}}}) << u"one\ntwo"_s;
        QTest::newRow("blocks") << lines({{100, 72, {"one"}}, {140, 72, {"two"}}})
                                << u"one\n\ntwo"_s;
        QTest::newRow("next column")
            << lines({{300, 72, {"left"}}, {100, 300, {"right"}}}) << u"left\n\nright"_s;
        QTest::newRow("hyphenated")
            << lines({{100, 72, {"Docu-"}}, {114, 72, {"mentation"}}}) << u"Documentation"_s;
        QTest::newRow("soft hyphen")
            << lines({{100, 72, {u"soft\u00AD"_s}}, {114, 72, {"ware"}}}) << u"software"_s;
        QTest::newRow("names keep the hyphen")
            << lines({{100, 72, {"Jean-"}}, {114, 72, {"Paul"}}}) << u"Jean-\nPaul"_s;
        QTest::newRow("a dash alone") << lines({{100, 72, {"-"}}, {114, 72, {"b"}}}) << u"-\nb"_s;
        // Drawn left to right as seen: "مرحبا بالعالم" reads right to left.
        QTest::newRow("right to left")
            << lines({{100, 72, {"ملاعلاب", "ابحرم"}}}) << u"مرحبا بالعالم"_s;
        QTest::newRow("numbers keep their digits")
            << lines({{100, 72, {"ماع", "2024", "ةنس"}}}) << u"سنة 2024 عام"_s;
        QTest::newRow("left to right around")
            << lines({{100, 72, {"Hello", "ابحرم", "world"}}}) << u"Hello مرحبا world"_s;
        QTest::newRow("nothing") << QList<PDFOps::TextWord>{} << QString();
    }
    void assemblesText()
    {
        QFETCH(QList<PDFOps::TextWord>, words);
        QFETCH(QString, text);
        QCOMPARE(PDFOps::assembleText(words), text);
    }

    // What a reader sees: pdftoppm, an independent program over the same
    // drawing library, gives the same bitmap size and nearly the same pixels.
    void matchesPdftoppm()
    {
        const QString pdftoppm = QStandardPaths::findExecutable(u"pdftoppm"_s);
        if (pdftoppm.isEmpty() || corpusDir().isEmpty())
            QSKIP("needs pdftoppm and QUIREBOOK_CORPUS");
        for (const QString &name :
             {u"paper-tracemonkey-14pages.pdf"_s, u"rotated-hello-world-5pages.pdf"_s}) {
            const QString path = corpusDir() + u'/' + name;
            const auto doc = PDFDocument::open(path);
            QVERIFY(doc);
            const auto drawing = DrawingDocument::open(*DrawingDocument::sourceFor(*doc));
            QVERIFY(drawing);
            const auto ours = drawing->render(0, 150);
            QVERIFY(ours);
            const QString prefix = m_dir.filePath(u"peer-"_s + name);
            const auto peer =
                runProgram(pdftoppm, {u"-r"_s, u"150"_s, u"-png"_s, u"-singlefile"_s, u"-f"_s,
                                      u"1"_s, u"-l"_s, u"1"_s, path, prefix});
            QCOMPARE(peer.exitCode, 0);
            const QImage theirs = QImage(prefix + u".png"_s).convertToFormat(QImage::Format_RGB32);
            QCOMPARE(ours->size(), theirs.size());
            qint64 difference = 0;
            for (int y = 0; y < theirs.height(); ++y)
                for (int x = 0; x < theirs.width(); ++x)
                    difference += qAbs(qGray(ours->pixel(x, y)) - qGray(theirs.pixel(x, y)));
            const double mean = double(difference) / (qint64(theirs.width()) * theirs.height());
            QVERIFY2(mean < 2.0, qPrintable(u"%1: %2"_s.arg(name).arg(mean)));
        }
    }
};

QTEST_GUILESS_MAIN(TestRender)
#include "tst_render.moc"
