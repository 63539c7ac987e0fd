#include "core/Output.h"
#include "core/Workspace.h"
#include "engine/PDFError.h"
#include "engine/PDFOps.h"
#include "engine/SafeWrite.h"
#include "support/Attempt.h"
#include "support/Fixtures.h"
#include "support/PictureFixtures.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

using namespace Fixtures;

class TestOutput : public QObject {
    Q_OBJECT

    PDFFile fileIn(const QString &folder, const QString &name)
    {
        PDFFile file;
        file.path = writeFile(folder + u'/' + name, textPDF(1));
        return file;
    }

private Q_SLOTS:
    void numbering_data()
    {
        QTest::addColumn<QStringList>("present"); // a folder ends in '/'
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("ext");
        QTest::addColumn<QString>("expected");
        const QString pdf = u"pdf"_s, same = u"same"_s;
        QTest::newRow("free") << QStringList{} << u"new"_s << pdf << u"new.pdf"_s;
        QTest::newRow("taken once") << QStringList{"same.pdf"} << same << pdf << u"same 2.pdf"_s;
        QTest::newRow("taken twice")
            << QStringList{"same.pdf", "same 2.pdf"} << same << pdf << u"same 3.pdf"_s;
        QTest::newRow("gap is not filled backwards")
            << QStringList{"same.pdf", "same 3.pdf"} << same << pdf << u"same 2.pdf"_s;
        QTest::newRow("folder") << QStringList{"a split/"} << u"a split"_s << QString()
                                << u"a split 2"_s;
        QTest::newRow("a folder blocks a file")
            << QStringList{"x.pdf/"} << u"x"_s << pdf << u"x 2.pdf"_s;
        QTest::newRow("number in the name")
            << QStringList{"scan 2 compressed.pdf"} << u"scan 2 compressed"_s << pdf
            << u"scan 2 compressed 2.pdf"_s;
    }
    void numbering()
    {
        QFETCH(QStringList, present);
        QFETCH(QString, name);
        QFETCH(QString, ext);
        QFETCH(QString, expected);
        QTemporaryDir dir;
        for (const QString &entry : present) {
            if (entry.endsWith(u'/'))
                QDir(dir.path()).mkdir(entry.chopped(1));
            else
                writeFile(dir.filePath(entry), "x");
        }
        QCOMPARE(PDFOps::uniqueURL(dir.path(), name, ext), dir.filePath(expected));
    }

    // quirebook-cli's -o: a folder takes the result's own name inside it,
    // a file name is kept; numbered rather than overwriting either way. A
    // folder ending in "/" is made when missing (one level only).
    void chosenPlaces_data()
    {
        QTest::addColumn<QString>("chosen");
        QTest::addColumn<QStringList>("present"); // files, and folders ending in "/"
        QTest::addColumn<QString>("expected");    // the place, or the message
        QTest::newRow("a folder") << "" << QStringList{} << "a compressed.pdf";
        QTest::newRow("a folder, name taken")
            << "" << QStringList{"a compressed.pdf"} << "a compressed 2.pdf";
        QTest::newRow("a file") << "notes.md" << QStringList{} << "notes.md";
        QTest::newRow("a file, taken") << "notes.md" << QStringList{"notes.md"} << "notes 2.md";
        QTest::newRow("a file without extension") << "out" << QStringList{} << "out";
        QTest::newRow("slash, made") << "out/" << QStringList{} << "out/a compressed.pdf";
        QTest::newRow("slash, there, name taken")
            << "out/" << QStringList{"out/", "out/a compressed.pdf"} << "out/a compressed 2.pdf";
        QTest::newRow("slash, a file")
            << "out/" << QStringList{"out"} << "“{dir}/out” is a file, not a folder.";
        QTest::newRow("slash, two levels") << "no/such/" << QStringList{}
                                           << "Couldn't make the folder “{dir}/no/such”, because "
                                              "“{dir}/no” doesn't exist.";
        QTest::newRow("slash, not writable")
            << "/proc/1/out/" << QStringList{}
            << "Couldn't make the folder “/proc/1/out”. Check that you can write to the folder "
               "it goes in.";
    }
    void chosenPlaces()
    {
        QFETCH(QString, chosen);
        QFETCH(QStringList, present);
        QFETCH(QString, expected);
        QTemporaryDir dir;
        for (const QString &name : present)
            name.endsWith(u'/') ? void(QDir(dir.path()).mkdir(name))
                                : void(writeFile(dir.filePath(name), "x"));
        const QString place = chosen.startsWith(u'/') ? chosen : dir.filePath(chosen);
        QString got;
        const QString error =
            Attempt::errorOf([&] { got = Output::chosenURL(place, u"a compressed"_s, u"pdf"_s); });
        if (expected.contains(u'“')) {
            QCOMPARE(error, QString(expected).replace(u"{dir}"_s, dir.path()));
            QVERIFY(!QFileInfo::exists(dir.filePath(u"no"_s)));
        } else {
            QCOMPARE(error, u"no error"_s);
            QCOMPARE(got, dir.filePath(expected));
        }
    }

    void pdfNextToTheSource()
    {
        QTemporaryDir dir;
        const PDFFile a = fileIn(dir.path(), u"a.pdf"_s);
        QCOMPARE(Output::pdfURL(a, u"compressed"_s, nullptr),
                 std::optional<QString>(dir.filePath(u"a compressed.pdf"_s)));
        writeFile(dir.filePath(u"a compressed.pdf"_s), "x");
        QCOMPARE(Output::pdfURL(a, u"compressed"_s, nullptr),
                 std::optional<QString>(dir.filePath(u"a compressed 2.pdf"_s)));
    }

    void unwritableFolder()
    {
        // A process folder under /proc takes no new files, even from root.
        PDFFile file;
        file.path = u"/proc/1/a.pdf"_s;
        QVERIFY(!Output::folder(file));
        ScriptedDialogs dialogs;
        dialogs.saveAnswers = {u"/tmp/chosen.pdf"_s};
        QCOMPARE(Output::pdfURL(file, u"compressed"_s, &dialogs),
                 std::optional<QString>(u"/tmp/chosen.pdf"_s));
        QCOMPARE(dialogs.saveProposals, QStringList{u"|a compressed.pdf"_s});
        QVERIFY(!Output::pdfURL(file, u"compressed"_s, &dialogs)); // cancelled
        try {
            Output::newFolder(file, u"split"_s);
            QFAIL("no folder expected");
        } catch (const PDFError &e) {
            QCOMPARE(e.description(), u"Quirebook can't write next to “a.pdf”. Copy the file to "
                                      "your Desktop or Documents first."_s);
        }
    }

    void newFoldersAreNeverReused()
    {
        QTemporaryDir dir;
        const PDFFile a = fileIn(dir.path(), u"a.pdf"_s);
        QCOMPARE(Output::newFolder(a, u"split"_s), dir.filePath(u"a split"_s));
        // What a killed run left in the folder it was filling goes with the next run.
        writeFile(dir.filePath(u"a split/.quirebook-DEAD.pdf"_s), "x");
        writeFile(dir.filePath(u".quirebook-DEAD.pdf"_s), "x");
        QCOMPARE(Output::newFolder(a, u"split"_s), dir.filePath(u"a split 2"_s));
        QVERIFY(QFileInfo(dir.filePath(u"a split 2"_s)).isDir());
        QVERIFY(temporaryFiles(dir.filePath(u"a split"_s)).isEmpty());
        QVERIFY(temporaryFiles(dir.path()).isEmpty());
    }

    void safeWriteReplacesAtomically()
    {
        QTemporaryDir dir;
        const QString target = writeFile(dir.filePath(u"out.pdf"_s), "old");
        SafeWrite::write(
            target,
            [&](SafeWrite::Target &out) {
                const QStringList hidden = temporaryFiles(dir.path());
                QCOMPARE(hidden.size(), 1);
                QVERIFY(hidden.first().endsWith(QLatin1String(".pdf")));
                // Locked while written, so a run beside this one leaves it alone.
                const int fd =
                    ::open(QFile::encodeName(dir.filePath(hidden.first())).constData(), O_RDONLY);
                QVERIFY(fd >= 0);
                QCOMPARE(::flock(fd, LOCK_EX | LOCK_NB), -1);
                ::close(fd);
                out.write("a first try");
                out.restart();
                out.write(QByteArray("new"));
            },
            u"Couldn't write."_s);
        QCOMPARE(readFile(target), QByteArray("new"));
        QVERIFY(temporaryFiles(dir.path()).isEmpty());
    }

    // A failed write leaves the old file and no temporary one, and says the
    // operation's own sentence unless the writer gave one: also when the
    // folder went away meanwhile (the rename fails) or was never there.
    void safeWriteFailures_data()
    {
        QTest::addColumn<int>("how");
        QTest::addColumn<QString>("message");
        const QString merged = u"Couldn't write the merged file."_s;
        QTest::newRow("own message") << 0 << u"The write said no."_s;
        QTest::newRow("any other failure") << 1 << merged;
        QTest::newRow("folder removed meanwhile") << 2 << merged;
        QTest::newRow("no such folder") << 3 << merged;
    }
    void safeWriteFailures()
    {
        QFETCH(int, how);
        QTemporaryDir dir;
        const QString folder = dir.filePath(u"out"_s);
        QVERIFY(QDir().mkdir(folder));
        const QString target = how == 3 ? dir.filePath(u"missing/out.pdf"_s)
                                        : writeFile(folder + u"/out.pdf"_s, "old");
        QTEST(Attempt::errorOf([&] {
                  SafeWrite::write(
                      target,
                      [&](SafeWrite::Target &out) {
                          out.write("half");
                          if (how == 0)
                              throw PDFError::failed(u"The write said no."_s);
                          if (how == 1)
                              throw std::runtime_error("disk full");
                          QVERIFY(QDir(folder).removeRecursively());
                      },
                      u"Couldn't write the merged file."_s);
              }),
              "message");
        if (how < 2)
            QCOMPARE(readFile(target), QByteArray("old"));
        QCOMPARE(QFileInfo::exists(folder), how != 2); // not made again
        QVERIFY(temporaryFiles(folder).isEmpty());
        QVERIFY(temporaryFiles(dir.path()).isEmpty());
    }

    void staleTemporariesGoHeldOnesStay()
    {
        QTemporaryDir dir;
        const QString stale = writeFile(dir.filePath(u".quirebook-DEAD.pdf"_s), "x");
        const QString held = writeFile(dir.filePath(u".quirebook-LIVE.pdf"_s), "x");
        const QString other = writeFile(dir.filePath(u".hidden.pdf"_s), "x");
        const int fd = ::open(QFile::encodeName(held).constData(), O_RDONLY);
        QVERIFY(fd >= 0);
        QCOMPARE(::flock(fd, LOCK_EX), 0);
        // A write into the folder sweeps it.
        SafeWrite::write(
            dir.filePath(u"new.pdf"_s), [](SafeWrite::Target &out) { out.write("x"); },
            u"Couldn't write."_s);
        QVERIFY(!QFile::exists(stale));
        QVERIFY(QFile::exists(held));
        QVERIFY(QFile::exists(other));
        ::close(fd);
    }
};

QTEST_GUILESS_MAIN(TestOutput)
#include "tst_output.moc"
