#include "support/Fixtures.h"
#include "support/FolderWatch.h"
#include "support/PictureFixtures.h"
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

using namespace Qt::StringLiterals;

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

// One run of a verb: its sources (written into one folder) and what it makes there.
struct Job {
    QString verb;
    QStringList options;
    QList<QPair<QString, QByteArray>> sources;
    QString output;       // -o, a name in the sources' folder
    QString result;       // the file made, or the folder of pieces
    QStringList pieces;   // in that folder, in order
    bool someFit = false; // some pieces fit on the full disk
    QMap<QString, QString> env;
    int pages = 0;    // of the result, or of each piece
    QString password; // opens the result
    QSize picture;    // of each picture

    QStringList arguments(const QString &dir) const
    {
        QStringList all = QStringList{verb} + options;
        if (!output.isEmpty())
            all << u"-o"_s << dir + u'/' + output;
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

// One verb for each way a result reaches the disk: the rebuild (compress),
// qpdf's writer (merge), its encryption (protect), the rebuild with a page
// hook (sign), parts written side by side (split), pictures and text. `big`
// (compress and split, for Ctrl-C): long enough at work to be caught in the act.
Job makeJob(const QString &verb, bool big)
{
    Job job;
    job.verb = verb;
    const int photos = big ? 200 : 3;
    const auto photoDoc = [big](int pages) {
        return big ? photoPages(pages, QSize(400, 520)) : photoPages(pages);
    };
    static const QMap<QString, QString> suffixes{
        {"compress", "compressed"}, {"protect", "protected"}, {"sign", "signed"}};
    if (suffixes.contains(verb)) {
        job.sources = {{u"Trip.pdf"_s, photoDoc(photos)}};
        job.pages = photos;
        job.result = u"Trip "_s + suffixes[verb] + u".pdf"_s;
        if (verb == QLatin1String("sign"))
            job.options = {u"--text"_s, u"Seen"_s, u"--page"_s, u"1-"_s};
        else if (verb == QLatin1String("protect"))
            job.env[u"QUIREBOOK_NEW_PASSWORD"_s] = job.password = u"sesame"_s;
    } else if (verb == QLatin1String("merge")) {
        job.sources = {{u"A.pdf"_s, photoDoc(photos)}, {u"B.pdf"_s, photoDoc(photos)}};
        job.output = job.result = u"All.pdf"_s;
        job.pages = 2 * photos;
    } else if (verb == QLatin1String("text")) {
        job.pages = 40;
        job.sources = {{u"Notes.pdf"_s, wordyPages(job.pages)}};
        job.result = u"Notes.txt"_s;
    } else if (verb == QLatin1String("split")) {
        job.result = u"Doc split"_s;
        if (big) {
            // Parts of 100 photo pages take a while to write, so Ctrl-C
            // lands while one is being written.
            job.sources = {{u"Doc.pdf"_s, photoDoc(300)}};
            job.options = {u"--every"_s, u"100"_s};
            job.pages = 100;
            job.pieces = QStringList{"Doc pages 1-100.pdf", "Doc pages 101-200.pdf",
                                     "Doc pages 201-300.pdf"};
        } else {
            job.sources = {{u"Doc.pdf"_s, textPDF(40)}};
            job.options = {u"--each"_s};
            job.pages = 1;
            job.pieces = numbered(u"Doc page %1.pdf"_s, 40);
            job.someFit = true;
        }
    } else if (verb == QLatin1String("pictures")) {
        job.result = u"Doc pictures"_s;
        job.picture = QSize(1275, 1650); // US Letter at 150 dpi
        job.sources = {{u"Doc.pdf"_s, photoPages(photos)}};
        job.pieces = numbered(u"Doc page %1.png"_s, photos);
    }
    return job;
}

const QStringList kVerbs{"compress", "merge", "protect", "sign", "split", "pictures", "text"};

void writeSources(const Job &job, const QString &dir)
{
    for (const auto &[name, bytes] : job.sources)
        writeFile(dir + u'/' + name, bytes);
}

// Why a result isn't whole, read by other programs than ours; empty when it is.
QString flaw(const QString &path, const Job &job)
{
    if (path.endsWith(QLatin1String(".pdf"))) {
        if (!qpdfCheck(path, nullptr, job.password))
            return u"qpdf --check fails"_s;
        const int pages = popplerPageCount(path, job.password);
        if (pages != job.pages)
            return u"poppler counts %1 pages, not %2"_s.arg(pages).arg(job.pages);
    } else if (path.endsWith(QLatin1String(".png"))) {
        QImageReader reader(path);
        const QImage image = reader.read();
        if (image.size() != job.picture)
            return u"the picture doesn't load whole: "_s + reader.errorString();
    } else {
        // Pages are separated by form feeds, so a cut text has too few.
        const QByteArray text = readFile(path);
        if (text.count('\f') != job.pages - 1 || !text.endsWith("in one piece."))
            return u"the text is incomplete"_s;
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
    names.removeAll(u"filler"_s);
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
    environment.remove(u"QUIREBOOK_PASSWORD"_s);
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
    return watch.awaitEntry(destination, u".quirebook-"_s).isEmpty() ? QString() : destination;
}

// Every finished file in `folder` is one the job makes, and whole.
void checkWhole(const QString &folder, const Job &job)
{
    for (const QString &name : madeIn(folder, job)) {
        QVERIFY2(job.pieces.isEmpty() ? name == job.result : job.pieces.contains(name),
                 qPrintable(name));
        const QString why = flaw(folder + u'/' + name, job);
        QVERIFY2(why.isEmpty(), qPrintable(name + u": "_s + why));
    }
}

} // namespace

class TestSafeWrites : public QObject {
    Q_OBJECT
    std::unique_ptr<SmallDisk> m_disk;

    static void addVerbs(const QStringList &verbs)
    {
        QTest::addColumn<QString>("verb");
        for (const QString &verb : verbs)
            QTest::newRow(qPrintable(verb)) << verb;
    }

private Q_SLOTS:
    void cleanup() { m_disk.reset(); }

    // On a disk that runs full mid-write, each verb says so and fails,
    // leaving no partial result, no temporary file and the source as it was.
    void diskFull_data() { addVerbs(kVerbs); }
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
        QVERIFY2(run.exitCode == 1,
                 qPrintable(u"status %1, stderr: %2"_s.arg(run.exitCode).arg(run.err)));
        QCOMPARE(run.out, QString());
        const QString target = dir + u'/' + job.result;
        static const QRegularExpression noSpace(
            u"There isn't enough space on the disk to save “([^”]*)”\\."_s);
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
                QVERIFY2(run.err.contains(u"Nothing was saved."_s), qPrintable(run.err));
                QVERIFY(!QFileInfo::exists(target));
            } else {
                const QString said =
                    u"Saved %1 of %2 %3 in the folder “%4”."_s.arg(saved.size())
                        .arg(job.pieces.size())
                        .arg(job.picture.isEmpty() ? u"files"_s : u"pictures"_s, job.result);
                QVERIFY2(run.err.contains(said), qPrintable(run.err));
            }
        }
        const QStringList hidden =
            m_disk->entries().filter(QRegularExpression(u"(^|/)\\.quirebook-"_s));
        QVERIFY2(hidden.isEmpty(), qPrintable(u"left behind: "_s + hidden.join(u", "_s)));
        for (const auto &[name, bytes] : job.sources)
            QVERIFY2(readFile(dir + u'/' + name) == bytes, qPrintable(name));
    }

    // Ctrl-C mid-write: ended by SIGINT, nothing on stdout, only whole files and
    // no temporary one left, by the program itself. One handler serves every
    // writer: one file, and parts written side by side.
    void interrupted_data() { addVerbs({u"compress"_s, u"split"_s}); }
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
