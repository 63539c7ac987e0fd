#include "engine/DrawingDocument.h"
#include "ocr/Searchable.h"
#include "ocr/internal/InvisibleFont.h"
#include "support/Attempt.h"
#include "support/Fixtures.h"
#include "support/PictureFixtures.h"
#include "support/ScanFixtures.h"

#include <QTemporaryDir>
#include <QtTest>

#include <atomic>

using namespace Qt::StringLiterals;
using namespace Fixtures;
using Attempt::errorOf;
using Searchable::Word;
Q_DECLARE_METATYPE(Searchable::Stats)

namespace {

const QStringList kLines{u"Invoice 4711 total due"_s,
                         u"Please pay the full amount within thirty days"_s,
                         u"Thank you for your business"_s};
// Wide enough for the long line.
const QSizeF kPage(612, 324);

DocSpec blankPages(int count, QSizeF size = {612, 792})
{
    PageSpec page;
    page.size = size;
    DocSpec doc;
    doc.pages = QList<PageSpec>(count, page);
    return doc;
}

QString text(const QRectF &r)
{
    return u"%1,%2 %3×%4"_s.arg(r.x()).arg(r.y()).arg(r.width()).arg(r.height());
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
    const double inside = both.width() * both.height() / (found.width() * found.height());
    return inside > 0.85 && (standing ? both.height() : both.width()) > 0.85 * run &&
           (standing ? both.width() : both.height()) > 0.5 * across;
}

// A recogniser that finds the same words on every page.
Searchable::Options fixedWords(const QList<Word> &words)
{
    Searchable::Options options;
    options.workers = 2;
    options.makeRecognizer = [words] { return [words](const QImage &) { return words; }; };
    return options;
}

} // namespace

class TestSearchable : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QString path(const QString &name) const { return m_dir.filePath(name); }

    // A copy of `source` made searchable with `options`; its path.
    QString searchable(const QString &name, const QByteArray &source,
                       const Searchable::Options &options, Searchable::Stats *stats = nullptr,
                       const Progress &progress = {}, const IsCancelled &isCancelled = {})
    {
        auto doc = PDFDocument::open(writeFile(path(name + u".pdf"_s), source));
        const QString out = path(name + u" searchable.pdf"_s);
        const auto made = Searchable::make(*doc, out, options, progress, isCancelled);
        if (stats)
            *stats = made;
        return out;
    }

private Q_SLOTS:
    // Trimmed, at least 20 characters, counted as characters.
    void hasTextThresholds_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("expected");
        QTest::newRow("19 characters") << u"abcdefghijklmnopqrs"_s << false;
        QTest::newRow("20 characters") << u"abcdefghijklmnopqrst"_s << true;
        QTest::newRow("19 with blanks around") << u"\n\t abcdefghijklmnopqrs  \n"_s << false;
        QTest::newRow("inner blanks count") << u"abcde fghij klmno pqrs"_s << true;
        QTest::newRow("20 characters beyond the BMP")
            << QString::fromUcs4(std::u32string(20, U'\U0001D400').c_str()) << true;
    }
    void hasTextThresholds()
    {
        QFETCH(QString, text);
        QTEST(Searchable::hasText(text), "expected");
    }

    // Where a reader sees a word (points, y down) on a 400 × 300 page, from
    // its normalised box (y up) and run; words in any script copy as written.
    void wordBoxesOnThePage_data()
    {
        QTest::addColumn<QString>("word");
        QTest::addColumn<QRectF>("box");
        QTest::addColumn<int>("angle");
        QTest::addColumn<QRectF>("expected");
        QTest::newRow("upright") << u"Grüße"_s << QRectF(0.1, 0.5, 0.25, 0.05) << 0
                                 << QRectF(40, 135, 100, 15);
        QTest::newRow("at the bottom left")
            << u"Ελληνικά"_s << QRectF(0, 0, 0.5, 0.1) << 0 << QRectF(0, 270, 200, 30);
        QTest::newRow("running up")
            << u"日本語"_s << QRectF(0.5, 0.2, 0.05, 0.4) << 90 << QRectF(200, 120, 20, 120);
        QTest::newRow("upside down")
            << u"עברית"_s << QRectF(0.2, 0.6, 0.3, 0.06) << 180 << QRectF(80, 102, 120, 18);
        QTest::newRow("running down")
            << QString::fromUcs4(U"\U0001D400\U0001F600") << QRectF(0.7, 0.1, 0.04, 0.5) << 270
            << QRectF(280, 120, 16, 150);
    }
    void wordBoxesOnThePage()
    {
        QFETCH(QString, word);
        QFETCH(QRectF, box);
        QFETCH(int, angle);
        QFETCH(QRectF, expected);
        Searchable::Stats stats;
        const QString out = searchable(u"boxes-%1"_s.arg(QTest::currentDataTag()),
                                       makePDF(blankPages(1, QSizeF(400, 300))),
                                       fixedWords({{word, box, angle, false}}), &stats);
        QCOMPARE(stats, (Searchable::Stats{1, 0, 1}));
        const auto words = popplerWords(readFile(out), 1);
        QCOMPARE(words.size(), 1);
        QCOMPARE(words[0].text, word);
        const QRectF seen = words[0].box;
        QVERIFY2(qAbs(seen.left() - expected.left()) < 0.5 &&
                     qAbs(seen.top() - expected.top()) < 0.5 &&
                     qAbs(seen.right() - expected.right()) < 0.5 &&
                     qAbs(seen.bottom() - expected.bottom()) < 0.5,
                 qPrintable(text(seen)));
    }

    void fontProgramIsWellFormed()
    {
        // The table directory must add up: every table inside the file and the
        // whole-file checksum right, or strict readers drop the font.
        QByteArray font = Searchable::InvisibleFont::program();
        const quint32 size = quint32(font.size());
        QVERIFY(size > 12);
        font.append(QByteArray((4 - size % 4) % 4, '\0'));
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
            QVERIFY(be32(record + 8) + be32(record + 12) <= size);
        }
        QVERIFY(std::is_sorted(tags.begin(), tags.end()));
        quint32 sum = 0;
        for (qsizetype i = 0; i < font.size(); i += 4)
            sum += be32(i);
        QCOMPARE(sum, 0xB1B0AFBAu);
    }

    // tesseract reads a scan however it lies: each line copies as one line,
    // its words in order and apart, and the number is found where the
    // reader sees it printed. The picture and the source stay as they were.
    void scansAreReadAndFoundInPlace_data()
    {
        // The picture as stored is turned by `turn` (clockwise as seen); the
        // page's /Rotate may turn it back for the reader.
        QTest::addColumn<int>("turn");
        QTest::addColumn<int>("rotate");
        QTest::newRow("upright") << 0 << 0;
        QTest::newRow("stored sideways, upright on the page") << 270 << 90;
        QTest::newRow("scanned lying on its side") << 90 << 0;
        QTest::newRow("scanned upside down") << 180 << 0;
        QTest::newRow("scanned a little crooked") << 2 << 0;
        QTest::newRow("crooked the other way") << -2 << 0;
    }
    void scansAreReadAndFoundInPlace()
    {
        QFETCH(int, turn);
        QFETCH(int, rotate);
        const auto scan = Fixtures::scan(kLines, kPage);
        const QString tag = QString::fromLatin1(QTest::currentDataTag()).replace(u' ', u'-');
        const QByteArray source = scanPDF({{turned(scan.image, turn), 200, rotate}});
        QVERIFY(!Searchable::hasText(popplerPageTexts(source).value(0)));
        Searchable::Stats stats;
        const QString out = searchable(tag, source, {}, &stats);
        QCOMPARE(stats, (Searchable::Stats{1, 0, 17}));
        QCOMPARE(readFile(path(tag + u".pdf"_s)), source);

        const QByteArray written = readFile(out);
        const QString copied = popplerPageTexts(written).value(0);
        for (const QString &line : kLines)
            QVERIFY2(copied.contains(line), qPrintable(copied));

        // Where the reader sees the number: the picture as shown, turned by
        // what is left after the page's own rotation.
        const int shown = ((turn + rotate) % 360 + 360) % 360;
        QRectF printed;
        for (const auto &word : scan.words)
            if (word.text == QLatin1String("4711")) {
                const QRectF px = turnedBox(word.box, scan.image.size(), shown);
                printed = QRectF(px.topLeft() * 72 / 200, px.size() * 72 / 200);
            }
        const auto found = popplerFind(readFile(out), 1, u"4711"_s);
        QCOMPARE(found.size(), 1);
        QVERIFY2(liesOn(found[0], printed),
                 qPrintable(u"found %1, printed %2"_s.arg(text(found[0]), text(printed))));

        const double difference =
            meanDifference(popplerRender(source, 1, 72), popplerRender(written, 1, 72));
        QVERIFY2(difference >= 0 && difference < 0.5, qPrintable(QString::number(difference)));
        QVERIFY(qpdfCheck(out));
    }

    void skipsPagesWithText_data()
    {
        QTest::addColumn<bool>("skip");
        QTest::addColumn<Searchable::Stats>("expected");
        QTest::newRow("skipping") << true << Searchable::Stats{2, 1, 4};
        QTest::newRow("reading every page") << false << Searchable::Stats{3, 0, 6};
    }
    void skipsPagesWithText()
    {
        QFETCH(bool, skip);
        QFETCH(Searchable::Stats, expected);
        // A page with a line of real text between a blank one and one whose
        // only text is a six-character label.
        DocSpec layout = blankPages(3);
        layout.pages[1].text = u"This page already carries real text."_s;
        layout.pages[2].text = u"Page 3"_s;
        auto options = fixedWords({{u"one"_s, QRectF(0.1, 0.1, 0.1, 0.02), 0, true},
                                   {u"two"_s, QRectF(0.22, 0.1, 0.1, 0.02), 0, false}});
        options.skipPagesWithText = skip;
        Searchable::Stats stats;
        const QString out = searchable(u"mixed-%1"_s.arg(skip), makePDF(layout), options, &stats);
        QCOMPARE(stats, expected);
        const QStringList texts = popplerPageTexts(readFile(out));
        QCOMPARE(texts.size(), 3);
        QVERIFY(texts[0].contains(u"one two"_s));
        QCOMPARE(texts[1].contains(u"one two"_s), !skip);
        QVERIFY(texts[1].contains(u"already carries"_s));
        QVERIFY(texts[2].contains(u"one two"_s));
    }

    void failureLeavesLaterPagesWithoutText()
    {
        Searchable::Options options;
        options.workers = 1;
        // The second picture read breaks the engine.
        options.makeRecognizer = [] {
            auto calls = std::make_shared<int>(0);
            return [calls](const QImage &) -> QList<Word> {
                if (++*calls == 2)
                    throw PDFError::failed(u"The engine ran out of memory."_s);
                return {{u"hello"_s, QRectF(0.1, 0.5, 0.2, 0.05), 0, false}};
            };
        };
        QCOMPARE(errorOf([&] { searchable(u"three"_s, makePDF(blankPages(3)), options); }),
                 u"Text recognition failed: The engine ran out of memory."_s);
        const QStringList texts = popplerPageTexts(readFile(path(u"three searchable.pdf"_s)));
        QCOMPARE(texts.size(), 3);
        QVERIFY(texts[0].contains(u"hello"_s));
        QVERIFY(!texts[1].contains(u"hello"_s));
        QVERIFY(!texts[2].contains(u"hello"_s));
    }

    // A cancel leaves no file and no temporary file, and the workers stop:
    // each takes at most the pages it may read ahead of the one written.
    void cancelWritesNothing()
    {
        std::atomic_int read{0};
        Searchable::Options options;
        options.workers = 2;
        options.makeRecognizer = [&read] {
            return [&read](const QImage &) { return ++read, QList<Word>{}; };
        };
        int reported = 0;
        QCOMPARE(errorOf([&] {
                     searchable(
                         u"twelve"_s, makePDF(blankPages(12)), options, nullptr,
                         [&](int done, int) { reported = done; }, [&] { return reported >= 3; });
                 }),
                 u"cancelled"_s);
        QVERIFY(!QFileInfo::exists(path(u"twelve searchable.pdf"_s)));
        QCOMPARE(temporaryFiles(m_dir.path()), QStringList());
        QVERIFY2(read.load() <= 3 + 2 * 3, qPrintable(QString::number(read.load())));
    }

    // A cancel given while tesseract reads a page stops that page halfway:
    // the cancel test is asked from inside the reading (here it says yes the
    // sixth time), and once it said yes the reader asks only a few more
    // times instead of reading the rest of the page's hundreds of words.
    void cancelStopsThePageBeingRead()
    {
        QStringList lines;
        for (int i = 0; i < 44; ++i)
            lines << u"Line %1 of a long letter about the quarterly accounts and their many "
                     "figures"_s.arg(i + 1);
        const auto page = Fixtures::scan(lines, QSizeF(612, 792), 200, 9);
        Searchable::Options options;
        options.workers = 1;
        QThread *caller = QThread::currentThread();
        std::atomic_int asked{0}; // by the reader
        std::atomic_int askedAfterYes{0};
        std::atomic_bool cancelled{false};
        QCOMPARE(errorOf([&] {
                     searchable(u"letter"_s, scanPDF({{page.image}, {page.image}}), options,
                                nullptr, {}, [&] {
                                    if (QThread::currentThread() != caller) {
                                        if (cancelled)
                                            ++askedAfterYes;
                                        if (++asked > 5)
                                            cancelled = true;
                                    }
                                    return cancelled.load();
                                });
                 }),
                 u"cancelled"_s);
        QVERIFY2(askedAfterYes <= 3, qPrintable(QString::number(askedAfterYes)));
        QVERIFY(!QFileInfo::exists(path(u"letter searchable.pdf"_s)));
        QCOMPARE(temporaryFiles(m_dir.path()), QStringList());
    }

    void progressCountsPagesInOrder()
    {
        // Pages of different widths, so a picture tells which page it is.
        DocSpec layout = blankPages(7);
        QList<int> widths;
        for (int i = 0; i < 7; ++i) {
            layout.pages[i].size = QSizeF(300 + 10 * i, 300);
            widths << qRound((300 + 10 * i) * 200.0 / 72);
        }
        // Later pages take less time, so they tend to finish first; their
        // words must still land on their own pages.
        Searchable::Options options;
        options.workers = 3;
        options.makeRecognizer = [] {
            return [](const QImage &image) {
                QThread::msleep(ulong(std::max(0, 1200 - image.width()) / 4));
                return QList<Word>{
                    {u"w%1"_s.arg(image.width()), QRectF(0.1, 0.5, 0.2, 0.05), 0, false}};
            };
        };
        QList<QPair<int, int>> seen;
        Searchable::Stats stats;
        const QString out =
            searchable(u"seven"_s, makePDF(layout), options, &stats, [&](int done, int total) {
                seen.append({done, total});
            });
        QCOMPARE(seen,
                 (QList<QPair<int, int>>{{1, 7}, {2, 7}, {3, 7}, {4, 7}, {5, 7}, {6, 7}, {7, 7}}));
        QCOMPARE(stats, (Searchable::Stats{7, 0, 7}));
        const QStringList texts = popplerPageTexts(readFile(out));
        QCOMPARE(texts.size(), 7);
        for (int i = 0; i < 7; ++i)
            QCOMPARE(texts[i].trimmed(), u"w%1"_s.arg(widths[i]));
    }
};

QTEST_MAIN(TestSearchable)
#include "tst_searchable.moc"
