#include "engine/PDFDocument.h"
#include "support/Fixtures.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;

// Every real-world PDF through `quirebook-cli searchable`: it either becomes
// a sound copy with every page, or fails with one line of the program's own,
// and the source stays as it was.
class TestSearchableCorpus : public QObject {
    Q_OBJECT
    QTemporaryDir m_out;

private Q_SLOTS:
    void corpus_data()
    {
        QTest::addColumn<QString>("path");
        const QString dir = corpusDir();
        if (dir.isEmpty())
            QSKIP("QUIREBOOK_CORPUS is not set");
        for (const auto &entry :
             QDir(dir).entryInfoList({QStringLiteral("*.pdf")}, QDir::Files, QDir::Name))
            QTest::newRow(qPrintable(entry.fileName())) << entry.filePath();
    }
    void corpus()
    {
        QFETCH(QString, path);
        const QString name = QFileInfo(path).fileName();
        const QByteArray before = readFile(path);
        const QString folder = m_out.filePath(QFileInfo(path).completeBaseName());
        QVERIFY(QDir().mkpath(folder));

        QStringList arguments{QStringLiteral("searchable"), QStringLiteral("-q"),
                              QStringLiteral("--dpi"),      QStringLiteral("100"),
                              QStringLiteral("-o"),         folder};
        const auto passwords = corpusPasswords().value(name);
        if (passwords.contains(QStringLiteral("user")))
            arguments << QStringLiteral("--password") << passwords.value(QStringLiteral("user"));
        if (!passwords.value(QStringLiteral("owner")).isEmpty())
            arguments << QStringLiteral("--owner-password")
                      << passwords.value(QStringLiteral("owner"));
        arguments << path;

        const auto result = runCli(arguments, {}, 240000);
        QVERIFY2(!result.timedOut, "hung");
        QVERIFY2(!result.crashed, qPrintable(result.err));
        QVERIFY2(result.exitCode == 0 || result.exitCode == 1, qPrintable(result.err));
        const QStringList written = QDir(folder).entryList(QDir::Files | QDir::Hidden);
        if (result.exitCode == 1) {
            const QString message = result.err.trimmed();
            QVERIFY2(message.startsWith(QLatin1String("quirebook-cli: ")) &&
                         !message.contains(u'\n'),
                     qPrintable(result.err));
            QVERIFY2(written.size() <= 1, qPrintable(written.join(u',')));
        } else {
            const QString out = result.out.trimmed();
            QCOMPARE(QFileInfo(out).dir().absolutePath(), QDir(folder).absolutePath());
            QCOMPARE(written, QStringList{QFileInfo(out).fileName()});
            const auto check = runProgram(QStringLiteral("qpdf"), {QStringLiteral("--check"), out});
            QVERIFY2(check.exitCode == 0 || check.exitCode == 3, qPrintable(check.out + check.err));
            // Every page the program sees in the source (a page tree it had
            // to mend may show fewer than the file claims).
            auto source = PDFDocument::open(path);
            QVERIFY(source);
            if (source->isLocked())
                QVERIFY(source->unlock(passwords.value(QStringLiteral("user"))));
            QCOMPARE(popplerPageCount(out), source->pageCount());
        }
        QVERIFY2(readFile(path) == before, "the source was changed");
    }
};

QTEST_GUILESS_MAIN(TestSearchableCorpus)
#include "tst_searchablecorpus.moc"
