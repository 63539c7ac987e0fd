#include "core/Workspace.h"
#include "engine/PDFOps.h"
#include "support/Fixtures.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;

class TestWorkspace : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QString m_pdf, m_picture, m_text;

    QString path(const QString &name) { return m_dir.filePath(name); }

    QString encryptedFile(const QString &name, const QString &user, const QString &owner,
                          bool allowCopying = true)
    {
        WriteOptions options;
        options.encrypt = true;
        options.userPassword = user;
        options.ownerPassword = owner;
        options.allowCopying = allowCopying;
        return writeFile(path(name), makePDF(numberedPages(2), options));
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_pdf = writeFile(path(QStringLiteral("a.pdf")), textPDF(3));
        m_picture = writeFile(path(QStringLiteral("photo.jpg")), encode(marker(300, 200), "JPEG"));
        m_text = writeFile(path(QStringLiteral("notes.txt")), "hello");
    }

    void mixedIntake()
    {
        Workspace ws;
        QSignalSpy files(&ws, &Workspace::filesChanged);
        ws.add({m_pdf, m_picture, m_text, path(QStringLiteral("missing.pdf"))});
        QCOMPARE(ws.files().size(), 2);
        QCOMPARE(ws.pdfs().size(), 1);
        QCOMPARE(ws.current()->name(), QStringLiteral("a"));
        QCOMPARE(ws.files()[1].kind, PDFFile::Kind::Image);
        QCOMPARE(ws.files()[1].pageCount(), 1);
        QCOMPARE(ws.files()[0].bytes, QFileInfo(m_pdf).size());
        QCOMPARE(ws.notice().value(), QStringLiteral("“notes.txt” isn't a PDF or a picture.\n"
                                                     "“missing.pdf” couldn't be read as a PDF."));
        QVERIFY(files.count() >= 1);
    }

    void intakeByExtension_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("kind"); // -1 refused, -2 a folder (refused)
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
            << "x.txt" << pdf << -1 << QStringLiteral("“x.txt” isn't a PDF or a picture.");
        QTest::newRow("no extension")
            << "README" << pdf << -1 << QStringLiteral("“README” isn't a PDF or a picture.");
        QTest::newRow("broken pdf") << "b.pdf" << QByteArray("%PDF-1.4 garbage") << -1
                                    << QStringLiteral("“b.pdf” couldn't be read as a PDF.");
        QTest::newRow("empty pdf") << "e.pdf" << QByteArray() << -1
                                   << QStringLiteral("“e.pdf” couldn't be read as a PDF.");
        QTest::newRow("text named png") << "t.png" << QByteArray("words") << -1
                                        << QStringLiteral("“t.png” couldn't be read as a picture.");
        QTest::newRow("pdf named jpg")
            << "p.jpg" << pdf << -1 << QStringLiteral("“p.jpg” couldn't be read as a picture.");
        QTest::newRow("a folder") << "album.pdf" << QByteArray() << -2
                                  << QStringLiteral("“album.pdf” couldn't be read as a PDF.");
        QTest::newRow("no pages") << "blank.pdf"
                                  << QByteArray("%PDF-1.4\n1 0 obj << /Type /Catalog /Pages 2 0 R "
                                                ">> endobj\n2 0 obj << /Type /Pages /Kids [] "
                                                "/Count 0 >> endobj\ntrailer << /Root 1 0 R "
                                                ">>\n%%EOF\n")
                                  << -1 << QStringLiteral("“blank.pdf” has no pages.");
    }
    void intakeByExtension()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, bytes);
        QFETCH(int, kind);
        QFETCH(QString, notice);
        QTemporaryDir dir;
        const QString file = kind == -2 ? dir.filePath(name) : writeFile(dir.filePath(name), bytes);
        if (kind == -2)
            QVERIFY(QDir(dir.path()).mkdir(name));
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
        ws.setNotice(QStringLiteral("earlier"));
        ws.add({m_pdf});
        QCOMPARE(ws.notice().value(), QStringLiteral("earlier"));
    }

    // Each operation gets its own document; a file moved away gives none.
    void fresh()
    {
        QTemporaryDir dir;
        const QString gone = writeFile(dir.filePath(QStringLiteral("gone.pdf")), textPDF(1));
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
        const QString b = writeFile(path(QStringLiteral("b.pdf")), textPDF(1));
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
        QTest::newRow("right at once") << A{QStringLiteral("open sesame")} << true << 1
                                       << QStringLiteral("Type the password to open “locked.pdf”.");
        QTest::newRow("right at the third")
            << A{QStringLiteral("x"), QStringLiteral("y"), QStringLiteral("open sesame")} << true
            << 3 << QStringLiteral("That password didn't work. Try again (3 of 3).");
        QTest::newRow("three wrong")
            << A{QStringLiteral("x"), QStringLiteral("y"), QStringLiteral("z"),
                 QStringLiteral("open sesame")}
            << false << 3 << QStringLiteral("That password didn't work. Try again (3 of 3).");
        QTest::newRow("cancelled first")
            << A{std::nullopt} << false << 1
            << QStringLiteral("Type the password to open “locked.pdf”.");
        QTest::newRow("cancelled second")
            << A{QStringLiteral("x"), std::nullopt} << false << 2
            << QStringLiteral("That password didn't work. Try again (2 of 3).");
    }
    void passwordAttempts()
    {
        QFETCH(QList<std::optional<QString>>, answers);
        QFETCH(bool, opened);
        QFETCH(int, asked);
        QFETCH(QString, lastText);
        const QString file = encryptedFile(QStringLiteral("locked.pdf"),
                                           QStringLiteral("open sesame"), QStringLiteral("owner"));
        ScriptedDialogs dialogs(answers);
        Workspace ws;
        ws.setDialogs(&dialogs);
        ws.add({file});
        QCOMPARE(dialogs.asked.size(), asked);
        QCOMPARE(dialogs.asked.last().informative, lastText);
        QCOMPARE(ws.files().size(), opened ? 1 : 0);
        if (opened) {
            QCOMPARE(ws.files()[0].password, std::optional<QString>(QStringLiteral("open sesame")));
            QCOMPARE(ws.files()[0].fresh()->pageCount(), 2);
            QVERIFY(!ws.notice());
        } else {
            QCOMPARE(ws.notice().value(), QStringLiteral("“locked.pdf” stayed locked."));
        }
    }

    void ownerUnlock_data()
    {
        QTest::addColumn<QString>("user");
        QTest::addColumn<QList<std::optional<QString>>>("answers");
        QTest::addColumn<bool>("lifted");
        QTest::addColumn<QString>("notice");
        using A = QList<std::optional<QString>>;
        QTest::newRow("owner password")
            << QString() << A{QStringLiteral("boss")} << true << QString();
        QTest::newRow("user password three times")
            << QStringLiteral("reader")
            << A{QStringLiteral("reader"), QStringLiteral("reader"), QStringLiteral("reader")}
            << false
            << QStringLiteral("The owner password wasn't accepted, so the file stays as it is.");
        QTest::newRow("cancelled") << QString() << A{std::nullopt} << false << QString();
        QTest::newRow("second try")
            << QString() << A{QStringLiteral("nope"), QStringLiteral("boss")} << true << QString();
    }
    void ownerUnlock()
    {
        QFETCH(QString, user);
        QFETCH(QList<std::optional<QString>>, answers);
        QFETCH(bool, lifted);
        QFETCH(QString, notice);
        const QString file =
            encryptedFile(QStringLiteral("limited.pdf"), user, QStringLiteral("boss"), false);
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
            QCOMPARE(ws.files()[0].password, std::optional<QString>(QStringLiteral("boss")));
            QVERIFY(!PDFOps::isRestricted(*ws.files()[0].fresh()));
        }
        if (answers.size() == 1)
            QCOMPARE(
                prompt.informative,
                QStringLiteral("“limited.pdf” limits what can be done with it (such as copying or "
                               "editing). Enter its owner password to continue."));
    }
};

QTEST_GUILESS_MAIN(TestWorkspace)
#include "tst_workspace.moc"
