#include "engine/PDFError.h"
#include "engine/PDFOps.h"
#include "support/Attempt.h"
#include "support/Fixtures.h"
#include "support/PictureFixtures.h"
#include "support/TaskFixtures.h"
#include "tasks/Convert.h"

#include <QDir>
#include <QFile>
#include <QImageReader>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <limits>

using namespace Qt::StringLiterals;

using namespace Fixtures;
using namespace Attempt;

namespace {

QStringList visible(const QString &folder)
{
    return QDir(folder).entryList(QDir::Files, QDir::Name);
}

QString textOf(const QString &path)
{
    return QString::fromUtf8(readFile(path));
}

const Convert::Request kText = [] {
    Convert::Request request;
    request.mode = Convert::Mode::Text;
    return request;
}();

} // namespace

class TestConvert : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // What a request refuses before any work.
    void requests_data()
    {
        QTest::addColumn<double>("dpi");
        QTest::addColumn<double>("quality");
        QTest::addColumn<QString>("refusal");
        const QString resolution = u"The resolution must be a number from 1 to 2400."_s;
        const QString quality = u"The quality must be a whole number from 0 to 100."_s;
        const double nan = std::numeric_limits<double>::quiet_NaN();
        QTest::newRow("lowest") << 1.0 << 0.0 << QString();
        QTest::newRow("highest") << 2400.0 << 1.0 << QString();
        QTest::newRow("too coarse") << 0.5 << 0.85 << resolution;
        QTest::newRow("too fine") << 2401.0 << 0.85 << resolution;
        QTest::newRow("not a resolution") << nan << 0.85 << resolution;
        QTest::newRow("too good") << 150.0 << 1.01 << quality;
        QTest::newRow("not a quality") << 150.0 << nan << quality;
    }
    void requests()
    {
        QFETCH(double, dpi);
        QFETCH(double, quality);
        Convert::Request request;
        request.dpi = dpi;
        request.quality = quality;
        QTEST(request.validate().value_or(QString()), "refusal");
    }

    void pictureNames_data()
    {
        QTest::addColumn<int>("page");
        QTest::addColumn<int>("count");
        QTest::addColumn<PDFOps::ImageFormat>("format");
        QTest::addColumn<QString>("name");
        const auto png = PDFOps::ImageFormat::Png;
        QTest::newRow("9 pages") << 9 << 9 << png << "Report page 9.png";
        QTest::newRow("120 pages") << 7 << 120 << png << "Report page 007.png";
    }
    void pictureNames()
    {
        QFETCH(int, page);
        QFETCH(int, count);
        QFETCH(PDFOps::ImageFormat, format);
        QTEST(Convert::pictureName(u"Report"_s, page, count, format), "name");
    }

    void savesPictures_data()
    {
        QTest::addColumn<PDFOps::ImageFormat>("format");
        QTest::addColumn<double>("dpi");
        QTest::addColumn<QList<int>>("pages");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QStringList>("names");
        QStringList all;
        for (int i = 1; i <= 10; ++i)
            all << u"Report page %1.png"_s.arg(i, 2, 10, QLatin1Char('0'));
        QTest::newRow("png, all") << PDFOps::ImageFormat::Png << 72.0 << QList<int>{}
                                  << "Saved 10 pictures" << all;
        QTest::newRow("jpeg, some")
            << PDFOps::ImageFormat::Jpeg << 30.0 << QList<int>{1, 9} << "Saved 2 pictures"
            << QStringList{"Report page 02.jpg", "Report page 10.jpg"};
        QTest::newRow("one") << PDFOps::ImageFormat::Png << 20.0 << QList<int>{4}
                             << "Saved 1 picture" << QStringList{"Report page 05.png"};
    }
    void savesPictures()
    {
        QFETCH(PDFOps::ImageFormat, format);
        QFETCH(double, dpi);
        QFETCH(QList<int>, pages);
        QFETCH(QStringList, names);
        QTemporaryDir dir;
        DocSpec layout = numberedPages(10);
        layout.pages[1].rotate = 90;
        const PDFFile file = opened(writeFile(dir.filePath(u"Report.pdf"_s), makePDF(layout)));
        const QString folder = Convert::destination(file, {});
        QCOMPARE(QFileInfo(folder).fileName(), u"Report pictures"_s);
        QList<std::pair<int, int>> reports;
        Convert::Request options;
        options.format = format;
        options.dpi = dpi;
        options.pages = pages;
        const Outcome outcome = Convert::pictures(
            file, folder, options,
            [&](int done, int total) {
                reports.append({done, total});
            },
            never);
        QFETCH(QString, title);
        QCOMPARE(outcome, (Outcome{title, u"In the folder “Report pictures”."_s, {folder}}));
        QCOMPARE(visible(folder), names);
        QVERIFY(temporaryFiles(folder).isEmpty());
        // Progress counts finished pages in order.
        QCOMPARE(reports.size(), names.size());
        for (qsizetype i = 0; i < reports.size(); ++i)
            QCOMPARE(reports[i], std::make_pair(int(i + 1), int(names.size())));
        for (const QString &name : names) {
            const QImage image = QImageReader(QDir(folder).filePath(name)).read();
            const bool turned = name.contains(QLatin1String("page 02"));
            QCOMPARE(image.size(),
                     PDFOps::pixelSize(turned ? QSizeF(792, 612) : QSizeF(612, 792), dpi));
        }
    }

    // A picture is a one-page document in memory, drawn at 150 dpi unless asked.
    void pictureSource()
    {
        QTemporaryDir dir;
        const PDFFile file =
            opened(writeFile(dir.filePath(u"photo.jpg"_s), encode(marker(400, 300), "JPEG")));
        const QString folder = Convert::destination(file, {});
        QCOMPARE(Convert::pictures(file, folder, {}, noProgress, never).title,
                 u"Saved 1 picture"_s);
        const QImage image(QDir(folder).filePath(u"photo page 1.png"_s));
        QCOMPARE(image.size(), PDFOps::pixelSize(PDFOps::picturePageSize({400, 300}), 150));
    }

    // Cancelled half way: the folder holds only whole pictures under their
    // final names and no temporary file.
    void cancelLeavesOnlyCompletePictures()
    {
        QTemporaryDir dir;
        const PDFFile file = opened(writeFile(dir.filePath(u"Long.pdf"_s), textPDF(40)));
        const QString folder = Convert::destination(file, {});
        std::atomic<int> done{0};
        Convert::Request options;
        options.dpi = 200;
        QCOMPARE(errorOf([&] {
                     Convert::pictures(
                         file, folder, options, [&](int finished, int) { done = finished; },
                         [&] { return done >= 3; });
                 }),
                 u"cancelled"_s);
        const QStringList names = visible(folder);
        QVERIFY2(names.size() >= 3 && names.size() < 40, qPrintable(names.join(u',')));
        QVERIFY(temporaryFiles(folder).isEmpty());
        for (const QString &name : names)
            QVERIFY2(!QImageReader(QDir(folder).filePath(name)).read().isNull(), qPrintable(name));
    }

    void failures_data()
    {
        QTest::addColumn<QString>("situation");
        QTest::addColumn<QString>("message");
        QTest::newRow("deleted") << "deleted" << u"“a.pdf” couldn't be read as a PDF."_s;
        QTest::newRow("restricted") << "restricted" << PDFError::restricted().description();
        QTest::newRow("too big to draw") << "huge" << u"Couldn't draw page 1. Nothing was saved."_s;
    }
    void failures()
    {
        QFETCH(QString, situation);
        QFETCH(QString, message);
        QTemporaryDir dir;
        const PDFFile file = opened(writeFile(
            dir.filePath(u"a.pdf"_s), situation == "restricted"
                                          ? makePDF(numberedPages(2), lock({}, u"boss"_s, true))
                                          : textPDF(2)));
        if (situation == "deleted")
            QFile::remove(file.path);
        const QString folder = dir.filePath(u"out"_s);
        Convert::Request request;
        request.dpi = situation == "huge" ? 1e7 : 150; // a bitmap far too big to make
        QVERIFY(QDir().mkdir(folder));
        QCOMPARE(errorOf([&] { Convert::pictures(file, folder, request, noProgress, never); }),
                 message);
        QVERIFY(!QFileInfo::exists(folder) ||
                QDir(folder).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
        if (situation == "huge") {
            QVERIFY(!QFileInfo::exists(folder)); // an empty folder is of no use
            return;
        }
        const QString destination = dir.filePath(u"out.txt"_s);
        QCOMPARE(errorOf([&] { Convert::text(file, destination, noProgress, never); }), message);
        QVERIFY(!QFile::exists(destination));
    }

    void textInPageOrder()
    {
        QTemporaryDir dir;
        DocSpec layout = numberedPages(3, u"Chapter"_s);
        layout.pages[1].rotate = 270;
        layout.pages.insert(2, PageSpec{}); // an empty page keeps its place
        const PDFFile file = opened(writeFile(dir.filePath(u"Report.pdf"_s), makePDF(layout)));
        const QString destination = Convert::destination(file, kText);
        QCOMPARE(destination, dir.filePath(u"Report.txt"_s));
        QList<int> done;
        QCOMPARE(Convert::text(
                     file, destination, [&](int d, int) { done.append(d); }, never),
                 (Outcome{u"Saved “Report.txt”"_s, u"6 words."_s, {destination}}));
        QCOMPARE(textOf(destination), u"Chapter 1\n\fChapter 2\n\f\n\fChapter 3"_s);
        QCOMPARE(done, (QList<int>{1, 2, 3, 4}));
        QVERIFY(temporaryFiles(dir.path()).isEmpty());
        // A name taken after it was chosen is not overwritten.
        QCOMPARE(Convert::text(file, destination, noProgress, never).title,
                 u"Saved “Report 2.txt”"_s);
        QCOMPARE(textOf(destination), u"Chapter 1\n\fChapter 2\n\f\n\fChapter 3"_s);
    }

    // A text file needs four characters; fewer means a scan, and no file.
    void tooLittleText_data()
    {
        QTest::addColumn<QStringList>("pages");
        QTest::addColumn<QString>("written"); // empty: refused
        QTest::newRow("blank pages") << QStringList{QString(), QString()} << QString();
        QTest::newRow("three characters") << QStringList{u"  abc "_s} << QString();
        QTest::newRow("four over two pages") << QStringList{"ab", "c"} << u"ab\n\fc"_s;
    }
    void tooLittleText()
    {
        QFETCH(QStringList, pages);
        QFETCH(QString, written);
        QTemporaryDir dir;
        DocSpec layout = numberedPages(int(pages.size()));
        for (qsizetype i = 0; i < pages.size(); ++i)
            layout.pages[i].text = pages[i];
        const PDFFile file = opened(writeFile(dir.filePath(u"Scan.pdf"_s), makePDF(layout)));
        const QString destination = Convert::destination(file, kText);
        const QString error = errorOf([&] { Convert::text(file, destination, noProgress, never); });
        QVERIFY(temporaryFiles(dir.path()).isEmpty());
        QCOMPARE(error, written.isEmpty() ? u"There's no text in this PDF — it's probably a "
                                            "scan. Use Make Searchable first, then try again."_s
                                          : u"no error"_s);
        if (written.isEmpty())
            QVERIFY(!QFile::exists(destination));
        else
            QCOMPARE(textOf(destination), written);
    }

    // Right-to-left and CJK text from a real file comes out in reading order.
    void corpusScripts_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("multilingual")
            << "text-multilingual.pdf" << QStringList{u"English:\nHello World"_s,
                                                      u"مرحبا بالعالم"_s,
                                                      u"Привет, мир"_s,
                                                      u"你好世界"_s,
                                                      u"สวัสดีชาวโลก"_s,
                                                      u"こんにちは世界"_s};
        QTest::newRow("rotated pages") << "rotated-arabic-4pages.pdf" << QStringList{u"habibi"_s};
        QTest::newRow("pdfTeX") << "plain-pdflatex-4pages.pdf" << QStringList{};
    }
    void corpusScripts()
    {
        QFETCH(QString, name);
        QFETCH(QStringList, expected);
        if (corpusDir().isEmpty())
            QSKIP("QUIREBOOK_CORPUS is not set");
        QTemporaryDir dir;
        const PDFFile file =
            opened(writeFile(dir.filePath(name), readFile(corpusDir() + u'/' + name)));
        const Outcome outcome =
            Convert::text(file, Convert::destination(file, kText), noProgress, never);
        const QString text = textOf(outcome.urls.value(0));
        QVERIFY(!text.isEmpty());
        QVERIFY(!text.front().isSpace() && !text.back().isSpace());
        QCOMPARE(text.count(u'\f'), file.pageCount() - 1);
        for (const QString &part : expected)
            QVERIFY2(text.contains(part), qPrintable(part));
        const auto words = text.split(QRegularExpression(u"\\s+"_s), Qt::SkipEmptyParts);
        QCOMPARE(outcome.detail, u"%1 words."_s.arg(words.size()));
    }
};

QTEST_GUILESS_MAIN(TestConvert)
#include "tst_convert.moc"
