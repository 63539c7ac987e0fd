#include "core/Output.h"
#include "engine/PDFError.h"
#include "engine/PDFOpsProtect.h"
#include "support/Attempt.h"
#include "support/Fixtures.h"
#include "support/PictureFixtures.h"
#include "support/ProtectChecks.h"
#include "support/TaskFixtures.h"
#include "tasks/Protect.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace Fixtures;
using namespace ProtectChecks;
using namespace Attempt;

namespace {

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

// Runs the request on `file` as the window does: its copy beside the source.
Outcome run(const PDFFile &file, const Protect::Request &request)
{
    const QString to = *Output::pdfURL(file, Protect::suffix(request.mode), nullptr);
    return Protect::run(file, request, to, noProgress, never);
}

} // namespace

class TestProtectTask : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

    // `name` in a folder of its own: three pages, opening with "tenant"
    // (owner "landlord").
    QString lease(const QString &folder, const QString &name, bool restricted = false)
    {
        QDir(m_dir.path()).mkpath(folder);
        return writeFile(m_dir.filePath(folder + u'/' + name),
                         makePDF(numberedPages(3), lock(u"tenant"_s, u"landlord"_s, restricted)));
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
        QTest::newRow("first only") << u"a"_s << QString() << false;
        QTest::newRow("second only") << QString() << u"a"_s << false;
        QTest::newRow("different") << u"a"_s << u"b"_s << true;
        QTest::newRow("case differs") << u"Secret"_s << u"secret"_s << true;
        QTest::newRow("same") << u"a"_s << u"a"_s << false;
    }
    void passwordFields()
    {
        QFETCH(QString, password);
        QFETCH(QString, again);
        QFETCH(bool, warned);
        QCOMPARE(Protect::mismatch(password, again),
                 warned ? std::optional(u"The two passwords are different."_s) : std::nullopt);
        Protect::Request request;
        request.password = password;
        QCOMPARE(request.validate(),
                 password.isEmpty() ? std::optional(u"Type a password first."_s) : std::nullopt);
        request.mode = Protect::Mode::Remove;
        QCOMPARE(request.validate(), std::nullopt);
    }

    // Both ways: the password comes off a lease, then a new one goes on
    // that copy with the choices made. What the copies keep is the
    // engine's (tst_protect).
    void bothWays()
    {
        const QString folder = m_dir.filePath(u"both"_s);
        const QString source = lease(u"both"_s, u"Lease.pdf"_s);
        const QByteArray before = readFile(source);
        const QString plain = folder + u"/Lease unlocked.pdf"_s;
        QCOMPARE(run(opened(source, {u"tenant"_s}), removing()),
                 (Outcome{u"Saved “Lease unlocked.pdf”"_s,
                          u"This copy opens without a password."_s,
                          {plain}}));
        const PopplerView view = poppler(plain);
        QVERIFY(view.opened && !view.encrypted);

        const QString locked = folder + u"/Lease unlocked protected.pdf"_s;
        QCOMPARE(run(opened(plain), adding(u"čokoláda"_s, true, false)),
                 (Outcome{u"Saved “Lease unlocked protected.pdf”"_s,
                          u"It now asks for the password when opened."_s,
                          {locked}}));
        QVERIFY(poppler(locked).locked);
        QCOMPARE(poppler(locked, u"čokoláda"_s).pages, 3);
        QCOMPARE(qpdfEncryption(locked, u"čokoláda"_s).value(u"P"_s).toInt(),
                 PDFOps::standardPermissionBits(PDFOps::protectPermissions(true, false)));
        QCOMPARE(readFile(source), before);
        QCOMPARE(temporaryFiles(folder), QStringList());
    }

    // Refusals reach the person as the program's messages; nothing is left.
    void failures_data()
    {
        QTest::addColumn<bool>("adding");
        QTest::addColumn<bool>("gone"); // else the destination folder is missing
        QTest::addColumn<QString>("message");
        const QString gone = u"“Gone.pdf” couldn't be read as a PDF."_s;
        QTest::newRow("protect: source gone") << true << true << gone;
        QTest::newRow("remove: source gone") << false << true << gone;
        QTest::newRow("remove: can't write") << false << false << u"Couldn't write the new file."_s;
    }
    void failures()
    {
        QFETCH(bool, adding);
        QFETCH(bool, gone);
        const QString dir = m_dir.filePath(QString::fromLatin1(QTest::currentDataTag()));
        const QString source = lease(QTest::currentDataTag(), u"Gone.pdf"_s);
        const PDFFile file = opened(source, {u"tenant"_s});
        QVERIFY(file.doc);
        if (gone)
            QFile::remove(source);
        const QString to = dir + (gone ? u"/result.pdf"_s : u"/no such folder/result.pdf"_s);
        QTEST(errorOf([&] {
                  Protect::run(file, adding ? ::adding(u"pw"_s) : removing(), to, noProgress,
                               never);
              }),
              "message");
        QVERIFY(!QFile::exists(to));
        QCOMPARE(temporaryFiles(dir), QStringList());
    }

    // A restricted file gives up its password once its owner's is given:
    // the work reopens the file with both.
    void ownerPasswordLiftsTheRefusal()
    {
        PDFFile file = opened(lease(u"owner"_s, u"Deed.pdf"_s, true), {u"tenant"_s});
        ScriptedDialogs owner({u"landlord"_s});
        QCOMPARE(Intake::liftRestrictions(file, &owner), Intake::Password::Accepted);
        const QString to = m_dir.filePath(u"owner/Deed unlocked.pdf"_s);
        Protect::run(file, removing(), to, noProgress, never);
        const PopplerView view = poppler(to);
        QVERIFY(view.opened && view.copy && !view.encrypted);
        QCOMPARE(view.pages, 3);
    }
};

QTEST_GUILESS_MAIN(TestProtectTask)
#include "tst_protecttask.moc"
