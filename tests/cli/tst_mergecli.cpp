#include "support/Fixtures.h"

#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

using namespace Qt::StringLiterals;

using namespace Fixtures;

// What merge's options do: where the result goes, the summary, passwords in
// file order. What the merged file holds is tst_merge's; Ctrl-C, kills and a
// full disk are tst_safewrites'; usage errors are in tst_info's table.
class TestMergeCli : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

    QString locked(const QString &name, const QString &password)
    {
        return writeFile(m_dir.filePath(name),
                         makePDF(numberedPages(1), lock(password, password + u"-owner"_s)));
    }

private Q_SLOTS:
    void initTestCase()
    {
        writeFile(m_dir.filePath(u"a.pdf"_s), textPDF(3));
        writeFile(m_dir.filePath(u"b.pdf"_s), textPDF(2));
        // A photo whose colour profile is damaged, which Qt would complain
        // about on stderr: only the program's own words may reach it.
        QByteArray photo = encode(marker(640, 480), "JPG");
        QByteArray profile(196, '\0');
        qToBigEndian<quint32>(200, profile.data());
        profile.replace(36, 4, "acsp");
        qToBigEndian<quint32>(1000, profile.data() + 128); // tags far beyond its end
        const QByteArray segment = QByteArray("ICC_PROFILE\0\1\1", 14) + profile;
        photo.insert(2, QByteArray("\xFF\xE2") + char((segment.size() + 2) >> 8) +
                            char((segment.size() + 2) & 0xFF) + segment);
        writeFile(m_dir.filePath(u"photo.jpg"_s), photo);
    }

    // Without -o, beside the first file under the window's name; -o a file
    // is taken as given; never overwriting. The summary on stderr.
    void places_data()
    {
        QTest::addColumn<QStringList>("arguments"); // names in one folder
        QTest::addColumn<QStringList>("results");   // of two runs in a row
        QTest::addColumn<int>("pages");
        QTest::newRow("two files")
            << QStringList{"a.pdf", "b.pdf"} << QStringList{"Merged.pdf", "Merged 2.pdf"} << 5;
        QTest::newRow("three, PDF first") << QStringList{"a.pdf", "b.pdf", "photo.jpg"}
                                          << QStringList{"a merged.pdf", "a merged 2.pdf"} << 6;
        QTest::newRow("-o a file") << QStringList{"-o", "out.pdf", "photo.jpg", "b.pdf"}
                                   << QStringList{"out.pdf", "out 2.pdf"} << 3;
    }
    void places()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QStringList, results);
        QFETCH(int, pages);
        QTemporaryDir dir;
        for (QString &argument : arguments) {
            if (argument.startsWith(u'-'))
                continue;
            QFile::copy(m_dir.filePath(argument), dir.filePath(argument));
            argument = dir.filePath(argument);
        }
        for (const QString &name : results) {
            const auto result = runCli(QStringList{u"merge"_s} + arguments);
            QCOMPARE(result.exitCode, 0);
            QCOMPARE(result.out, dir.filePath(name) + u'\n');
            QVERIFY2(result.err.startsWith(u"Merged %1 pages · %2 · "_s.arg(pages).arg(name)),
                     qPrintable(result.err));
        }
        const auto quiet = runCli(QStringList{u"merge"_s, u"-q"_s} + arguments);
        QCOMPARE(quiet.exitCode, 0);
        QCOMPARE(quiet.err, QString());
    }

    // Each --password goes to the next locked file, in file order.
    void passwordsInFileOrder()
    {
        const QString one = locked(u"one.pdf"_s, u"first"_s);
        const QString two = locked(u"two.pdf"_s, u"second"_s);
        const QString a = m_dir.filePath(u"a.pdf"_s);
        const auto ok = runCli(
            {u"merge"_s, u"--password"_s, u"first"_s, u"--password"_s, u"second"_s, one, a, two});
        QCOMPARE(ok.exitCode, 0);
        QCOMPARE(popplerPageCount(ok.out.trimmed()), 5);
        const auto missing = runCli({u"merge"_s, u"--password"_s, u"first"_s, one, two});
        QCOMPARE(missing.exitCode, 1);
        QCOMPARE(missing.out, QString());
        QCOMPARE(missing.err, u"quirebook-cli: “two.pdf” stayed locked.\n"_s);
    }
};

QTEST_GUILESS_MAIN(TestMergeCli)
#include "tst_mergecli.moc"
