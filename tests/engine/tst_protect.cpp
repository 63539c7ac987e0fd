#include "Fixtures.h"
#include "PDFError.h"
#include "PDFOpsProtect.h"
#include "ProtectChecks.h"

#include <QCryptographicHash>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;
using namespace ProtectChecks;

namespace {

std::shared_ptr<PDFDocument> opened(const QString &path, const QString &password = {})
{
    auto doc = PDFDocument::open(path);
    if (doc && !password.isEmpty() && !doc->unlock(password))
        return nullptr;
    return doc;
}

QByteArray sha(const QString &path)
{
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    return QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256);
}

QString allowed(bool yes) { return yes ? QStringLiteral("allowed") : QStringLiteral("not allowed"); }

const QString kOpen = QStringLiteral("Grüße, пароль 密码");
const QString kOwner = QStringLiteral("owner-ключ-🔑");

} // namespace

class TestProtect : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

    QString source(const QString &name, const QByteArray &bytes)
    {
        return writeFile(m_dir.filePath(name), bytes);
    }

    // A three-page document with a title, for the permission checks.
    QString report()
    {
        DocSpec layout = numberedPages(3, QStringLiteral("Report page"));
        layout.info.title = QStringLiteral("Quarterly report");
        return source(QStringLiteral("report.pdf"), makePDF(layout));
    }

private Q_SLOTS:
    void permissionNumbers_data()
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
    void permissionNumbers()
    {
        QFETCH(bool, printing);
        QFETCH(bool, copying);
        QFETCH(int, flags);
        QFETCH(int, p);
        QCOMPARE(PDFOps::protectPermissions(printing, copying), flags);
        QCOMPARE(PDFOps::standardPermissionBits(flags), p);
    }

    // Each combination, written with a separate owner password so the
    // permissions bind, read back by this program, by qpdf and by poppler.
    void protectedCopy_data() { permissionNumbers_data(); }
    void protectedCopy()
    {
        QFETCH(bool, printing);
        QFETCH(bool, copying);
        QFETCH(int, p);
        const QString from = report();
        const QString to = m_dir.filePath(QStringLiteral("report protected %1.pdf").arg(p));
        const QByteArray before = sha(from);
        PDFOps::protect(*opened(from), kOpen, kOwner, printing, copying, to);
        QCOMPARE(sha(from), before);
        QVERIFY(leftoverTemporaries(m_dir.path()).isEmpty());

        // This program: locked, the wrong password refused, the right one works.
        auto doc = opened(to);
        QVERIFY(doc);
        QVERIFY(doc->isLocked());
        QVERIFY(!doc->unlock(QStringLiteral("Grüße, пароль")));
        QVERIFY(doc->isLocked());
        QVERIFY(doc->unlock(kOpen));
        QCOMPARE(doc->encryptionMethod(), QStringLiteral("AES-256"));
        QCOMPARE(doc->pageCount(), 3);
        QCOMPARE(doc->hasOwnerRights(), false);
        QCOMPARE(doc->allowsPrinting(), printing);
        QCOMPARE(doc->allowsCopying(), copying);
        QVERIFY(doc->allowsChanges());
        QVERIFY(doc->allowsAssembly());
        QCOMPARE(PDFOps::isRestricted(*doc), !copying);
        auto owner = opened(to, kOwner);
        QVERIFY(owner && owner->hasOwnerRights() && !PDFOps::isRestricted(*owner));

        // qpdf: the revision, the method, /P and each permission.
        QCOMPARE(qpdfRequiresPassword(to), 0);
        QCOMPARE(qpdfPages(to, QStringLiteral("nope")), -1);
        QCOMPARE(qpdfPages(to, kOpen), 3);
        QCOMPARE(qpdfPages(to, kOwner), 3);
        const auto shown = qpdfEncryption(to, kOpen);
        QCOMPARE(shown.value(QStringLiteral("status")), QStringLiteral("0"));
        QCOMPARE(shown.value(QStringLiteral("R")), QStringLiteral("6"));
        QCOMPARE(shown.value(QStringLiteral("P")).toInt(), p);
        QCOMPARE(shown.value(QStringLiteral("stream encryption method")), QStringLiteral("AESv3"));
        QCOMPARE(shown.value(QStringLiteral("string encryption method")), QStringLiteral("AESv3"));
        QCOMPARE(shown.value(QStringLiteral("print low resolution")), allowed(printing));
        QCOMPARE(shown.value(QStringLiteral("print high resolution")), allowed(printing));
        QCOMPARE(shown.value(QStringLiteral("extract for any purpose")), allowed(copying));
        for (const char *always : {"extract for accessibility", "modify document assembly",
                                   "modify forms", "modify annotations", "modify other"})
            QCOMPARE(shown.value(QString::fromLatin1(always)), allowed(true));
        QVERIFY(shown.contains(QStringLiteral("Supplied password is user password")));
        QVERIFY(!shown.contains(QStringLiteral("Supplied password is owner password")));
        QVERIFY(qpdfEncryption(to, kOwner).contains(QStringLiteral("Supplied password is owner password")));
        QCOMPARE(qpdfCheck(to, kOpen), 0);

        // poppler: refuses without the password, reports exactly what was chosen with it.
        QVERIFY(poppler(to).locked);
        QVERIFY(poppler(to, QStringLiteral("wrong")).locked);
        const PopplerView user = poppler(to, kOpen);
        QVERIFY(user.opened);
        QVERIFY(user.encrypted);
        QCOMPARE(user.texts, (QStringList{QStringLiteral("Report page 1"),
                                          QStringLiteral("Report page 2"),
                                          QStringLiteral("Report page 3")}));
        QCOMPARE(user.title, QStringLiteral("Quarterly report"));
        QCOMPARE(user.print, printing);
        QCOMPARE(user.printHighRes, printing);
        QCOMPARE(user.copy, copying);
        QVERIFY(user.change && user.addNotes && user.fillForm && user.assemble
                && user.accessibility);
        const PopplerView full = poppler(to, kOwner);
        QVERIFY(full.opened && full.print && full.copy && full.change);
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
        QTest::newRow("a separate one") << std::optional<QString>(QStringLiteral("boss")) << false
                                        << false;
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
        QCOMPARE(qpdfEncryption(to, QStringLiteral("pw")).value(QStringLiteral("P")).toInt(), -2072);
    }

    void preparedPassword_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("prepared");
        QTest::newRow("plain") << QStringLiteral("hunter2") << QStringLiteral("hunter2");
        QTest::newRow("soft hyphen and ordinal")
            << QStringLiteral("S\u00aaSL\u00adprep") << QStringLiteral("SaSLprep");
        QTest::newRow("no-break space") << QStringLiteral("a\u00a0b") << QStringLiteral("a b");
        QTest::newRow("ideographic space") << QStringLiteral("密\u3000码") << QStringLiteral("密 码");
        QTest::newRow("decomposed accent") << QStringLiteral("cafe\u0301") << QStringLiteral("caf\u00e9");
        QTest::newRow("ligature") << QStringLiteral("\ufb01le") << QStringLiteral("file");
        QTest::newRow("full width") << QStringLiteral("\uff21\uff11") << QStringLiteral("A1");
        QTest::newRow("zero width joiner") << QStringLiteral("a\u200db") << QStringLiteral("ab");
        QTest::newRow("cyrillic stays") << QStringLiteral("пароль") << QStringLiteral("пароль");
        QTest::newRow("emoji stays") << QStringLiteral("🔑🔒") << QStringLiteral("🔑🔒");
    }
    void preparedPassword()
    {
        QFETCH(QString, typed);
        QFETCH(QString, prepared);
        QCOMPARE(PDFOps::preparedPassword(typed), prepared);
    }

    // Passwords in any script: what the file is written with is the
    // prepared form, which independent readers take as it stands, and this
    // program opens with what was typed.
    void passwordsInAnyScript_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::newRow("latin accents") << QStringLiteral("Çà et là, Grüße");
        QTest::newRow("cyrillic") << QStringLiteral("секретный пароль");
        QTest::newRow("greek") << QStringLiteral("κωδικός");
        QTest::newRow("han") << QStringLiteral("密码很安全");
        QTest::newRow("arabic") << QStringLiteral("كلمة السر");
        QTest::newRow("devanagari") << QStringLiteral("पासवर्ड");
        QTest::newRow("emoji") << QStringLiteral("🔑 key");
        QTest::newRow("needs preparing") << QStringLiteral("S\u00aaSL\u00adprep");
        QTest::newRow("decomposed") << QStringLiteral("re\u0301sume\u0301");
    }
    void passwordsInAnyScript()
    {
        QFETCH(QString, typed);
        const QString to = m_dir.filePath(QStringLiteral("script.pdf"));
        PDFOps::protect(*opened(report()), typed, std::nullopt, true, true, to);
        const QString written = PDFOps::preparedPassword(typed);
        QVERIFY(opened(to, typed));
        QVERIFY(opened(to, written));
        QVERIFY(!opened(to, typed + QStringLiteral("x")));
        QCOMPARE(poppler(to, written).pages, 3);
        QVERIFY(!poppler(to, written + QStringLiteral("x")).opened);
        QCOMPARE(qpdfPages(to, written), 3);
    }

    void refusals_data()
    {
        QTest::addColumn<QString>("state"); // of the document given
        QTest::addColumn<QString>("password");
        QTest::addColumn<QString>("message");
        const QString locked = QStringLiteral("This PDF is locked. Enter its password first.");
        const QString restricted = PDFError::restricted().description();
        QTest::newRow("locked") << QStringLiteral("locked") << QStringLiteral("pw") << locked;
        QTest::newRow("restricted") << QStringLiteral("restricted") << QStringLiteral("pw")
                                    << restricted;
        QTest::newRow("empty password") << QStringLiteral("plain") << QString()
                                        << QStringLiteral("Type a password first.");
        QTest::newRow("locked beats empty") << QStringLiteral("locked") << QString() << locked;
    }
    void refusals()
    {
        QFETCH(QString, state);
        QFETCH(QString, password);
        QFETCH(QString, message);
        std::shared_ptr<PDFDocument> doc;
        if (state == QLatin1String("plain")) {
            doc = opened(report());
        } else {
            WriteOptions options;
            options.encrypt = true;
            options.userPassword = QStringLiteral("user");
            options.ownerPassword = QStringLiteral("owner");
            options.allowChanges = false;
            const QString path = source(QStringLiteral("limited.pdf"),
                                        makePDF(numberedPages(2), options));
            doc = opened(path, state == QLatin1String("locked") ? QString() : QStringLiteral("user"));
        }
        const QString to = m_dir.filePath(QStringLiteral("refused.pdf"));
        try {
            PDFOps::protect(*doc, password, std::nullopt, true, true, to);
            QFAIL("protect went ahead");
        } catch (const PDFError &e) {
            QCOMPARE(e.description(), message);
        }
        QVERIFY(!QFile::exists(to));
        QVERIFY(leftoverTemporaries(m_dir.path()).isEmpty());
        if (!password.isEmpty()) { // the same refusal when removing the password
            try {
                PDFOps::unprotected(*doc);
                QFAIL("unprotected went ahead");
            } catch (const PDFError &e) {
                QCOMPARE(e.description(), message);
            }
        }
    }

    void writeFailures()
    {
        const auto doc = opened(report());
        const QString nowhere = m_dir.filePath(QStringLiteral("missing folder/x.pdf"));
        try {
            PDFOps::protect(*doc, QStringLiteral("pw"), std::nullopt, true, true, nowhere);
            QFAIL("wrote into a folder that doesn't exist");
        } catch (const PDFError &e) {
            QCOMPARE(e.description(), QStringLiteral("Couldn't write the protected file."));
        }
        // An existing destination is replaced in one step.
        const QString there = writeFile(m_dir.filePath(QStringLiteral("there.pdf")), "old");
        PDFOps::protect(*doc, QStringLiteral("pw"), std::nullopt, true, true, there);
        QVERIFY(opened(there)->isLocked());
        QVERIFY(leftoverTemporaries(m_dir.path()).isEmpty());
    }

    // The password-free copy is the whole document, not only its pages.
    void unprotectedKeepsEverything_data()
    {
        QTest::addColumn<QString>("password");
        QTest::addColumn<bool>("restricted");
        QTest::newRow("open password, nothing forbidden") << QStringLiteral("tenant") << false;
        QTest::newRow("owner password") << QStringLiteral("landlord") << false;
        QTest::newRow("open password, copying forbidden") << QStringLiteral("tenant") << true;
    }
    void unprotectedKeepsEverything()
    {
        QFETCH(QString, password);
        QFETCH(bool, restricted);
        DocSpec layout = numberedPages(4, QStringLiteral("Lease page"));
        layout.info.title = QStringLiteral("Lease — 2026");
        layout.info.author = QStringLiteral("Ana Lima");
        layout.outline = {{QStringLiteral("Terms"), 0, {{QStringLiteral("Rent"), 2, {}}}},
                        {QStringLiteral("Signatures"), 3, {}}};
        layout.links = {{0, 3}};
        WriteOptions options;
        options.encrypt = true;
        options.userPassword = QStringLiteral("tenant");
        options.ownerPassword = QStringLiteral("landlord");
        options.allowCopying = !restricted;
        const QString from = source(QStringLiteral("lease.pdf"),
                                    withFormAndAttachment(makePDF(layout), options));
        const auto doc = opened(from, password);
        QVERIFY(doc);
        if (restricted) {
            QVERIFY_THROWS_EXCEPTION(PDFError, PDFOps::unprotected(*doc));
            return;
        }
        const auto copy = PDFOps::unprotected(*doc);
        QVERIFY(!copy->isEncrypted());
        QCOMPARE(copy->pageCount(), 4);
        const QString to = m_dir.filePath(QStringLiteral("lease unlocked.pdf"));
        copy->write(to, WriteOptions{});

        const PopplerView view = poppler(to);
        QVERIFY(view.opened);
        QVERIFY(!view.encrypted);
        QCOMPARE(view.pages, 4);
        QCOMPARE(view.texts, poppler(from, QStringLiteral("tenant")).texts);
        QCOMPARE(view.outline, (QStringList{QStringLiteral("Terms"), QStringLiteral("Rent"),
                                            QStringLiteral("Signatures")}));
        QCOMPARE(view.links, 1);
        QCOMPARE(view.title, QStringLiteral("Lease — 2026"));
        QCOMPARE(view.author, QStringLiteral("Ana Lima"));
        QCOMPARE(view.textFields.value(QStringLiteral("name")), QStringLiteral("Ana Lima"));
        QCOMPARE(view.attachments.keys(), QStringList{QStringLiteral("notes.txt")});
        QCOMPARE(view.attachments.value(QStringLiteral("notes.txt")), attachmentBytes());
        QCOMPARE(qpdfRequiresPassword(to), 2); // not encrypted at all
        QCOMPARE(qpdfCheck(to), 0);
    }

    // Protecting keeps forms and attachments too.
    void protectKeepsEverything()
    {
        DocSpec layout = numberedPages(2);
        layout.outline = {{QStringLiteral("Start"), 0, {}}};
        const QString from = source(QStringLiteral("form.pdf"), withFormAndAttachment(makePDF(layout)));
        const QString to = m_dir.filePath(QStringLiteral("form protected.pdf"));
        PDFOps::protect(*opened(from), QStringLiteral("pw"), std::nullopt, false, false, to);
        const PopplerView view = poppler(to, QStringLiteral("pw"));
        QVERIFY(view.opened);
        QCOMPARE(view.pages, 2);
        QCOMPARE(view.outline, QStringList{QStringLiteral("Start")});
        QCOMPARE(view.textFields.value(QStringLiteral("name")), QStringLiteral("Ana Lima"));
        QCOMPARE(view.attachments.value(QStringLiteral("notes.txt")), attachmentBytes());
    }
};

QTEST_GUILESS_MAIN(TestProtect)
#include "tst_protect.moc"
