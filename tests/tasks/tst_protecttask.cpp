#include "Fixtures.h"
#include "Output.h"
#include "PDFError.h"
#include "PDFOpsProtect.h"
#include "ProtectChecks.h"
#include "ProtectForm.h"
#include "ProtectTask.h"
#include "Workspace.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;
using namespace ProtectChecks;

namespace {

const Progress kNoProgress = [](int, int) {};
const IsCancelled kNotCancelled = [] { return false; };

QByteArray sha(const QString &path)
{
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    return QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256);
}

// Runs a job to its end on this thread's event loop.
bool finish(Job &job)
{
    return QTest::qWaitFor([&] { return !job.isRunning(); }, 60000);
}

} // namespace

class TestProtectTask : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

    // Opens a file through the window's intake, answering password questions.
    std::optional<PDFFile> intake(const QString &path, QList<std::optional<QString>> answers = {})
    {
        ScriptedDialogs dialogs(std::move(answers));
        Workspace workspace;
        workspace.setDialogs(&dialogs);
        workspace.add({path});
        if (workspace.files().isEmpty())
            return std::nullopt;
        return workspace.files().last();
    }

    QString folder(const QString &name)
    {
        QDir(m_dir.path()).mkpath(name);
        return m_dir.filePath(name);
    }

    QString lockedFixture(const QString &path, bool allowCopying)
    {
        WriteOptions options;
        options.encrypt = true;
        options.userPassword = QStringLiteral("tenant");
        options.ownerPassword = QStringLiteral("landlord");
        options.allowCopying = allowCopying;
        DocSpec layout = numberedPages(3, QStringLiteral("Lease page"));
        layout.outline = {{QStringLiteral("Terms"), 1, {}}};
        return writeFile(path, withFormAndAttachment(makePDF(layout), options));
    }

private Q_SLOTS:
    void texts()
    {
        QCOMPARE(ProtectForm::modes(),
                 (QList<ProtectForm::Mode>{ProtectForm::Mode::Add, ProtectForm::Mode::Remove}));
        QCOMPARE(ProtectForm::label(ProtectForm::Mode::Add), QStringLiteral("Add a password"));
        QCOMPARE(ProtectForm::label(ProtectForm::Mode::Remove), QStringLiteral("Remove the password"));
        QCOMPARE(ProtectForm::note(),
                 QStringLiteral("Anyone opening the file needs this password. If you forget it, "
                                "nobody can open the file, so keep it somewhere safe."));
        QCOMPARE(ProtectForm::removeExplanation(),
                 QStringLiteral("You opened this file with its password. Quirebook will save a "
                                "copy that opens without one."));
        QCOMPARE(ProtectForm::copyingLabel(), QStringLiteral("Allow copying text and pictures"));
        QCOMPARE(ProtectForm::removeButton(), QStringLiteral("Remove Password"));
        QCOMPARE(ProtectForm::removeTitle(), QStringLiteral("Removing password"));
    }

    // What the two fields make of the Protect button and the warning.
    void passwordFields_data()
    {
        QTest::addColumn<QString>("password");
        QTest::addColumn<QString>("again");
        QTest::addColumn<bool>("running");
        QTest::addColumn<bool>("enabled");
        QTest::addColumn<bool>("warned");
        QTest::newRow("both empty") << QString() << QString() << false << false << false;
        QTest::newRow("first only") << QStringLiteral("a") << QString() << false << false << false;
        QTest::newRow("second only") << QString() << QStringLiteral("a") << false << false << false;
        QTest::newRow("different") << QStringLiteral("a") << QStringLiteral("b") << false << false
                                   << true;
        QTest::newRow("case differs") << QStringLiteral("Secret") << QStringLiteral("secret")
                                      << false << false << true;
        QTest::newRow("same") << QStringLiteral("a") << QStringLiteral("a") << false << true << false;
        QTest::newRow("same, job running") << QStringLiteral("a") << QStringLiteral("a") << true
                                           << false << false;
    }
    void passwordFields()
    {
        QFETCH(QString, password);
        QFETCH(QString, again);
        QFETCH(bool, running);
        QFETCH(bool, enabled);
        QFETCH(bool, warned);
        ProtectForm form;
        form.password = password;
        form.passwordAgain = again;
        QCOMPARE(form.canProtect(running), enabled);
        QCOMPARE(form.mismatch(),
                 warned ? std::optional<QString>(QStringLiteral("The two passwords are different."))
                        : std::nullopt);
    }

    void removeView_data()
    {
        QTest::addColumn<bool>("encrypted");
        QTest::addColumn<int>("view");
        QTest::newRow("no password") << false << int(ProtectForm::RemoveView::NoPassword);
        QTest::newRow("opened with its password") << true << int(ProtectForm::RemoveView::Offer);
    }
    void removeView()
    {
        QFETCH(bool, encrypted);
        QFETCH(int, view);
        const QString path = m_dir.filePath(QStringLiteral("view.pdf"));
        if (encrypted)
            lockedFixture(path, true);
        else
            writeFile(path, textPDF(1));
        const auto file = intake(path, {QStringLiteral("tenant")});
        QVERIFY(file);
        QCOMPARE(int(ProtectForm::removeView(*file)), view);
        QCOMPARE(ProtectForm::noPasswordBanner(), QStringLiteral("This file has no password."));
        QCOMPARE(ProtectForm::noPasswordSymbol(), QStringLiteral("info.circle.fill"));
    }

    // The screen's road: destination, job, cleared fields, outcome, file.
    void protectThroughTheJob_data()
    {
        QTest::addColumn<bool>("printing");
        QTest::addColumn<bool>("copying");
        QTest::newRow("defaults") << true << true;
        QTest::newRow("both off") << false << false;
        QTest::newRow("printing only") << true << false;
    }
    void protectThroughTheJob()
    {
        QFETCH(bool, printing);
        QFETCH(bool, copying);
        const QString dir = folder(QStringLiteral("job %1%2").arg(printing).arg(copying));
        const QString source = writeFile(dir + QStringLiteral("/Report.pdf"), textPDF(2));
        const QByteArray before = sha(source);
        const auto file = intake(source);
        QVERIFY(file);

        ProtectForm form;
        form.password = QStringLiteral("čokoláda");
        form.passwordAgain = QStringLiteral("čokoláda");
        form.printing = printing;
        form.copying = copying;
        Job job;
        QVERIFY(form.startProtect(job, *file, nullptr));
        QVERIFY(form.password.isEmpty());
        QVERIFY(form.passwordAgain.isEmpty());
        QVERIFY(std::holds_alternative<Job::Running>(job.state()));
        QCOMPARE(std::get<Job::Running>(job.state()).label, QStringLiteral("Protecting"));
        QVERIFY(finish(job));

        const QString expected = dir + QStringLiteral("/Report protected.pdf");
        QCOMPARE(job.state(), Job::State(Job::Done{
                                  {QStringLiteral("Saved “Report protected.pdf”"),
                                   QStringLiteral("It now asks for the password when opened."),
                                   {expected}}}));
        QCOMPARE(sha(source), before);
        QVERIFY(poppler(expected).locked);
        // One password for both: whoever has it has every right, yet the
        // file says what its maker chose.
        const PopplerView view = poppler(expected, QStringLiteral("čokoláda"));
        QCOMPARE(view.pages, 2);
        const auto shown = qpdfEncryption(expected, QStringLiteral("čokoláda"));
        QCOMPARE(shown.value(QStringLiteral("P")).toInt(),
                 PDFOps::standardPermissionBits(PDFOps::protectPermissions(printing, copying)));
        QCOMPARE(shown.value(QStringLiteral("print high resolution")),
                 printing ? QStringLiteral("allowed") : QStringLiteral("not allowed"));
        QCOMPARE(shown.value(QStringLiteral("extract for any purpose")),
                 copying ? QStringLiteral("allowed") : QStringLiteral("not allowed"));
        QVERIFY(leftoverTemporaries(dir).isEmpty());
    }

    void formDoesNotStart_data()
    {
        QTest::addColumn<QString>("password");
        QTest::addColumn<QString>("again");
        QTest::newRow("empty") << QString() << QString();
        QTest::newRow("different") << QStringLiteral("a") << QStringLiteral("b");
    }
    void formDoesNotStart()
    {
        QFETCH(QString, password);
        QFETCH(QString, again);
        const QString source = writeFile(m_dir.filePath(QStringLiteral("idle.pdf")), textPDF(1));
        ProtectForm form;
        form.password = password;
        form.passwordAgain = again;
        Job job;
        QVERIFY(!form.startProtect(job, *intake(source), nullptr));
        QCOMPARE(job.state(), Job::State(Job::Idle{}));
        QCOMPARE(form.password, password); // kept: nothing started
        QVERIFY(!QFile::exists(m_dir.filePath(QStringLiteral("idle protected.pdf"))));
    }

    // Names: "<name> protected.pdf" and "<name> unlocked.pdf", numbered.
    void resultNames()
    {
        const QString dir = folder(QStringLiteral("names"));
        const QString source = lockedFixture(dir + QStringLiteral("/Report.pdf"), true);
        const auto file = intake(source, {QStringLiteral("tenant")});
        QVERIFY(file);
        QStringList made;
        for (int i = 0; i < 2; ++i) {
            const auto to = Output::pdfURL(*file, ProtectForm::protectSuffix(), nullptr);
            QVERIFY(to);
            made << Tasks::protect(*file, {QStringLiteral("pw"), std::nullopt, true, true}, *to,
                                   kNoProgress, kNotCancelled)
                        .title;
            const auto plain = Output::pdfURL(*file, ProtectForm::removeSuffix(), nullptr);
            QVERIFY(plain);
            made << Tasks::removePassword(*file, *plain, kNoProgress, kNotCancelled).title;
        }
        QCOMPARE(made, (QStringList{QStringLiteral("Saved “Report protected.pdf”"),
                                    QStringLiteral("Saved “Report unlocked.pdf”"),
                                    QStringLiteral("Saved “Report protected 2.pdf”"),
                                    QStringLiteral("Saved “Report unlocked 2.pdf”")}));
    }

    void removeThroughTheJob()
    {
        const QString dir = folder(QStringLiteral("remove"));
        const QString source = lockedFixture(dir + QStringLiteral("/Lease.pdf"), true);
        const QByteArray before = sha(source);
        const auto file = intake(source, {QStringLiteral("tenant")});
        QVERIFY(file);
        ProtectForm form;
        Job job;
        QVERIFY(form.startRemove(job, *file, nullptr));
        QCOMPARE(std::get<Job::Running>(job.state()).label, QStringLiteral("Removing password"));
        QVERIFY(finish(job));
        const QString expected = dir + QStringLiteral("/Lease unlocked.pdf");
        QCOMPARE(job.state(), Job::State(Job::Done{
                                  {QStringLiteral("Saved “Lease unlocked.pdf”"),
                                   QStringLiteral("This copy opens without a password."),
                                   {expected}}}));
        QCOMPARE(sha(source), before);
        const PopplerView view = poppler(expected);
        QVERIFY(view.opened && !view.encrypted);
        QCOMPARE(view.texts, poppler(source, QStringLiteral("tenant")).texts);
        QCOMPARE(view.outline, QStringList{QStringLiteral("Terms")});
        QCOMPARE(view.textFields.value(QStringLiteral("name")), QStringLiteral("Ana Lima"));
        QCOMPARE(view.attachments.value(QStringLiteral("notes.txt")), attachmentBytes());
    }

    // Refusals reach the job as the messages the person reads.
    void failures_data()
    {
        QTest::addColumn<QString>("situation");
        QTest::addColumn<QString>("message");
        QTest::newRow("protect: source gone") << QStringLiteral("protect gone")
                                              << QStringLiteral("“Gone.pdf” couldn't be read as a PDF.");
        QTest::newRow("remove: source gone") << QStringLiteral("remove gone")
                                             << QStringLiteral("“Gone.pdf” couldn't be read as a PDF.");
        QTest::newRow("remove: restricted") << QStringLiteral("remove restricted")
                                            << PDFError::restricted().description();
        QTest::newRow("protect: restricted") << QStringLiteral("protect restricted")
                                             << PDFError::restricted().description();
        QTest::newRow("protect: can't write") << QStringLiteral("protect unwritable")
                                              << QStringLiteral("Couldn't write the protected file.");
        QTest::newRow("remove: can't write") << QStringLiteral("remove unwritable")
                                             << QStringLiteral("Couldn't write the new file.");
        QTest::newRow("protect: empty password") << QStringLiteral("protect empty")
                                                 << QStringLiteral("Type a password first.");
    }
    void failures()
    {
        QFETCH(QString, situation);
        QFETCH(QString, message);
        const QString dir = folder(QStringLiteral("failures ") + QString(QTest::currentDataTag()));
        const bool restricted = situation.endsWith(QLatin1String("restricted"));
        const QString source = lockedFixture(dir + QStringLiteral("/Gone.pdf"), !restricted);
        const auto file = intake(source, {QStringLiteral("tenant")});
        QVERIFY(file);
        QCOMPARE(file->restricted(), restricted);
        if (situation.endsWith(QLatin1String("gone")))
            QFile::remove(source);
        QString to = dir + QStringLiteral("/result.pdf");
        if (situation.endsWith(QLatin1String("unwritable")))
            to = dir + QStringLiteral("/no such folder/result.pdf");
        const QString password = situation.endsWith(QLatin1String("empty")) ? QString()
                                                                             : QStringLiteral("pw");
        Job job;
        if (situation.startsWith(QLatin1String("protect")))
            job.run(ProtectForm::protectTitle(), [&](const Progress &p, const IsCancelled &c) {
                return Tasks::protect(*file, {password, std::nullopt, true, true}, to, p, c);
            });
        else
            job.run(ProtectForm::removeTitle(), [&](const Progress &p, const IsCancelled &c) {
                return Tasks::removePassword(*file, to, p, c);
            });
        QVERIFY(finish(job));
        QCOMPARE(job.state(), Job::State(Job::Failed{message}));
        QVERIFY(!QFile::exists(to));
        QVERIFY(leftoverTemporaries(dir).isEmpty());
    }

    // A restricted file gives up its password once its owner's is given.
    void ownerPasswordLiftsTheRefusal()
    {
        const QString dir = folder(QStringLiteral("owner"));
        const QString source = lockedFixture(dir + QStringLiteral("/Deed.pdf"), false);
        ScriptedDialogs dialogs({QStringLiteral("tenant"), QStringLiteral("landlord")});
        Workspace workspace;
        workspace.setDialogs(&dialogs);
        workspace.add({source});
        QVERIFY(workspace.files().last().restricted());
        workspace.unlockOwner(workspace.files().last().id);
        const PDFFile file = workspace.files().last();
        QVERIFY(!file.restricted());
        const QString to = dir + QStringLiteral("/Deed unlocked.pdf");
        Tasks::removePassword(file, to, kNoProgress, kNotCancelled);
        const PopplerView view = poppler(to);
        QVERIFY(view.opened && view.copy && !view.encrypted);
        QCOMPARE(view.pages, 3);
    }

    // Every corpus file: protecting either works, giving a copy the readers
    // open only with the password, with the same pages, or fails with a
    // sentence; encrypted ones are unlocked with their known passwords.
    void corpus()
    {
        const QString corpus = corpusDir();
        if (corpus.isEmpty())
            QSKIP("QUIREBOOK_CORPUS is not set");
        const auto passwords = corpusPasswords();
        const QString out = folder(QStringLiteral("corpus"));
        int protectedCount = 0, unlockedCount = 0;
        const auto names = QDir(corpus).entryList({QStringLiteral("*.pdf")}, QDir::Files, QDir::Name);
        for (const QString &name : names) {
            const auto known = passwords.value(name);
            ScriptedDialogs dialogs({known.value(QStringLiteral("user"))});
            Workspace workspace;
            workspace.setDialogs(&dialogs);
            workspace.add({QDir(corpus).filePath(name)});
            if (workspace.files().isEmpty()) {
                QVERIFY2(workspace.notice() && workspace.notice()->endsWith(u'.'), qPrintable(name));
                continue;
            }
            PDFFile file = workspace.files().last();
            if (file.restricted()) {
                ScriptedDialogs owner({known.value(QStringLiteral("owner"))});
                workspace.setDialogs(&owner);
                workspace.unlockOwner(file.id);
                file = workspace.files().last();
            }
            const QString base = QFileInfo(name).completeBaseName();
            const QString to = out + u'/' + base + QStringLiteral(" protected.pdf");
            try {
                Tasks::protect(file, {QStringLiteral("çorpus-пароль"), std::nullopt, true, true},
                               to, kNoProgress, kNotCancelled);
                ++protectedCount;
                QVERIFY2(poppler(to).locked, qPrintable(name));
                QCOMPARE(poppler(to, QStringLiteral("çorpus-пароль")).pages, file.pageCount());
            } catch (const PDFError &e) {
                QVERIFY2(e.description().endsWith(u'.'), qPrintable(name));
                QVERIFY(!QFile::exists(to));
            }
            if (!file.doc->isEncrypted())
                continue;
            const QString plain = out + u'/' + base + QStringLiteral(" unlocked.pdf");
            Tasks::removePassword(file, plain, kNoProgress, kNotCancelled);
            ++unlockedCount;
            const PopplerView view = poppler(plain);
            QVERIFY2(view.opened && !view.encrypted, qPrintable(name));
            QCOMPARE(view.pages, file.pageCount());
            const QString typed = file.password.value_or(QString());
            QCOMPARE(view.texts, poppler(QDir(corpus).filePath(name),
                                         PDFOps::preparedPassword(typed)).texts);
        }
        QVERIFY(leftoverTemporaries(out).isEmpty());
        QVERIFY(protectedCount > 30);
        QCOMPARE(unlockedCount, 10); // every encrypted file with a password
    }
};

QTEST_GUILESS_MAIN(TestProtectTask)
#include "tst_protecttask.moc"
