#include "support/Fixtures.h"
#include "support/ProtectChecks.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;
using namespace ProtectChecks;

namespace {

QString line(const QString &message)
{
    return QStringLiteral("quirebook-cli: ") + message + u'\n';
}

QMap<QString, QString> newPassword(const QString &password)
{
    return {{QStringLiteral("QUIREBOOK_NEW_PASSWORD"), password}};
}

QMap<QString, QString> openPassword(const QString &password)
{
    return {{QStringLiteral("QUIREBOOK_PASSWORD"), password}};
}

} // namespace

class TestProtectCli : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    int m_folders = 0;

    // A fresh folder holding "Report.pdf" (three numbered pages unless given).
    QString report(const QByteArray &bytes = {})
    {
        const QString dir = m_dir.filePath(QString::number(++m_folders));
        QDir().mkpath(dir);
        return writeFile(dir + QStringLiteral("/Report.pdf"),
                         bytes.isEmpty() ? textPDF(3, QStringLiteral("Report page")) : bytes);
    }

    // A file holding `password` on its first line.
    QString secret(const QString &password)
    {
        return writeFile(m_dir.filePath(QStringLiteral("pw %1.txt").arg(password)),
                         password.toUtf8() + '\n');
    }

private Q_SLOTS:
    void initTestCase() { qunsetenv("QUIREBOOK_NEW_PASSWORD"); }

    // Where the new password comes from (never from an argument), and an
    // owner password that would open the copy for anyone.
    void protectPasswords_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("environment"); // "-" for unset
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("outcome"); // the copy's password, or the message
        const QStringList file{QStringLiteral("--new-password-file"),
                               secret(QStringLiteral("från filen"))};
        QTest::newRow("file") << file << QStringLiteral("-") << 0 << QStringLiteral("från filen");
        QTest::newRow("environment") << QStringList{} << QStringLiteral("из окружения") << 0
                                     << QStringLiteral("из окружения");
        QTest::newRow("file before environment")
            << file << QStringLiteral("ignored") << 0 << QStringLiteral("från filen");
        QTest::newRow("nowhere, no terminal")
            << QStringList{} << QStringLiteral("-") << 2
            << QStringLiteral("Give the new password with --new-password-file or the environment "
                              "variable QUIREBOOK_NEW_PASSWORD.");
        QTest::newRow("empty") << QStringList{} << QString() << 1
                               << QStringLiteral("Type a password first.");
        QTest::newRow("missing file")
            << QStringList{QStringLiteral("--new-password-file"), QStringLiteral("/nonexistent/pw")}
            << QStringLiteral("-") << 1
            << QStringLiteral("Couldn't read the password file “/nonexistent/pw”.");
        QTest::newRow("as an argument")
            << QStringList{QStringLiteral("--new-password"), QStringLiteral("visible")}
            << QStringLiteral("-") << 2 << QString();
        QTest::newRow("empty owner password")
            << QStringList{QStringLiteral("--owner-password-file"), secret(QString())}
            << QStringLiteral("pw") << 2
            << QStringLiteral("The owner password in “%1” is empty.").arg(secret(QString()));
    }
    void protectPasswords()
    {
        QFETCH(QStringList, options);
        QFETCH(QString, environment);
        QFETCH(int, status);
        QFETCH(QString, outcome);
        const QString source = report();
        const QByteArray before = readFile(source);
        const auto result = runCli(QStringList{QStringLiteral("protect")} << options << source,
                                   environment == QLatin1String("-") ? QMap<QString, QString>()
                                                                     : newPassword(environment));
        QCOMPARE(result.exitCode, status);
        QCOMPARE(readFile(source), before);
        const QString expected =
            QFileInfo(source).absolutePath() + QStringLiteral("/Report protected.pdf");
        QCOMPARE(result.out, status == 0 ? expected + u'\n' : QString());
        if (status != 0) {
            QVERIFY(!QFile::exists(expected));
            if (!outcome.isEmpty())
                QCOMPARE(result.err, line(outcome));
            return;
        }
        QVERIFY(result.err.isEmpty());
        QVERIFY(poppler(expected).locked);
        QCOMPARE(poppler(expected, outcome).pages, 3);
    }

    // The permission switches, and the owner password the copy gets: the
    // one given, which also lifts a restricted source's limits, unless a
    // new one is given too.
    void permissions_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<bool>("restrictedSource");
        QTest::addColumn<int>("p");
        const QStringList owner{QStringLiteral("--owner-password-file"),
                                secret(QStringLiteral("landlord"))};
        QTest::newRow("everything") << owner << false << -4;
        QTest::newRow("no printing")
            << (owner + QStringList{QStringLiteral("--no-printing")}) << false << -2056;
        QTest::newRow("no copying, restricted source")
            << (owner + QStringList{QStringLiteral("--no-copying")}) << true << -20;
        QTest::newRow("new owner password")
            << QStringList{QStringLiteral("--owner-password-file"), secret(QStringLiteral("other")),
                           QStringLiteral("--new-owner-password-file"),
                           secret(QStringLiteral("landlord"))}
            << false << -4;
    }
    void permissions()
    {
        QFETCH(QStringList, options);
        QFETCH(bool, restrictedSource);
        QFETCH(int, p);
        const QString source =
            report(restrictedSource ? makePDF(numberedPages(2), tenantLock(false)) : QByteArray());
        auto env = openPassword(QStringLiteral("tenant"));
        env.insert(newPassword(QStringLiteral("lecteur")));
        const auto result = runCli(QStringList{QStringLiteral("protect"), QStringLiteral("--quiet")}
                                       << options << source,
                                   env);
        QCOMPARE(result.exitCode, 0);
        const QString out = result.out.trimmed();
        const auto shown = qpdfEncryption(out, QStringLiteral("lecteur"));
        QCOMPARE(shown.value(QStringLiteral("P")).toInt(), p);
        QVERIFY(!shown.contains(QStringLiteral("Supplied password is owner password")));
        QVERIFY(qpdfEncryption(out, QStringLiteral("landlord"))
                    .contains(QStringLiteral("Supplied password is owner password")));
        QVERIFY(poppler(out, QStringLiteral("tenant")).locked);
    }

    // The source's passwords as the other verbs take them; a restricted
    // file needs its owner's.
    void unlock_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("environment");
        QTest::addColumn<bool>("copyingAllowed");
        QTest::newRow("password file")
            << QStringList{QStringLiteral("--password-file"), secret(QStringLiteral("tenant"))}
            << QString() << true;
        QTest::newRow("restricted, owner given")
            << QStringList{QStringLiteral("--owner-password"), QStringLiteral("landlord")}
            << QStringLiteral("tenant") << false;
        QTest::newRow("owner password alone")
            << QStringList{QStringLiteral("--password"), QStringLiteral("landlord")} << QString()
            << false;
    }
    void unlock()
    {
        QFETCH(QStringList, options);
        QFETCH(QString, environment);
        QFETCH(bool, copyingAllowed);
        const QString source = report(makePDF(numberedPages(2), tenantLock(copyingAllowed)));
        const auto result =
            runCli(QStringList{QStringLiteral("unlock")} << options << source,
                   environment.isEmpty() ? QMap<QString, QString>() : openPassword(environment));
        QCOMPARE(result.exitCode, 0);
        const QString expected =
            QFileInfo(source).absolutePath() + QStringLiteral("/Report unlocked.pdf");
        QCOMPARE(result.out, expected + u'\n');
        const PopplerView view = poppler(expected);
        QVERIFY(view.opened && !view.encrypted);
    }

    void refusals_data()
    {
        QTest::addColumn<QString>("verb");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("message");
        const QString restricted = QStringLiteral(
            "This PDF has restrictions set by its owner (for example no copying or editing). "
            "Quirebook only changes such files when you enter the owner's password.");
        QTest::newRow("unlock, no password")
            << QStringLiteral("unlock") << QStringLiteral("plain")
            << QStringLiteral("“Report.pdf”: This file has no password.");
        QTest::newRow("protect, restricted")
            << QStringLiteral("protect") << QStringLiteral("restricted") << restricted;
        QTest::newRow("unlock, restricted")
            << QStringLiteral("unlock") << QStringLiteral("restricted") << restricted;
        QTest::newRow("protect, picture")
            << QStringLiteral("protect") << QStringLiteral("picture")
            << QStringLiteral("“Report.png” isn't a PDF. Only PDFs can be protected.");
    }
    void refusals()
    {
        QFETCH(QString, verb);
        QFETCH(QString, kind);
        QFETCH(QString, message);
        QStringList arguments{verb};
        if (kind == QLatin1String("plain")) {
            arguments << report();
        } else if (kind == QLatin1String("restricted")) {
            arguments << report(makePDF(numberedPages(2), tenantLock(false)));
        } else if (kind == QLatin1String("picture")) {
            const QString dir = QFileInfo(report()).absolutePath();
            arguments << writeFile(dir + QStringLiteral("/Report.png"),
                                   encode(marker(40, 30), "PNG"));
        }
        auto env = openPassword(QStringLiteral("tenant"));
        env.insert(newPassword(QStringLiteral("pw")));
        const auto result = runCli(arguments, env);
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.err, line(message));
        QVERIFY(result.out.isEmpty());
    }

    // Both verbs end to end: forms and attachments of real files survive
    // protecting and unlocking.
    void roundTrip_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("form") << QStringLiteral("form-acroform-libreoffice.pdf");
        QTest::newRow("attachment") << QStringLiteral("attachment-embedded-file.pdf");
    }
    void roundTrip()
    {
        QFETCH(QString, name);
        if (corpusDir().isEmpty())
            QSKIP("QUIREBOOK_CORPUS is not set");
        const QString source = report(readFile(QDir(corpusDir()).filePath(name)));
        const PopplerView original = poppler(source);
        const auto locked =
            runCli({QStringLiteral("protect"), source}, newPassword(QStringLiteral("ключ")));
        QCOMPARE(locked.exitCode, 0);
        const auto unlocked = runCli({QStringLiteral("unlock"), locked.out.trimmed()},
                                     openPassword(QStringLiteral("ключ")));
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
};

QTEST_GUILESS_MAIN(TestProtectCli)
#include "tst_protectcli.moc"
