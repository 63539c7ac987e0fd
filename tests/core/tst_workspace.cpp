#include "core/Workspace.h"
#include "engine/PDFOps.h"
#include "support/Fixtures.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

using namespace Fixtures;

class TestWorkspace : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QString m_pdf, m_picture, m_text;

    QString path(const QString &name) { return m_dir.filePath(name); }

    QString encrypted(const QString &name, const QString &user, bool restricted = false)
    {
        return writeFile(path(name), makePDF(numberedPages(2), lock(user, u"boss"_s, restricted)));
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_pdf = writeFile(path(u"a.pdf"_s), textPDF(3));
        m_picture = writeFile(path(u"photo.jpg"_s), encode(marker(300, 200), "JPEG"));
        m_text = writeFile(path(u"notes.txt"_s), "hello");
    }

    void mixedIntake()
    {
        Workspace ws;
        ws.add({m_pdf, m_picture, m_text, path(u"missing.pdf"_s)});
        QCOMPARE(ws.files().size(), 2);
        QCOMPARE(ws.pdfs().size(), 1);
        QCOMPARE(ws.current()->name(), u"a"_s);
        QCOMPARE(ws.files()[1].pageCount(), 1); // the picture
        QCOMPARE(ws.files()[0].bytes, QFileInfo(m_pdf).size());
        QCOMPARE(ws.notice().value(), u"“notes.txt” isn't a PDF or a picture.\n"
                                      "“missing.pdf” couldn't be read as a PDF."_s);
    }

    void intakeByExtension_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("kind"); // -1 refused
        QTest::addColumn<QString>("notice");
        const QByteArray pdf = textPDF(1);
        const QByteArray png = encode(marker(40, 30), "PNG");
        const QByteArray jpg = encode(marker(40, 30), "JPEG");
        QTest::newRow("pdf") << "x.pdf" << pdf << 0 << QString();
        QTest::newRow("PDF in capitals") << "X.PDF" << pdf << 0 << QString();
        QTest::newRow("png") << "x.png" << png << 1 << QString();
        QTest::newRow("JPG in capitals") << "X.JPG" << jpg << 1 << QString();
        QTest::newRow("jpeg") << "x.jpeg" << jpg << 1 << QString();
        QTest::newRow("pdf named txt")
            << "x.txt" << pdf << -1 << u"“x.txt” isn't a PDF or a picture."_s;
        QTest::newRow("no extension")
            << "README" << pdf << -1 << u"“README” isn't a PDF or a picture."_s;
        QTest::newRow("broken pdf") << "b.pdf" << QByteArray("%PDF-1.4 garbage") << -1
                                    << u"“b.pdf” couldn't be read as a PDF."_s;
        QTest::newRow("text named png")
            << "t.png" << QByteArray("words") << -1 << u"“t.png” couldn't be read as a picture."_s;
        QTest::newRow("no pages") << "blank.pdf"
                                  << QByteArray("%PDF-1.4\n1 0 obj << /Type /Catalog /Pages 2 0 R "
                                                ">> endobj\n2 0 obj << /Type /Pages /Kids [] "
                                                "/Count 0 >> endobj\ntrailer << /Root 1 0 R "
                                                ">>\n%%EOF\n")
                                  << -1 << u"“blank.pdf” has no pages."_s;
    }
    void intakeByExtension()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, bytes);
        QFETCH(int, kind);
        QFETCH(QString, notice);
        QTemporaryDir dir;
        const QString file = writeFile(dir.filePath(name), bytes);
        Workspace ws;
        ws.add({file});
        if (kind < 0) {
            QVERIFY(ws.files().isEmpty());
            QCOMPARE(ws.notice().value_or(QString()), notice);
        } else {
            QCOMPARE(ws.files().size(), 1);
            QCOMPARE(int(ws.files()[0].kind), kind);
            QVERIFY(!ws.notice());
        }
    }

    void noticeIsKeptWhenNothingIsRefused()
    {
        Workspace ws;
        ws.setNotice(u"earlier"_s);
        ws.add({m_pdf});
        QCOMPARE(ws.notice().value(), u"earlier"_s);
    }

    // Each operation gets its own document; a file moved away gives none.
    void fresh()
    {
        QTemporaryDir dir;
        const QString gone = writeFile(dir.filePath(u"gone.pdf"_s), textPDF(1));
        Workspace ws;
        ws.add({m_pdf, m_picture, gone});
        for (const auto &file : ws.files().mid(0, 2)) {
            const auto fresh = file.fresh();
            QVERIFY(fresh && fresh != file.doc);
            QCOMPARE(fresh->pageCount(), file.pageCount());
        }
        QCOMPARE(ws.files()[0].fresh()->pageCount(), 3);
        QVERIFY(QFile::remove(gone));
        QVERIFY(!ws.files()[2].fresh());
    }

    void selection()
    {
        const QString b = writeFile(path(u"b.pdf"_s), textPDF(1));
        Workspace ws;
        ws.add({m_picture});
        QVERIFY(!ws.current());
        ws.add({m_pdf});
        const QUuid a = ws.pdfs()[0].id;
        QCOMPARE(ws.selectedID(), a); // with only a picture, a PDF is chosen
        ws.add({b});
        QCOMPARE(ws.selectedID(), a); // the choice is kept
        const QUuid bId = ws.pdfs()[1].id;
        ws.select(bId);
        QCOMPARE(ws.current()->id, bId);
        ws.remove(bId);
        QCOMPARE(ws.selectedID(), a);
        ws.remove(a);
        QVERIFY(!ws.selectedID());
        QCOMPARE(ws.files().size(), 1);
        QVERIFY(QFile::exists(m_pdf)); // forgetting never deletes
        ws.add({m_pdf, m_pdf});        // the same file twice is two entries
        QCOMPARE(ws.files().size(), 3);
        QVERIFY(ws.files()[1].id != ws.files()[2].id);
        ws.select(QUuid::createUuid()); // a stale choice falls back to the first PDF
        QCOMPARE(ws.current()->id, ws.files()[1].id);
    }

    void passwordAttempts_data()
    {
        QTest::addColumn<QList<std::optional<QString>>>("answers");
        QTest::addColumn<bool>("opened");
        QTest::addColumn<int>("asked");
        QTest::addColumn<QString>("lastText");
        using A = QList<std::optional<QString>>;
        QTest::newRow("right at once")
            << A{u"open sesame"_s} << true << 1 << u"Type the password to open “locked.pdf”."_s;
        QTest::newRow("right at the third") << A{u"x"_s, u"y"_s, u"open sesame"_s} << true << 3
                                            << u"That password didn't work. Try again (3 of 3)."_s;
        QTest::newRow("three wrong") << A{u"x"_s, u"y"_s, u"z"_s, u"open sesame"_s} << false << 3
                                     << u"That password didn't work. Try again (3 of 3)."_s;
        QTest::newRow("cancelled first")
            << A{std::nullopt} << false << 1 << u"Type the password to open “locked.pdf”."_s;
        QTest::newRow("cancelled second") << A{u"x"_s, std::nullopt} << false << 2
                                          << u"That password didn't work. Try again (2 of 3)."_s;
    }
    void passwordAttempts()
    {
        QFETCH(QList<std::optional<QString>>, answers);
        QFETCH(bool, opened);
        QFETCH(int, asked);
        QFETCH(QString, lastText);
        const QString file = encrypted(u"locked.pdf"_s, u"open sesame"_s);
        ScriptedDialogs dialogs(answers);
        Workspace ws;
        ws.setDialogs(&dialogs);
        ws.add({file});
        QCOMPARE(dialogs.asked.size(), asked);
        QCOMPARE(dialogs.asked.last().informative, lastText);
        QCOMPARE(ws.files().size(), opened ? 1 : 0);
        if (opened) {
            QCOMPARE(ws.files()[0].password, std::optional<QString>(u"open sesame"_s));
            QCOMPARE(ws.files()[0].fresh()->pageCount(), 2);
            QVERIFY(!ws.notice());
        } else {
            QCOMPARE(ws.notice().value(), u"“locked.pdf” stayed locked."_s);
        }
    }

    void ownerUnlock_data()
    {
        QTest::addColumn<QString>("user");
        QTest::addColumn<QList<std::optional<QString>>>("answers");
        QTest::addColumn<bool>("lifted");
        QTest::addColumn<QString>("notice");
        using A = QList<std::optional<QString>>;
        QTest::newRow("owner password") << QString() << A{u"boss"_s} << true << QString();
        QTest::newRow("user password three times")
            << u"reader"_s << A{u"reader"_s, u"reader"_s, u"reader"_s} << false
            << u"The owner password wasn't accepted, so the file stays as it is."_s;
        QTest::newRow("cancelled") << QString() << A{std::nullopt} << false << QString();
        QTest::newRow("second try") << QString() << A{u"nope"_s, u"boss"_s} << true << QString();
    }
    void ownerUnlock()
    {
        QFETCH(QString, user);
        QFETCH(QList<std::optional<QString>>, answers);
        QFETCH(bool, lifted);
        QFETCH(QString, notice);
        const QString file = encrypted(u"limited.pdf"_s, user, true);
        QList<std::optional<QString>> script;
        if (!user.isEmpty())
            script << user; // the open password at intake
        script << answers;
        ScriptedDialogs dialogs(script);
        Workspace ws;
        ws.setDialogs(&dialogs);
        ws.add({file});
        QCOMPARE(ws.files().size(), 1);
        QVERIFY(ws.files()[0].restricted());
        QVERIFY(ws.files()[0].fresh());
        QVERIFY(PDFOps::isRestricted(*ws.files()[0].fresh()));

        QSignalSpy changed(&ws, &Workspace::filesChanged);
        ws.unlockOwner(ws.files()[0].id);
        QCOMPARE(ws.files()[0].restricted(), !lifted);
        QCOMPARE(ws.notice().value_or(QString()), notice);
        QCOMPARE(changed.count(), lifted ? 1 : 0);
        const auto prompt = dialogs.asked.last();
        if (lifted) {
            QCOMPARE(ws.files()[0].password, std::optional<QString>(u"boss"_s));
            QVERIFY(!PDFOps::isRestricted(*ws.files()[0].fresh()));
        }
        if (answers.size() == 1)
            QCOMPARE(prompt.informative,
                     u"“limited.pdf” limits what can be done with it (such as copying or "
                     "editing). Enter its owner password to continue."_s);
    }

    // Reordering the way a list moves dragged rows: offsets before a destination.
    void move_data()
    {
        QTest::addColumn<QList<qsizetype>>("offsets");
        QTest::addColumn<qsizetype>("destination");
        QTest::addColumn<QString>("result");
        using L = QList<qsizetype>;
        QTest::newRow("first to the end") << L{0} << qsizetype(5) << "BCDEA";
        QTest::newRow("last to the front") << L{4} << qsizetype(0) << "EABCD";
        QTest::newRow("down by one") << L{1} << qsizetype(3) << "ACBDE";
        QTest::newRow("up by one") << L{2} << qsizetype(1) << "ACBDE";
        QTest::newRow("before itself") << L{2} << qsizetype(2) << "ABCDE";
        QTest::newRow("after itself") << L{2} << qsizetype(3) << "ABCDE";
        QTest::newRow("several keep their order") << L{3, 0} << qsizetype(2) << "BADCE";
        QTest::newRow("out of range ignored") << L{9, -1} << qsizetype(0) << "ABCDE";
        QTest::newRow("destination past the end") << L{0} << qsizetype(40) << "BCDEA";
    }
    void move()
    {
        QFETCH(QList<qsizetype>, offsets);
        QFETCH(qsizetype, destination);
        QFETCH(QString, result);
        Workspace ws;
        for (const QString name : {"A", "B", "C", "D", "E"})
            ws.add({writeFile(path(name + u".pdf"_s), textPDF(1))});
        const auto chosen = ws.current()->id;
        QSignalSpy changed(&ws, &Workspace::filesChanged);
        ws.move(offsets, destination);
        QString order;
        for (const PDFFile &file : ws.files())
            order += file.name();
        QCOMPARE(order, result);
        QCOMPARE(changed.size(), result == u"ABCDE" ? 0 : 1);
        QCOMPARE(ws.current()->id, chosen); // moving never changes which file is chosen
    }
};

QTEST_GUILESS_MAIN(TestWorkspace)
#include "tst_workspace.moc"
