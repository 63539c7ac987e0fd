#include "Convert.h"
#include "Fixtures.h"
#include "Job.h"
#include "PDFError.h"
#include "PDFOps.h"
#include "Workspace.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QImageReader>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>

#include <unistd.h>

using namespace Fixtures;

namespace {

QStringList hidden(const QString &folder)
{
    return QDir(folder).entryList({QStringLiteral(".*")},
                                  QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot);
}

QStringList visible(const QString &folder)
{
    return QDir(folder).entryList(QDir::Files, QDir::Name);
}

PDFFile pdfAt(const QString &path)
{
    PDFFile file;
    file.id = QUuid::createUuid();
    file.path = path;
    file.kind = PDFFile::Kind::Pdf;
    file.doc = PDFDocument::open(path);
    return file;
}

PageSpec pageWith(const QString &text)
{
    PageSpec page;
    page.text = text;
    return page;
}

QString readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// Runs the work as the screen does: through a Job, on a worker thread.
Job::State runJob(const QString &title, const Work &work, QList<Job::State> *seen = nullptr,
                  int cancelAfterMs = -1)
{
    Job job;
    if (seen)
        QObject::connect(&job, &Job::stateChanged, [&] { seen->append(job.state()); });
    job.run(title, work);
    QElapsedTimer timer;
    timer.start();
    while (job.isRunning() && timer.elapsed() < 120000) {
        if (cancelAfterMs >= 0 && timer.elapsed() >= cancelAfterMs)
            job.cancel();
        QTest::qWait(5);
    }
    return job.state();
}

} // namespace

class TestConvert : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

    QString fixture(const QString &name, const DocSpec &layout, const WriteOptions &options = {})
    {
        return writeFile(m_dir.filePath(name), makePDF(layout, options));
    }

private Q_SLOTS:
    void screenTexts()
    {
        QCOMPARE(Convert::label(Convert::Mode::Images), QStringLiteral("Pictures"));
        QCOMPARE(Convert::label(Convert::Mode::Text), QStringLiteral("Text"));
        QCOMPARE(Convert::kModes.front(), Convert::Mode::Images);
        const auto choices = Convert::resolutions();
        QCOMPARE(choices.size(), 3);
        QCOMPARE(choices[0].label, QStringLiteral("Screen (72 dpi)"));
        QCOMPARE(choices[1].label, QStringLiteral("Good (150 dpi)"));
        QCOMPARE(choices[2].label, QStringLiteral("Print (300 dpi)"));
        QCOMPARE(choices[0].dpi, 72.0);
        QCOMPARE(choices[1].dpi, Convert::kDefaultDpi);
        QCOMPARE(choices[2].dpi, 300.0);
        QCOMPARE(Convert::kQuality, 0.85);
        QCOMPARE(Convert::picturesNote(),
                 QStringLiteral("Every page becomes one picture, saved together in a new folder."));
        QCOMPARE(Convert::textNote(), QStringLiteral("Saves all the text in the PDF as a plain text file."));
        QCOMPARE(Convert::savePicturesTitle(), QStringLiteral("Save Pictures"));
        QCOMPARE(Convert::saveTextTitle(), QStringLiteral("Save Text"));
        QCOMPARE(Convert::formatLabel(), QStringLiteral("Format"));
        QCOMPARE(Convert::qualityLabel(), QStringLiteral("Quality"));
        QCOMPARE(Convert::picturesJobTitle(), QStringLiteral("Saving"));
        QCOMPARE(Convert::textJobTitle(), QStringLiteral("Reading"));
    }

    void pictureNames_data()
    {
        QTest::addColumn<int>("page");
        QTest::addColumn<int>("count");
        QTest::addColumn<PDFOps::ImageFormat>("format");
        QTest::addColumn<QString>("name");
        const auto png = PDFOps::ImageFormat::Png;
        QTest::newRow("9 pages") << 9 << 9 << png << "Report page 9.png";
        QTest::newRow("10 pages, first") << 1 << 10 << png << "Report page 01.png";
        QTest::newRow("10 pages, last") << 10 << 10 << png << "Report page 10.png";
        QTest::newRow("120 pages") << 7 << 120 << png << "Report page 007.png";
        QTest::newRow("JPEG is jpg") << 3 << 3 << PDFOps::ImageFormat::Jpeg << "Report page 3.jpg";
        QTest::newRow("one page") << 1 << 1 << png << "Report page 1.png";
    }
    void pictureNames()
    {
        QFETCH(int, page);
        QFETCH(int, count);
        QFETCH(PDFOps::ImageFormat, format);
        QFETCH(QString, name);
        QCOMPARE(Convert::pictureName(QStringLiteral("Report"), page, count, format), name);
    }

    void savesEveryPage_data()
    {
        QTest::addColumn<PDFOps::ImageFormat>("format");
        QTest::addColumn<double>("dpi");
        QTest::addColumn<QList<int>>("pages");
        QTest::addColumn<QStringList>("names");
        QTest::newRow("png, all") << PDFOps::ImageFormat::Png << 72.0 << QList<int>{}
                                  << QStringList{"Report page 01.png", "Report page 02.png", "Report page 03.png",
                                                 "Report page 04.png", "Report page 05.png", "Report page 06.png",
                                                 "Report page 07.png", "Report page 08.png", "Report page 09.png",
                                                 "Report page 10.png"};
        QTest::newRow("jpeg, some") << PDFOps::ImageFormat::Jpeg << 30.0 << QList<int>{1, 9}
                                    << QStringList{"Report page 02.jpg", "Report page 10.jpg"};
    }
    void savesEveryPage()
    {
        QFETCH(PDFOps::ImageFormat, format);
        QFETCH(double, dpi);
        QFETCH(QList<int>, pages);
        QFETCH(QStringList, names);
        QTemporaryDir dir;
        DocSpec layout = numberedPages(10);
        layout.pages[1].rotate = 90;
        const PDFFile file = pdfAt(writeFile(dir.filePath(QStringLiteral("Report.pdf")), makePDF(layout)));
        const QString folder = Convert::picturesFolder(file);
        QCOMPARE(QFileInfo(folder).fileName(), QStringLiteral("Report pictures"));

        QList<std::pair<int, int>> reports;
        Convert::PictureOptions options;
        options.format = format;
        options.dpi = dpi;
        options.pages = pages;
        const Outcome outcome = Convert::pictures(
            file, folder, options, [&](int done, int total) { reports.append({done, total}); },
            [] { return false; });

        QCOMPARE(outcome.title, QStringLiteral("Saved %1 pictures").arg(names.size()));
        QCOMPARE(outcome.detail, QStringLiteral("In the folder “Report pictures”."));
        QCOMPARE(outcome.urls, QStringList{folder});
        QCOMPARE(visible(folder), names);
        QVERIFY(hidden(folder).isEmpty());
        // Progress counts finished pages in order.
        QCOMPARE(reports.size(), names.size());
        for (qsizetype i = 0; i < reports.size(); ++i)
            QCOMPARE(reports[i], std::make_pair(int(i + 1), int(names.size())));
        for (const QString &name : names) {
            QImageReader reader(QDir(folder).filePath(name));
            const QImage image = reader.read();
            QVERIFY2(!image.isNull(), qPrintable(name));
            const bool turned = name.contains(QLatin1String("page 02"));
            const QSize expected = PDFOps::pixelSize(turned ? QSizeF(792, 612) : QSizeF(612, 792), dpi);
            QCOMPARE(image.size(), expected);
            QVERIFY(qAbs(image.dotsPerMeterX() * 0.0254 - dpi) < 0.5);
        }
        // A second run never reuses the folder.
        QCOMPARE(QFileInfo(Convert::picturesFolder(file)).fileName(), QStringLiteral("Report pictures 2"));
    }

    void onePictureIsSingular()
    {
        QTemporaryDir dir;
        const PDFFile file = pdfAt(writeFile(dir.filePath(QStringLiteral("One.pdf")), textPDF(1)));
        const QString folder = Convert::picturesFolder(file);
        const Outcome outcome = Convert::pictures(file, folder, {}, [](int, int) {}, [] { return false; });
        QCOMPARE(outcome.title, QStringLiteral("Saved 1 picture"));
        QCOMPARE(visible(folder), QStringList{QStringLiteral("One page 1.png")});
    }

    // A picture opened in the workspace is a one-page document in memory.
    void pictureSource()
    {
        QTemporaryDir dir;
        const QString photo = writeFile(dir.filePath(QStringLiteral("photo.jpg")), encode(marker(400, 300), "JPEG"));
        Workspace ws;
        ws.add({photo});
        QCOMPARE(ws.files().size(), 1);
        const PDFFile file = ws.files().first();
        const QString folder = Convert::picturesFolder(file);
        const Outcome outcome = Convert::pictures(file, folder, {}, [](int, int) {}, [] { return false; });
        QCOMPARE(outcome.title, QStringLiteral("Saved 1 picture"));
        const QImage image(QDir(folder).filePath(QStringLiteral("photo page 1.png")));
        QCOMPARE(image.size(), PDFOps::pixelSize(PDFOps::picturePageSize({400, 300}), 150));
        // The marker's red quarter is still at the top left.
        const QColor corner = image.pixelColor(image.width() / 8, image.height() / 8);
        QVERIFY2(corner.red() > 200 && corner.blue() < 80, qPrintable(corner.name()));
    }

    // Cancelled half way: the work stops, and the folder holds only whole
    // pictures under their final names and no temporary file.
    void cancelLeavesOnlyCompletePictures()
    {
        QTemporaryDir dir;
        const PDFFile file = pdfAt(writeFile(dir.filePath(QStringLiteral("Long.pdf")), textPDF(40)));
        const QString folder = Convert::picturesFolder(file);
        std::atomic<int> done{0};
        Convert::PictureOptions options;
        options.dpi = 200;
        try {
            Convert::pictures(
                file, folder, options, [&](int finished, int) { done = finished; },
                [&] { return done >= 3; });
            QFAIL("not cancelled");
        } catch (const PDFError &e) {
            QVERIFY(e.isCancelled());
        }
        const QStringList names = visible(folder);
        QVERIFY2(names.size() >= 3 && names.size() < 40, qPrintable(names.join(u',')));
        QVERIFY(hidden(folder).isEmpty());
        for (const QString &name : names) {
            QImageReader reader(QDir(folder).filePath(name));
            QVERIFY2(!reader.read().isNull(), qPrintable(name));
        }
    }

    void jobStates()
    {
        QTemporaryDir dir;
        const PDFFile file = pdfAt(writeFile(dir.filePath(QStringLiteral("Job.pdf")), textPDF(3)));
        const QString folder = Convert::picturesFolder(file);
        QList<Job::State> seen;
        const auto end = runJob(
            Convert::picturesJobTitle(),
            [=](const Progress &p, const IsCancelled &c) { return Convert::pictures(file, folder, {}, p, c); },
            &seen);
        QCOMPARE(end, Job::State(Job::Done{{QStringLiteral("Saved 3 pictures"),
                                            QStringLiteral("In the folder “Job pictures”."), {folder}}}));
        QVERIFY(!seen.isEmpty());
        QCOMPARE(seen.first(), Job::State(Job::Running{0, 0, QStringLiteral("Saving")}));
        for (const auto &state : seen)
            if (const auto *running = std::get_if<Job::Running>(&state))
                QCOMPARE(running->label, QStringLiteral("Saving"));

        // Cancel through the job: back to idle, whatever was saved stays whole.
        const PDFFile longer = pdfAt(writeFile(dir.filePath(QStringLiteral("Longer.pdf")), textPDF(60)));
        const QString second = Convert::picturesFolder(longer);
        Convert::PictureOptions options;
        options.dpi = 300;
        const auto cancelled = runJob(
            Convert::picturesJobTitle(),
            [=](const Progress &p, const IsCancelled &c) { return Convert::pictures(longer, second, options, p, c); },
            nullptr, 300);
        QCOMPARE(cancelled, Job::State(Job::Idle{}));
        QVERIFY(visible(second).size() < 60);
        QVERIFY(hidden(second).isEmpty());
    }

    void failures_data()
    {
        QTest::addColumn<QString>("situation");
        QTest::addColumn<QString>("message");
        QTest::newRow("deleted") << "deleted" << QStringLiteral("“gone.pdf” couldn't be read as a PDF.");
        QTest::newRow("locked") << "locked" << QStringLiteral("This PDF is locked. Enter its password first.");
        QTest::newRow("restricted") << "restricted" << PDFError::restricted().description();
    }
    void failures()
    {
        QFETCH(QString, situation);
        QFETCH(QString, message);
        QTemporaryDir dir;
        WriteOptions options;
        options.encrypt = true;
        options.ownerPassword = QStringLiteral("boss");
        PDFFile file;
        if (situation == QLatin1String("deleted")) {
            file = pdfAt(writeFile(dir.filePath(QStringLiteral("gone.pdf")), textPDF(1)));
            QFile::remove(file.path);
        } else if (situation == QLatin1String("locked")) {
            options.userPassword = QStringLiteral("secret");
            file = pdfAt(writeFile(dir.filePath(QStringLiteral("locked.pdf")), makePDF(numberedPages(1), options)));
        } else {
            options.allowCopying = false;
            file = pdfAt(writeFile(dir.filePath(QStringLiteral("limited.pdf")), makePDF(numberedPages(1), options)));
        }
        const QString folder = dir.filePath(QStringLiteral("out"));
        QVERIFY(QDir().mkdir(folder));
        const auto pictures = runJob(Convert::picturesJobTitle(), [=](const Progress &p, const IsCancelled &c) {
            return Convert::pictures(file, folder, {}, p, c);
        });
        QCOMPARE(pictures, Job::State(Job::Failed{message}));
        const QString destination = dir.filePath(QStringLiteral("out.txt"));
        const auto text = runJob(Convert::textJobTitle(), [=](const Progress &p, const IsCancelled &c) {
            return Convert::text(file, destination, p, c);
        });
        QCOMPARE(text, Job::State(Job::Failed{message}));
        QVERIFY(!QFile::exists(destination));
        QVERIFY(QDir(folder).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
    }

    void pagesThatCannotBeDrawn()
    {
        QTemporaryDir dir;
        const PDFFile file = pdfAt(writeFile(dir.filePath(QStringLiteral("Big.pdf")), textPDF(2)));
        const QString folder = Convert::picturesFolder(file);
        Convert::PictureOptions options;
        options.dpi = 1e7; // a bitmap far too big to make
        try {
            Convert::pictures(file, folder, options, [](int, int) {}, [] { return false; });
            QFAIL("drawn");
        } catch (const PDFError &e) {
            QCOMPARE(e.description(), QStringLiteral("Couldn't draw page 1."));
        }
        QVERIFY(QDir(folder).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
    }

    void textInPageOrder()
    {
        QTemporaryDir dir;
        DocSpec layout = numberedPages(3, QStringLiteral("Chapter"));
        layout.pages[1].rotate = 270;
        layout.pages.insert(2, pageWith({})); // an empty page keeps its place
        const PDFFile file = pdfAt(writeFile(dir.filePath(QStringLiteral("Report.pdf")), makePDF(layout)));
        const QString destination = Convert::textDestination(file);
        QCOMPARE(destination, dir.filePath(QStringLiteral("Report.txt")));
        QList<int> done;
        const Outcome outcome = Convert::text(file, destination, [&](int d, int) { done.append(d); },
                                              [] { return false; });
        QCOMPARE(outcome.title, QStringLiteral("Saved “Report.txt”"));
        QCOMPARE(outcome.detail, QStringLiteral("6 words."));
        QCOMPARE(outcome.urls, QStringList{destination});
        QCOMPARE(readAll(destination), QStringLiteral("Chapter 1\n\fChapter 2\n\f\n\fChapter 3"));
        QCOMPARE(done, (QList<int>{1, 2, 3, 4}));
        QVERIFY(hidden(dir.path()).isEmpty());

        // Again: a new name, the first file untouched.
        const QString second = Convert::textDestination(file);
        QCOMPARE(second, dir.filePath(QStringLiteral("Report 2.txt")));
        QCOMPARE(Convert::text(file, second, [](int, int) {}, [] { return false; }).title,
                 QStringLiteral("Saved “Report 2.txt”"));
        // A name taken after it was chosen is not overwritten either (and, as
        // everywhere, a number in a name is not parsed).
        writeFile(dir.filePath(QStringLiteral("Report 3.txt")), "mine");
        const Outcome third = Convert::text(file, dir.filePath(QStringLiteral("Report 3.txt")),
                                            [](int, int) {}, [] { return false; });
        QCOMPARE(third.title, QStringLiteral("Saved “Report 3 2.txt”"));
        QCOMPARE(readAll(dir.filePath(QStringLiteral("Report 3.txt"))), QStringLiteral("mine"));
    }

    void chosenTextDestinations()
    {
        QTemporaryDir dir;
        const PDFFile file = pdfAt(writeFile(dir.filePath(QStringLiteral("a.pdf")), textPDF(1)));
        QCOMPARE(Convert::textDestination(file, dir.path()), dir.filePath(QStringLiteral("a.txt")));
        QCOMPARE(Convert::textDestination(file, dir.filePath(QStringLiteral("notes.md"))),
                 dir.filePath(QStringLiteral("notes.md")));
        writeFile(dir.filePath(QStringLiteral("notes.md")), "x");
        QCOMPARE(Convert::textDestination(file, dir.filePath(QStringLiteral("notes.md"))),
                 dir.filePath(QStringLiteral("notes 2.md")));
    }

    void tooLittleText_data()
    {
        QTest::addColumn<QStringList>("pages");
        QTest::newRow("blank pages") << QStringList{QString(), QString()};
        QTest::newRow("three characters") << QStringList{QStringLiteral("  abc ")};
    }
    void tooLittleText()
    {
        QFETCH(QStringList, pages);
        QTemporaryDir dir;
        DocSpec layout;
        for (const QString &text : pages)
            layout.pages.append(pageWith(text));
        const PDFFile file = pdfAt(writeFile(dir.filePath(QStringLiteral("Scan.pdf")), makePDF(layout)));
        const QString destination = Convert::textDestination(file);
        const auto state = runJob(Convert::textJobTitle(), [=](const Progress &p, const IsCancelled &c) {
            return Convert::text(file, destination, p, c);
        });
        QCOMPARE(state, Job::State(Job::Failed{QStringLiteral(
                            "There's no text in this PDF — it's probably a scan. Use Make Searchable "
                            "first, then try again.")}));
        QVERIFY(!QFile::exists(destination));
        QVERIFY(hidden(dir.path()).isEmpty());
    }

    void fourCharactersAreEnough()
    {
        QTemporaryDir dir;
        DocSpec layout;
        layout.pages = {pageWith(QStringLiteral("ab")), pageWith(QStringLiteral("c"))};
        const PDFFile file = pdfAt(writeFile(dir.filePath(QStringLiteral("Tiny.pdf")), makePDF(layout)));
        const Outcome outcome = Convert::text(file, Convert::textDestination(file), [](int, int) {},
                                              [] { return false; });
        QCOMPARE(outcome.detail, QStringLiteral("2 words."));
        QCOMPARE(readAll(dir.filePath(QStringLiteral("Tiny.txt"))), QStringLiteral("ab\n\fc"));
    }

    void unwritableFolder()
    {
        QTemporaryDir dir;
        const QString inner = dir.filePath(QStringLiteral("shut"));
        QVERIFY(QDir().mkdir(inner));
        const PDFFile file = pdfAt(writeFile(inner + QStringLiteral("/a.pdf"), textPDF(1)));
        QFile::setPermissions(inner, QFileDevice::ReadOwner | QFileDevice::ExeOwner);
        const bool stillWritable = QFileInfo(inner).isWritable() && ::access(QFile::encodeName(inner), W_OK) == 0;
        if (stillWritable) {
            QFile::setPermissions(inner, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
            QSKIP("running with rights that write anywhere");
        }
        try {
            Convert::textDestination(file);
            QFAIL("no error");
        } catch (const PDFError &e) {
            QCOMPARE(e.description(), QStringLiteral("Quirebook can't write next to this file. Copy it to your "
                                                     "Desktop or Documents first."));
        }
        try {
            Convert::picturesFolder(file);
            QFAIL("no error");
        } catch (const PDFError &e) {
            QCOMPARE(e.description(), QStringLiteral("Quirebook can't write next to “a.pdf”. Copy the file to "
                                                     "your Desktop or Documents first."));
        }
        QFile::setPermissions(inner, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    }

    // Right-to-left and CJK text from a real file comes out in reading order.
    void corpusScripts_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("multilingual")
            << "text-multilingual.pdf"
            << QStringList{QStringLiteral("English:\nHello World"), QStringLiteral("مرحبا بالعالم"),
                           QStringLiteral("Привет, мир"), QStringLiteral("你好世界"),
                           QStringLiteral("สวัสดีชาวโลก"), QStringLiteral("こんにちは世界")};
        QTest::newRow("rotated pages") << "rotated-arabic-4pages.pdf" << QStringList{QStringLiteral("habibi")};
        QTest::newRow("pdfTeX") << "plain-pdflatex-4pages.pdf" << QStringList{};
    }
    void corpusScripts()
    {
        QFETCH(QString, name);
        QFETCH(QStringList, expected);
        if (corpusDir().isEmpty())
            QSKIP("QUIREBOOK_CORPUS is not set");
        QTemporaryDir dir;
        const QString copy = dir.filePath(name);
        QVERIFY(QFile::copy(corpusDir() + u'/' + name, copy));
        const PDFFile file = pdfAt(copy);
        const Outcome outcome =
            Convert::text(file, Convert::textDestination(file), [](int, int) {}, [] { return false; });
        const QString text = readAll(outcome.urls.value(0));
        QVERIFY(!text.isEmpty());
        QVERIFY(!text.front().isSpace() && !text.back().isSpace());
        QCOMPARE(text.count(u'\f'), file.pageCount() - 1);
        for (const QString &part : expected)
            QVERIFY2(text.contains(part), qPrintable(part));
        const auto words = text.split(QRegularExpression(QStringLiteral("\\s+")), Qt::SkipEmptyParts);
        QCOMPARE(outcome.detail, QStringLiteral("%1 words.").arg(words.size()));
    }
};

QTEST_GUILESS_MAIN(TestConvert)
#include "tst_convert.moc"
