#include "Fixtures.h"
#include "PopplerCheck.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace Fixtures;

namespace {
QStringList hidden(const QString &folder)
{
    return QDir(folder).entryList({QStringLiteral(".quirebook-*")}, QDir::Files | QDir::Hidden);
}
} // namespace

class TestMergeCli : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QString m_a, m_b, m_heic;

private Q_SLOTS:
    void initTestCase()
    {
        DocSpec a = numberedPages(3, QStringLiteral("Alpha"));
        a.outline = {{QStringLiteral("Start"), 0, {}}, {QStringLiteral("End"), 2, {}}};
        a.links = {{0, 2}};
        DocSpec b = numberedPages(2, QStringLiteral("Beta"));
        b.outline = {{QStringLiteral("Second"), 1, {}}};
        b.links = {{1, 0}};
        m_a = writeFile(m_dir.filePath(QStringLiteral("a.pdf")), makePDF(a));
        m_b = writeFile(m_dir.filePath(QStringLiteral("b.pdf")), makePDF(b));
        const QByteArray heicBytes = heic(marker(640, 480));
        m_heic = heicBytes.isEmpty()
                     ? writeFile(m_dir.filePath(QStringLiteral("photo.png")),
                                 encode(marker(640, 480), "PNG"))
                     : writeFile(m_dir.filePath(QStringLiteral("photo.heic")), heicBytes);
    }

    void mergesWithBookmarksAndLinks()
    {
        const QString out = m_dir.filePath(QStringLiteral("out.pdf"));
        const auto result =
            runCli({QStringLiteral("merge"), m_a, m_b, m_heic, QStringLiteral("-o"), out});
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out.trimmed(), out);
        QCOMPARE(popplerPageCount(out), 6);
        QCOMPARE(PopplerCheck::bookmarks(out),
                 (QStringList{QStringLiteral("Start→1"), QStringLiteral("End→3"),
                              QStringLiteral("Second→5")}));
        QCOMPARE(PopplerCheck::linkTargets(out), (QList<QList<int>>{{3}, {}, {}, {}, {4}, {}}));
        QCOMPARE(runProgram(QStringLiteral("qpdf"), {QStringLiteral("--check"), out}).exitCode, 0);
        QVERIFY(result.err.contains(QStringLiteral("Merged 6 pages")));

        // Asked again for the same place, it numbers instead of overwriting.
        const auto again = runCli({QStringLiteral("merge"), m_a, m_b, QStringLiteral("-o"), out});
        QCOMPARE(again.out.trimmed(), m_dir.filePath(QStringLiteral("out 2.pdf")));
        QCOMPARE(popplerPageCount(out), 6);
    }

    void namesLikeTheWindow_data()
    {
        QTest::addColumn<QStringList>("files");
        QTest::addColumn<QString>("name");
        QTest::newRow("two files") << QStringList{"a.pdf", "b.pdf"} << "Merged.pdf";
        QTest::newRow("three, PDF first")
            << QStringList{"a.pdf", "b.pdf", "a.pdf"} << "a merged.pdf";
    }
    void namesLikeTheWindow()
    {
        QFETCH(QStringList, files);
        QFETCH(QString, name);
        QTemporaryDir dir;
        QStringList paths;
        for (const QString &file : files) {
            const QString copy = dir.filePath(file);
            if (!QFile::exists(copy))
                QFile::copy(m_dir.filePath(file), copy);
            paths << copy;
        }
        const auto first =
            runCli(QStringList{QStringLiteral("merge"), QStringLiteral("-q")} + paths);
        QCOMPARE(first.exitCode, 0);
        QCOMPARE(first.out.trimmed(), dir.filePath(name));
        QVERIFY(first.err.isEmpty());
        const auto second =
            runCli(QStringList{QStringLiteral("merge"), QStringLiteral("-q")} + paths);
        QCOMPARE(second.out.trimmed(), dir.filePath(QString(name).replace(
                                           QStringLiteral(".pdf"), QStringLiteral(" 2.pdf"))));
    }

    void passwordsInFileOrder()
    {
        QTemporaryDir dir;
        auto locked = [&](const QString &name, const QString &password) {
            WriteOptions options;
            options.encrypt = true;
            options.userPassword = password;
            options.ownerPassword = password + QStringLiteral("-owner");
            return writeFile(dir.filePath(name), makePDF(numberedPages(1), options));
        };
        const QString one = locked(QStringLiteral("one.pdf"), QStringLiteral("first"));
        const QString two = locked(QStringLiteral("two.pdf"), QStringLiteral("second"));
        const auto ok =
            runCli({QStringLiteral("merge"), QStringLiteral("--password"), QStringLiteral("first"),
                    QStringLiteral("--password"), QStringLiteral("second"), one, m_a, two});
        QCOMPARE(ok.exitCode, 0);
        QCOMPARE(popplerPageCount(ok.out.trimmed()), 5);
        const auto missing = runCli({QStringLiteral("merge"), QStringLiteral("--password"),
                                     QStringLiteral("first"), one, two});
        QCOMPARE(missing.exitCode, 1);
        QCOMPARE(missing.err.trimmed(), QStringLiteral("quirebook-cli: “two.pdf” stayed locked."));
    }

    void restrictedNeedsTheOwner()
    {
        QTemporaryDir dir;
        WriteOptions options;
        options.encrypt = true;
        options.ownerPassword = QStringLiteral("boss");
        options.allowChanges = false;
        const QString limited = writeFile(dir.filePath(QStringLiteral("limited.pdf")),
                                          makePDF(numberedPages(2), options));
        const auto refused = runCli({QStringLiteral("merge"), limited, m_a, QStringLiteral("-o"),
                                     dir.filePath(QStringLiteral("x.pdf"))});
        QCOMPARE(refused.exitCode, 1);
        QVERIFY(refused.err.contains(QStringLiteral("This PDF has restrictions set by its owner")));
        QVERIFY(!QFile::exists(dir.filePath(QStringLiteral("x.pdf"))));
        const auto lifted = runCli({QStringLiteral("merge"), QStringLiteral("--owner-password"),
                                    QStringLiteral("boss"), limited, m_a, QStringLiteral("-o"),
                                    dir.filePath(QStringLiteral("x.pdf"))});
        QCOMPARE(lifted.exitCode, 0);
        QCOMPARE(popplerPageCount(dir.filePath(QStringLiteral("x.pdf"))), 5);
    }

    void usage_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("status");
        QTest::newRow("one file") << QStringList{QStringLiteral("merge"), QStringLiteral("a.pdf")}
                                  << 2;
        QTest::newRow("help") << QStringList{QStringLiteral("merge"), QStringLiteral("--help")}
                              << 0;
        QTest::newRow("unknown option")
            << QStringList{QStringLiteral("merge"), QStringLiteral("--fast")} << 2;
    }
    void usage()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, status);
        QCOMPARE(runCli(arguments).exitCode, status);
    }

    // Interrupted or killed at any moment: the destination is either absent
    // or complete, and no temporary file outlives the next run.
    void interruptedAtAnyMoment_data()
    {
        QTest::addColumn<int>("signal");
        QTest::addColumn<int>("afterMs");
        for (int ms : {50, 150, 300, 600}) {
            QTest::addRow("SIGINT after %d ms", ms) << int(SIGINT) << ms;
            QTest::addRow("SIGKILL after %d ms", ms) << int(SIGKILL) << ms;
        }
    }
    void interruptedAtAnyMoment()
    {
        QFETCH(int, signal);
        QFETCH(int, afterMs);
        static const QByteArray big = textPDF(4000, QStringLiteral("Big"));
        QTemporaryDir dir;
        const QString one = writeFile(dir.filePath(QStringLiteral("one.pdf")), big);
        const QString two = writeFile(dir.filePath(QStringLiteral("two.pdf")), big);
        const QString out = dir.filePath(QStringLiteral("out.pdf"));
        QProcess process;
        process.start(
            qEnvironmentVariable("QUIREBOOK_CLI"),
            {QStringLiteral("merge"), QStringLiteral("-q"), one, two, QStringLiteral("-o"), out});
        QVERIFY(process.waitForStarted());
        QTest::qWait(afterMs);
        ::kill(pid_t(process.processId()), signal);
        QVERIFY(process.waitForFinished(30000));
        if (signal == SIGINT && process.exitStatus() == QProcess::NormalExit &&
            process.exitCode() != 0) {
            QCOMPARE(process.exitCode(), 130);
            QVERIFY(hidden(dir.path()).isEmpty());
        }
        if (QFile::exists(out))
            QCOMPARE(popplerPageCount(out), 8000);
        // The next run in that folder clears what a killed one left.
        const auto next = runCli({QStringLiteral("merge"), QStringLiteral("-q"), m_a, m_b,
                                  QStringLiteral("-o"), dir.filePath(QStringLiteral("next.pdf"))});
        QCOMPARE(next.exitCode, 0);
        QVERIFY(hidden(dir.path()).isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestMergeCli)
#include "tst_mergecli.moc"
