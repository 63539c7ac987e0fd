// Reordering the workspace's files the way a list moves dragged rows.
#include "core/Workspace.h"
#include "support/Fixtures.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;

class TestWorkspaceMove : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QStringList m_paths;

    QString order(const Workspace &ws)
    {
        QString letters;
        for (const PDFFile &file : ws.files())
            letters += file.name();
        return letters;
    }

private Q_SLOTS:
    void initTestCase()
    {
        for (const QString name : {"A", "B", "C", "D", "E"})
            m_paths << writeFile(m_dir.filePath(name + QStringLiteral(".pdf")), textPDF(1, name));
    }

    void move_data()
    {
        QTest::addColumn<QList<qsizetype>>("offsets");
        QTest::addColumn<qsizetype>("destination");
        QTest::addColumn<QString>("result");
        QTest::addColumn<bool>("signalled");
        using L = QList<qsizetype>;
        QTest::newRow("first to the end") << L{0} << qsizetype(5) << "BCDEA" << true;
        QTest::newRow("last to the front") << L{4} << qsizetype(0) << "EABCD" << true;
        QTest::newRow("down by one") << L{1} << qsizetype(3) << "ACBDE" << true;
        QTest::newRow("up by one") << L{2} << qsizetype(1) << "ACBDE" << true;
        QTest::newRow("before itself") << L{2} << qsizetype(2) << "ABCDE" << false;
        QTest::newRow("after itself") << L{2} << qsizetype(3) << "ABCDE" << false;
        QTest::newRow("several keep their order") << L{3, 0} << qsizetype(2) << "BADCE" << true;
        QTest::newRow("out of range ignored") << L{9, -1} << qsizetype(0) << "ABCDE" << false;
        QTest::newRow("destination past the end") << L{0} << qsizetype(40) << "BCDEA" << true;
    }
    void move()
    {
        QFETCH(QList<qsizetype>, offsets);
        QFETCH(qsizetype, destination);
        QFETCH(QString, result);
        QFETCH(bool, signalled);
        Workspace ws;
        ws.add(m_paths);
        const auto chosen = ws.current()->id;
        QSignalSpy changed(&ws, &Workspace::filesChanged);
        ws.move(offsets, destination);
        QCOMPARE(order(ws), result);
        QCOMPARE(changed.size(), signalled ? 1 : 0);
        // Moving never changes which file is chosen.
        QCOMPARE(ws.current()->id, chosen);
        QCOMPARE(ws.pdfs().first().name(), result.left(1));
    }
};

QTEST_GUILESS_MAIN(TestWorkspaceMove)
#include "tst_workspacemove.moc"
