// "Show in Folder": the file manager is asked with percent-encoded file
// URIs and the window goes on meanwhile; only when it can't show them are
// their folders opened, each once.
#include "screens/Reveal.h"

#include <QDir>
#include <QTest>

class TestReveal : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { Reveal::setMeans({}); }

    void urisAreEncoded()
    {
        const QString path = QStringLiteral("/home/zoë/Scans #3/100% done 字.pdf");
        QCOMPARE(Reveal::uris({path}),
                 QStringList{"file:///home/zo%C3%AB/Scans%20%233/100%25%20done%20%E5%AD%97.pdf"});
    }

    void fallsBackOnlyWhenTheFileManagerCant_data()
    {
        QTest::addColumn<bool>("shown");
        QTest::addColumn<QStringList>("paths");
        QTest::addColumn<QStringList>("opened");
        const QStringList two{"/tmp/r/a.pdf", "/tmp/r/b.pdf"};
        QTest::newRow("shown") << true << two << QStringList{};
        QTest::newRow("failed, one folder") << false << two << QStringList{"file:///tmp/r"};
        QTest::newRow("failed, two folders")
            << false << QStringList{"/tmp/r/a.pdf", "/tmp/s/b.pdf", "/tmp/r/c.pdf"}
            << QStringList{"file:///tmp/r", "file:///tmp/s"};
    }
    void fallsBackOnlyWhenTheFileManagerCant()
    {
        QFETCH(bool, shown);
        QFETCH(QStringList, paths);
        QFETCH(QStringList, opened);
        QStringList asked, folders;
        std::function<void(bool)> answer;
        Reveal::setMeans({[&](const QStringList &uris, std::function<void(bool)> answered) {
                              asked += uris;
                              answer = std::move(answered);
                          },
                          [&](const QUrl &folder) { folders << folder.toString(); }});
        Reveal::showInFolder(paths);
        // Nothing waits for the answer, and nothing opens before it.
        QCOMPARE(asked.size(), paths.size());
        QVERIFY(answer && folders.isEmpty());
        answer(shown);
        QCOMPARE(folders, opened);
    }
};

QTEST_MAIN(TestReveal)
#include "tst_reveal.moc"
