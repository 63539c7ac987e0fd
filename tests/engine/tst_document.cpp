#include "Fixtures.h"
#include "PDFDocument.h"
#include "PDFError.h"
#include "PDFOps.h"
#include "Work.h"

#include <QFile>

#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;
using Work::errorOf;

class TestDocument : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

    QString corpusFile(const QString &name)
    {
        const QString dir = corpusDir();
        if (dir.isEmpty())
            return {};
        return dir + u'/' + name;
    }

private Q_SLOTS:
    void geometry_data()
    {
        QTest::addColumn<int>("rotate");
        QTest::addColumn<QSizeF>("media");
        QTest::addColumn<QRectF>("crop");
        QTest::addColumn<int>("rotation");
        QTest::addColumn<QSizeF>("upright");
        QTest::newRow("portrait") << 0 << QSizeF(612, 792) << QRectF() << 0 << QSizeF(612, 792);
        QTest::newRow("quarter turn")
            << 90 << QSizeF(612, 792) << QRectF() << 90 << QSizeF(792, 612);
        QTest::newRow("negative turn")
            << -90 << QSizeF(612, 792) << QRectF() << 270 << QSizeF(792, 612);
        QTest::newRow("full turns")
            << 540 << QSizeF(612, 792) << QRectF() << 180 << QSizeF(612, 792);
        QTest::newRow("crop box") << 0 << QSizeF(612, 792) << QRectF(100, 100, 200, 300) << 0
                                  << QSizeF(200, 300);
        QTest::newRow("crop box turned")
            << 270 << QSizeF(612, 792) << QRectF(100, 100, 200, 300) << 270 << QSizeF(300, 200);
        QTest::newRow("crop box larger than media")
            << 0 << QSizeF(300, 300) << QRectF(-50, -50, 500, 500) << 0 << QSizeF(300, 300);
    }
    void geometry()
    {
        QFETCH(int, rotate);
        QFETCH(QSizeF, media);
        QFETCH(QRectF, crop);
        QFETCH(int, rotation);
        QFETCH(QSizeF, upright);
        DocSpec layout;
        PageSpec page{QStringLiteral("x"), media, rotate, std::nullopt};
        if (!crop.isNull())
            page.crop = crop;
        layout.pages = {page};
        auto doc = PDFDocument::fromBytes(makePDF(layout), QStringLiteral("g.pdf"));
        QVERIFY(doc);
        const auto g = doc->page(0);
        QVERIFY(g);
        QCOMPARE(g->rotation, rotation);
        QCOMPARE(g->uprightSize(), upright);
        QVERIFY(!doc->page(1));
        QVERIFY(!doc->page(-1));
    }

    void infoAndOutline()
    {
        DocSpec layout = numberedPages(4);
        layout.info = {QStringLiteral("Contract — draft"),
                       QStringLiteral("Zoë Ávila"),
                       QStringLiteral("Rent"),
                       QStringLiteral("flat, lease"),
                       {},
                       {}};
        layout.outline = {{QStringLiteral("Start"), 0, {{QStringLiteral("Inner"), 2, {}}}},
                          {QStringLiteral("契約"), 3, {}}};
        auto doc = PDFDocument::fromBytes(makePDF(layout), QStringLiteral("i.pdf"));
        QVERIFY(doc);
        QCOMPARE(doc->pageCount(), 4);
        const auto info = doc->info();
        QCOMPARE(info.title, QStringLiteral("Contract — draft"));
        QCOMPARE(info.author, QStringLiteral("Zoë Ávila"));
        QCOMPARE(info.keywords, QStringLiteral("flat, lease"));
        const auto outline = doc->outline();
        QCOMPARE(outline.size(), 2);
        QCOMPARE(outline[0].title, QStringLiteral("Start"));
        QCOMPARE(outline[0].children.size(), 1);
        QCOMPARE(outline[0].children[0].pageIndex, 2);
        QCOMPARE(outline[1].title, QStringLiteral("契約"));
        QCOMPARE(outline[1].pageIndex, 3);
        QCOMPARE(doc->outlineCount(), 3);
    }

    void refusesWhatIsNotAPDF_data()
    {
        QTest::addColumn<QByteArray>("bytes"); // null: no such file
        QTest::newRow("empty") << QByteArray("");
        QTest::newRow("text") << QByteArray("hello, this is not a pdf\n");
        QTest::newRow("header only") << QByteArray("%PDF-1.7\n");
        QTest::newRow("truncated") << makePDF(numberedPages(3)).left(200);
        QTest::newRow("missing") << QByteArray();
    }
    void refusesWhatIsNotAPDF()
    {
        QFETCH(QByteArray, bytes);
        const QString path = m_dir.filePath(QStringLiteral("bad.pdf"));
        QFile::remove(path);
        if (!bytes.isNull()) {
            writeFile(path, bytes);
            QVERIFY(!PDFDocument::fromBytes(bytes, QStringLiteral("bad.pdf")));
        }
        QVERIFY(!PDFDocument::open(path));
        QVERIFY(!PDFDocument::open(m_dir.path())); // a folder
    }

    void passwordsAndRights_data()
    {
        QTest::addColumn<bool>("copying");
        QTest::addColumn<bool>("changes");
        QTest::addColumn<bool>("printing");
        QTest::addColumn<bool>("restricted");
        QTest::newRow("everything allowed") << true << true << true << false;
        QTest::newRow("no copying") << false << true << true << true;
        QTest::newRow("no changes") << true << false << true << true;
        QTest::newRow("no printing only") << true << true << false << false;
    }
    void passwordsAndRights()
    {
        QFETCH(bool, copying);
        QFETCH(bool, changes);
        QFETCH(bool, printing);
        QFETCH(bool, restricted);
        WriteOptions options;
        options.encrypt = true;
        options.userPassword = QStringLiteral("pässwörd");
        options.ownerPassword = QStringLiteral("owner");
        options.allowCopying = copying;
        options.allowChanges = changes;
        options.allowPrinting = printing;
        const QString path = writeFile(m_dir.filePath(QStringLiteral("enc.pdf")),
                                       makePDF(numberedPages(2), options));

        auto doc = PDFDocument::open(path);
        QVERIFY(doc);
        QVERIFY(doc->isLocked());
        QVERIFY(doc->isEncrypted());
        QCOMPARE(doc->pageCount(), 0);
        QVERIFY(!PDFOps::isRestricted(*doc)); // locked is not restricted
        QVERIFY(!doc->unlock(QStringLiteral("passwörd")));
        QVERIFY(doc->isLocked());
        QVERIFY(doc->unlock(QStringLiteral("pässwörd")));
        QVERIFY(!doc->isLocked());
        QCOMPARE(doc->pageCount(), 2);
        QCOMPARE(doc->encryptionMethod(), QStringLiteral("AES-256"));
        QCOMPARE(doc->hasOwnerRights(), false);
        QCOMPARE(doc->allowsCopying(), copying);
        QCOMPARE(doc->allowsChanges(), changes);
        QCOMPARE(doc->allowsPrinting(), printing);
        QCOMPARE(PDFOps::isRestricted(*doc), restricted);
        QCOMPARE(doc->password(), std::optional<QString>(QStringLiteral("pässwörd")));

        auto owner = PDFDocument::open(path);
        QVERIFY(owner->unlock(QStringLiteral("owner")));
        QVERIFY(owner->hasOwnerRights());
        QVERIFY(owner->allowsCopying() && owner->allowsChanges() && owner->allowsAssembly());
        QVERIFY(!PDFOps::isRestricted(*owner));
    }

    void ownerPasswordRaisesAFreelyOpeningFile()
    {
        WriteOptions options;
        options.encrypt = true;
        options.ownerPassword = QStringLiteral("boss");
        options.allowCopying = false;
        const QString path = writeFile(m_dir.filePath(QStringLiteral("owner-only.pdf")),
                                       makePDF(numberedPages(1), options));
        auto doc = PDFDocument::open(path);
        QVERIFY(!doc->isLocked());
        QVERIFY(doc->isEncrypted());
        QVERIFY(PDFOps::isRestricted(*doc));
        QVERIFY(!doc->unlock(QStringLiteral("wrong")));
        QVERIFY(PDFOps::isRestricted(*doc));
        QVERIFY(doc->unlock(QStringLiteral("boss")));
        QVERIFY(!PDFOps::isRestricted(*doc));
    }

    void writesAndReadsBack()
    {
        auto doc = PDFDocument::fromBytes(textPDF(3), QStringLiteral("w.pdf"));
        const QString path = m_dir.filePath(QStringLiteral("written.pdf"));
        doc->write(path);
        QCOMPARE(popplerPageCount(path), 3);
        QCOMPARE(errorOf([&] { doc->write(m_dir.filePath(QStringLiteral("no/such/x.pdf"))); }),
                 QStringLiteral("Couldn't write the file."));
    }

    void corpusPasswords_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("user");
        QTest::addColumn<QString>("owner");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<bool>("hasOwner");
        const auto passwords = Fixtures::corpusPasswords();
        if (passwords.isEmpty())
            QSKIP("QUIREBOOK_CORPUS is not set");
        for (auto it = passwords.begin(); it != passwords.end(); ++it)
            QTest::newRow(qPrintable(it.key()))
                << it.key() << it->value(QStringLiteral("user"))
                << it->value(QStringLiteral("owner"))
                << it->value(QStringLiteral("user_as_typed"), it->value(QStringLiteral("user")))
                << it->contains(QStringLiteral("owner"));
    }
    void corpusPasswords()
    {
        QFETCH(QString, file);
        QFETCH(QString, user);
        QFETCH(QString, owner);
        QFETCH(QString, typed);
        QFETCH(bool, hasOwner);
        const QString path = corpusFile(file);

        auto asTyped = PDFDocument::open(path);
        QVERIFY(asTyped);
        QVERIFY(asTyped->isEncrypted());
        if (asTyped->isLocked())
            QVERIFY2(asTyped->unlock(typed), "the password as typed opens it");
        QVERIFY(asTyped->pageCount() >= 1);

        auto wrong = PDFDocument::open(path);
        if (wrong->isLocked()) {
            QVERIFY(!wrong->unlock(QStringLiteral("definitely-not-it")));
            QVERIFY(wrong->isLocked());
            QCOMPARE(wrong->pageCount(), 0);
        }

        auto withUser = PDFDocument::open(path);
        if (withUser->isLocked())
            QVERIFY(withUser->unlock(user));
        QCOMPARE(withUser->pageCount(), asTyped->pageCount());

        if (hasOwner) {
            auto withOwner = PDFDocument::open(path);
            QVERIFY(withOwner->unlock(owner));
            QVERIFY(withOwner->hasOwnerRights());
            QVERIFY(!PDFOps::isRestricted(*withOwner));
        }
    }

    // The texts themselves are checked where they are shown.
    void errorKinds()
    {
        QCOMPARE(errorOf([] { throw PDFError::cancelled(); }), QStringLiteral("cancelled"));
        QVERIFY(!PDFError::failed(QStringLiteral("Cancelled.")).isCancelled());
        QCOMPARE(QString::fromUtf8(PDFError::failed(QStringLiteral("Ünïcode.")).what()),
                 QStringLiteral("Ünïcode."));
    }
};

QTEST_GUILESS_MAIN(TestDocument)
#include "tst_document.moc"
