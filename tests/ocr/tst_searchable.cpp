#include "DrawingDocument.h"
#include "Fixtures.h"
#include "InvisibleFont.h"
#include "PDFError.h"
#include "PopplerCheck.h"
#include "ScanFixtures.h"
#include "Searchable.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <atomic>

using Searchable::Word;
Q_DECLARE_METATYPE(Searchable::Stats)

namespace {

const QStringList kLines{QStringLiteral("Invoice 4711 total due"),
                         QStringLiteral("Please pay the full amount within thirty days"),
                         QStringLiteral("Thank you for your business")};
// Wide enough for the long line.
const QSizeF kPage(612, 324);

// The box of a scanned word in page points (y down), for a page that shows
// the picture at `dpi` without turning it.
QRectF pointsOf(const QRectF &pixels, double dpi)
{
    const double k = 72.0 / dpi;
    return QRectF(pixels.x() * k, pixels.y() * k, pixels.width() * k, pixels.height() * k);
}

double overlap(const QRectF &a, const QRectF &b)
{
    const QRectF both = a.intersected(b);
    const double area = a.width() * a.height();
    return area > 0 ? both.width() * both.height() / area : 0;
}

// A reader's box lies on the printed word: almost all of it inside the
// word's typographic box, covering the word's run from end to end and more
// than half its height (the printed box has the font's leading on top).
bool liesOn(const QRectF &found, const QRectF &printed)
{
    const bool standing = printed.height() > printed.width();
    const double run = standing ? printed.height() : printed.width();
    const double across = standing ? printed.width() : printed.height();
    const QRectF both = found.intersected(printed);
    const double coveredRun = standing ? both.height() : both.width();
    const double coveredAcross = standing ? both.width() : both.height();
    return overlap(found, printed) > 0.85 && coveredRun > 0.85 * run &&
           coveredAcross > 0.5 * across;
}

QString describe(const QRectF &found, const QRectF &printed)
{
    return QStringLiteral("found %1,%2 %3×%4, printed %5,%6 %7×%8")
        .arg(found.x())
        .arg(found.y())
        .arg(found.width())
        .arg(found.height())
        .arg(printed.x())
        .arg(printed.y())
        .arg(printed.width())
        .arg(printed.height());
}

// A recogniser that finds the same words on every page.
Searchable::Options fixedWords(const QList<Word> &words)
{
    Searchable::Options options;
    options.workers = 2;
    options.makeRecognizer = [words] { return [words](const QImage &) { return words; }; };
    return options;
}

Fixtures::DocSpec blankPages(int count, QSizeF size = {612, 792})
{
    Fixtures::DocSpec layout;
    for (int i = 0; i < count; ++i) {
        Fixtures::PageSpec page;
        page.size = size;
        layout.pages.append(page);
    }
    return layout;
}

double meanGreyDifference(const QImage &a, const QImage &b)
{
    if (a.size() != b.size())
        return 255;
    const QImage x = a.convertToFormat(QImage::Format_Grayscale8);
    const QImage y = b.convertToFormat(QImage::Format_Grayscale8);
    double sum = 0;
    for (int row = 0; row < x.height(); ++row) {
        const uchar *p = x.constScanLine(row);
        const uchar *q = y.constScanLine(row);
        for (int col = 0; col < x.width(); ++col)
            sum += std::abs(int(p[col]) - int(q[col]));
    }
    return sum / (double(x.width()) * x.height());
}

QImage renderPage(const QString &path, int index)
{
    auto doc = DrawingDocument::open({path, {}, {}});
    return doc ? doc->render(index, 72).value_or(QImage()) : QImage();
}

} // namespace

class TestSearchable : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void hasTextThresholds_data();
    void hasTextThresholds();
    void wordBoxesOnThePage_data();
    void wordBoxesOnThePage();
    void fontProgramIsWellFormed();
    void scanIsReadAndFoundInPlace();
    void turnedScansAreRead_data();
    void turnedScansAreRead();
    void skipsPagesWithText_data();
    void skipsPagesWithText();
    void anyScriptCanBeCopied();
    void failureLeavesLaterPagesWithoutText();
    void cancelWritesNothing();
    void cancelStopsThePageBeingRead();
    void progressCountsPagesInOrder();

private:
    QTemporaryDir m_dir;
    QString path(const QString &name) const { return m_dir.filePath(name); }
    QString writeScan(const QString &name, const QList<Fixtures::ScanPage> &pages)
    {
        return Fixtures::writeFile(path(name), Fixtures::scanPDF(pages));
    }
};

void TestSearchable::hasTextThresholds_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("expected");
    QTest::newRow("nothing") << QString() << false;
    QTest::newRow("a page number") << QStringLiteral("  Page 12 \n") << false;
    QTest::newRow("19 characters") << QStringLiteral("abcdefghijklmnopqrs") << false;
    QTest::newRow("20 characters") << QStringLiteral("abcdefghijklmnopqrst") << true;
    QTest::newRow("19 with blanks around")
        << QStringLiteral("\n\t abcdefghijklmnopqrs  \n") << false;
    QTest::newRow("inner blanks count") << QStringLiteral("abcde fghij klmno pqrs") << true;
    QTest::newRow("20 characters beyond the BMP")
        << QString::fromUcs4(std::u32string(20, U'\U0001D400').c_str()) << true;
}

void TestSearchable::hasTextThresholds()
{
    QFETCH(QString, text);
    QFETCH(bool, expected);
    QCOMPARE(Searchable::hasText(text), expected);
}

void TestSearchable::wordBoxesOnThePage_data()
{
    // A normalised box (y up) and the run of the text, on a 400 × 300 page,
    // and where a reader must then see the word (points, y down).
    QTest::addColumn<QRectF>("box");
    QTest::addColumn<int>("angle");
    QTest::addColumn<QRectF>("expected");
    QTest::newRow("upright") << QRectF(0.1, 0.5, 0.25, 0.05) << 0 << QRectF(40, 135, 100, 15);
    QTest::newRow("at the bottom left") << QRectF(0, 0, 0.5, 0.1) << 0 << QRectF(0, 270, 200, 30);
    QTest::newRow("running up") << QRectF(0.5, 0.2, 0.05, 0.4) << 90 << QRectF(200, 120, 20, 120);
    QTest::newRow("upside down") << QRectF(0.2, 0.6, 0.3, 0.06) << 180 << QRectF(80, 102, 120, 18);
    QTest::newRow("running down") << QRectF(0.7, 0.1, 0.04, 0.5) << 270
                                  << QRectF(280, 120, 16, 150);
}

void TestSearchable::wordBoxesOnThePage()
{
    QFETCH(QRectF, box);
    QFETCH(int, angle);
    QFETCH(QRectF, expected);
    const QString blank =
        Fixtures::writeFile(path(QStringLiteral("blank-%1.pdf").arg(QTest::currentDataTag())),
                            Fixtures::makePDF(blankPages(1, QSizeF(400, 300))));
    auto doc = PDFDocument::open(blank);
    QVERIFY(doc);
    const Word word{QStringLiteral("Quirebook"), box, angle, false};
    const QString out = path(QStringLiteral("boxes-%1.pdf").arg(QTest::currentDataTag()));
    const auto stats = Searchable::make(*doc, out, fixedWords({word}), {}, {});
    QCOMPARE(stats, (Searchable::Stats{1, 0, 1}));
    const auto words = PopplerCheck::words(out, 0);
    QCOMPARE(words.size(), 1);
    QCOMPARE(words[0].text, QStringLiteral("Quirebook"));
    const QRectF seen = words[0].box;
    const double slack = 0.5;
    QVERIFY2(std::abs(seen.left() - expected.left()) < slack &&
                 std::abs(seen.top() - expected.top()) < slack &&
                 std::abs(seen.right() - expected.right()) < slack &&
                 std::abs(seen.bottom() - expected.bottom()) < slack,
             qPrintable(QStringLiteral("seen %1,%2 %3×%4")
                            .arg(seen.x())
                            .arg(seen.y())
                            .arg(seen.width())
                            .arg(seen.height())));
}

void TestSearchable::fontProgramIsWellFormed()
{
    // The table directory must add up: every table inside the file and the
    // whole-file checksum right, or strict readers drop the font.
    const QByteArray font = Searchable::InvisibleFont::program();
    QVERIFY(font.size() > 12);
    const auto be16 = [&](qsizetype at) {
        return quint16((uchar(font[at]) << 8) | uchar(font[at + 1]));
    };
    const auto be32 = [&](qsizetype at) { return (quint32(be16(at)) << 16) | be16(at + 2); };
    QCOMPARE(be32(0), 0x00010000u);
    const int tables = be16(4);
    QCOMPARE(tables, 10);
    QStringList tags;
    for (int i = 0; i < tables; ++i) {
        const qsizetype record = 12 + 16 * i;
        tags << QString::fromLatin1(font.mid(record, 4));
        QVERIFY(be32(record + 8) + be32(record + 12) <= quint32(font.size()));
    }
    QVERIFY(std::is_sorted(tags.begin(), tags.end()));
    quint32 sum = 0;
    QByteArray padded = font;
    while (padded.size() % 4)
        padded.append('\0');
    for (qsizetype i = 0; i < padded.size(); i += 4)
        sum += (quint32(uchar(padded[i])) << 24) | (quint32(uchar(padded[i + 1])) << 16) |
               (quint32(uchar(padded[i + 2])) << 8) | uchar(padded[i + 3]);
    QCOMPARE(sum, 0xB1B0AFBAu);
}

void TestSearchable::scanIsReadAndFoundInPlace()
{
    const auto scan = Fixtures::scan(kLines, kPage);
    const QString source = writeScan(QStringLiteral("scan.pdf"), {{scan.image}});
    const QByteArray before = Fixtures::readFile(source);
    {
        auto drawing = DrawingDocument::open({source, {}, {}});
        QVERIFY(!Searchable::hasText(*drawing, 0));
    }
    auto doc = PDFDocument::open(source);
    const QString out = path(QStringLiteral("scan searchable.pdf"));
    Searchable::Options options;
    const auto stats = Searchable::make(*doc, out, options, {}, {});
    QCOMPARE(stats.pagesRead, 1);
    QCOMPARE(stats.pagesSkipped, 0);
    QCOMPARE(stats.words, 17);
    QCOMPARE(Fixtures::readFile(source), before);

    // Copying gives the lines as written, words apart.
    const QString text = Fixtures::popplerPageTexts(Fixtures::readFile(out)).value(0);
    for (const QString &line : kLines)
        QVERIFY2(text.contains(line), qPrintable(text));

    // Searching finds the number where it is printed.
    const auto found = PopplerCheck::find(out, 0, QStringLiteral("4711"));
    QCOMPARE(found.size(), 1);
    QRectF printed;
    for (const auto &word : scan.words)
        if (word.text == QLatin1String("4711"))
            printed = pointsOf(word.box, 200);
    QVERIFY2(liesOn(found[0], printed), qPrintable(describe(found[0], printed)));

    // The picture stays as it was.
    QVERIFY(meanGreyDifference(renderPage(source, 0), renderPage(out, 0)) < 0.5);

    QProcess check;
    check.start(QStringLiteral("qpdf"), {QStringLiteral("--check"), out});
    QVERIFY(check.waitForFinished(60000));
    QCOMPARE(check.exitCode(), 0);
}

void TestSearchable::turnedScansAreRead_data()
{
    // The picture as stored is turned by `turn` (clockwise as seen); the
    // page's /Rotate may turn it back for the reader.
    QTest::addColumn<int>("turn");
    QTest::addColumn<int>("rotate");
    QTest::newRow("stored sideways, upright on the page") << 270 << 90;
    QTest::newRow("scanned lying on its side") << 90 << 0;
    QTest::newRow("scanned upside down") << 180 << 0;
    QTest::newRow("scanned a little crooked") << 2 << 0;
    QTest::newRow("crooked the other way") << -2 << 0;
}

void TestSearchable::turnedScansAreRead()
{
    QFETCH(int, turn);
    QFETCH(int, rotate);
    const auto scan = Fixtures::scan(kLines, kPage);
    const QImage stored = Fixtures::turned(scan.image, turn);
    const QString tag = QString::fromLatin1(QTest::currentDataTag()).replace(u' ', u'-');
    const QString source = writeScan(tag + QStringLiteral(".pdf"), {{stored, 200, rotate}});
    auto doc = PDFDocument::open(source);
    const QString out = path(tag + QStringLiteral(" searchable.pdf"));
    Searchable::Options options;
    const auto stats = Searchable::make(*doc, out, options, {}, {});
    QCOMPARE(stats.pagesRead, 1);
    QCOMPARE(stats.words, 17);

    // Each line copies as one line, its words in order and apart, however
    // crooked the scan.
    const QString text = Fixtures::popplerPageTexts(Fixtures::readFile(out)).value(0);
    for (const QString &line : kLines)
        QVERIFY2(text.contains(line), qPrintable(text));

    // Where the reader sees the number: the picture as shown, turned by
    // what is left after the page's own rotation.
    const int shown = ((turn + rotate) % 360 + 360) % 360;
    QRectF printed;
    for (const auto &word : scan.words)
        if (word.text == QLatin1String("4711"))
            printed = pointsOf(Fixtures::turnedBox(word.box, scan.image.size(), shown), 200);
    const auto found = PopplerCheck::find(out, 0, QStringLiteral("4711"));
    QCOMPARE(found.size(), 1);
    QVERIFY2(liesOn(found[0], printed), qPrintable(describe(found[0], printed)));
}

void TestSearchable::skipsPagesWithText_data()
{
    QTest::addColumn<bool>("skip");
    QTest::addColumn<Searchable::Stats>("expected");
    QTest::newRow("skipping") << true << Searchable::Stats{2, 1, 4};
    QTest::newRow("reading every page") << false << Searchable::Stats{3, 0, 6};
}

void TestSearchable::skipsPagesWithText()
{
    QFETCH(bool, skip);
    QFETCH(Searchable::Stats, expected);
    // A page with a line of real text between a blank one and one whose
    // only text is a six-character label.
    Fixtures::DocSpec layout = blankPages(3);
    layout.pages[1].text = QStringLiteral("This page already carries real text.");
    layout.pages[2].text = QStringLiteral("Page 3");
    const QString source = Fixtures::writeFile(path(QStringLiteral("mixed-%1.pdf").arg(skip)),
                                               Fixtures::makePDF(layout));
    auto doc = PDFDocument::open(source);
    auto options = fixedWords({{QStringLiteral("one"), QRectF(0.1, 0.1, 0.1, 0.02), 0, true},
                               {QStringLiteral("two"), QRectF(0.22, 0.1, 0.1, 0.02), 0, false}});
    options.skipPagesWithText = skip;
    const QString out = path(QStringLiteral("mixed-%1 searchable.pdf").arg(skip));
    QCOMPARE(Searchable::make(*doc, out, options, {}, {}), expected);
    const QStringList texts = Fixtures::popplerPageTexts(Fixtures::readFile(out));
    QCOMPARE(texts.size(), 3);
    QVERIFY(texts[0].contains(QStringLiteral("one two")));
    QCOMPARE(texts[1].contains(QStringLiteral("one two")), !skip);
    QVERIFY(texts[1].contains(QStringLiteral("already carries")));
    QVERIFY(texts[2].contains(QStringLiteral("one two")));
}

void TestSearchable::anyScriptCanBeCopied()
{
    const QStringList samples{QStringLiteral("Grüße"), QStringLiteral("Ελληνικά"),
                              QStringLiteral("日本語"), QStringLiteral("עברית"),
                              QString::fromUcs4(U"\U0001D400\U0001F600")};
    QList<Word> words;
    for (qsizetype i = 0; i < samples.size(); ++i)
        words.append({samples[i], QRectF(0.1, 0.9 - 0.15 * double(i), 0.3, 0.05), 0, false});
    const QString blank =
        Fixtures::writeFile(path(QStringLiteral("scripts.pdf")), Fixtures::makePDF(blankPages(1)));
    auto doc = PDFDocument::open(blank);
    const QString out = path(QStringLiteral("scripts searchable.pdf"));
    Searchable::make(*doc, out, fixedWords(words), {}, {});
    const auto seen = PopplerCheck::words(out, 0);
    QStringList texts;
    for (const auto &word : seen)
        texts << word.text;
    for (const QString &sample : samples)
        QVERIFY2(texts.contains(sample), qPrintable(texts.join(u'|')));
}

void TestSearchable::failureLeavesLaterPagesWithoutText()
{
    const QString source =
        Fixtures::writeFile(path(QStringLiteral("three.pdf")), Fixtures::makePDF(blankPages(3)));
    auto doc = PDFDocument::open(source);
    Searchable::Options options;
    options.workers = 1;
    // The second picture read breaks the engine.
    options.makeRecognizer = [] {
        auto calls = std::make_shared<int>(0);
        return [calls](const QImage &) -> QList<Word> {
            if (++*calls == 2)
                throw PDFError::failed(QStringLiteral("The engine ran out of memory."));
            return {{QStringLiteral("hello"), QRectF(0.1, 0.5, 0.2, 0.05), 0, false}};
        };
    };
    const QString out = path(QStringLiteral("three searchable.pdf"));
    try {
        Searchable::make(*doc, out, options, {}, {});
        QFAIL("no error");
    } catch (const PDFError &error) {
        QCOMPARE(error.description(),
                 QStringLiteral("Text recognition failed: The engine ran out of memory."));
    }
    const QStringList texts = Fixtures::popplerPageTexts(Fixtures::readFile(out));
    QCOMPARE(texts.size(), 3);
    QVERIFY(texts[0].contains(QStringLiteral("hello")));
    QVERIFY(!texts[1].contains(QStringLiteral("hello")));
    QVERIFY(!texts[2].contains(QStringLiteral("hello")));
}

void TestSearchable::cancelWritesNothing()
{
    const Fixtures::DocSpec layout = blankPages(12);
    const QString source =
        Fixtures::writeFile(path(QStringLiteral("twelve.pdf")), Fixtures::makePDF(layout));
    auto doc = PDFDocument::open(source);
    std::atomic_int read{0};
    Searchable::Options options;
    options.workers = 2;
    options.makeRecognizer = [&read] {
        return [&read](const QImage &) {
            ++read;
            QThread::msleep(30);
            return QList<Word>{};
        };
    };
    const QString out = path(QStringLiteral("twelve searchable.pdf"));
    int reported = 0;
    try {
        Searchable::make(
            *doc, out, options, [&](int done, int) { reported = done; },
            [&] { return reported >= 3; });
        QFAIL("not cancelled");
    } catch (const PDFError &error) {
        QVERIFY(error.isCancelled());
    }
    QVERIFY(!QFileInfo::exists(out));
    QCOMPARE(
        QDir(m_dir.path()).entryList({QStringLiteral(".quirebook-*")}, QDir::Hidden | QDir::Files),
        QStringList());
    // Workers stop soon after: a page or two each beyond what was taken.
    QVERIFY2(read.load() <= 3 + 2 * 3, qPrintable(QString::number(read.load())));
}

void TestSearchable::cancelStopsThePageBeingRead()
{
    // A full page of small print takes tesseract seconds; a cancel given
    // while it reads must not wait for the end of the page.
    QStringList lines;
    for (int i = 0; i < 44; ++i)
        lines << QStringLiteral("Line %1 of a long letter about the quarterly accounts and "
                                "their many figures")
                     .arg(i + 1);
    const auto page = Fixtures::scan(lines, QSizeF(612, 792), 200, 9);
    const QString source = writeScan(QStringLiteral("letter.pdf"), {{page.image}, {page.image}});
    auto doc = PDFDocument::open(source);
    Searchable::Options options;
    options.workers = 1;
    QElapsedTimer clock;
    clock.start();
    qint64 cancelledAt = 0;
    try {
        Searchable::make(*doc, path(QStringLiteral("letter searchable.pdf")), options, {}, [&] {
            if (clock.elapsed() < 500)
                return false;
            if (!cancelledAt)
                cancelledAt = clock.elapsed();
            return true;
        });
        QFAIL("not cancelled");
    } catch (const PDFError &error) {
        QVERIFY(error.isCancelled());
    }
    QVERIFY(cancelledAt > 0);
    QVERIFY2(
        clock.elapsed() - cancelledAt < 700,
        qPrintable(QStringLiteral("%1 ms after the cancel").arg(clock.elapsed() - cancelledAt)));
}

void TestSearchable::progressCountsPagesInOrder()
{
    // Pages of different widths, so a picture tells which page it is.
    Fixtures::DocSpec layout = blankPages(7);
    QList<int> widths;
    for (int i = 0; i < 7; ++i) {
        layout.pages[i].size = QSizeF(300 + 10 * i, 300);
        widths << qRound((300 + 10 * i) * 200.0 / 72);
    }
    const QString source =
        Fixtures::writeFile(path(QStringLiteral("seven.pdf")), Fixtures::makePDF(layout));
    auto doc = PDFDocument::open(source);
    // Later pages finish first; their words must still land on their own pages.
    Searchable::Options options;
    options.workers = 3;
    options.makeRecognizer = [] {
        return [](const QImage &image) {
            QThread::msleep(ulong(std::max(0, 1200 - image.width()) / 4));
            return QList<Word>{
                {QStringLiteral("w%1").arg(image.width()), QRectF(0.1, 0.5, 0.2, 0.05), 0, false}};
        };
    };
    QList<int> seen;
    const QString out = path(QStringLiteral("seven searchable.pdf"));
    const auto stats = Searchable::make(*doc, out, options,
                                        [&](int done, int total) {
                                            QCOMPARE(total, 7);
                                            seen << done;
                                        },
                                        {});
    QCOMPARE(seen, (QList<int>{1, 2, 3, 4, 5, 6, 7}));
    QCOMPARE(stats, (Searchable::Stats{7, 0, 7}));
    const QStringList texts = Fixtures::popplerPageTexts(Fixtures::readFile(out));
    QCOMPARE(texts.size(), 7);
    for (int i = 0; i < 7; ++i)
        QCOMPARE(texts[i].trimmed(), QStringLiteral("w%1").arg(widths[i]));
}

QTEST_MAIN(TestSearchable)
#include "tst_searchable.moc"
