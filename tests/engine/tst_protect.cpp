#include "Fixtures.h"
#include "PDFError.h"
#include "PDFOpsProtect.h"
#include "ProtectChecks.h"
#include "Work.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;
using namespace ProtectChecks;
using Work::errorOf;

namespace {

std::shared_ptr<PDFDocument> opened(const QString &path, const QString &password = {})
{
    auto doc = PDFDocument::open(path);
    if (doc && !password.isEmpty() && !doc->unlock(password))
        return nullptr;
    return doc;
}

const QString kOpen = QStringLiteral("Grüße, пароль 密码");
const QString kOwner = QStringLiteral("owner-ключ-🔑");

} // namespace

class TestProtect : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

    // Three pages with a title, a bookmark, a filled form field and an attachment.
    QString report()
    {
        DocSpec layout = numberedPages(3, QStringLiteral("Report page"));
        layout.info.title = QStringLiteral("Quarterly report");
        layout.outline = {{QStringLiteral("Start"), 0, {}}};
        return writeFile(m_dir.filePath(QStringLiteral("report.pdf")),
                         withFormAndAttachment(makePDF(layout)));
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
        const QString to = m_dir.filePath(QStringLiteral("report protected.pdf"));
        PDFOps::protect(*opened(from), kOpen, kOwner, printing, copying, to);
        QCOMPARE(readFile(from), before);
        QVERIFY(leftoverTemporaries(m_dir.path()).isEmpty());

        auto doc = opened(to);
        QVERIFY(doc && doc->isLocked());
        QVERIFY(!doc->unlock(QStringLiteral("Grüße, пароль")));
        QVERIFY(doc->unlock(kOpen));
        QCOMPARE(doc->encryptionMethod(), QStringLiteral("AES-256"));
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
        QCOMPARE(shown.value(QStringLiteral("R")), QStringLiteral("6"));
        QCOMPARE(shown.value(QStringLiteral("P")).toInt(), p);
        QCOMPARE(shown.value(QStringLiteral("stream encryption method")), QStringLiteral("AESv3"));
        QCOMPARE(shown.value(QStringLiteral("string encryption method")), QStringLiteral("AESv3"));
        QVERIFY(shown.contains(QStringLiteral("Supplied password is user password")));
        QVERIFY(!shown.contains(QStringLiteral("Supplied password is owner password")));
        QVERIFY(qpdfEncryption(to, kOwner)
                    .contains(QStringLiteral("Supplied password is owner password")));
        QCOMPARE(qpdfCheck(to, kOpen), 0);

        QVERIFY(poppler(to).locked);
        const PopplerView user = poppler(to, kOpen);
        QVERIFY(user.opened && user.encrypted);
        QCOMPARE(user.texts,
                 (QStringList{QStringLiteral("Report page 1\nAna Lima"), // with the field
                              QStringLiteral("Report page 2"), QStringLiteral("Report page 3")}));
        QCOMPARE(user.title, QStringLiteral("Quarterly report"));
        QCOMPARE(user.outline, QStringList{QStringLiteral("Start")});
        QCOMPARE(user.textFields.value(QStringLiteral("name")), QStringLiteral("Ana Lima"));
        QCOMPARE(user.attachments.value(QStringLiteral("notes.txt")), attachmentBytes());
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
        QTest::newRow("a separate one")
            << std::optional<QString>(QStringLiteral("boss")) << false << false;
        QTest::newRow("empty") << std::optional<QString>(QString()) << false << true;
    }
    void ownerPassword()
    {
        QFETCH(std::optional<QString>, owner);
        QFETCH(bool, ownerRightsWithOpenPassword);
        QFETCH(bool, opensWithoutPassword);
        const QString to = m_dir.filePath(QStringLiteral("owner.pdf"));
        PDFOps::protect(*opened(report()), QStringLiteral("pw"), owner, false, false, to);
        QCOMPARE(!opened(to)->isLocked(), opensWithoutPassword);
        auto doc = opened(to, QStringLiteral("pw"));
        QVERIFY(doc);
        QCOMPARE(doc->hasOwnerRights(), ownerRightsWithOpenPassword);
        QCOMPARE(PDFOps::isRestricted(*doc), !ownerRightsWithOpenPassword);
        // The bits stay as chosen whoever the password makes you.
        QCOMPARE(qpdfEncryption(to, QStringLiteral("pw")).value(QStringLiteral("P")).toInt(),
                 -2072);
    }

    // Passwords in any script: the file is written with the prepared form,
    // which independent readers take as it stands, and this program opens
    // it with what was typed.
    void passwords_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("prepared"); // empty: as typed
        QTest::newRow("plain") << QStringLiteral("hunter2") << QString();
        QTest::newRow("soft hyphen and ordinal")
            << QStringLiteral("S\u00aaSL\u00adprep") << QStringLiteral("SaSLprep");
        QTest::newRow("no-break space") << QStringLiteral("a\u00a0b") << QStringLiteral("a b");
        QTest::newRow("ideographic space")
            << QStringLiteral("密\u3000码") << QStringLiteral("密 码");
        QTest::newRow("decomposed accent")
            << QStringLiteral("cafe\u0301") << QStringLiteral("caf\u00e9");
        QTest::newRow("ligature") << QStringLiteral("\ufb01le") << QStringLiteral("file");
        QTest::newRow("full width") << QStringLiteral("\uff21\uff11") << QStringLiteral("A1");
        QTest::newRow("zero width joiner") << QStringLiteral("a\u200db") << QStringLiteral("ab");
        QTest::newRow("cyrillic") << QStringLiteral("секретный пароль") << QString();
        QTest::newRow("han") << QStringLiteral("密码很安全") << QString();
        QTest::newRow("emoji") << QStringLiteral("🔑 key") << QString();
    }
    void passwords()
    {
        QFETCH(QString, typed);
        QFETCH(QString, prepared);
        const QString written = prepared.isEmpty() ? typed : prepared;
        QCOMPARE(PDFOps::preparedPassword(typed), written);
        const QString to = m_dir.filePath(QStringLiteral("script.pdf"));
        PDFOps::protect(*opened(report()), typed, std::nullopt, true, true, to);
        QVERIFY(opened(to, typed));
        QVERIFY(opened(to, written));
        QVERIFY(!opened(to, typed + QStringLiteral("x")));
        QCOMPARE(poppler(to, written).pages, 3);
        QCOMPARE(qpdfCheck(to, written), 0);
    }

    void refusals_data()
    {
        QTest::addColumn<QString>("state"); // of the document given
        QTest::addColumn<QString>("password");
        QTest::addColumn<QString>("message");
        const QString locked = QStringLiteral("This PDF is locked. Enter its password first.");
        QTest::newRow("locked") << QStringLiteral("locked") << QStringLiteral("pw") << locked;
        QTest::newRow("restricted") << QStringLiteral("restricted") << QStringLiteral("pw")
                                    << PDFError::restricted().description();
        QTest::newRow("empty password")
            << QStringLiteral("plain") << QString() << QStringLiteral("Type a password first.");
        QTest::newRow("locked beats empty") << QStringLiteral("locked") << QString() << locked;
        QTest::newRow("no such folder") << QStringLiteral("plain") << QStringLiteral("pw")
                                        << QStringLiteral("Couldn't write the protected file.");
    }
    void refusals()
    {
        QFETCH(QString, state);
        QFETCH(QString, password);
        QFETCH(QString, message);
        const QString limited = writeFile(m_dir.filePath(QStringLiteral("limited.pdf")),
                                          makePDF(numberedPages(2), tenantLock(false)));
        const auto doc =
            state == QLatin1String("plain")
                ? opened(report())
                : opened(limited,
                         state == QLatin1String("locked") ? QString() : QStringLiteral("tenant"));
        const QString to = m_dir.filePath(QStringLiteral("refused/x.pdf"));
        QCOMPARE(errorOf([&] { PDFOps::protect(*doc, password, std::nullopt, true, true, to); }),
                 message);
        QVERIFY(!QFile::exists(to));
        QVERIFY(leftoverTemporaries(m_dir.path()).isEmpty());
        if (state != QLatin1String("plain")) // the same refusal when removing the password
            QCOMPARE(errorOf([&] { PDFOps::unprotected(*doc); }), message);
    }

    // The password-free copy is the whole document, not only its pages.
    void unprotectedKeepsEverything_data()
    {
        QTest::addColumn<QString>("password");
        QTest::newRow("open password") << QStringLiteral("tenant");
        QTest::newRow("owner password") << QStringLiteral("landlord");
    }
    void unprotectedKeepsEverything()
    {
        QFETCH(QString, password);
        DocSpec layout = numberedPages(4, QStringLiteral("Lease page"));
        layout.info.title = QStringLiteral("Lease — 2026");
        layout.info.author = QStringLiteral("Ana Lima");
        layout.outline = {{QStringLiteral("Terms"), 0, {{QStringLiteral("Rent"), 2, {}}}},
                          {QStringLiteral("Signatures"), 3, {}}};
        layout.links = {{0, 3}};
        const QString from = writeFile(m_dir.filePath(QStringLiteral("lease.pdf")),
                                       withFormAndAttachment(makePDF(layout), tenantLock()));
        const auto copy = PDFOps::unprotected(*opened(from, password));
        QVERIFY(!copy->isEncrypted());
        QCOMPARE(copy->pageCount(), 4);
        const QString to = m_dir.filePath(QStringLiteral("lease unlocked.pdf"));
        copy->write(to, WriteOptions{});

        const PopplerView view = poppler(to);
        QVERIFY(view.opened && !view.encrypted);
        QCOMPARE(view.texts, poppler(from, QStringLiteral("tenant")).texts);
        QCOMPARE(view.outline, (QStringList{QStringLiteral("Terms"), QStringLiteral("Rent"),
                                            QStringLiteral("Signatures")}));
        QCOMPARE(view.links, 1);
        QCOMPARE(view.title, QStringLiteral("Lease — 2026"));
        QCOMPARE(view.author, QStringLiteral("Ana Lima"));
        QCOMPARE(view.textFields.value(QStringLiteral("name")), QStringLiteral("Ana Lima"));
        QCOMPARE(view.attachments,
                 (QMap<QString, QByteArray>{{QStringLiteral("notes.txt"), attachmentBytes()}}));
        QCOMPARE(qpdfRequiresPassword(to), 2); // not encrypted at all
        QCOMPARE(qpdfCheck(to), 0);
    }
};

QTEST_GUILESS_MAIN(TestProtect)
#include "tst_protect.moc"
