#include "support/Fixtures.h"
#include "support/FolderWatch.h"
#include "support/PictureFixtures.h"
#include "support/ProtectChecks.h"
#include "support/QpdfBytes.h"
#include "support/ScanFixtures.h"
#include "support/SmallDisk.h"

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>

#include <QDir>
#include <QImageReader>
#include <QMap>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <memory>

using namespace Fixtures;

namespace {

// What a full disk has left: a few tmpfs pages, far less than any result
// below needs, yet room for a few one-page split parts.
constexpr qint64 kFree = 32 * 1024;

// Pages each drawing their own copy of one photo. Its sensor noise keeps
// every re-encoding of a page at tens of kilobytes; copies cost nothing to make.
QByteArray photoPages(int pages, QSize pixels = QSize(800, 1040))
{
    const std::string jpeg = encode(naturalPhoto(pixels, 7), "JPEG", 92).toStdString();
    const std::string size =
        "/Width " + std::to_string(pixels.width()) + " /Height " + std::to_string(pixels.height());
    QPDF q;
    q.emptyPDF();
    for (int i = 0; i < pages; ++i) {
        auto image = QPDFObjectHandle::newStream(&q);
        image.replaceDict(
            QPDFObjectHandle::parse("<< /Type /XObject /Subtype /Image " + size +
                                    " /BitsPerComponent 8 /ColorSpace /DeviceRGB >>"));
        image.replaceStreamData(jpeg, QPDFObjectHandle::newName("/DCTDecode"),
                                QPDFObjectHandle::newNull());
        auto page = QPDFObjectHandle::parse(
            "<< /Type /Page /MediaBox [0 0 612 792] /Resources << /XObject << >> >> >>");
        page.getKey("/Resources").getKey("/XObject").replaceKey("/P", image);
        page.replaceKey("/Contents",
                        QPDFObjectHandle::newStream(&q, "q 612 0 0 792 0 0 cm /P Do Q\n"));
        QPDFPageDocumentHelper(q).addPage(QPDFPageObjectHelper(q.makeIndirectObject(page)), false);
    }
    return bytesOf(q);
}

// Pages of 60 lines of text each, about 5 KB of it per page.
QByteArray wordyPages(int pages)
{
    QPDF q;
    q.emptyPDF();
    const auto font = q.makeIndirectObject(QPDFObjectHandle::parse(
        "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /Encoding /WinAnsiEncoding >>"));
    for (int i = 1; i <= pages; ++i) {
        std::string content = "BT /F1 9 Tf 11 TL 40 760 Td\n";
        for (int line = 1; line <= 60; ++line)
            content +=
                "(Page " + std::to_string(i) + ", line " + std::to_string(line) +
                ": every word of this line has to reach the text file in one piece.) Tj T*\n";
        content += "ET\n";
        auto page = QPDFObjectHandle::parse(
            "<< /Type /Page /MediaBox [0 0 612 792] /Resources << /Font << >> >> >>");
        page.getKey("/Resources").getKey("/Font").replaceKey("/F1", font);
        page.replaceKey("/Contents", QPDFObjectHandle::newStream(&q, content));
        QPDFPageDocumentHelper(q).addPage(QPDFPageObjectHelper(q.makeIndirectObject(page)), false);
    }
    return bytesOf(q);
}

QByteArray locked(const QByteArray &pdf, const QString &password)
{
    QPDF q;
    q.processMemoryFile("locked", pdf.constData(), size_t(pdf.size()));
    WriteOptions options;
    options.encrypt = true;
    options.userPassword = options.ownerPassword = password;
    return bytesOf(q, options);
}

QByteArray scans(int pages)
{
    QList<ScanPage> scanned;
    for (int i = 1; i <= pages; ++i)
        scanned.append({scan({QStringLiteral("Scanned page %1 of the report").arg(i),
                              QStringLiteral("with a second line of words")})
                            .image});
    // A photographed page keeps the result far above the free space.
    scanned.append({naturalPhoto(QSize(1200, 800), 3)});
    return scanPDF(scanned);
}

// One run of a verb: its sources (written into one folder) and what it makes there.
struct Job {
    QString verb;
    QStringList options;
    QList<QPair<QString, QByteArray>> sources;
    QString output; // -o, a name in the sources' folder
    QMap<QString, QString> env;
    QString result;       // the file made, or the folder of pieces
    QStringList pieces;   // in that folder, in order
    bool someFit = false; // some pieces fit on the full disk
    int pages = 0;        // of the result, or of each piece
    QString password;     // opens the result
    QSize picture;        // of each picture

    QStringList arguments(const QString &dir) const
    {
        QStringList all = QStringList{verb} + options;
        if (!output.isEmpty())
            all << QStringLiteral("-o") << dir + u'/' + output;
        for (const auto &[name, bytes] : sources)
            all << dir + u'/' + name;
        return all;
    }
    qint64 bytes() const
    {
        qint64 sum = 0;
        for (const auto &source : sources)
            sum += source.second.size();
        return sum;
    }
};

QStringList numbered(const QString &pattern, int count, int width = 0)
{
    QStringList names;
    for (int i = 1; i <= count; ++i)
        names << pattern.arg(i, width, 10, QLatin1Char('0'));
    return names;
}

// `big`: a few hundred pages, long enough at work to be caught in the act.
Job makeJob(const QString &verb, bool big)
{
    Job job;
    job.verb = verb;
    const int photos = big ? 200 : 3;
    const auto photoDoc = [big](int pages) {
        return big ? photoPages(pages, QSize(400, 520)) : photoPages(pages);
    };
    static const QMap<QString, QString> suffixes{{"compress", "compressed"},
                                                 {"protect", "protected"},
                                                 {"unlock", "unlocked"},
                                                 {"pages", "edited"},
                                                 {"sign", "signed"}};
    if (suffixes.contains(verb)) {
        job.sources = {{QStringLiteral("Trip.pdf"), photoDoc(photos)}};
        job.pages = photos;
        job.result = QStringLiteral("Trip ") + suffixes[verb] + QStringLiteral(".pdf");
        if (verb == QLatin1String("pages"))
            job.options = {QStringLiteral("--rotate"), QStringLiteral("90:1-")};
        else if (verb == QLatin1String("sign"))
            job.options = {QStringLiteral("--text"), QStringLiteral("Seen"),
                           QStringLiteral("--page"), QStringLiteral("1-")};
        if (verb == QLatin1String("protect")) {
            job.env[QStringLiteral("QUIREBOOK_NEW_PASSWORD")] = job.password =
                QStringLiteral("sesame");
        } else if (verb == QLatin1String("unlock")) {
            job.sources[0].second = locked(job.sources[0].second, QStringLiteral("sesame"));
            job.env[QStringLiteral("QUIREBOOK_PASSWORD")] = QStringLiteral("sesame");
        }
    } else if (verb == QLatin1String("merge")) {
        job.sources = {{QStringLiteral("A.pdf"), photoDoc(photos)},
                       {QStringLiteral("B.pdf"), photoDoc(photos)}};
        job.output = job.result = QStringLiteral("All.pdf");
        job.pages = 2 * photos;
    } else if (verb == QLatin1String("text")) {
        job.pages = big ? 300 : 40;
        job.sources = {{QStringLiteral("Notes.pdf"), wordyPages(job.pages)}};
        job.result = QStringLiteral("Notes.txt");
    } else if (verb == QLatin1String("searchable")) {
        job.pages = big ? 5 : 2;
        job.sources = {{QStringLiteral("Scan.pdf"), scans(job.pages - 1)}};
        job.result = QStringLiteral("Scan searchable.pdf");
    } else if (verb == QLatin1String("split")) {
        job.result = QStringLiteral("Doc split");
        if (big) {
            // Parts of 100 photo pages take a while to write, so the kill
            // lands while one is being written.
            job.sources = {{QStringLiteral("Doc.pdf"), photoDoc(300)}};
            job.options = {QStringLiteral("--every"), QStringLiteral("100")};
            job.pages = 100;
            job.pieces = QStringList{"Doc pages 1-100.pdf", "Doc pages 101-200.pdf",
                                     "Doc pages 201-300.pdf"};
        } else {
            job.sources = {{QStringLiteral("Doc.pdf"), textPDF(40)}};
            job.options = {QStringLiteral("--each")};
            job.pages = 1;
            job.pieces = numbered(QStringLiteral("Doc page %1.pdf"), 40);
            job.someFit = true;
        }
    } else if (verb == QLatin1String("pictures")) {
        job.result = QStringLiteral("Doc pictures");
        job.picture = QSize(1275, 1650); // US Letter at 150 dpi
        if (big) {
            job.sources = {{QStringLiteral("Doc.pdf"), textPDF(200)}};
            job.options = {QStringLiteral("--dpi"), QStringLiteral("72")};
            job.picture = QSize(612, 792);
            job.pieces = numbered(QStringLiteral("Doc page %1.png"), 200, 3);
        } else {
            job.sources = {{QStringLiteral("Doc.pdf"), photoPages(photos)}};
            job.pieces = numbered(QStringLiteral("Doc page %1.png"), photos);
        }
    }
    return job;
}

const QStringList kVerbs{"compress", "split", "merge",      "protect", "unlock",
                         "pictures", "text",  "searchable", "pages",   "sign"};

void writeSources(const Job &job, const QString &dir)
{
    for (const auto &[name, bytes] : job.sources)
        writeFile(dir + u'/' + name, bytes);
}

// Why a result isn't whole, read by other programs than ours; empty when it is.
QString flaw(const QString &path, const Job &job)
{
    if (path.endsWith(QLatin1String(".pdf"))) {
        if (ProtectChecks::qpdfCheck(path, job.password) != 0)
            return QStringLiteral("qpdf --check fails");
        const int pages = popplerPageCount(path, job.password);
        if (pages != job.pages)
            return QStringLiteral("poppler counts %1 pages, not %2").arg(pages).arg(job.pages);
    } else if (path.endsWith(QLatin1String(".png"))) {
        QImageReader reader(path);
        const QImage image = reader.read();
        if (image.size() != job.picture)
            return QStringLiteral("the picture doesn't load whole: ") + reader.errorString();
    } else {
        // Pages are separated by form feeds, so a cut text has too few.
        const QByteArray text = readFile(path);
        if (text.count('\f') != job.pages - 1 || !text.endsWith("in one piece."))
            return QStringLiteral("the text is incomplete");
    }
    return {};
}

// The names of the finished files in a folder: no hidden ones, no sources.
QStringList madeIn(const QString &folder, const Job &job)
{
    QStringList names =
        QDir(folder).entryList(QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    for (const auto &source : job.sources)
        names.removeAll(source.first);
    names.removeAll(QStringLiteral("filler"));
    return names;
}

// Starts the job's verb on its sources in `dir` and waits until it is
// writing a temporary file: the folder that file is in, or empty when the
// run ended first.
QString startAndCatch(const Job &job, const QString &dir, QProcess &process, FolderWatch &watch)
{
    writeSources(job, dir);
    if (!watch.watch(dir))
        return {};
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("QUIREBOOK_PASSWORD"));
    for (auto it = job.env.begin(); it != job.env.end(); ++it)
        environment.insert(it.key(), it.value());
    process.setProcessEnvironment(environment);
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(qEnvironmentVariable("QUIREBOOK_CLI"), job.arguments(dir));
    if (!process.waitForStarted() || !watch.attach(process.processId()))
        return {};
    // Folder tools write into a new folder: wait for it, then for a
    // temporary file in it.
    QString destination = dir;
    if (!job.pieces.isEmpty()) {
        const QString folder = watch.awaitEntry(dir, job.result);
        if (folder.isEmpty())
            return {};
        destination = dir + u'/' + folder;
    }
    return watch.awaitEntry(destination, QStringLiteral(".quirebook-")).isEmpty() ? QString()
                                                                                  : destination;
}

// Every finished file in `folder` is one the job makes, and whole.
void checkWhole(const QString &folder, const Job &job)
{
    for (const QString &name : madeIn(folder, job)) {
        QVERIFY2(job.pieces.isEmpty() ? name == job.result : job.pieces.contains(name),
                 qPrintable(name));
        const QString why = flaw(folder + u'/' + name, job);
        QVERIFY2(why.isEmpty(), qPrintable(name + QStringLiteral(": ") + why));
    }
}

} // namespace

class TestSafeWrites : public QObject {
    Q_OBJECT
    std::unique_ptr<SmallDisk> m_disk;

    static void addVerbs()
    {
        QTest::addColumn<QString>("verb");
        for (const QString &verb : kVerbs)
            QTest::newRow(qPrintable(verb)) << verb;
    }

private Q_SLOTS:
    void cleanup() { m_disk.reset(); }

    // On a disk that runs full mid-write, each verb says so and fails,
    // leaving no partial result, no temporary file and the source as it was.
    void diskFull_data() { addVerbs(); }
    void diskFull()
    {
        QFETCH(QString, verb);
        const Job job = makeJob(verb, false);
        m_disk = std::make_unique<SmallDisk>(job.bytes() + kFree + (1 << 20));
        if (!m_disk->unavailable().isEmpty())
            QSKIP(qPrintable(m_disk->unavailable()));
        const QString dir = m_disk->path();
        writeSources(job, dir);
        QVERIFY(m_disk->fill(kFree));

        const auto run = runCli(job.arguments(dir), job.env);
        QVERIFY2(
            run.exitCode == 1,
            qPrintable(QStringLiteral("status %1, stderr: %2").arg(run.exitCode).arg(run.err)));
        QCOMPARE(run.out, QString());
        const QString target = dir + u'/' + job.result;
        static const QRegularExpression noSpace(
            QStringLiteral("There isn't enough space on the disk to save “([^”]*)”\\."));
        const auto match = noSpace.match(run.err);
        QVERIFY2(match.hasMatch(), qPrintable(run.err));
        if (job.pieces.isEmpty()) {
            QCOMPARE(match.captured(1), job.result);
            QCOMPARE(madeIn(dir, job), QStringList());
        } else {
            // Only whole pieces stay, and the count said is the count there.
            const QStringList saved = madeIn(target, job);
            checkWhole(target, job);
            QVERIFY2(job.pieces.contains(match.captured(1)) && !saved.contains(match.captured(1)),
                     qPrintable(match.captured(1)));
            QCOMPARE(!saved.isEmpty(), job.someFit);
            if (saved.isEmpty()) {
                QVERIFY2(run.err.contains(QStringLiteral("Nothing was saved.")),
                         qPrintable(run.err));
                QVERIFY(!QFileInfo::exists(target));
            } else {
                const QString said = QStringLiteral("Saved %1 of %2 %3 in the folder “%4”.")
                                         .arg(saved.size())
                                         .arg(job.pieces.size())
                                         .arg(job.picture.isEmpty() ? QStringLiteral("files")
                                                                    : QStringLiteral("pictures"),
                                              job.result);
                QVERIFY2(run.err.contains(said), qPrintable(run.err));
            }
        }
        const QStringList hidden =
            m_disk->entries().filter(QRegularExpression(QStringLiteral("(^|/)\\.quirebook-")));
        QVERIFY2(hidden.isEmpty(),
                 qPrintable(QStringLiteral("left behind: ") + hidden.join(QStringLiteral(", "))));
        for (const auto &[name, bytes] : job.sources)
            QVERIFY2(readFile(dir + u'/' + name) == bytes, qPrintable(name));
    }

    // Killed mid-write, a verb leaves only whole files; the next run
    // succeeds and sweeps away what the killed one left hidden.
    void killed_data() { addVerbs(); }
    void killed()
    {
        QFETCH(QString, verb);
        const Job job = makeJob(verb, true);
        QTemporaryDir dir;
        QProcess process;
        FolderWatch watch;
        const QString destination = startAndCatch(job, dir.path(), process, watch);
        const bool caught = !destination.isEmpty() && watch.kill();
        QVERIFY(process.waitForFinished(600000));
        const QString err = QString::fromLocal8Bit(process.readAllStandardError());
        if (process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0)
            QSKIP("the run had finished before the kill landed");
        QVERIFY2(caught && process.exitStatus() == QProcess::CrashExit, qPrintable(err));
        if (temporaryFiles(destination).isEmpty())
            QSKIP("the kill landed while no file was being written, so nothing hidden was left to "
                  "sweep");
        checkWhole(destination, job);

        const auto again = runCli(job.arguments(dir.path()), job.env, 600000);
        QVERIFY2(again.exitCode == 0, qPrintable(again.err));
        const QString second = again.out.trimmed();
        QStringList folders{dir.path()};
        if (!job.pieces.isEmpty()) {
            QCOMPARE(second, dir.filePath(job.result + QStringLiteral(" 2")));
            folders << destination << second;
        } else {
            QVERIFY2(QFileInfo(second).isFile(), qPrintable(again.out));
        }
        QStringList left;
        for (const QString &folder : folders)
            for (const QString &name : temporaryFiles(folder))
                left << QDir(dir.path()).relativeFilePath(folder + u'/' + name);
        QVERIFY2(left.isEmpty(),
                 qPrintable(QStringLiteral("left behind: ") + left.join(QStringLiteral(", "))));
    }

    // Ctrl-C mid-write: ended by SIGINT, nothing on stdout, only whole files and
    // no temporary one left, by the program itself.
    void interrupted_data() { addVerbs(); }
    void interrupted()
    {
        QFETCH(QString, verb);
        const Job job = makeJob(verb, true);
        QTemporaryDir dir;
        QProcess process;
        FolderWatch watch;
        const QString destination = startAndCatch(job, dir.path(), process, watch);
        QVERIFY(!destination.isEmpty() || process.state() == QProcess::NotRunning);
        if (!destination.isEmpty())
            ::kill(pid_t(process.processId()), SIGINT);
        QVERIFY(process.waitForFinished(600000));
        if (process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0)
            QSKIP("the run had finished before Ctrl-C landed");
        // Ended by the signal itself, as a shell expects (its status 130).
        QCOMPARE(process.exitStatus(), QProcess::CrashExit);
        QVERIFY2(process.exitCode() == SIGINT, qPrintable(process.readAllStandardError()));
        QCOMPARE(process.readAllStandardOutput(), QByteArray());
        QCOMPARE(temporaryFiles(dir.path()), QStringList());
        QCOMPARE(temporaryFiles(destination), QStringList());
        checkWhole(destination, job);
    }
};

QTEST_MAIN(TestSafeWrites)
#include "tst_safewrites.moc"
