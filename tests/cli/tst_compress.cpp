#include "QpdfBytes.h"
#include "Fixtures.h"
#include "PictureFixtures.h"

#include <qpdf/Buffer.hh>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFWriter.hh>

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
    const QByteArray jpeg = encode(naturalPhoto(QSize(2000, 2600), 12), "JPEG", 92);
    QPDF q;
    q.emptyPDF();
    QPDFPageDocumentHelper helper(q);
    for (int i = 0; i < pages; ++i) {
        auto image = QPDFObjectHandle::newStream(&q);
        image.replaceStreamData(std::string(jpeg.constData(), size_t(jpeg.size())),
                                QPDFObjectHandle::newName("/DCTDecode"), QPDFObjectHandle::newNull());
        image.getDict().replaceKey("/Type", QPDFObjectHandle::newName("/XObject"));
        image.getDict().replaceKey("/Subtype", QPDFObjectHandle::newName("/Image"));
        image.getDict().replaceKey("/Width", QPDFObjectHandle::newInteger(2000));
        image.getDict().replaceKey("/Height", QPDFObjectHandle::newInteger(2600));
        image.getDict().replaceKey("/BitsPerComponent", QPDFObjectHandle::newInteger(8));
        image.getDict().replaceKey("/ColorSpace", QPDFObjectHandle::newName("/DeviceRGB"));
        auto page = QPDFObjectHandle::parse("<< /Type /Page /MediaBox [0 0 612 792] >>");
        auto resources = QPDFObjectHandle::parse("<< /XObject << >> >>");
        resources.getKey("/XObject").replaceKey("/P", image);
        page.replaceKey("/Resources", resources);
        page.replaceKey("/Contents", QPDFObjectHandle::newStream(&q, "q 612 0 0 792 0 0 cm /P Do Q\n"));
        helper.addPage(QPDFPageObjectHelper(q.makeIndirectObject(page)), false);
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
        QVERIFY(QFileInfo(expected).size() < QFileInfo(source).size());
        QCOMPARE(popplerPageTexts(readFile(expected)),
                 (QStringList{QStringLiteral("Page 1"), QStringLiteral("Page 2")}));

        // Never overwrites: the second result is numbered.
        const auto second = runCli({QStringLiteral("compress"), QStringLiteral("--quiet"), source});
        QCOMPARE(second.exitCode, 0);
        QCOMPARE(second.out, dir + QStringLiteral("/Trip compressed 2.pdf\n"));
        QCOMPARE(second.err, QString());
        QCOMPARE(readFile(source), m_photos);
        QCOMPARE(temporaryFiles(dir), QStringList());
    }

    void levelsFromSmallToHigh()
    {
        const QString dir = folder(QStringLiteral("levels"));
        QList<qint64> sizes;
        for (const char *level : {"small", "balanced", "high"}) {
            const QString source = photos(dir, QString::fromLatin1(level) + QStringLiteral(".pdf"));
            const auto result = runCli({QStringLiteral("compress"), QStringLiteral("--level"),
                                        QString::fromLatin1(level), source});
            QCOMPARE(result.exitCode, 0);
            sizes << QFileInfo(result.out.trimmed()).size();
        }
        QVERIFY(sizes[0] < sizes[1] && sizes[1] < sizes[2]);
    }

    void wrongUsage_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("message");
        QTest::newRow("no file") << QStringList{} << "quirebook-cli: Name at least one PDF. Try “quirebook-cli compress --help”.";
        QTest::newRow("unknown level") << QStringList{QStringLiteral("--level"), QStringLiteral("huge"), QStringLiteral("x.pdf")}
                                       << "quirebook-cli: “huge” isn't a level. Use small, balanced or high.";
        QTest::newRow("several into a file") << QStringList{QStringLiteral("-o"), QStringLiteral("out.pdf"), QStringLiteral("a.pdf"), QStringLiteral("b.pdf")}
                                             << "quirebook-cli: With several PDFs, -o must name an existing folder.";
    }
    void wrongUsage()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, message);
        const auto result = runCli(QStringList{QStringLiteral("compress")} + arguments);
        QCOMPARE(result.exitCode, 2);
        QCOMPARE(result.err.trimmed(), message);
        QCOMPARE(result.out, QString());
    }

    void help()
    {
        const auto result = runCli({QStringLiteral("compress"), QStringLiteral("--help")});
        QCOMPARE(result.exitCode, 0);
        for (const char *option : {"--level", "--output", "--quiet", "--password"})
            QVERIFY2(result.out.contains(QLatin1String(option)), option);
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
        const QString dir = folder(intoFolder ? QStringLiteral("o-folder") : QStringLiteral("o-file"));
        const QString source = photos(dir);
        const QString elsewhere = folder(intoFolder ? QStringLiteral("o-folder/results")
                                                    : QStringLiteral("o-file/results"));
        const QString option = intoFolder ? elsewhere : elsewhere + QStringLiteral("/small.pdf");
        const QString first = intoFolder ? elsewhere + QStringLiteral("/Trip compressed.pdf") : option;
        const QString second = intoFolder ? elsewhere + QStringLiteral("/Trip compressed 2.pdf")
                                          : elsewhere + QStringLiteral("/small 2.pdf");
        for (const QString &expected : {first, second}) {
            const auto result = runCli({QStringLiteral("compress"), QStringLiteral("-o"), option, source});
            QCOMPARE(result.exitCode, 0);
            QCOMPARE(result.out, expected + u'\n');
            QVERIFY(QFile::exists(expected));
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
        QCOMPARE(result.out, dir + QStringLiteral("/a compressed.pdf\n") + dir
                                 + QStringLiteral("/b compressed.pdf\n"));
        QVERIFY(result.err.contains(QStringLiteral("quirebook-cli: ")));
        QVERIFY(!QFile::exists(dir + QStringLiteral("/broken compressed.pdf")));
    }

    void keepsTheOriginalWhenItCantShrink()
    {
        const QString dir = folder(QStringLiteral("kept"));
        const QString plain = writeFile(dir + QStringLiteral("/plain.pdf"), textPDF(1));
        // Compressed once, it can't shrink a second time.
        const auto once = runCli({QStringLiteral("compress"), QStringLiteral("-q"), QStringLiteral("-o"),
                                  dir + QStringLiteral("/Note.pdf"), plain});
        QCOMPARE(once.exitCode, 0);
        const QString note = dir + QStringLiteral("/Note.pdf");
        const auto result = runCli({QStringLiteral("compress"), note});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(readFile(result.out.trimmed()), readFile(note));
        QVERIFY2(result.err.startsWith(QStringLiteral("Already as small as it gets. Compressing wouldn't "
                                                      "make “Note.pdf” smaller, so the copy is unchanged (")),
                 qPrintable(result.err));
    }

    void refusals_data()
    {
        QTest::addColumn<QString>("what");
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("message");
        QTest::newRow("picture") << "picture" << QStringList{} << 1
                                 << "quirebook-cli: “photo.jpg” is a picture. Compress works on PDFs.";
        QTest::newRow("locked") << "locked" << QStringList{} << 1 << QString();
        QTest::newRow("locked with its password") << "locked" << QStringList{QStringLiteral("--password"), QStringLiteral("pw")}
                                                  << 0 << QString();
    }
    void refusals()
    {
        QFETCH(QString, what);
        QFETCH(QStringList, options);
        QFETCH(int, status);
        QFETCH(QString, message);
        const QString dir = folder(QStringLiteral("refusals-") + QString::number(QTest::currentDataTag()[0]));
        QString source;
        if (what == QLatin1String("picture")) {
            source = writeFile(dir + QStringLiteral("/photo.jpg"), encode(naturalPhoto(QSize(300, 200), 1), "JPEG"));
        } else {
            WriteOptions locked;
            locked.encrypt = true;
            locked.userPassword = QStringLiteral("pw");
            locked.ownerPassword = QStringLiteral("pw");
            source = writeFile(dir + QStringLiteral("/secret.pdf"), makePDF(numberedPages(1), locked));
        }
        const auto result = runCli(QStringList{QStringLiteral("compress")} + options + QStringList{source});
        QCOMPARE(result.exitCode, status);
        if (status != 0) {
            QCOMPARE(result.out, QString());
            const QString line = result.err.trimmed();
            QVERIFY2(line.startsWith(QStringLiteral("quirebook-cli: ")) && line.endsWith(u'.') && !line.contains(u'\n'),
                     qPrintable(line));
            if (!message.isEmpty())
                QCOMPARE(line, message);
        }
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
