#include "support/Fixtures.h"
#include "support/ProtectChecks.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

using namespace Fixtures;
using namespace ProtectChecks;

namespace {

QString line(const QString &message)
{
    return u"quirebook-cli: "_s + message + u'\n';
}

QMap<QString, QString> newPassword(const QString &password)
{
    return {{u"QUIREBOOK_NEW_PASSWORD"_s, password}};
}

QMap<QString, QString> openPassword(const QString &password)
{
    return {{u"QUIREBOOK_PASSWORD"_s, password}};
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
        return writeFile(dir + u"/Report.pdf"_s,
                         bytes.isEmpty() ? textPDF(3, u"Report page"_s) : bytes);
    }

    // A file holding `password` on its first line.
    QString secret(const QString &password)
    {
        return writeFile(m_dir.filePath(u"pw %1.txt"_s.arg(password)), password.toUtf8() + '\n');
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
        const QStringList file{u"--new-password-file"_s, secret(u"från filen"_s)};
        QTest::newRow("file") << file << u"-"_s << 0 << u"från filen"_s;
        QTest::newRow("environment")
            << QStringList{} << u"из окружения"_s << 0 << u"из окружения"_s;
        QTest::newRow("file before environment") << file << u"ignored"_s << 0 << u"från filen"_s;
        QTest::newRow("nowhere, no terminal")
            << QStringList{} << u"-"_s << 2
            << u"Give the new password with --new-password-file or the environment "
               "variable QUIREBOOK_NEW_PASSWORD."_s;
        QTest::newRow("empty") << QStringList{} << QString() << 1 << u"Type a password first."_s;
        QTest::newRow("missing file")
            << QStringList{u"--new-password-file"_s, u"/nonexistent/pw"_s} << u"-"_s << 1
            << u"Couldn't read the password file “/nonexistent/pw”."_s;
        QTest::newRow("as an argument")
            << QStringList{u"--new-password"_s, u"visible"_s} << u"-"_s << 2 << QString();
        QTest::newRow("empty owner password")
            << QStringList{u"--owner-password-file"_s, secret(QString())} << u"pw"_s << 2
            << u"The owner password in “%1” is empty."_s.arg(secret(QString()));
    }
    void protectPasswords()
    {
        QFETCH(QStringList, options);
        QFETCH(QString, environment);
        QFETCH(int, status);
        QFETCH(QString, outcome);
        const QString source = report();
        const QByteArray before = readFile(source);
        const auto result = runCli(QStringList{u"protect"_s} << options << source,
                                   environment == QLatin1String("-") ? QMap<QString, QString>()
                                                                     : newPassword(environment));
        QCOMPARE(result.exitCode, status);
        QCOMPARE(readFile(source), before);
        const QString expected = QFileInfo(source).absolutePath() + u"/Report protected.pdf"_s;
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
        const QStringList owner{u"--owner-password-file"_s, secret(u"landlord"_s)};
        QTest::newRow("everything") << owner << false << -4;
        QTest::newRow("no printing") << (owner + QStringList{u"--no-printing"_s}) << false << -2056;
        QTest::newRow("no copying, restricted source")
            << (owner + QStringList{u"--no-copying"_s}) << true << -20;
        QTest::newRow("new owner password")
            << QStringList{u"--owner-password-file"_s, secret(u"other"_s),
                           u"--new-owner-password-file"_s, secret(u"landlord"_s)}
            << false << -4;
    }
    void permissions()
    {
        QFETCH(QStringList, options);
        QFETCH(bool, restrictedSource);
        QFETCH(int, p);
        const QString source = report(
            restrictedSource ? makePDF(numberedPages(2), lock(u"tenant"_s, u"landlord"_s, true))
                             : QByteArray());
        auto env = openPassword(u"tenant"_s);
        env.insert(newPassword(u"lecteur"_s));
        const auto result =
            runCli(QStringList{u"protect"_s, u"--quiet"_s} << options << source, env);
        QCOMPARE(result.exitCode, 0);
        const QString out = result.out.trimmed();
        const auto shown = qpdfEncryption(out, u"lecteur"_s);
        QCOMPARE(shown.value(u"P"_s).toInt(), p);
        QVERIFY(!shown.contains(u"Supplied password is owner password"_s));
        QVERIFY(
            qpdfEncryption(out, u"landlord"_s).contains(u"Supplied password is owner password"_s));
        QVERIFY(poppler(out, u"tenant"_s).locked);
    }

    // The source's passwords as the other verbs take them; a restricted
    // file needs its owner's.
    void unlock_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("environment");
        QTest::addColumn<bool>("copyingAllowed");
        QTest::newRow("password file")
            << QStringList{u"--password-file"_s, secret(u"tenant"_s)} << QString() << true;
        QTest::newRow("restricted, owner given")
            << QStringList{u"--owner-password"_s, u"landlord"_s} << u"tenant"_s << false;
        QTest::newRow("owner password alone")
            << QStringList{u"--password"_s, u"landlord"_s} << QString() << false;
    }
    void unlock()
    {
        QFETCH(QStringList, options);
        QFETCH(QString, environment);
        QFETCH(bool, copyingAllowed);
        const QString source =
            report(makePDF(numberedPages(2), lock(u"tenant"_s, u"landlord"_s, !copyingAllowed)));
        const auto result =
            runCli(QStringList{u"unlock"_s} << options << source,
                   environment.isEmpty() ? QMap<QString, QString>() : openPassword(environment));
        QCOMPARE(result.exitCode, 0);
        const QString expected = QFileInfo(source).absolutePath() + u"/Report unlocked.pdf"_s;
        QCOMPARE(result.out, expected + u'\n');
        const PopplerView view = poppler(expected);
        QVERIFY(view.opened && !view.encrypted);
    }

    void refusals_data()
    {
        QTest::addColumn<QString>("verb");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("message");
        const QString restricted =
            u"This PDF has restrictions set by its owner (for example no copying or editing). "
            "Quirebook only changes such files when you enter the owner's password."_s;
        QTest::newRow("unlock, no password")
            << u"unlock"_s << u"plain"_s << u"“Report.pdf”: This file has no password."_s;
        QTest::newRow("protect, restricted") << u"protect"_s << u"restricted"_s << restricted;
        QTest::newRow("unlock, restricted") << u"unlock"_s << u"restricted"_s << restricted;
        QTest::newRow("protect, picture")
            << u"protect"_s << u"picture"_s
            << u"“Report.png” isn't a PDF. Only PDFs can be protected."_s;
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
            arguments << report(makePDF(numberedPages(2), lock(u"tenant"_s, u"landlord"_s, true)));
        } else if (kind == QLatin1String("picture")) {
            const QString dir = QFileInfo(report()).absolutePath();
            arguments << writeFile(dir + u"/Report.png"_s, encode(marker(40, 30), "PNG"));
        }
        auto env = openPassword(u"tenant"_s);
        env.insert(newPassword(u"pw"_s));
        const auto result = runCli(arguments, env);
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.err, line(message));
        QVERIFY(result.out.isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestProtectCli)
#include "tst_protectcli.moc"
