#include "support/Fixtures.h"
#include "support/PictureFixtures.h"

#include <QDir>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

using namespace Fixtures;

// compress's options and what it prints. The compressing itself is
// tst_compress (engine) and tst_compresstask's; Ctrl-C, kills and a full
// disk are tst_safewrites'; usage errors are in tst_info's table. Where -o
// places a result is Output's (tst_output); that it reaches it, tst_shellhabits.
class TestCliCompress : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QByteArray m_photos;

    QString folder(const QString &name)
    {
        QDir(m_dir.path()).mkpath(name);
        return m_dir.filePath(name);
    }
    QString photos(const QString &dir, const QString &name = u"Trip.pdf"_s)
    {
        return writeFile(dir + u'/' + name, m_photos);
    }

private Q_SLOTS:
    void initTestCase() { m_photos = photoPDF(2, QSize(1500, 2000), 92); }

    // Beside the source, numbered rather than overwriting; the size on
    // stderr; --level reaches the work and balanced is the default.
    void writesNextToTheSource()
    {
        const QString dir = folder(u"next"_s);
        const QString source = photos(dir);
        const auto first = runCli({u"compress"_s, source});
        QCOMPARE(first.exitCode, 0);
        QCOMPARE(first.out, dir + u"/Trip compressed.pdf\n"_s);
        static const QRegularExpression sizes(
            u"^Trip\\.pdf: [0-9.]+ [kM]B → [0-9.]+ kB  \\([0-9]+% smaller\\)\\n$"_s);
        QVERIFY2(sizes.match(first.err).hasMatch(), qPrintable(first.err));

        const auto small = runCli({u"compress"_s, u"--quiet"_s, u"--level"_s, u"small"_s, source});
        QCOMPARE(small.exitCode, 0);
        QCOMPARE(small.out, dir + u"/Trip compressed 2.pdf\n"_s);
        QCOMPARE(small.err, QString());
        const auto high = runCli({u"compress"_s, u"-l"_s, u"high"_s, source});
        QCOMPARE(high.out, dir + u"/Trip compressed 3.pdf\n"_s);
        const qint64 balancedSize = QFileInfo(first.out.trimmed()).size();
        QVERIFY(QFileInfo(small.out.trimmed()).size() < balancedSize);
        QVERIFY(balancedSize < QFileInfo(high.out.trimmed()).size());
    }

    // A source refused goes on to the next; the status says one failed.
    void severalFilesSomeRefused()
    {
        const QString dir = folder(u"several"_s);
        const QString a = photos(dir, u"a.pdf"_s);
        const QString broken = writeFile(dir + u"/broken.pdf"_s, "not a pdf at all");
        const QString photo =
            writeFile(dir + u"/photo.jpg"_s, encode(naturalPhoto(QSize(300, 200), 1), "JPEG"));
        const QString b = photos(dir, u"b.pdf"_s);
        const auto result = runCli({u"compress"_s, u"-q"_s, a, broken, photo, b});
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.out, dir + u"/a compressed.pdf\n"_s + dir + u"/b compressed.pdf\n"_s);
        QCOMPARE(result.err, u"quirebook-cli: “broken.pdf” couldn't be read as a PDF.\n"
                             "quirebook-cli: “photo.jpg” is a picture; compress works on "
                             "PDFs.\n"_s);
        QCOMPARE(QDir(dir).entryList(QDir::Files | QDir::Hidden).size(), 6);
    }

    void keepsTheOriginalWhenItCantShrink()
    {
        const QString dir = folder(u"kept"_s);
        const QString plain = writeFile(dir + u"/plain.pdf"_s, textPDF(1));
        // Compressed once, it can't shrink a second time.
        const QString note = dir + u"/Note.pdf"_s;
        QCOMPARE(runCli({u"compress"_s, u"-q"_s, u"-o"_s, note, plain}).exitCode, 0);
        const auto result = runCli({u"compress"_s, note});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(readFile(result.out.trimmed()), readFile(note));
        QVERIFY2(result.err.startsWith(u"Already as small as it gets. Compressing wouldn't "
                                       "make “Note.pdf” smaller, so the copy is unchanged ("_s),
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
        const QString source = writeFile(folder(u"damaged"_s) + "/Scan.pdf", damaged);
        const auto result = runCli({u"compress"_s, source});
        QCOMPARE(result.exitCode, 0);
        QVERIFY2(result.err.startsWith(u"Scan.pdf: "_s) && result.err.count(u'\n') == 1,
                 qPrintable(result.err));
    }
};

QTEST_GUILESS_MAIN(TestCliCompress)
#include "tst_compress.moc"
