#include "core/Output.h"
#include "core/Workspace.h"
#include "engine/PDFError.h"
#include "engine/PDFOps.h"
#include "engine/SafeWrite.h"
#include "support/Fixtures.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

using namespace Fixtures;

namespace {
QStringList hiddenLeftovers(const QString &folder)
{
    return QDir(folder).entryList({QStringLiteral(".quirebook-*")}, QDir::Files | QDir::Hidden);
}
} // namespace

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
        const QString pdf = QStringLiteral("pdf"), same = QStringLiteral("same");
        QTest::newRow("free") << QStringList{} << QStringLiteral("new") << pdf
                              << QStringLiteral("new.pdf");
        QTest::newRow("taken once")
            << QStringList{"same.pdf"} << same << pdf << QStringLiteral("same 2.pdf");
        QTest::newRow("taken twice")
            << QStringList{"same.pdf", "same 2.pdf"} << same << pdf << QStringLiteral("same 3.pdf");
        QTest::newRow("gap is not filled backwards")
            << QStringList{"same.pdf", "same 3.pdf"} << same << pdf << QStringLiteral("same 2.pdf");
        QTest::newRow("folder") << QStringList{"a split/"} << QStringLiteral("a split") << QString()
                                << QStringLiteral("a split 2");
        QTest::newRow("a folder blocks a file")
            << QStringList{"x.pdf/"} << QStringLiteral("x") << pdf << QStringLiteral("x 2.pdf");
        QTest::newRow("number in the name")
            << QStringList{"scan 2 compressed.pdf"} << QStringLiteral("scan 2 compressed") << pdf
            << QStringLiteral("scan 2 compressed 2.pdf");
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
    // a file name is kept; numbered rather than overwriting either way.
    void chosenPlaces_data()
    {
        QTest::addColumn<QString>("chosen");
        QTest::addColumn<QStringList>("present");
        QTest::addColumn<QString>("expected");
        QTest::newRow("a folder") << "" << QStringList{} << "a compressed.pdf";
        QTest::newRow("a folder, name taken")
            << "" << QStringList{"a compressed.pdf"} << "a compressed 2.pdf";
        QTest::newRow("a file") << "notes.md" << QStringList{} << "notes.md";
        QTest::newRow("a file, taken") << "notes.md" << QStringList{"notes.md"} << "notes 2.md";
        QTest::newRow("a file without extension") << "out" << QStringList{} << "out";
    }
    void chosenPlaces()
    {
        QFETCH(QString, chosen);
        QFETCH(QStringList, present);
        QFETCH(QString, expected);
        QTemporaryDir dir;
        for (const QString &name : present)
            writeFile(dir.filePath(name), "x");
        const QString place = chosen.isEmpty() ? dir.path() : dir.filePath(chosen);
        QCOMPARE(Output::chosenURL(place, QStringLiteral("a compressed"), QStringLiteral("pdf")),
                 dir.filePath(expected));
    }

    void pdfNextToTheSource()
    {
        QTemporaryDir dir;
        const PDFFile a = fileIn(dir.path(), QStringLiteral("a.pdf"));
        QCOMPARE(Output::pdfURL(a, QStringLiteral("compressed"), nullptr),
                 std::optional<QString>(dir.filePath(QStringLiteral("a compressed.pdf"))));
        writeFile(dir.filePath(QStringLiteral("a compressed.pdf")), "x");
        QCOMPARE(Output::pdfURL(a, QStringLiteral("compressed"), nullptr),
                 std::optional<QString>(dir.filePath(QStringLiteral("a compressed 2.pdf"))));
    }

    void unwritableFolder()
    {
        // A process folder under /proc takes no new files, even from root.
        PDFFile file;
        file.path = QStringLiteral("/proc/1/a.pdf");
        QVERIFY(!Output::folder(file));
        ScriptedDialogs dialogs;
        dialogs.saveAnswers = {QStringLiteral("/tmp/chosen.pdf")};
        QCOMPARE(Output::pdfURL(file, QStringLiteral("compressed"), &dialogs),
                 std::optional<QString>(QStringLiteral("/tmp/chosen.pdf")));
        QCOMPARE(dialogs.saveProposals, QStringList{QStringLiteral("|a compressed.pdf")});
        QVERIFY(!Output::pdfURL(file, QStringLiteral("compressed"), &dialogs)); // cancelled
        try {
            Output::newFolder(file, QStringLiteral("split"));
            QFAIL("no folder expected");
        } catch (const PDFError &e) {
            QCOMPARE(e.description(),
                     QStringLiteral("Quirebook can't write next to “a.pdf”. Copy the file to "
                                    "your Desktop or Documents first."));
        }
    }

    void newFoldersAreNeverReused()
    {
        QTemporaryDir dir;
        const PDFFile a = fileIn(dir.path(), QStringLiteral("a.pdf"));
        QCOMPARE(Output::newFolder(a, QStringLiteral("split")),
                 dir.filePath(QStringLiteral("a split")));
        // What a killed run left in the folder it was filling goes with the next run.
        writeFile(dir.filePath(QStringLiteral("a split/.quirebook-DEAD.pdf")), "x");
        writeFile(dir.filePath(QStringLiteral(".quirebook-DEAD.pdf")), "x");
        QCOMPARE(Output::newFolder(a, QStringLiteral("split")),
                 dir.filePath(QStringLiteral("a split 2")));
        QVERIFY(QFileInfo(dir.filePath(QStringLiteral("a split 2"))).isDir());
        QVERIFY(hiddenLeftovers(dir.filePath(QStringLiteral("a split"))).isEmpty());
        QVERIFY(hiddenLeftovers(dir.path()).isEmpty());
    }

    void safeWriteReplacesAtomically()
    {
        QTemporaryDir dir;
        const QString target = writeFile(dir.filePath(QStringLiteral("out.pdf")), "old");
        SafeWrite::write(
            target,
            [&](SafeWrite::Target &out) {
                const QStringList hidden = hiddenLeftovers(dir.path());
                QCOMPARE(hidden.size(), 1);
                QVERIFY(hidden.first().endsWith(QLatin1String(".pdf")));
                out.write("a first try");
                out.restart();
                out.write(QByteArray("new"));
            },
            QStringLiteral("Couldn't write."));
        QCOMPARE(readFile(target), QByteArray("new"));
        QVERIFY(hiddenLeftovers(dir.path()).isEmpty());
    }

    // A failed write leaves the old file and no temporary one, and says the
    // operation's own sentence unless the writer gave one: also when the
    // folder went away meanwhile (the rename fails) or was never there.
    void safeWriteFailures_data()
    {
        QTest::addColumn<int>("how");
        QTest::addColumn<QString>("message");
        const QString merged = QStringLiteral("Couldn't write the merged file.");
        QTest::newRow("own message") << 0 << QStringLiteral("The write said no.");
        QTest::newRow("any other failure") << 1 << merged;
        QTest::newRow("folder removed meanwhile") << 2 << merged;
        QTest::newRow("no such folder") << 3 << merged;
    }
    void safeWriteFailures()
    {
        QFETCH(int, how);
        QTemporaryDir dir;
        const QString folder = dir.filePath(QStringLiteral("out"));
        QVERIFY(QDir().mkdir(folder));
        const QString target = how == 3 ? dir.filePath(QStringLiteral("missing/out.pdf"))
                                        : writeFile(folder + QStringLiteral("/out.pdf"), "old");
        try {
            SafeWrite::write(
                target,
                [&](SafeWrite::Target &out) {
                    out.write("half");
                    if (how == 0)
                        throw PDFError::failed(QStringLiteral("The write said no."));
                    if (how == 1)
                        throw std::runtime_error("disk full");
                    QVERIFY(QDir(folder).removeRecursively());
                },
                QStringLiteral("Couldn't write the merged file."));
            QFAIL("expected a failure");
        } catch (const PDFError &e) {
            QTEST(e.description(), "message");
        }
        if (how < 2)
            QCOMPARE(readFile(target), QByteArray("old"));
        QCOMPARE(QFileInfo::exists(folder), how != 2); // not made again
        QVERIFY(hiddenLeftovers(folder).isEmpty());
        QVERIFY(hiddenLeftovers(dir.path()).isEmpty());
    }

    void staleTemporariesGoHeldOnesStay()
    {
        QTemporaryDir dir;
        const QString stale = writeFile(dir.filePath(QStringLiteral(".quirebook-DEAD.pdf")), "x");
        const QString held = writeFile(dir.filePath(QStringLiteral(".quirebook-LIVE.pdf")), "x");
        const QString other = writeFile(dir.filePath(QStringLiteral(".hidden.pdf")), "x");
        const int fd = ::open(QFile::encodeName(held).constData(), O_RDONLY);
        QVERIFY(fd >= 0);
        QCOMPARE(::flock(fd, LOCK_EX), 0);
        SafeWrite::removeStale(dir.path());
        QVERIFY(!QFile::exists(stale));
        QVERIFY(QFile::exists(held));
        QVERIFY(QFile::exists(other));
        ::close(fd);
    }
};

QTEST_GUILESS_MAIN(TestOutput)
#include "tst_output.moc"
