#include "engine/PDFDocument.h"
#include "engine/PDFError.h"
#include "engine/PDFOps.h"
#include "engine/SafeWrite.h"
#include "support/Attempt.h"
#include "support/Fixtures.h"

#include <qpdf/QPDF.hh>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace Fixtures;
using Attempt::errorOf;

namespace {
// Takes every file handle left under a low limit; gives them back after.
class AllHandlesTaken {
public:
    AllHandlesTaken()
    {
        ::getrlimit(RLIMIT_NOFILE, &m_before);
        rlimit low = m_before;
        low.rlim_cur = 64;
        ::setrlimit(RLIMIT_NOFILE, &low);
        for (int fd; (fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC)) >= 0;)
            m_taken.append(fd);
    }
    ~AllHandlesTaken()
    {
        for (const int fd : std::as_const(m_taken))
            ::close(fd);
        ::setrlimit(RLIMIT_NOFILE, &m_before);
    }

private:
    rlimit m_before{};
    QList<int> m_taken;
};

} // namespace

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
        WriteOptions options = lock(u"pässwörd"_s, u"owner"_s);
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
        auto doc =
            PDFDocument::open(writeFile(m_dir.filePath(u"owner-only.pdf"_s),
                                        makePDF(numberedPages(1), lock({}, u"boss"_s, true))));
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
    // With every file handle of the process in use, opening a source or
    // writing a result says so, rather than blaming the file.
    void outOfFileHandles()
    {
#ifdef QUIREBOOK_SANITIZE
        // The first time UBSan meets a class it reads the vtable through a
        // pipe, which it can't make with every handle taken: a false report.
        QSKIP("the sanitizers need file handles of their own");
#endif
        QTemporaryDir dir;
        const QString source = writeFile(dir.filePath(u"a.pdf"_s), textPDF(1));
        const QString destination = dir.filePath(u"b.pdf"_s);
        const auto write = [&] {
            SafeWrite::write(
                destination, [](SafeWrite::Target &out) { out.write(QByteArray("%PDF-1.7\n")); },
                u"Couldn't write the file."_s);
        };
        const QString tooMany = PDFError::tooManyFilesText();
        QCOMPARE(tooMany, u"Too many files are open at once. Close some programs and "
                          "try again."_s);
        {
            AllHandlesTaken taken;
            QVERIFY(!PDFDocument::open(source));
            QCOMPARE(PDFError::notOpened(u"a.pdf"_s).description(), tooMany);
            QCOMPARE(errorOf(write), tooMany);
        }
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList{"a.pdf"});
        // With handles to spare, an open failure is the file's again.
        QCOMPARE(PDFError::notOpened(u"a.pdf"_s).description(),
                 u"“a.pdf” couldn't be read as a PDF."_s);
        QCOMPARE(errorOf(write), u"no error"_s);
    }
};

QTEST_GUILESS_MAIN(TestDocument)
#include "tst_document.moc"
