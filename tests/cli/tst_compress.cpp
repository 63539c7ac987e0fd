#include "Fixtures.h"
#include "PictureFixtures.h"
#include "QpdfBytes.h"

#include <qpdf/QPDF.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace Fixtures;

namespace {

// Many pages, each with its own copy of one big photo: cheap to make,
// slow to compress (every copy is a picture of its own).
QByteArray manyPhotoPages(int pages)
{
    const std::string jpeg = encode(naturalPhoto(QSize(2000, 2600), 12), "JPEG", 92).toStdString();
    QPDF q;
    q.emptyPDF();
    for (int i = 0; i < pages; ++i) {
        auto image = QPDFObjectHandle::newStream(&q);
        image.replaceDict(
            QPDFObjectHandle::parse("<< /Type /XObject /Subtype /Image /Width 2000 /Height 2600 "
                                    "/BitsPerComponent 8 /ColorSpace /DeviceRGB >>"));
        image.replaceStreamData(jpeg, QPDFObjectHandle::newName("/DCTDecode"),
                                QPDFObjectHandle::newNull());
        auto page = QPDFObjectHandle::parse(
            "<< /Type /Page /MediaBox [0 0 612 792] /Resources << /XObject << >> >> >>");
        page.getKey("/Resources").getKey("/XObject").replaceKey("/P", image);
        page.replaceKey("/Contents",
                        QPDFObjectHandle::newStream(&q, "q 612 0 0 792 0 0 cm /P Do Q\n"));
        QPDFPageDocumentHelper(q).addPage(QPDFPageObjectHelper(q.makeIndirectObject(page)), false);
    }
    return Fixtures::bytesOf(q);
}

} // namespace

class TestCliCompress : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QByteArray m_photos;

    QString folder(const QString &name)
    {
        QDir(m_dir.path()).mkpath(name);
        return m_dir.filePath(name);
    }
    QString photos(const QString &dir, const QString &name = QStringLiteral("Trip.pdf"))
    {
        return writeFile(dir + u'/' + name, m_photos);
    }

private Q_SLOTS:
    void initTestCase() { m_photos = photoPDF(2, QSize(1500, 2000), 92); }

    // Beside the source, numbered rather than overwriting; the size on
    // stderr; --level reaches the work and balanced is the default.
    void writesNextToTheSource()
    {
        const QString dir = folder(QStringLiteral("next"));
        const QString source = photos(dir);
        const auto first = runCli({QStringLiteral("compress"), source});
        QCOMPARE(first.exitCode, 0);
        const QString expected = dir + QStringLiteral("/Trip compressed.pdf");
        QCOMPARE(first.out, expected + u'\n');
        static const QRegularExpression sizes(
            QStringLiteral("^Trip\\.pdf: [0-9.]+ [kM]B → [0-9.]+ kB  \\([0-9]+% smaller\\)\\n$"));
        QVERIFY2(sizes.match(first.err).hasMatch(), qPrintable(first.err));
        QCOMPARE(popplerPageTexts(readFile(expected)), (QStringList{"Page 1", "Page 2"}));

        const auto small = runCli({QStringLiteral("compress"), QStringLiteral("--quiet"),
                                   QStringLiteral("--level"), QStringLiteral("small"), source});
        QCOMPARE(small.exitCode, 0);
        QCOMPARE(small.out, dir + QStringLiteral("/Trip compressed 2.pdf\n"));
        QCOMPARE(small.err, QString());
        const auto high = runCli(
            {QStringLiteral("compress"), QStringLiteral("-l"), QStringLiteral("high"), source});
        QCOMPARE(high.out, dir + QStringLiteral("/Trip compressed 3.pdf\n"));
        const qint64 balancedSize = QFileInfo(expected).size();
        QVERIFY(QFileInfo(small.out.trimmed()).size() < balancedSize);
        QVERIFY(balancedSize < QFileInfo(high.out.trimmed()).size());
        QVERIFY(balancedSize < m_photos.size());
        QCOMPARE(readFile(source), m_photos);
        QCOMPARE(temporaryFiles(dir), QStringList());
    }

    void wrongUsage_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("message");
        QTest::newRow("no file")
            << QStringList{}
            << "quirebook-cli: Name at least one PDF. Try “quirebook-cli compress --help”.";
        QTest::newRow("unknown level")
            << QStringList{"--level", "huge", "x.pdf"}
            << "quirebook-cli: “huge” isn't a level. Use small, balanced or high.";
        QTest::newRow("several into a file")
            << QStringList{"-o", "out.pdf", "a.pdf", "b.pdf"}
            << "quirebook-cli: With several PDFs, -o must name an existing folder.";
    }
    void wrongUsage()
    {
        QFETCH(QStringList, arguments);
        const auto result = runCli(QStringList{QStringLiteral("compress")} + arguments);
        QCOMPARE(result.exitCode, 2);
        QTEST(result.err.trimmed(), "message");
        QCOMPARE(result.out, QString());
    }

    void outputOption_data()
    {
        QTest::addColumn<bool>("intoFolder");
        QTest::newRow("a file") << false;
        QTest::newRow("a folder") << true;
    }
    void outputOption()
    {
        QFETCH(bool, intoFolder);
        const QString dir =
            folder(intoFolder ? QStringLiteral("o-folder") : QStringLiteral("o-file"));
        const QString source = photos(dir);
        const QString elsewhere = folder(QFileInfo(dir).fileName() + QStringLiteral("/results"));
        const QString option = intoFolder ? elsewhere : elsewhere + QStringLiteral("/small.pdf");
        const QStringList expected =
            intoFolder ? QStringList{elsewhere + QStringLiteral("/Trip compressed.pdf"),
                                     elsewhere + QStringLiteral("/Trip compressed 2.pdf")}
                       : QStringList{option, elsewhere + QStringLiteral("/small 2.pdf")};
        for (const QString &path : expected) {
            const auto result =
                runCli({QStringLiteral("compress"), QStringLiteral("-o"), option, source});
            QCOMPARE(result.exitCode, 0);
            QCOMPARE(result.out, path + u'\n');
            QVERIFY(QFile::exists(path));
        }
        QVERIFY(!QFile::exists(dir + QStringLiteral("/Trip compressed.pdf")));
    }

    void severalFilesOneFailing()
    {
        const QString dir = folder(QStringLiteral("several"));
        const QString a = photos(dir, QStringLiteral("a.pdf"));
        const QString broken = writeFile(dir + QStringLiteral("/broken.pdf"), "not a pdf at all");
        const QString b = photos(dir, QStringLiteral("b.pdf"));
        const auto result = runCli({QStringLiteral("compress"), a, broken, b});
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.out, dir + QStringLiteral("/a compressed.pdf\n") + dir +
                                 QStringLiteral("/b compressed.pdf\n"));
        QVERIFY(result.err.contains(QStringLiteral("quirebook-cli: ")));
        QVERIFY(!QFile::exists(dir + QStringLiteral("/broken compressed.pdf")));
    }

    void keepsTheOriginalWhenItCantShrink()
    {
        const QString dir = folder(QStringLiteral("kept"));
        const QString plain = writeFile(dir + QStringLiteral("/plain.pdf"), textPDF(1));
        // Compressed once, it can't shrink a second time.
        const QString note = dir + QStringLiteral("/Note.pdf");
        QCOMPARE(runCli({QStringLiteral("compress"), QStringLiteral("-q"), QStringLiteral("-o"),
                         note, plain})
                     .exitCode,
                 0);
        const auto result = runCli({QStringLiteral("compress"), note});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(readFile(result.out.trimmed()), readFile(note));
        QVERIFY2(result.err.startsWith(
                     QStringLiteral("Already as small as it gets. Compressing wouldn't "
                                    "make “Note.pdf” smaller, so the copy is unchanged (")),
                 qPrintable(result.err));
    }

    // A picture and a locked PDF without its password are refused in one
    // line of our own; with the password the PDF compresses.
    void refusals()
    {
        QTemporaryDir dir;
        const QString photo = writeFile(dir.filePath(QStringLiteral("photo.jpg")),
                                        encode(naturalPhoto(QSize(300, 200), 1), "JPEG"));
        const auto picture = runCli({QStringLiteral("compress"), photo});
        QCOMPARE(picture.exitCode, 1);
        QCOMPARE(picture.out, QString());
        QCOMPARE(
            picture.err,
            QStringLiteral("quirebook-cli: “photo.jpg” is a picture. Compress works on PDFs.\n"));
        WriteOptions options;
        options.encrypt = true;
        options.userPassword = options.ownerPassword = QStringLiteral("pw");
        const QString locked = writeFile(dir.filePath(QStringLiteral("secret.pdf")),
                                         makePDF(numberedPages(1), options));
        const auto refused = runCli({QStringLiteral("compress"), locked});
        QCOMPARE(refused.exitCode, 1);
        QCOMPARE(refused.out, QString());
        QVERIFY2(refused.err.startsWith(QStringLiteral("quirebook-cli: ")) &&
                     refused.err.endsWith(QStringLiteral(".\n")) && refused.err.count(u'\n') == 1,
                 qPrintable(refused.err));
        QCOMPARE(runCli({QStringLiteral("compress"), QStringLiteral("--password"),
                         QStringLiteral("pw"), locked})
                     .exitCode,
                 0);
    }

    void ctrlCLeavesNothingBehind()
    {
        const QString dir = folder(QStringLiteral("interrupt"));
        const QString source = writeFile(dir + QStringLiteral("/Big.pdf"), manyPhotoPages(60));
        QProcess process;
        process.start(qEnvironmentVariable("QUIREBOOK_CLI"), {QStringLiteral("compress"), source});
        QVERIFY(process.waitForStarted());
        // Let it get under way, pictures in flight, then interrupt it.
        QTest::qWait(700);
        if (process.state() != QProcess::Running)
            QSKIP("the machine compressed everything before it could be interrupted");
        ::kill(pid_t(process.processId()), SIGINT);
        QVERIFY(process.waitForFinished(30000));
        QCOMPARE(process.exitCode(), 130);
        QCOMPARE(temporaryFiles(dir), QStringList());
        QVERIFY(!QFile::exists(dir + QStringLiteral("/Big compressed.pdf")));
    }
};

QTEST_GUILESS_MAIN(TestCliCompress)
#include "tst_compress.moc"
