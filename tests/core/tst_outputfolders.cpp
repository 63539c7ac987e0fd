// quirebook-cli's -o given as a folder ending in "/": made when it isn't
// there (one level only), refused in plain words when it can't be.
#include "core/Output.h"
#include "engine/PDFError.h"
#include "support/Attempt.h"
#include "support/Fixtures.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;

class TestOutputFolders : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void folderEndingInSlash_data()
    {
        QTest::addColumn<QString>("chosen");
        QTest::addColumn<QStringList>("present"); // files, and folders ending in "/"
        QTest::addColumn<QString>("expected");    // the place, or the message
        QTest::newRow("made") << "out/" << QStringList{} << "out/a compressed.pdf";
        QTest::newRow("there, name taken")
            << "out/" << QStringList{"out/", "out/a compressed.pdf"} << "out/a compressed 2.pdf";
        QTest::newRow("a file") << "out/" << QStringList{"out"}
                                << "“{dir}/out” is a file, not a folder.";
        QTest::newRow("two levels") << "no/such/" << QStringList{}
                                    << "Couldn't make the folder “{dir}/no/such”, because "
                                       "“{dir}/no” doesn't exist.";
        QTest::newRow("not writable")
            << "/proc/1/out/" << QStringList{}
            << "Couldn't make the folder “/proc/1/out”. Check that you can write to the folder "
               "it goes in.";
    }
    void folderEndingInSlash()
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
        const QString error = Attempt::errorOf([&] {
            got = Output::chosenURL(place, QStringLiteral("a compressed"), QStringLiteral("pdf"));
        });
        if (expected.endsWith(QLatin1String(".pdf"))) {
            QCOMPARE(error, QStringLiteral("no error"));
            QCOMPARE(got, dir.filePath(expected));
        } else {
            QCOMPARE(error, QString(expected).replace(QStringLiteral("{dir}"), dir.path()));
            QVERIFY(!QFileInfo::exists(dir.filePath(QStringLiteral("no"))));
        }
    }
};

QTEST_GUILESS_MAIN(TestOutputFolders)
#include "tst_outputfolders.moc"
