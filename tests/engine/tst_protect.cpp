#include "engine/PDFError.h"
#include "engine/PDFOpsProtect.h"
#include "support/Attempt.h"
#include "support/Fixtures.h"
#include "support/PictureFixtures.h"
#include "support/ProtectChecks.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace Fixtures;
using namespace ProtectChecks;
using Attempt::errorOf;

namespace {

std::shared_ptr<PDFDocument> opened(const QString &path, const QString &password = {})
{
    auto doc = PDFDocument::open(path);
    if (doc && !password.isEmpty() && !doc->unlock(password))
        return nullptr;
    return doc;
}

const QString kOpen = u"Grüße, пароль 密码"_s;
const QString kOwner = u"owner-ключ-🔑"_s;

} // namespace

class TestProtect : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

    // Three pages with a title, a bookmark, a filled form field and an attachment.
    QString report()
    {
        DocSpec layout = numberedPages(3, u"Report page"_s);
        layout.info.title = u"Quarterly report"_s;
        layout.outline = {{u"Start"_s, 0, {}}};
        return writeFile(m_dir.filePath(u"report.pdf"_s), withFormAndAttachment(makePDF(layout)));
    }

private Q_SLOTS:
    void permissions_data()
    {
        QTest::addColumn<bool>("printing");
        QTest::addColumn<bool>("copying");
        QTest::addColumn<int>("flags");
        QTest::addColumn<int>("p");
        QTest::newRow("neither") << false << false << 236 << -2072;
        QTest::newRow("printing") << true << false << 239 << -20;
        QTest::newRow("copying") << false << true << 252 << -2056;
        QTest::newRow("both") << true << true << 255 << -4;
    }
    // The numbers, and a copy written with a separate owner password so the
    // permissions bind, read back by this program, by qpdf and by poppler:
    // the whole document, only the encryption new. Each row replaces the
    // copy the row before wrote.
    void permissions()
    {
        QFETCH(bool, printing);
        QFETCH(bool, copying);
        QFETCH(int, flags);
        QFETCH(int, p);
        QCOMPARE(PDFOps::protectPermissions(printing, copying), flags);
        QCOMPARE(PDFOps::standardPermissionBits(flags), p);

        const QString from = report();
        const QByteArray before = readFile(from);
        const QString to = m_dir.filePath(u"report protected.pdf"_s);
        PDFOps::protect(*opened(from), kOpen, kOwner, printing, copying, to);
        QCOMPARE(readFile(from), before);
        QVERIFY(temporaryFiles(m_dir.path()).isEmpty());

        auto doc = opened(to);
        QVERIFY(doc && doc->isLocked());
        QVERIFY(!doc->unlock(u"Grüße, пароль"_s));
        QVERIFY(doc->unlock(kOpen));
        QCOMPARE(doc->encryptionMethod(), u"AES-256"_s);
        QCOMPARE(doc->pageCount(), 3);
        QVERIFY(!doc->hasOwnerRights());
        QCOMPARE(doc->allowsPrinting(), printing);
        QCOMPARE(doc->allowsCopying(), copying);
        QVERIFY(doc->allowsChanges() && doc->allowsAssembly());
        QCOMPARE(PDFOps::isRestricted(*doc), !copying);
        auto owner = opened(to, kOwner);
        QVERIFY(owner && owner->hasOwnerRights() && !PDFOps::isRestricted(*owner));

        // /P says every right; which password is whose.
        QCOMPARE(qpdfRequiresPassword(to), 0);
        const auto shown = qpdfEncryption(to, kOpen);
        QCOMPARE(shown.value(u"R"_s), u"6"_s);
        QCOMPARE(shown.value(u"P"_s).toInt(), p);
        QCOMPARE(shown.value(u"stream encryption method"_s), u"AESv3"_s);
        QCOMPARE(shown.value(u"string encryption method"_s), u"AESv3"_s);
        QVERIFY(shown.contains(u"Supplied password is user password"_s));
        QVERIFY(!shown.contains(u"Supplied password is owner password"_s));
        QVERIFY(qpdfEncryption(to, kOwner).contains(u"Supplied password is owner password"_s));
        QVERIFY(qpdfCheck(to, nullptr, kOpen));

        QVERIFY(poppler(to).locked);
        const PopplerView user = poppler(to, kOpen);
        QVERIFY(user.opened && user.encrypted);
        QCOMPARE(user.texts,
                 (QStringList{u"Report page 1\nAna Lima"_s, // with the field
                              u"Report page 2"_s, u"Report page 3"_s}));
        QCOMPARE(user.title, u"Quarterly report"_s);
        QCOMPARE(user.outline, QStringList{u"Start"_s});
        QCOMPARE(user.textFields.value(u"name"_s), u"Ana Lima"_s);
        QCOMPARE(user.attachments.value(u"notes.txt"_s), attachmentBytes());
        QCOMPARE(user.print, printing);
        QCOMPARE(user.copy, copying);
    }

    // No owner password: the open password is both, and gives every right.
    // An explicitly empty one is used as given: then the file opens without
    // any password, with every right, in qpdf-based readers.
    void ownerPassword_data()
    {
        QTest::addColumn<std::optional<QString>>("owner");
        QTest::addColumn<bool>("ownerRightsWithOpenPassword");
        QTest::addColumn<bool>("opensWithoutPassword");
        QTest::newRow("none given") << std::optional<QString>() << true << false;
        QTest::newRow("a separate one") << std::optional<QString>(u"boss"_s) << false << false;
        QTest::newRow("empty") << std::optional<QString>(QString()) << false << true;
    }
    void ownerPassword()
    {
        QFETCH(std::optional<QString>, owner);
        QFETCH(bool, ownerRightsWithOpenPassword);
        QFETCH(bool, opensWithoutPassword);
        const QString to = m_dir.filePath(u"owner.pdf"_s);
        PDFOps::protect(*opened(report()), u"pw"_s, owner, false, false, to);
        QCOMPARE(!opened(to)->isLocked(), opensWithoutPassword);
        auto doc = opened(to, u"pw"_s);
        QVERIFY(doc);
        QCOMPARE(doc->hasOwnerRights(), ownerRightsWithOpenPassword);
        QCOMPARE(PDFOps::isRestricted(*doc), !ownerRightsWithOpenPassword);
        // The bits stay as chosen whoever the password makes you.
        QCOMPARE(qpdfEncryption(to, u"pw"_s).value(u"P"_s).toInt(), -2072);
    }

    // A password is written in its prepared form, which independent readers
    // take as it stands, and this program opens it with what was typed.
    // Passwords already in that form (plain, Cyrillic, Han, emoji): permissions
    // and ownerPassword.
    void passwords_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("written");
        QTest::newRow("soft hyphen and ordinal") << u"S\u00aaSL\u00adprep"_s << u"SaSLprep"_s;
        QTest::newRow("no-break space") << u"a\u00a0b"_s << u"a b"_s;
        QTest::newRow("ideographic space") << u"密\u3000码"_s << u"密 码"_s;
        QTest::newRow("decomposed accent") << u"cafe\u0301"_s << u"caf\u00e9"_s;
        QTest::newRow("ligature") << u"\ufb01le"_s << u"file"_s;
        QTest::newRow("full width") << u"\uff21\uff11"_s << u"A1"_s;
        QTest::newRow("zero width joiner") << u"a\u200db"_s << u"ab"_s;
    }
    void passwords()
    {
        QFETCH(QString, typed);
        QFETCH(QString, written);
        QCOMPARE(PDFOps::preparedPassword(typed), written);
        const QString to = m_dir.filePath(u"script.pdf"_s);
        PDFOps::protect(*opened(report()), typed, std::nullopt, true, true, to);
        QVERIFY(opened(to, typed));
        QVERIFY(opened(to, written));
        QVERIFY(!opened(to, typed + u"x"_s));
        QCOMPARE(poppler(to, written).pages, 3);
        QVERIFY(qpdfCheck(to, nullptr, written));
    }

    void refusals_data()
    {
        QTest::addColumn<QString>("state"); // of the document given
        QTest::addColumn<QString>("password");
        QTest::addColumn<QString>("message");
        const QString locked = u"This PDF is locked. Enter its password first."_s;
        QTest::newRow("locked") << u"locked"_s << u"pw"_s << locked;
        QTest::newRow("restricted")
            << u"restricted"_s << u"pw"_s << PDFError::restricted().description();
        QTest::newRow("empty password") << u"plain"_s << QString() << u"Type a password first."_s;
        QTest::newRow("locked beats empty") << u"locked"_s << QString() << locked;
        QTest::newRow("no such folder")
            << u"plain"_s << u"pw"_s << u"Couldn't write the protected file."_s;
    }
    void refusals()
    {
        QFETCH(QString, state);
        QFETCH(QString, password);
        QFETCH(QString, message);
        const QString limited =
            writeFile(m_dir.filePath(u"limited.pdf"_s),
                      makePDF(numberedPages(2), lock(u"tenant"_s, u"landlord"_s, true)));
        const auto doc =
            state == QLatin1String("plain")
                ? opened(report())
                : opened(limited, state == QLatin1String("locked") ? QString() : u"tenant"_s);
        const QString to = m_dir.filePath(u"refused/x.pdf"_s);
        QCOMPARE(errorOf([&] { PDFOps::protect(*doc, password, std::nullopt, true, true, to); }),
                 message);
        QVERIFY(!QFile::exists(to));
        QVERIFY(temporaryFiles(m_dir.path()).isEmpty());
        if (state != QLatin1String("plain")) // the same refusal when removing the password
            QCOMPARE(errorOf([&] { PDFOps::unprotected(*doc); }), message);
    }

    // The password-free copy is the whole document, not only its pages.
    void unprotectedKeepsEverything_data()
    {
        QTest::addColumn<QString>("password");
        QTest::newRow("open password") << u"tenant"_s;
        QTest::newRow("owner password") << u"landlord"_s;
    }
    void unprotectedKeepsEverything()
    {
        QFETCH(QString, password);
        DocSpec layout = numberedPages(4, u"Lease page"_s);
        layout.info.title = u"Lease — 2026"_s;
        layout.info.author = u"Ana Lima"_s;
        layout.outline = {{u"Terms"_s, 0, {{u"Rent"_s, 2, {}}}}, {u"Signatures"_s, 3, {}}};
        layout.links = {{0, 3}};
        const QString from =
            writeFile(m_dir.filePath(u"lease.pdf"_s),
                      withFormAndAttachment(makePDF(layout), lock(u"tenant"_s, u"landlord"_s)));
        const auto copy = PDFOps::unprotected(*opened(from, password));
        QVERIFY(!copy->isEncrypted());
        QCOMPARE(copy->pageCount(), 4);
        const QString to = m_dir.filePath(u"lease unlocked.pdf"_s);
        copy->write(to, WriteOptions{});

        const PopplerView view = poppler(to);
        QVERIFY(view.opened && !view.encrypted);
        QCOMPARE(view.texts, poppler(from, u"tenant"_s).texts);
        QCOMPARE(view.outline, (QStringList{u"Terms"_s, u"Rent"_s, u"Signatures"_s}));
        QCOMPARE(view.links, 1);
        QCOMPARE(view.title, u"Lease — 2026"_s);
        QCOMPARE(view.author, u"Ana Lima"_s);
        QCOMPARE(view.textFields.value(u"name"_s), u"Ana Lima"_s);
        QCOMPARE(view.attachments,
                 (QMap<QString, QByteArray>{{u"notes.txt"_s, attachmentBytes()}}));
        QCOMPARE(qpdfRequiresPassword(to), 2); // not encrypted at all
        QVERIFY(qpdfCheck(to));
    }
};

QTEST_GUILESS_MAIN(TestProtect)
#include "tst_protect.moc"
