// The Password screen: the two password fields and their check, what
// remove mode offers for a file with and without a password, and protect
// and remove runs through the screen down to the files on disk.
#include "Dialogs.h"
#include "Fixtures.h"
#include "PDFError.h"
#include "ProtectChecks.h"
#include "ProtectModel.h"
#include "ProtectScreen.h"
#include "Symbols.h"
#include "ToolPage.h"
#include "Workspace.h"

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;

namespace {
// A widget of the panel on show (panels of files chosen before linger
// until deleted, so search the current one only).
template <typename T>
T *part(const ProtectScreen &screen, const char *name)
{
    QWidget *content = screen.page()->content();
    return content ? content->findChild<T *>(QLatin1String(name)) : nullptr;
}

QString text(const ProtectScreen &screen, const char *name)
{
    auto *label = part<QLabel>(screen, name);
    return label ? label->text() : QStringLiteral("<no %1>").arg(QLatin1String(name));
}

QPushButton *modeButton(const ProtectScreen &screen, ProtectForm::Mode mode)
{
    for (auto *b : screen.page()->content()->findChildren<QPushButton *>(QStringLiteral("protectMode")))
        if (b->property("mode").toInt() == int(mode))
            return b;
    return nullptr;
}

// Types text key by key, characters outside ASCII included.
void type(QLineEdit *field, const QString &text)
{
    for (const QChar ch : text) {
        if (ch.unicode() < 128)
            QTest::keyClick(field, char(ch.unicode()));
        else
            QTest::sendKeyEvent(QTest::Click, field, Qt::Key_unknown, QString(ch), Qt::NoModifier);
    }
}

QByteArray bytesOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// A click on a toggle's box (the widget is wider than what takes clicks).
void toggle(QCheckBox *box)
{
    QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(6, box->height() / 2));
}

// With QUIREBOOK_SNAPSHOTS set, keeps a picture of the screen in that folder.
void snapshot(ProtectScreen &screen, const QString &name)
{
    const QString folder = qEnvironmentVariable("QUIREBOOK_SNAPSHOTS");
    if (folder.isEmpty() || !QDir().mkpath(folder))
        return;
    QTest::qWait(100); // let pending layouts settle
    screen.grab().save(QDir(folder).filePath(name + QStringLiteral(".png")), "PNG");
}

bool shows(const ProtectScreen &screen, const char *name)
{
    auto *w = part<QWidget>(screen, name);
    return w && w->isVisibleTo(screen.page());
}

const QString kOpenPassword = QStringLiteral("open sesame");
} // namespace

class TestProtectScreen : public QObject {
    Q_OBJECT

    // Report.pdf (3 pages, no password) and Secret.pdf (2 pages, opens with
    // kOpenPassword) in a folder of their own.
    void makeFiles(const QTemporaryDir &dir)
    {
        writeFile(dir.filePath(QStringLiteral("Report.pdf")), textPDF(3, QStringLiteral("Report")));
        WriteOptions locked;
        locked.encrypt = true;
        locked.userPassword = kOpenPassword;
        locked.ownerPassword = QStringLiteral("owner");
        writeFile(dir.filePath(QStringLiteral("Secret.pdf")),
                  makePDF(numberedPages(2, QStringLiteral("Secret")), locked));
    }

    void showScreen(ProtectScreen &screen)
    {
        screen.resize(900, 640);
        screen.show();
        QVERIFY(QTest::qWaitForWindowExposed(&screen));
    }

private Q_SLOTS:
    void initTestCase() { Symbols::installTheme(); }

    void passwordCheck_data()
    {
        QTest::addColumn<QString>("first");
        QTest::addColumn<QString>("second");
        QTest::addColumn<bool>("mismatch");
        QTest::addColumn<bool>("enabled");
        QTest::newRow("both empty") << "" << "" << false << false;
        QTest::newRow("first only") << "a" << "" << false << false;
        QTest::newRow("second only") << "" << "a" << false << false;
        QTest::newRow("different") << "a" << "b" << true << false;
        QTest::newRow("case differs") << "Secret" << "secret" << true << false;
        QTest::newRow("same") << "a" << "a" << false << true;
        QTest::newRow("same, not ASCII") << "пароль€" << "пароль€" << false << true;
    }
    void passwordCheck()
    {
        QFETCH(QString, first);
        QFETCH(QString, second);
        QFETCH(bool, mismatch);
        QFETCH(bool, enabled);
        QTemporaryDir dir;
        makeFiles(dir);
        Workspace ws;
        ws.add({dir.filePath(QStringLiteral("Report.pdf"))});
        ProtectScreen screen(ws);
        showScreen(screen);

        auto *field = part<QLineEdit>(screen, "protectPassword");
        auto *again = part<QLineEdit>(screen, "protectPasswordAgain");
        QVERIFY(field && again);
        QCOMPARE(field->echoMode(), QLineEdit::Password);
        QCOMPARE(again->echoMode(), QLineEdit::Password);
        type(field, first);
        type(again, second);
        QCOMPARE(screen.model().form().password, first);
        QCOMPARE(screen.model().form().passwordAgain, second);

        QCOMPARE(shows(screen, "protectMismatch"), mismatch);
        QCOMPARE(text(screen, "protectMismatch"), QStringLiteral("The two passwords are different."));
        QCOMPARE(part<QPushButton>(screen, "protectButton")->isEnabled(), enabled);
        snapshot(screen, QStringLiteral("protect-typing"));
        // Nothing starts from a form that can't protect, not even by Return.
        if (!enabled) {
            QTest::keyClick(again, Qt::Key_Return);
            QVERIFY(std::holds_alternative<Job::Idle>(screen.model().job().state()));
        }
    }

    void addModeTexts()
    {
        QTemporaryDir dir;
        makeFiles(dir);
        Workspace ws;
        ws.add({dir.filePath(QStringLiteral("Report.pdf"))});
        ProtectScreen screen(ws);
        showScreen(screen);
        QVERIFY(modeButton(screen, ProtectForm::Mode::Add)->isChecked());
        QCOMPARE(modeButton(screen, ProtectForm::Mode::Add)->text(), QStringLiteral("Add a password"));
        QCOMPARE(modeButton(screen, ProtectForm::Mode::Remove)->text(), QStringLiteral("Remove the password"));
        QCOMPARE(part<QCheckBox>(screen, "protectPrinting")->text(), QStringLiteral("Allow printing"));
        QCOMPARE(part<QCheckBox>(screen, "protectCopying")->text(),
                 QStringLiteral("Allow copying text and pictures"));
        QVERIFY(part<QCheckBox>(screen, "protectPrinting")->isChecked());
        QVERIFY(part<QCheckBox>(screen, "protectCopying")->isChecked());
        QCOMPARE(text(screen, "protectNote"),
                 QStringLiteral("Anyone opening the file needs this password. If you forget it, nobody "
                                "can open the file, so keep it somewhere safe."));
        QCOMPARE(part<QPushButton>(screen, "protectButton")->text(), QStringLiteral("Protect"));
        QVERIFY(shows(screen, "protectAdd"));
        QVERIFY(!shows(screen, "protectRemove"));
        QVERIFY(!shows(screen, "jobBar"));
    }

    void removeMode_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<bool>("offer");
        QTest::newRow("no password") << "Report.pdf" << false;
        QTest::newRow("opened with its password") << "Secret.pdf" << true;
    }
    void removeMode()
    {
        QFETCH(QString, file);
        QFETCH(bool, offer);
        QTemporaryDir dir;
        makeFiles(dir);
        Workspace ws;
        ScriptedDialogs dialogs({kOpenPassword});
        ws.setDialogs(&dialogs);
        ws.add({dir.filePath(file)});
        QCOMPARE(ws.pdfs().size(), 1);
        ProtectScreen screen(ws);
        showScreen(screen);
        QTest::mouseClick(modeButton(screen, ProtectForm::Mode::Remove), Qt::LeftButton);
        QCOMPARE(screen.model().form().mode, ProtectForm::Mode::Remove);
        QVERIFY(!shows(screen, "protectAdd"));
        QVERIFY(shows(screen, "protectRemove"));

        QCOMPARE(shows(screen, "banner"), !offer);
        QCOMPARE(text(screen, "bannerText"), QStringLiteral("This file has no password."));
        QVERIFY(!Symbols::pixmap(ProtectForm::noPasswordSymbol(), 18, Qt::blue).isNull());
        QCOMPARE(shows(screen, "protectRemoveText"), offer);
        QCOMPARE(text(screen, "protectRemoveText"),
                 QStringLiteral("You opened this file with its password. Quirebook will save a copy "
                                "that opens without one."));
        QCOMPARE(shows(screen, "removePasswordButton"), offer);
        QCOMPARE(part<QPushButton>(screen, "removePasswordButton")->text(), QStringLiteral("Remove Password"));
        QCOMPARE(screen.model().canRemove(), offer);
        snapshot(screen, QStringLiteral("protect-remove-") + QString::number(offer));
    }

    void protectRun_data()
    {
        QTest::addColumn<bool>("printing");
        QTest::addColumn<bool>("copying");
        QTest::newRow("defaults allow both") << true << true;
        QTest::newRow("both off") << false << false;
        QTest::newRow("printing only") << true << false;
        QTest::newRow("copying only") << false << true;
    }
    void protectRun()
    {
        QFETCH(bool, printing);
        QFETCH(bool, copying);
        QTemporaryDir dir;
        makeFiles(dir);
        const QString source = dir.filePath(QStringLiteral("Report.pdf"));
        const QByteArray before = bytesOf(source);
        Workspace ws;
        ws.add({source});
        ProtectScreen screen(ws);
        showScreen(screen);

        const QString password = QStringLiteral("s3cret ü");
        type(part<QLineEdit>(screen, "protectPassword"), password);
        type(part<QLineEdit>(screen, "protectPasswordAgain"), password);
        if (!printing)
            toggle(part<QCheckBox>(screen, "protectPrinting"));
        if (!copying)
            toggle(part<QCheckBox>(screen, "protectCopying"));
        QCOMPARE(screen.model().form().printing, printing);
        QCOMPARE(screen.model().form().copying, copying);

        auto *protect = part<QPushButton>(screen, "protectButton");
        QTest::mouseClick(protect, Qt::LeftButton);
        // The password leaves the screen as the job starts.
        QVERIFY(screen.model().job().isRunning() ||
                std::holds_alternative<Job::Done>(screen.model().job().state()));
        QCOMPARE(part<QLineEdit>(screen, "protectPassword")->text(), QString());
        QCOMPARE(part<QLineEdit>(screen, "protectPasswordAgain")->text(), QString());
        QVERIFY(screen.model().form().password.isEmpty());
        QVERIFY(screen.model().form().passwordAgain.isEmpty());
        QVERIFY(!protect->isEnabled());
        QTRY_VERIFY_WITH_TIMEOUT(!screen.model().job().isRunning(), 60000);

        const QString destination = dir.filePath(QStringLiteral("Report protected.pdf"));
        QCOMPARE(text(screen, "jobTitle"), QStringLiteral("Saved “Report protected.pdf”"));
        QCOMPARE(text(screen, "jobDetail"), QStringLiteral("It now asks for the password when opened."));
        QVERIFY(shows(screen, "jobShow"));
        snapshot(screen, QStringLiteral("protect-done"));
        QCOMPARE(bytesOf(source), before);
        QVERIFY(ProtectChecks::leftoverTemporaries(dir.path()).isEmpty());

        // An independent reader: locked without the password, and the
        // permissions as chosen with it.
        QVERIFY(ProtectChecks::poppler(destination).locked);
        const auto view = ProtectChecks::poppler(destination, password);
        QVERIFY(view.opened);
        QCOMPARE(view.pages, 3);
        // The one password is also the owner's, so readers grant every
        // right with it; the file's own bits say what was chosen.
        const auto shown = ProtectChecks::qpdfEncryption(destination, password);
        QCOMPARE(shown.value(QStringLiteral("print high resolution")),
                 printing ? QStringLiteral("allowed") : QStringLiteral("not allowed"));
        QCOMPARE(shown.value(QStringLiteral("extract for any purpose")),
                 copying ? QStringLiteral("allowed") : QStringLiteral("not allowed"));
        QCOMPARE(ProtectChecks::qpdfRequiresPassword(destination), 0);
    }

    void removeRun()
    {
        QTemporaryDir dir;
        makeFiles(dir);
        const QString source = dir.filePath(QStringLiteral("Secret.pdf"));
        const QByteArray before = bytesOf(source);
        Workspace ws;
        ScriptedDialogs dialogs({kOpenPassword});
        ws.setDialogs(&dialogs);
        ws.add({source});
        ProtectScreen screen(ws);
        showScreen(screen);
        QTest::mouseClick(modeButton(screen, ProtectForm::Mode::Remove), Qt::LeftButton);

        // Twice: the second copy is numbered, the first left alone.
        for (const QString &name : {QStringLiteral("Secret unlocked.pdf"), QStringLiteral("Secret unlocked 2.pdf")}) {
            auto *remove = part<QPushButton>(screen, "removePasswordButton");
            QTest::mouseClick(remove, Qt::LeftButton);
            QVERIFY(!remove->isEnabled() || !screen.model().job().isRunning());
            QTRY_VERIFY_WITH_TIMEOUT(!screen.model().job().isRunning(), 60000);
            QCOMPARE(text(screen, "jobTitle"), QStringLiteral("Saved “%1”").arg(name));
            QCOMPARE(text(screen, "jobDetail"), QStringLiteral("This copy opens without a password."));
            QVERIFY(remove->isEnabled());
            const QString destination = dir.filePath(name);
            QCOMPARE(ProtectChecks::qpdfRequiresPassword(destination), 2);
            const auto view = ProtectChecks::poppler(destination);
            QVERIFY(view.opened);
            QVERIFY(!view.encrypted);
            QCOMPARE(view.pages, 2);
        }
        QCOMPARE(bytesOf(source), before);
        QVERIFY(ProtectChecks::leftoverTemporaries(dir.path()).isEmpty());
    }

    // Another file: the job's result goes, the form stays as it was.
    void choosingAnotherFile()
    {
        QTemporaryDir dir;
        makeFiles(dir);
        Workspace ws;
        ScriptedDialogs dialogs({kOpenPassword});
        ws.setDialogs(&dialogs);
        ws.add({dir.filePath(QStringLiteral("Report.pdf")), dir.filePath(QStringLiteral("Secret.pdf"))});
        ws.select(ws.pdfs().first().id);
        ProtectScreen screen(ws);
        showScreen(screen);

        type(part<QLineEdit>(screen, "protectPassword"), QStringLiteral("pw"));
        type(part<QLineEdit>(screen, "protectPasswordAgain"), QStringLiteral("pw"));
        QTest::mouseClick(part<QPushButton>(screen, "protectButton"), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(!screen.model().job().isRunning(), 60000);
        QVERIFY(std::holds_alternative<Job::Done>(screen.model().job().state()));

        toggle(part<QCheckBox>(screen, "protectCopying"));
        type(part<QLineEdit>(screen, "protectPassword"), QStringLiteral("half"));
        QTest::mouseClick(modeButton(screen, ProtectForm::Mode::Remove), Qt::LeftButton);
        ws.select(ws.pdfs().last().id);
        QVERIFY(std::holds_alternative<Job::Idle>(screen.model().job().state()));
        QTRY_VERIFY(screen.page()->content() && !shows(screen, "jobBar"));
        QVERIFY(modeButton(screen, ProtectForm::Mode::Remove)->isChecked());
        QVERIFY(shows(screen, "removePasswordButton")); // Secret.pdf has a password
        QVERIFY(!part<QCheckBox>(screen, "protectCopying")->isChecked());
        QCOMPARE(part<QLineEdit>(screen, "protectPassword")->text(), QStringLiteral("half"));

        // Choosing the same file again keeps a result on show.
        QTest::mouseClick(part<QPushButton>(screen, "removePasswordButton"), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(!screen.model().job().isRunning(), 60000);
        ws.select(ws.pdfs().last().id);
        QVERIFY(std::holds_alternative<Job::Done>(screen.model().job().state()));
    }

    // The source's folder has gone: the save panel is asked; cancelled,
    // nothing starts and the password stays; answered, the job tells why
    // the file can't be read any more.
    void noFolderNextToTheFile()
    {
        QTemporaryDir dir;
        QVERIFY(QDir(dir.path()).mkdir(QStringLiteral("in")));
        const QString folder = dir.filePath(QStringLiteral("in"));
        writeFile(folder + QStringLiteral("/Report.pdf"), textPDF(2));
        Workspace ws;
        ScriptedDialogs dialogs;
        ws.setDialogs(&dialogs);
        ws.add({folder + QStringLiteral("/Report.pdf")});
        ProtectScreen screen(ws);
        showScreen(screen);
        QVERIFY(QDir(dir.path()).rename(QStringLiteral("in"), QStringLiteral("moved")));

        type(part<QLineEdit>(screen, "protectPassword"), QStringLiteral("pw"));
        type(part<QLineEdit>(screen, "protectPasswordAgain"), QStringLiteral("pw"));
        QTest::mouseClick(part<QPushButton>(screen, "protectButton"), Qt::LeftButton);
        QCOMPARE(dialogs.saveProposals, QStringList{QStringLiteral("|Report protected.pdf")});
        QVERIFY(std::holds_alternative<Job::Idle>(screen.model().job().state()));
        QCOMPARE(part<QLineEdit>(screen, "protectPassword")->text(), QStringLiteral("pw"));

        const QString chosen = dir.filePath(QStringLiteral("Chosen.pdf"));
        dialogs.saveAnswers = {chosen};
        QTest::mouseClick(part<QPushButton>(screen, "protectButton"), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(!screen.model().job().isRunning(), 60000);
        QCOMPARE(text(screen, "jobTitle"), PDFError::unreadable(QStringLiteral("Report.pdf")).description());
        QVERIFY(!shows(screen, "jobShow"));
        QVERIFY(!QFile::exists(chosen));
        QVERIFY(ProtectChecks::leftoverTemporaries(dir.path()).isEmpty());
    }
};

QTEST_MAIN(TestProtectScreen)
#include "tst_protectscreen.moc"
