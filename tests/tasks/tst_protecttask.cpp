#include "core/Output.h"
#include "core/Workspace.h"
#include "engine/PDFError.h"
#include "engine/PDFOpsProtect.h"
#include "support/Fixtures.h"
#include "support/ProtectChecks.h"
#include "tasks/Protect.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;
using namespace ProtectChecks;

namespace {

const Progress kNoProgress = [](int, int) {};
const IsCancelled kNotCancelled = [] { return false; };

Protect::Request removing()
{
    Protect::Request request;
    request.mode = Protect::Mode::Remove;
    return request;
}

Protect::Request adding(const QString &password, bool printing = true, bool copying = true)
{
    Protect::Request request;
    request.password = password;
    request.allowPrinting = printing;
    request.allowCopying = copying;
    return request;
}

// Opens a file through the window's intake, answering password questions.
PDFFile intake(const QString &path, QList<std::optional<QString>> answers = {})
{
    ScriptedDialogs dialogs(std::move(answers));
    Workspace workspace;
    workspace.setDialogs(&dialogs);
    workspace.add({path});
    return workspace.files().value(0);
}

// Runs the request on `file` as the window does: its copy beside the source.
Outcome run(const PDFFile &file, const Protect::Request &request)
{
    const QString to = *Output::pdfURL(file, Protect::suffix(request.mode), nullptr);
    return Protect::run(file, request, to, kNoProgress, kNotCancelled);
}

} // namespace

class TestProtectTask : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

    // `name` in a folder of its own: three pages, a form and an attachment,
    // opening with "tenant" (owner "landlord").
    QString lease(const QString &folder, const QString &name, bool allowCopying = true)
    {
        QDir(m_dir.path()).mkpath(folder);
        return writeFile(
            m_dir.filePath(folder + u'/' + name),
            withFormAndAttachment(makePDF(numberedPages(3)), tenantLock(allowCopying)));
    }

private Q_SLOTS:
    // The two password fields: the warning once both hold something that
    // differs; and what a request refuses before any work.
    void passwordFields_data()
    {
        QTest::addColumn<QString>("password");
        QTest::addColumn<QString>("again");
        QTest::addColumn<bool>("warned");
        QTest::newRow("both empty") << QString() << QString() << false;
        QTest::newRow("first only") << QStringLiteral("a") << QString() << false;
        QTest::newRow("second only") << QString() << QStringLiteral("a") << false;
        QTest::newRow("different") << QStringLiteral("a") << QStringLiteral("b") << true;
        QTest::newRow("case differs")
            << QStringLiteral("Secret") << QStringLiteral("secret") << true;
        QTest::newRow("same") << QStringLiteral("a") << QStringLiteral("a") << false;
    }
    void passwordFields()
    {
        QFETCH(QString, password);
        QFETCH(QString, again);
        QFETCH(bool, warned);
        QCOMPARE(Protect::mismatch(password, again),
                 warned ? std::optional<QString>(QStringLiteral("The two passwords are different."))
                        : std::nullopt);
        Protect::Request request;
        request.password = password;
        QCOMPARE(request.validate(),
                 password.isEmpty()
                     ? std::optional<QString>(QStringLiteral("Type a password first."))
                     : std::nullopt);
        request.mode = Protect::Mode::Remove;
        QCOMPARE(request.validate(), std::nullopt);
    }

    // Both ways: the password comes off a lease, then a new one goes on
    // that copy with the choices made. Outcome, files, sources untouched.
    void bothWays_data()
    {
        QTest::addColumn<bool>("printing");
        QTest::addColumn<bool>("copying");
        QTest::newRow("defaults") << true << true;
        QTest::newRow("both off") << false << false;
        QTest::newRow("printing only") << true << false;
    }
    void bothWays()
    {
        QFETCH(bool, printing);
        QFETCH(bool, copying);
        const QString folder = m_dir.filePath(QString::fromLatin1(QTest::currentDataTag()));
        const QString source = lease(QTest::currentDataTag(), QStringLiteral("Lease.pdf"));
        const QByteArray before = readFile(source);
        const QString plain = folder + QStringLiteral("/Lease unlocked.pdf");
        QCOMPARE(run(intake(source, {QStringLiteral("tenant")}), removing()),
                 (Outcome{QStringLiteral("Saved “Lease unlocked.pdf”"),
                          QStringLiteral("This copy opens without a password."),
                          {plain}}));
        const PopplerView view = poppler(plain);
        QVERIFY(view.opened && !view.encrypted);
        QCOMPARE(view.texts, poppler(source, QStringLiteral("tenant")).texts);
        QCOMPARE(view.textFields.value(QStringLiteral("name")), QStringLiteral("Ana Lima"));
        QCOMPARE(view.attachments.value(QStringLiteral("notes.txt")), attachmentBytes());

        const QByteArray unlocked = readFile(plain);
        const QString locked = folder + QStringLiteral("/Lease unlocked protected.pdf");
        QCOMPARE(run(intake(plain), adding(QStringLiteral("čokoláda"), printing, copying)),
                 (Outcome{QStringLiteral("Saved “Lease unlocked protected.pdf”"),
                          QStringLiteral("It now asks for the password when opened."),
                          {locked}}));
        QVERIFY(poppler(locked).locked);
        QCOMPARE(poppler(locked, QStringLiteral("čokoláda")).pages, 3);
        QCOMPARE(
            qpdfEncryption(locked, QStringLiteral("čokoláda")).value(QStringLiteral("P")).toInt(),
            PDFOps::standardPermissionBits(PDFOps::protectPermissions(printing, copying)));
        QCOMPARE(readFile(source), before);
        QCOMPARE(readFile(plain), unlocked);
        QVERIFY(leftoverTemporaries(folder).isEmpty());
    }

    // Refusals reach the person as the program's messages; nothing is left.
    void failures_data()
    {
        QTest::addColumn<bool>("adding");
        QTest::addColumn<bool>("gone"); // else the destination folder is missing
        QTest::addColumn<QString>("message");
        const QString gone = QStringLiteral("“Gone.pdf” couldn't be read as a PDF.");
        QTest::newRow("protect: source gone") << true << true << gone;
        QTest::newRow("remove: source gone") << false << true << gone;
        QTest::newRow("remove: can't write")
            << false << false << QStringLiteral("Couldn't write the new file.");
    }
    void failures()
    {
        QFETCH(bool, adding);
        QFETCH(bool, gone);
        const QString dir = m_dir.filePath(QString::fromLatin1(QTest::currentDataTag()));
        const QString source = lease(QTest::currentDataTag(), QStringLiteral("Gone.pdf"));
        const PDFFile file = intake(source, {QStringLiteral("tenant")});
        QVERIFY(file.doc);
        if (gone)
            QFile::remove(source);
        const QString to = dir + (gone ? QStringLiteral("/result.pdf")
                                       : QStringLiteral("/no such folder/result.pdf"));
        try {
            Protect::run(file, adding ? ::adding(QStringLiteral("pw")) : removing(), to,
                         kNoProgress, kNotCancelled);
            QFAIL("no error");
        } catch (const PDFError &e) {
            QTEST(e.description(), "message");
        }
        QVERIFY(!QFile::exists(to));
        QVERIFY(leftoverTemporaries(dir).isEmpty());
    }

    // A restricted file gives up its password once its owner's is given:
    // the work reopens the file with both.
    void ownerPasswordLiftsTheRefusal()
    {
        const QString source = lease(QStringLiteral("owner"), QStringLiteral("Deed.pdf"), false);
        ScriptedDialogs dialogs({QStringLiteral("tenant"), QStringLiteral("landlord")});
        Workspace workspace;
        workspace.setDialogs(&dialogs);
        workspace.add({source});
        workspace.unlockOwner(workspace.files().last().id);
        const QString to = m_dir.filePath(QStringLiteral("owner/Deed unlocked.pdf"));
        Protect::run(workspace.files().last(), removing(), to, kNoProgress, kNotCancelled);
        const PopplerView view = poppler(to);
        QVERIFY(view.opened && view.copy && !view.encrypted);
        QCOMPARE(view.pages, 3);
    }

    // Every corpus file: protecting either works, giving a copy the readers
    // open only with the password, with the same pages, or fails with a
    // sentence; encrypted ones, unlocked with their passwords as typed,
    // give copies that open without one, with the same text.
    void corpus()
    {
        const QString corpus = corpusDir();
        if (corpus.isEmpty())
            QSKIP("QUIREBOOK_CORPUS is not set");
        const auto passwords = corpusPasswords();
        const QString out = m_dir.filePath(QStringLiteral("corpus"));
        QDir().mkpath(out);
        int protectedCount = 0, unlockedCount = 0;
        const auto names =
            QDir(corpus).entryList({QStringLiteral("*.pdf")}, QDir::Files, QDir::Name);
        for (const QString &name : names) {
            const auto known = passwords.value(name);
            ScriptedDialogs dialogs({known.value(QStringLiteral("user_as_typed"),
                                                 known.value(QStringLiteral("user")))});
            Workspace workspace;
            workspace.setDialogs(&dialogs);
            workspace.add({QDir(corpus).filePath(name)});
            if (workspace.files().isEmpty()) {
                QVERIFY2(workspace.notice() && workspace.notice()->endsWith(u'.'),
                         qPrintable(name));
                continue;
            }
            if (workspace.files().last().restricted()) {
                ScriptedDialogs owner({known.value(QStringLiteral("owner"))});
                workspace.setDialogs(&owner);
                workspace.unlockOwner(workspace.files().last().id);
            }
            const PDFFile file = workspace.files().last();
            const QString base = out + u'/' + QFileInfo(name).completeBaseName();
            const QString to = base + QStringLiteral(" protected.pdf");
            try {
                Protect::run(file, adding(QStringLiteral("çorpus-пароль")), to, kNoProgress,
                             kNotCancelled);
                ++protectedCount;
                QVERIFY2(poppler(to).locked, qPrintable(name));
                QCOMPARE(poppler(to, QStringLiteral("çorpus-пароль")).pages, file.pageCount());
            } catch (const PDFError &e) {
                QVERIFY2(e.description().endsWith(u'.'), qPrintable(name));
                QVERIFY(!QFile::exists(to));
            }
            if (!file.doc->isEncrypted())
                continue;
            const QString plain = base + QStringLiteral(" unlocked.pdf");
            Protect::run(file, removing(), plain, kNoProgress, kNotCancelled);
            ++unlockedCount;
            const PopplerView view = poppler(plain);
            QVERIFY2(view.opened && !view.encrypted, qPrintable(name));
            QCOMPARE(view.pages, file.pageCount());
            QCOMPARE(view.texts,
                     poppler(QDir(corpus).filePath(name),
                             PDFOps::preparedPassword(file.password.value_or(QString())))
                         .texts);
        }
        QVERIFY(leftoverTemporaries(out).isEmpty());
        QVERIFY(protectedCount > 30);
        QCOMPARE(unlockedCount, 10); // every encrypted file with a password
    }
};

QTEST_GUILESS_MAIN(TestProtectTask)
#include "tst_protecttask.moc"
