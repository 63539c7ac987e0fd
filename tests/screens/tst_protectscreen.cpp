// The Password screen's bindings: the two password fields and their
// check, what remove mode offers for a file with and without a password,
// protect and remove runs to the job bar, and the save panel when the
// source's folder can't be written (the ToolModel path every one-file tool
// shares). The work and its outcome words: tests/tasks.
#include "core/Dialogs.h"
#include "core/Workspace.h"
#include "engine/PDFError.h"
#include "screens/ProtectModel.h"
#include "screens/ProtectScreen.h"
#include "screens/Symbols.h"
#include "screens/ToolPage.h"
#include "support/Fixtures.h"
#include "support/ProtectChecks.h"
#include "support/ScreenParts.h"

#include <QCheckBox>
#include <QDir>
#include <QFile>
#include <QLineEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

using namespace Fixtures;
using namespace ProtectChecks;
using namespace ScreenParts;

namespace {

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

} // namespace

class TestProtectScreen : public QObject {
    Q_OBJECT
    // Per test: Report.pdf (3 pages, no password) and Secret.pdf (2 pages,
    // opens with "tenant") in a folder of their own.
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<ScriptedDialogs> m_dialogs;
    std::unique_ptr<Workspace> m_ws;
    std::unique_ptr<ProtectScreen> m_screen;

    QString path(const QString &name) const { return m_dir->filePath(name); }

    // Adds the files to the workspace and shows the screen.
    void show(const QStringList &names)
    {
        QStringList paths;
        for (const QString &name : names)
            paths << path(name);
        m_ws->add(paths);
        m_screen = std::make_unique<ProtectScreen>(*m_ws);
        m_screen->resize(900, 640);
        m_screen->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_screen.get()));
    }

    ProtectModel &model() const { return m_screen->model(); }

    void typeBoth(const QString &password)
    {
        type(part<QLineEdit>(*m_screen, "protectPassword"), password);
        type(part<QLineEdit>(*m_screen, "protectPasswordAgain"), password);
    }

private Q_SLOTS:
    void initTestCase() { Symbols::installTheme(); }

    void init()
    {
        m_screen.reset();
        m_ws.reset();
        m_dir = std::make_unique<QTemporaryDir>();
        writeFile(path(u"Report.pdf"_s), textPDF(3, u"Report"_s));
        writeFile(path(u"Secret.pdf"_s),
                  makePDF(numberedPages(2, u"Secret"_s), lock(u"tenant"_s, u"landlord"_s)));
        m_dialogs = std::make_unique<ScriptedDialogs>(QList<std::optional<QString>>{u"tenant"_s});
        m_ws = std::make_unique<Workspace>();
        m_ws->setDialogs(m_dialogs.get());
    }

    // Add mode first, its texts the task's, both toggles on.
    void addMode()
    {
        show({u"Report.pdf"_s});
        for (const Protect::Mode mode : Protect::modes())
            QCOMPARE(modeButton(*m_screen, "protectMode", mode)->text(), Protect::label(mode));
        QVERIFY(modeButton(*m_screen, "protectMode", Protect::Mode::Add)->isChecked());
        for (const auto &[name, text] : {std::pair{"protectPrinting", Protect::printingLabel()},
                                         std::pair{"protectCopying", Protect::copyingLabel()}}) {
            QCOMPARE(part<QCheckBox>(*m_screen, name)->text(), text);
            QVERIFY(part<QCheckBox>(*m_screen, name)->isChecked());
        }
        QCOMPARE(labelText(*m_screen, "protectNote"), Protect::note());
        QCOMPARE(labelText(*m_screen, "protectMismatch"), Protect::mismatchText());
        QCOMPARE(part<QPushButton>(*m_screen, "protectButton")->text(), Protect::protectButton());
        QVERIFY(shows(*m_screen, "protectAdd"));
        QVERIFY(!shows(*m_screen, "protectRemove"));
        QVERIFY(!shows(*m_screen, "jobBar"));
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
        show({file});
        QCOMPARE(m_ws->pdfs().size(), 1);
        click(modeButton(*m_screen, "protectMode", Protect::Mode::Remove));
        QCOMPARE(model().request().mode, Protect::Mode::Remove);
        QVERIFY(!shows(*m_screen, "protectAdd"));
        QVERIFY(shows(*m_screen, "protectRemove"));
        QCOMPARE(shows(*m_screen, "banner"), !offer);
        QCOMPARE(labelText(*m_screen, "bannerText"), Protect::noPasswordBanner());
        QVERIFY(!Symbols::pixmap(Protect::noPasswordSymbol(), 18, Qt::blue).isNull());
        QCOMPARE(shows(*m_screen, "protectRemoveText"), offer);
        QCOMPARE(labelText(*m_screen, "protectRemoveText"), Protect::removeExplanation());
        QCOMPARE(shows(*m_screen, "removePasswordButton"), offer);
        QCOMPARE(part<QPushButton>(*m_screen, "removePasswordButton")->text(),
                 Protect::removeButton());
        QCOMPARE(model().canRemove(), offer);
    }

    // The fields and toggles reach the form; the warning and the button
    // follow it, and not even Return starts a job before both fields agree.
    // The password leaves the screen as the job starts; the job bar tells
    // the outcome.
    void protectRun()
    {
        show({u"Report.pdf"_s});
        auto *field = part<QLineEdit>(*m_screen, "protectPassword");
        auto *again = part<QLineEdit>(*m_screen, "protectPasswordAgain");
        auto *protect = part<QPushButton>(*m_screen, "protectButton");
        QCOMPARE(field->echoMode(), QLineEdit::Password);
        QCOMPARE(again->echoMode(), QLineEdit::Password);
        const QString password = u"пароль €"_s;
        type(field, password);
        QVERIFY(!shows(*m_screen, "protectMismatch"));
        QVERIFY(!protect->isEnabled());
        type(again, u"x"_s);
        QCOMPARE(model().request().password, password);
        QCOMPARE(model().passwordAgain(), u"x"_s);
        QVERIFY(shows(*m_screen, "protectMismatch"));
        QVERIFY(!protect->isEnabled());
        QTest::keyClick(again, Qt::Key_Return);
        QVERIFY(std::holds_alternative<Job::Idle>(model().job().state()));
        again->clear();
        type(again, password);
        QVERIFY(!shows(*m_screen, "protectMismatch"));
        QVERIFY(protect->isEnabled());

        toggle(part<QCheckBox>(*m_screen, "protectPrinting"));
        QVERIFY(!model().request().allowPrinting && model().request().allowCopying);
        toggle(part<QCheckBox>(*m_screen, "protectPrinting"));
        toggle(part<QCheckBox>(*m_screen, "protectCopying"));
        QVERIFY(model().request().allowPrinting && !model().request().allowCopying);

        click(protect);
        QVERIFY(model().job().isRunning() ||
                std::holds_alternative<Job::Done>(model().job().state()));
        QCOMPARE(field->text(), QString());
        QCOMPARE(again->text(), QString());
        QVERIFY(model().request().password.isEmpty() && model().passwordAgain().isEmpty());
        QVERIFY(!protect->isEnabled());
        QVERIFY(finish(*m_screen, 60000));
        QCOMPARE(labelText(*m_screen, "jobTitle"), u"Saved “Report protected.pdf”"_s);
        QVERIFY(shows(*m_screen, "jobShow"));
        QCOMPARE(poppler(path(u"Report protected.pdf"_s), password).pages, 3);
    }

    // Another file: the job's result goes, the form stays as it was; then
    // the password comes off the second.
    void choosingAnotherFile()
    {
        show({u"Report.pdf"_s, u"Secret.pdf"_s});
        m_ws->select(m_ws->pdfs().first().id);
        typeBoth(u"pw"_s);
        click(part<QPushButton>(*m_screen, "protectButton"));
        QVERIFY(finish(*m_screen, 60000));
        QVERIFY(std::holds_alternative<Job::Done>(model().job().state()));

        toggle(part<QCheckBox>(*m_screen, "protectCopying"));
        type(part<QLineEdit>(*m_screen, "protectPassword"), u"half"_s);
        click(modeButton(*m_screen, "protectMode", Protect::Mode::Remove));
        m_ws->select(m_ws->pdfs().last().id);
        QVERIFY(std::holds_alternative<Job::Idle>(model().job().state()));
        QTRY_VERIFY(m_screen->page()->content() && !shows(*m_screen, "jobBar"));
        QVERIFY(modeButton(*m_screen, "protectMode", Protect::Mode::Remove)->isChecked());
        QVERIFY(shows(*m_screen, "removePasswordButton")); // Secret.pdf has a password
        QVERIFY(!part<QCheckBox>(*m_screen, "protectCopying")->isChecked());
        QCOMPARE(part<QLineEdit>(*m_screen, "protectPassword")->text(), u"half"_s);

        auto *remove = part<QPushButton>(*m_screen, "removePasswordButton");
        click(remove);
        QVERIFY(!remove->isEnabled() || !model().job().isRunning());
        QVERIFY(finish(*m_screen, 60000));
        QCOMPARE(labelText(*m_screen, "jobTitle"), u"Saved “Secret unlocked.pdf”"_s);
        QVERIFY(remove->isEnabled());
        // Choosing the same file again keeps a result on show.
        m_ws->select(m_ws->pdfs().last().id);
        QVERIFY(std::holds_alternative<Job::Done>(model().job().state()));
    }

    // The source's folder has gone: the save panel is asked; cancelled,
    // nothing starts and the password stays; answered, the job tells why
    // the file can't be read any more.
    void noFolderNextToTheFile()
    {
        QVERIFY(QDir(m_dir->path()).mkdir(u"in"_s));
        QVERIFY(QFile::rename(path(u"Report.pdf"_s), path(u"in/Report.pdf"_s)));
        show({u"in/Report.pdf"_s});
        QVERIFY(QDir(m_dir->path()).rename(u"in"_s, u"moved"_s));

        typeBoth(u"pw"_s);
        click(part<QPushButton>(*m_screen, "protectButton"));
        QCOMPARE(m_dialogs->saveProposals, QStringList{u"|Report protected.pdf"_s});
        QVERIFY(std::holds_alternative<Job::Idle>(model().job().state()));
        QCOMPARE(part<QLineEdit>(*m_screen, "protectPassword")->text(), u"pw"_s);

        const QString chosen = path(u"Chosen.pdf"_s);
        m_dialogs->saveAnswers = {chosen};
        click(part<QPushButton>(*m_screen, "protectButton"));
        QVERIFY(finish(*m_screen, 60000));
        QCOMPARE(labelText(*m_screen, "jobTitle"),
                 PDFError::unreadable(u"Report.pdf"_s).description());
        QVERIFY(!shows(*m_screen, "jobShow"));
    }
};

QTEST_MAIN(TestProtectScreen)
#include "tst_protectscreen.moc"
