#include "engine/PDFDocument.h"
#include "engine/PDFError.h"
#include "engine/PDFOps.h"
#include "support/Attempt.h"
#include "support/Fixtures.h"

#include <qpdf/QPDF.hh>

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace Fixtures;
using Attempt::errorOf;

class TestDocument : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

private Q_SLOTS:
    void infoAndOutline()
    {
        DocSpec layout = numberedPages(4);
        layout.info = {u"Contract — draft"_s, u"Zoë Ávila"_s, u"Rent"_s, u"flat, lease"_s, {}, {}};
        layout.outline = {{u"Start"_s, 0, {{u"Inner"_s, 2, {}}}}, {u"契約"_s, 3, {}}};
        auto doc = PDFDocument::fromBytes(makePDF(layout), u"i.pdf"_s);
        QVERIFY(doc);
        QCOMPARE(doc->pageCount(), 4);
        const auto info = doc->info();
        QCOMPARE(info.title, u"Contract — draft"_s);
        QCOMPARE(info.author, u"Zoë Ávila"_s);
        QCOMPARE(info.keywords, u"flat, lease"_s);
        const auto outline = doc->outline();
        QCOMPARE(outline.size(), 2);
        QCOMPARE(outline[0].title, u"Start"_s);
        QCOMPARE(outline[0].children.size(), 1);
        QCOMPARE(outline[0].children[0].pageIndex, 2);
        QCOMPARE(outline[1].title, u"契約"_s);
        QCOMPARE(outline[1].pageIndex, 3);
        QCOMPARE(doc->outlineCount(), 3);
    }

    // Some writers give a bookmark's page as a number instead of the page.
    void bookmarkToAPageNumber_data()
    {
        QTest::addColumn<qlonglong>("number");
        QTest::addColumn<int>("pageIndex");
        QTest::newRow("the third page") << 2LL << 2;
        QTest::newRow("past the end") << 4LL << -1;
        QTest::newRow("2^32 + 1, which an int wraps to 1") << 4294967297LL << -1;
    }
    void bookmarkToAPageNumber()
    {
        QFETCH(qlonglong, number);
        QFETCH(int, pageIndex);
        DocSpec layout = numberedPages(4);
        layout.outline = {{u"Mark"_s, 0, {}}};
        auto doc = PDFDocument::fromBytes(makePDF(layout), u"n.pdf"_s);
        QVERIFY(doc);
        auto item = doc->qpdf()->getRoot().getKey("/Outlines").getKey("/First");
        item.removeKey("/A");
        item.replaceKey("/Dest", QPDFObjectHandle::parse(u"[%1 /Fit]"_s.arg(number).toStdString()));
        const auto reopened = PDFDocument::fromBytes(doc->toBytes(), u"n.pdf"_s);
        QVERIFY(reopened);
        QCOMPARE(reopened->outline().value(0).pageIndex, pageIndex);
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
        const QString path = m_dir.filePath(u"bad.pdf"_s);
        QFile::remove(path);
        if (!bytes.isNull()) {
            writeFile(path, bytes);
            QVERIFY(!PDFDocument::fromBytes(bytes, u"bad.pdf"_s));
        }
        QVERIFY(!PDFDocument::open(path));
        QVERIFY(!PDFDocument::open(m_dir.path())); // a folder
    }

    // The permission bits as read, changes included (protecting never
    // forbids those); a wrong password leaves the document locked.
    void passwordsAndRights()
    {
        WriteOptions options;
        options.encrypt = true;
        options.userPassword = u"pässwörd"_s;
        options.ownerPassword = u"owner"_s;
        options.allowChanges = false;
        options.allowPrinting = false;
        const QString path =
            writeFile(m_dir.filePath(u"enc.pdf"_s), makePDF(numberedPages(2), options));
        auto doc = PDFDocument::open(path);
        QVERIFY(doc && doc->isLocked() && doc->isEncrypted());
        QCOMPARE(doc->pageCount(), 0);
        QVERIFY(!PDFOps::isRestricted(*doc)); // locked is not restricted
        QVERIFY(!doc->unlock(u"passwörd"_s));
        QVERIFY(doc->isLocked());
        QVERIFY(doc->unlock(u"pässwörd"_s));
        QVERIFY(!doc->isLocked());
        QCOMPARE(doc->pageCount(), 2);
        QCOMPARE(doc->encryptionMethod(), u"AES-256"_s);
        QVERIFY(!doc->hasOwnerRights());
        QVERIFY(doc->allowsCopying() && !doc->allowsChanges() && !doc->allowsPrinting());
        QVERIFY(PDFOps::isRestricted(*doc));
        QCOMPARE(doc->password(), std::optional<QString>(u"pässwörd"_s));
        auto owner = PDFDocument::open(path);
        QVERIFY(owner->unlock(u"owner"_s));
        QVERIFY(owner->hasOwnerRights() && owner->allowsChanges() && owner->allowsAssembly());
        QVERIFY(owner->allowsPrinting() && !PDFOps::isRestricted(*owner));
    }

    // An empty open password: no question, restricted until the owner password.
    void ownerPasswordRaisesAFreelyOpeningFile()
    {
        WriteOptions options;
        options.encrypt = true;
        options.ownerPassword = u"boss"_s;
        options.allowCopying = false;
        auto doc = PDFDocument::open(
            writeFile(m_dir.filePath(u"owner-only.pdf"_s), makePDF(numberedPages(1), options)));
        QVERIFY(!doc->isLocked() && doc->isEncrypted() && PDFOps::isRestricted(*doc));
        QVERIFY(!doc->unlock(u"wrong"_s));
        QVERIFY(PDFOps::isRestricted(*doc));
        QVERIFY(doc->unlock(u"boss"_s));
        QVERIFY(!PDFOps::isRestricted(*doc));
    }

    void writesAndReadsBack()
    {
        auto doc = PDFDocument::fromBytes(textPDF(3), u"w.pdf"_s);
        const QString path = m_dir.filePath(u"written.pdf"_s);
        doc->write(path);
        QCOMPARE(popplerPageCount(path), 3);
        QCOMPARE(errorOf([&] { doc->write(m_dir.filePath(u"no/such/x.pdf"_s)); }),
                 u"Couldn't write the file."_s);
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
                << it.key() << it->value(u"user"_s) << it->value(u"owner"_s)
                << it->value(u"user_as_typed"_s, it->value(u"user"_s)) << it->contains(u"owner"_s);
    }
    void corpusPasswords()
    {
        QFETCH(QString, file);
        QFETCH(QString, user);
        QFETCH(QString, owner);
        QFETCH(QString, typed);
        QFETCH(bool, hasOwner);
        const QString path = corpusDir() + u'/' + file;

        auto asTyped = PDFDocument::open(path);
        QVERIFY(asTyped && asTyped->isEncrypted());
        if (asTyped->isLocked()) {
            QVERIFY(!asTyped->unlock(u"definitely-not-it"_s));
            QVERIFY(asTyped->isLocked());
            QCOMPARE(asTyped->pageCount(), 0);
            QVERIFY2(asTyped->unlock(typed), "the password as typed opens it");
        }
        QVERIFY(asTyped->pageCount() >= 1);
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
        QCOMPARE(errorOf([] { throw PDFError::cancelled(); }), u"cancelled"_s);
        QVERIFY(!PDFError::failed(u"Cancelled."_s).isCancelled());
        QCOMPARE(QString::fromUtf8(PDFError::failed(u"Ünïcode."_s).what()), u"Ünïcode."_s);
    }
};

QTEST_GUILESS_MAIN(TestDocument)
#include "tst_document.moc"
