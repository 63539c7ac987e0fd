#include "support/Fixtures.h"
#include "support/PictureFixtures.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;

// compress's options and what it prints. The compressing itself is
// tst_compress (engine) and tst_compresstask's; Ctrl-C, kills and a full
// disk are tst_safewrites'; usage errors are in tst_info's table. -o is
// shared with protect, unlock and searchable, so it is checked here once.
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
        QCOMPARE(first.out, dir + QStringLiteral("/Trip compressed.pdf\n"));
        static const QRegularExpression sizes(
            QStringLiteral("^Trip\\.pdf: [0-9.]+ [kM]B → [0-9.]+ kB  \\([0-9]+% smaller\\)\\n$"));
        QVERIFY2(sizes.match(first.err).hasMatch(), qPrintable(first.err));

        const auto small = runCli({QStringLiteral("compress"), QStringLiteral("--quiet"),
                                   QStringLiteral("--level"), QStringLiteral("small"), source});
        QCOMPARE(small.exitCode, 0);
        QCOMPARE(small.out, dir + QStringLiteral("/Trip compressed 2.pdf\n"));
        QCOMPARE(small.err, QString());
        const auto high = runCli(
            {QStringLiteral("compress"), QStringLiteral("-l"), QStringLiteral("high"), source});
        QCOMPARE(high.out, dir + QStringLiteral("/Trip compressed 3.pdf\n"));
        const qint64 balancedSize = QFileInfo(first.out.trimmed()).size();
        QVERIFY(QFileInfo(small.out.trimmed()).size() < balancedSize);
        QVERIFY(balancedSize < QFileInfo(high.out.trimmed()).size());
    }

    // -o a file is the name as given, -o a folder takes the usual name in
    // it; numbered when taken.
    void outputOption_data()
    {
        QTest::addColumn<QString>("option"); // in the folder "results"
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("a file") << QStringLiteral("small.pdf")
                                << QStringList{"small.pdf", "small 2.pdf"};
        QTest::newRow("a folder") << QString()
                                  << QStringList{"Trip compressed.pdf", "Trip compressed 2.pdf"};
    }
    void outputOption()
    {
        QFETCH(QString, option);
        QFETCH(QStringList, expected);
        QTemporaryDir dir;
        const QString source = photos(dir.path());
        const QString elsewhere = dir.filePath(QStringLiteral("results"));
        QVERIFY(QDir().mkpath(elsewhere));
        for (const QString &name : expected) {
            const auto result = runCli({QStringLiteral("compress"), QStringLiteral("-o"),
                                        elsewhere + u'/' + option, source});
            QCOMPARE(result.exitCode, 0);
            QCOMPARE(result.out, elsewhere + u'/' + name + u'\n');
            QVERIFY(QFile::exists(elsewhere + u'/' + name));
        }
        QVERIFY(!QFile::exists(dir.filePath(QStringLiteral("Trip compressed.pdf"))));
    }

    // A source refused goes on to the next; the status says one failed.
    void severalFilesSomeRefused()
    {
        const QString dir = folder(QStringLiteral("several"));
        const QString a = photos(dir, QStringLiteral("a.pdf"));
        const QString broken = writeFile(dir + QStringLiteral("/broken.pdf"), "not a pdf at all");
        const QString photo = writeFile(dir + QStringLiteral("/photo.jpg"),
                                        encode(naturalPhoto(QSize(300, 200), 1), "JPEG"));
        const QString b = photos(dir, QStringLiteral("b.pdf"));
        const auto result =
            runCli({QStringLiteral("compress"), QStringLiteral("-q"), a, broken, photo, b});
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.out, dir + QStringLiteral("/a compressed.pdf\n") + dir +
                                 QStringLiteral("/b compressed.pdf\n"));
        QCOMPARE(result.err,
                 QStringLiteral("quirebook-cli: “broken.pdf” couldn't be read as a PDF.\n"
                                "quirebook-cli: “photo.jpg” is a picture; compress works on "
                                "PDFs.\n"));
        QCOMPARE(QDir(dir).entryList(QDir::Files | QDir::Hidden).size(), 6);
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

    // A damaged photo still compresses, and stderr keeps to the program's
    // own line: none of the decoder's notes about the broken data.
    void damagedPictureBringsNoForeignNotes()
    {
        QByteArray damaged = m_photos;
        const qsizetype jpeg = damaged.indexOf("\xff\xd8\xff");
        QVERIFY(jpeg > 0);
        damaged.replace(jpeg + 4000, 600, QByteArray(600, '\x11'));
        const QString source = writeFile(folder(QStringLiteral("damaged")) + "/Scan.pdf", damaged);
        const auto result = runCli({QStringLiteral("compress"), source});
        QCOMPARE(result.exitCode, 0);
        QVERIFY2(result.err.startsWith(QStringLiteral("Scan.pdf: ")) &&
                     result.err.count(u'\n') == 1,
                 qPrintable(result.err));
    }
};

QTEST_GUILESS_MAIN(TestCliCompress)
#include "tst_compress.moc"
