#include "Fixtures.h"
#include "ProtectChecks.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace Fixtures;
using namespace ProtectChecks;

namespace {

QByteArray sha(const QString &path)
{
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    return QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256);
}

QString line(const QString &message) { return QStringLiteral("quirebook-cli: ") + message + u'\n'; }

QMap<QString, QString> newPassword(const QString &password)
{
    return {{QStringLiteral("QUIREBOOK_NEW_PASSWORD"), password}};
}

} // namespace

class TestProtectCli : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    int m_folders = 0;

    // A fresh folder holding "Report.pdf" (three numbered pages).
    QString report(const QByteArray &bytes = {})
    {
        const QString dir = m_dir.filePath(QString::number(++m_folders));
        QDir().mkpath(dir);
        return writeFile(dir + QStringLiteral("/Report.pdf"),
                         bytes.isEmpty() ? textPDF(3, QStringLiteral("Report page")) : bytes);
    }

    QString secretFile(const QString &name, const QByteArray &content)
    {
        return writeFile(m_dir.filePath(name), content);
    }

    QByteArray lockedBytes(bool allowCopying)
    {
        WriteOptions options;
        options.encrypt = true;
        options.userPassword = QStringLiteral("tenant");
        options.ownerPassword = QStringLiteral("landlord");
        options.allowCopying = allowCopying;
        return makePDF(numberedPages(2, QStringLiteral("Lease page")), options);
    }

private Q_SLOTS:
    void initTestCase() { qunsetenv("QUIREBOOK_NEW_PASSWORD"); }

    // Where the new password comes from; never from an argument.
    void newPasswordSources_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("environment"); // "-" for unset
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("opensWith");
        QTest::addColumn<QString>("message");
        const QString file = QStringLiteral("@file"); // replaced by a file holding "från filen"
        QTest::newRow("file") << QStringList{QStringLiteral("--new-password-file"), file}
                              << QStringLiteral("-") << 0 << QStringLiteral("från filen") << QString();
        QTest::newRow("environment") << QStringList{} << QStringLiteral("из окружения") << 0
                                     << QStringLiteral("из окружения") << QString();
        QTest::newRow("file before environment")
            << QStringList{QStringLiteral("--new-password-file"), file} << QStringLiteral("ignored")
            << 0 << QStringLiteral("från filen") << QString();
        QTest::newRow("nowhere, no terminal")
            << QStringList{} << QStringLiteral("-") << 2 << QString()
            << QStringLiteral("Give the new password with --new-password-file or the environment "
                              "variable QUIREBOOK_NEW_PASSWORD.");
        QTest::newRow("empty") << QStringList{} << QString() << 1 << QString()
                               << QStringLiteral("Type a password first.");
        QTest::newRow("missing file")
            << QStringList{QStringLiteral("--new-password-file"), QStringLiteral("/nonexistent/pw")}
            << QStringLiteral("-") << 1 << QString()
            << QStringLiteral("Couldn't read the password file “/nonexistent/pw”.");
        QTest::newRow("as an argument") << QStringList{QStringLiteral("--new-password"),
                                                       QStringLiteral("visible")}
                                        << QStringLiteral("-") << 2 << QString() << QString();
    }
    void newPasswordSources()
    {
        QFETCH(QStringList, options);
        QFETCH(QString, environment);
        QFETCH(int, status);
        QFETCH(QString, opensWith);
        QFETCH(QString, message);
        const QString pwFile = secretFile(QStringLiteral("new.txt"), "från filen\n");
        options.replaceInStrings(QStringLiteral("@file"), pwFile);
        const QString source = report();
        const QByteArray before = sha(source);
        const auto result = runCli(QStringList{QStringLiteral("protect")} << options << source,
                                   environment == QLatin1String("-") ? QMap<QString, QString>()
                                                                     : newPassword(environment));
        QCOMPARE(result.exitCode, status);
        QCOMPARE(sha(source), before);
        const QString expected = QFileInfo(source).absolutePath() + QStringLiteral("/Report protected.pdf");
        if (status != 0) {
            QVERIFY(result.out.isEmpty());
            QVERIFY(!QFile::exists(expected));
            if (!message.isEmpty())
                QCOMPARE(result.err, line(message));
            return;
        }
        QCOMPARE(result.out, expected + u'\n');
        QVERIFY(result.err.isEmpty());
        QVERIFY(poppler(expected).locked);
        QCOMPARE(poppler(expected, opensWith).pages, 3);
        QVERIFY(poppler(expected, QStringLiteral("ignored")).locked);
    }

    // The permission switches with a separate owner password, read back by qpdf and poppler.
    void permissions_data()
    {
        QTest::addColumn<QStringList>("switches");
        QTest::addColumn<int>("p");
        QTest::addColumn<bool>("printing");
        QTest::addColumn<bool>("copying");
        QTest::newRow("everything") << QStringList{} << -4 << true << true;
        QTest::newRow("no printing") << QStringList{QStringLiteral("--no-printing")} << -2056
                                     << false << true;
        QTest::newRow("no copying") << QStringList{QStringLiteral("--no-copying")} << -20 << true
                                    << false;
        QTest::newRow("neither") << QStringList{QStringLiteral("--no-copying"),
                                                QStringLiteral("--no-printing")}
                                 << -2072 << false << false;
    }
    void permissions()
    {
        QFETCH(QStringList, switches);
        QFETCH(int, p);
        QFETCH(bool, printing);
        QFETCH(bool, copying);
        const QString owner = secretFile(QStringLiteral("owner.txt"), "propriétaire\n");
        const QString source = report();
        const auto result = runCli(QStringList{QStringLiteral("protect"), QStringLiteral("--quiet"),
                                               QStringLiteral("--owner-password-file"), owner}
                                       << switches << source,
                                   newPassword(QStringLiteral("lecteur")));
        QCOMPARE(result.exitCode, 0);
        const QString out = result.out.trimmed();
        const auto shown = qpdfEncryption(out, QStringLiteral("lecteur"));
        QCOMPARE(shown.value(QStringLiteral("R")), QStringLiteral("6"));
        QCOMPARE(shown.value(QStringLiteral("P")).toInt(), p);
        QCOMPARE(shown.value(QStringLiteral("stream encryption method")), QStringLiteral("AESv3"));
        QVERIFY(shown.contains(QStringLiteral("Supplied password is user password")));
        QVERIFY(!shown.contains(QStringLiteral("Supplied password is owner password")));
        const PopplerView user = poppler(out, QStringLiteral("lecteur"));
        QCOMPARE(user.print, printing);
        QCOMPARE(user.copy, copying);
        QVERIFY(user.change && user.assemble && user.fillForm && user.addNotes);
        const PopplerView full = poppler(out, QStringLiteral("propriétaire"));
        QVERIFY(full.print && full.copy);
        // quirebook-cli itself sees the copy as restricted exactly when copying is off.
        const auto info = runCli({QStringLiteral("info"), QStringLiteral("--json"), out},
                                 {{QStringLiteral("QUIREBOOK_PASSWORD"), QStringLiteral("lecteur")}});
        QVERIFY(info.out.contains(copying ? QStringLiteral("\"restricted\": false")
                                          : QStringLiteral("\"restricted\": true")));
    }

    void emptyOwnerPasswordIsRefused()
    {
        const QString empty = secretFile(QStringLiteral("empty.txt"), "\n");
        const QString source = report();
        const auto result = runCli({QStringLiteral("protect"), QStringLiteral("--owner-password-file"),
                                    empty, source},
                                   newPassword(QStringLiteral("pw")));
        QCOMPARE(result.exitCode, 2);
        QCOMPARE(result.err, line(QStringLiteral("The owner password in “%1” is empty.").arg(empty)));
        QVERIFY(!QFile::exists(QFileInfo(source).absolutePath() + QStringLiteral("/Report protected.pdf")));
    }

    // Results never overwrite: numbered next to the source, in an -o folder, or as an -o file.
    void placesAndNumbers()
    {
        const QString source = report();
        const QString dir = QFileInfo(source).absolutePath();
        const QString elsewhere = m_dir.filePath(QStringLiteral("elsewhere"));
        QDir().mkpath(elsewhere);
        const QString named = writeFile(elsewhere + QStringLiteral("/given.pdf"), "taken");
        const QList<QStringList> runs{
            {}, {}, {QStringLiteral("-o"), elsewhere}, {QStringLiteral("--output"), named}};
        QStringList printed;
        for (const auto &options : runs) {
            const auto result = runCli(QStringList{QStringLiteral("protect")} << options << source,
                                       newPassword(QStringLiteral("pw")));
            QCOMPARE(result.exitCode, 0);
            printed << result.out.trimmed();
        }
        QCOMPARE(printed, (QStringList{dir + QStringLiteral("/Report protected.pdf"),
                                       dir + QStringLiteral("/Report protected 2.pdf"),
                                       elsewhere + QStringLiteral("/Report protected.pdf"),
                                       elsewhere + QStringLiteral("/given 2.pdf")}));
        QCOMPARE(QFile(named).size(), 5); // untouched
        for (const QString &path : printed)
            QCOMPARE(poppler(path, QStringLiteral("pw")).pages, 3);
        QVERIFY(leftoverTemporaries(dir).isEmpty());

        // Several sources need a folder.
        const auto several = runCli({QStringLiteral("unlock"), QStringLiteral("-o"), named, source, source});
        QCOMPARE(several.exitCode, 2);
        QVERIFY(several.err.startsWith(line(QStringLiteral("With several files, -o must name an existing folder."))));
    }

    void unlock_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("environment");
        QTest::addColumn<bool>("copyingAllowed");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("message");
        const QString restricted = QStringLiteral(
            "This PDF has restrictions set by its owner (for example no copying or editing). "
            "Quirebook only changes such files when you enter the owner's password.");
        QTest::newRow("password file") << QStringList{QStringLiteral("--password-file"), QStringLiteral("@file")}
                                       << QString() << true << 0 << QString();
        QTest::newRow("environment") << QStringList{} << QStringLiteral("tenant") << true << 0 << QString();
        QTest::newRow("no password") << QStringList{} << QString() << true << 1
                                     << QStringLiteral("“Report.pdf” stayed locked.");
        QTest::newRow("wrong password") << QStringList{} << QStringLiteral("tennant") << true << 1
                                        << QStringLiteral("“Report.pdf” stayed locked.");
        QTest::newRow("restricted") << QStringList{} << QStringLiteral("tenant") << false << 1 << restricted;
        QTest::newRow("restricted, owner given")
            << QStringList{QStringLiteral("--owner-password"), QStringLiteral("landlord")}
            << QStringLiteral("tenant") << false << 0 << QString();
        QTest::newRow("owner password alone")
            << QStringList{QStringLiteral("--password"), QStringLiteral("landlord")} << QString()
            << false << 0 << QString();
    }
    void unlock()
    {
        QFETCH(QStringList, options);
        QFETCH(QString, environment);
        QFETCH(bool, copyingAllowed);
        QFETCH(int, status);
        QFETCH(QString, message);
        options.replaceInStrings(QStringLiteral("@file"), secretFile(QStringLiteral("pw.txt"), "tenant\n"));
        const QString source = report(lockedBytes(copyingAllowed));
        QMap<QString, QString> env;
        if (!environment.isEmpty())
            env.insert(QStringLiteral("QUIREBOOK_PASSWORD"), environment);
        const auto result = runCli(QStringList{QStringLiteral("unlock")} << options << source, env);
        QCOMPARE(result.exitCode, status);
        const QString expected = QFileInfo(source).absolutePath() + QStringLiteral("/Report unlocked.pdf");
        if (status != 0) {
            QCOMPARE(result.err, line(message));
            QVERIFY(!QFile::exists(expected));
            return;
        }
        QCOMPARE(result.out, expected + u'\n');
        const PopplerView view = poppler(expected);
        QVERIFY(view.opened && !view.encrypted);
        QCOMPARE(view.texts, (QStringList{QStringLiteral("Lease page 1"), QStringLiteral("Lease page 2")}));
        QCOMPARE(qpdfRequiresPassword(expected), 2);
    }

    void refusals_data()
    {
        QTest::addColumn<QString>("verb");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("message");
        QTest::newRow("unlock, no password") << QStringLiteral("unlock") << QStringLiteral("plain") << 1
                                             << QStringLiteral("“Report.pdf”: This file has no password.");
        QTest::newRow("protect, picture") << QStringLiteral("protect") << QStringLiteral("picture") << 1
                                          << QStringLiteral("“Report.png” isn't a PDF. Only PDFs can be protected.");
        QTest::newRow("protect, not a PDF") << QStringLiteral("protect") << QStringLiteral("broken") << 1
                                            << QStringLiteral("“Report.pdf” couldn't be read as a PDF.");
        QTest::newRow("unlock, missing") << QStringLiteral("unlock") << QStringLiteral("missing") << 1
                                         << QStringLiteral("“Report.pdf” couldn't be read as a PDF.");
        QTest::newRow("protect, no file") << QStringLiteral("protect") << QString() << 2
                                          << QStringLiteral("Name a PDF to protect. Try “quirebook-cli protect --help”.");
        QTest::newRow("unlock, no file") << QStringLiteral("unlock") << QString() << 2
                                         << QStringLiteral("Name a PDF to unlock. Try “quirebook-cli unlock --help”.");
    }
    void refusals()
    {
        QFETCH(QString, verb);
        QFETCH(QString, kind);
        QFETCH(int, status);
        QFETCH(QString, message);
        QStringList arguments{verb};
        if (kind == QLatin1String("plain")) {
            arguments << report();
        } else if (kind == QLatin1String("broken")) {
            arguments << report("%PDF-1.7 nothing else");
        } else if (kind == QLatin1String("missing")) {
            const QString gone = report();
            QFile::remove(gone);
            arguments << gone;
        } else if (kind == QLatin1String("picture")) {
            const QString dir = QFileInfo(report()).absolutePath();
            arguments << writeFile(dir + QStringLiteral("/Report.png"), encode(marker(40, 30), "PNG"));
        }
        const auto result = runCli(arguments, newPassword(QStringLiteral("pw")));
        QCOMPARE(result.exitCode, status);
        QCOMPARE(result.err, line(message));
        QVERIFY(result.out.isEmpty());
    }

    void help_data()
    {
        QTest::addColumn<QString>("verb");
        QTest::addColumn<QStringList>("mentions");
        QTest::newRow("protect") << QStringLiteral("protect")
                                 << QStringList{QStringLiteral("--new-password-file"),
                                                QStringLiteral("QUIREBOOK_NEW_PASSWORD"),
                                                QStringLiteral("--owner-password-file"),
                                                QStringLiteral("--no-printing"),
                                                QStringLiteral("--no-copying"),
                                                QStringLiteral("protected.pdf")};
        QTest::newRow("unlock") << QStringLiteral("unlock")
                                << QStringList{QStringLiteral("--password-file"),
                                               QStringLiteral("QUIREBOOK_PASSWORD"),
                                               QStringLiteral("unlocked.pdf")};
    }
    void help()
    {
        QFETCH(QString, verb);
        QFETCH(QStringList, mentions);
        const auto result = runCli({verb, QStringLiteral("--help")});
        QCOMPARE(result.exitCode, 0);
        for (const QString &mention : mentions)
            QVERIFY2(result.out.contains(mention), qPrintable(mention));
        QVERIFY(runCli({QStringLiteral("--help")}).out.contains(verb));
    }

    // A restricted source is protected once its owner password is given; that
    // owner password stays the copy's.
    void protectRestrictedSource()
    {
        const QString owner = secretFile(QStringLiteral("landlord.txt"), "landlord\n");
        const QString source = report(lockedBytes(false));
        const QMap<QString, QString> env{{QStringLiteral("QUIREBOOK_PASSWORD"), QStringLiteral("tenant")},
                                         {QStringLiteral("QUIREBOOK_NEW_PASSWORD"), QStringLiteral("guest")}};
        const auto refused = runCli({QStringLiteral("protect"), source}, env);
        QCOMPARE(refused.exitCode, 1);
        QVERIFY(refused.err.contains(QStringLiteral("owner's password")));
        const auto done = runCli({QStringLiteral("protect"), QStringLiteral("--owner-password-file"),
                                  owner, QStringLiteral("--no-copying"), source},
                                 env);
        QCOMPARE(done.exitCode, 0);
        const QString out = done.out.trimmed();
        QVERIFY(qpdfEncryption(out, QStringLiteral("landlord"))
                    .contains(QStringLiteral("Supplied password is owner password")));
        QCOMPARE(poppler(out, QStringLiteral("guest")).copy, false);
        QVERIFY(poppler(out, QStringLiteral("tenant")).locked);
    }

    // Forms and attachments of real files survive protecting and unlocking.
    void roundTripKeepsFormsAndAttachments_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("form") << QStringLiteral("form-acroform-libreoffice.pdf");
        QTest::newRow("attachment") << QStringLiteral("attachment-embedded-file.pdf");
        QTest::newRow("fixture") << QString();
    }
    void roundTripKeepsFormsAndAttachments()
    {
        QFETCH(QString, name);
        QString source;
        if (name.isEmpty()) {
            source = report(withFormAndAttachment(textPDF(2)));
        } else {
            if (corpusDir().isEmpty())
                QSKIP("QUIREBOOK_CORPUS is not set");
            source = report();
            QFile::remove(source);
            QVERIFY(QFile::copy(QDir(corpusDir()).filePath(name), source));
        }
        const PopplerView original = poppler(source);
        const auto locked = runCli({QStringLiteral("protect"), source}, newPassword(QStringLiteral("ключ")));
        QCOMPARE(locked.exitCode, 0);
        const auto unlocked = runCli({QStringLiteral("unlock"), locked.out.trimmed()},
                                     {{QStringLiteral("QUIREBOOK_PASSWORD"), QStringLiteral("ключ")}});
        QCOMPARE(unlocked.exitCode, 0);
        QVERIFY(unlocked.out.trimmed().endsWith(QStringLiteral("/Report protected unlocked.pdf")));
        const PopplerView copy = poppler(unlocked.out.trimmed());
        QVERIFY(copy.opened && !copy.encrypted);
        QCOMPARE(copy.pages, original.pages);
        QCOMPARE(copy.texts, original.texts);
        QCOMPARE(copy.textFields, original.textFields);
        QCOMPARE(copy.attachments, original.attachments);
        QVERIFY(!copy.textFields.isEmpty() || !copy.attachments.isEmpty());
    }

    // Ctrl-C while the copy is being written: status 130, no result, and no
    // hidden temporary file left behind.
    void interrupted()
    {
        const QString source = report(textPDF(6000, QStringLiteral("Long page")));
        const QString dir = QFileInfo(source).absolutePath();
        QProcess process;
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QUIREBOOK_NEW_PASSWORD"), QStringLiteral("pw"));
        process.setProcessEnvironment(environment);
        process.start(qEnvironmentVariable("QUIREBOOK_CLI"), {QStringLiteral("protect"), source});
        QVERIFY(process.waitForStarted());
        const bool writing = QTest::qWaitFor(
            [&] {
                return !leftoverTemporaries(dir).isEmpty()
                    || process.state() == QProcess::NotRunning;
            },
            60000);
        QVERIFY(writing);
        if (process.state() == QProcess::NotRunning)
            QSKIP("the copy was written before it could be interrupted");
        ::kill(pid_t(process.processId()), SIGINT);
        QVERIFY(process.waitForFinished(60000));
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 130);
        QVERIFY(leftoverTemporaries(dir).isEmpty());
        QVERIFY(!QFile::exists(dir + QStringLiteral("/Report protected.pdf")));
    }

    // Every encrypted corpus file with a known password gives a copy that
    // opens without one, with the same pages and text.
    void unlockCorpus()
    {
        const QString corpus = corpusDir();
        if (corpus.isEmpty())
            QSKIP("QUIREBOOK_CORPUS is not set");
        const auto passwords = corpusPasswords();
        const QString out = m_dir.filePath(QStringLiteral("corpus"));
        QDir().mkpath(out);
        int unlocked = 0;
        for (auto it = passwords.begin(); it != passwords.end(); ++it) {
            const QString source = QDir(corpus).filePath(it.key());
            const QString user = it.value().value(QStringLiteral("user_as_typed"),
                                                  it.value().value(QStringLiteral("user")));
            QStringList arguments{QStringLiteral("unlock"), QStringLiteral("-o"), out};
            if (it.value().contains(QStringLiteral("owner")) && !it.value().value(QStringLiteral("owner")).isEmpty())
                arguments << QStringLiteral("--owner-password") << it.value().value(QStringLiteral("owner"));
            const auto result = runCli(arguments << source,
                                       {{QStringLiteral("QUIREBOOK_PASSWORD"), user}});
            QVERIFY2(result.exitCode == 0, qPrintable(it.key() + u' ' + result.err));
            const QString copy = result.out.trimmed();
            QCOMPARE(QFileInfo(copy).fileName(),
                     QFileInfo(it.key()).completeBaseName() + QStringLiteral(" unlocked.pdf"));
            const PopplerView view = poppler(copy);
            QVERIFY2(view.opened && !view.encrypted, qPrintable(it.key()));
            QCOMPARE(qpdfRequiresPassword(copy), 2);
            const PopplerView before = poppler(source, it.value().value(QStringLiteral("user")));
            QCOMPARE(view.pages, before.pages);
            QCOMPARE(view.texts, before.texts);
            QCOMPARE(qpdfPages(copy), before.pages);
            ++unlocked;
        }
        QCOMPARE(unlocked, 10);
        QVERIFY(leftoverTemporaries(out).isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestProtectCli)
#include "tst_protectcli.moc"
