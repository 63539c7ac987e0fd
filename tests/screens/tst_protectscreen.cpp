// The Password screen's bindings: the two password fields and their
// check, what remove mode offers for a file with and without a password,
// protect and remove runs to the job bar, and the save panel when the
// source's folder can't be written (the ToolModel path every one-file tool
// shares). The work and its outcome words: tests/tasks.
#include "Dialogs.h"
#include "Fixtures.h"
#include "PDFError.h"
#include "ProtectChecks.h"
#include "ProtectModel.h"
#include "ProtectScreen.h"
#include "Symbols.h"
#include "ToolPage.h"
#include "Workspace.h"

#include <QCheckBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

using namespace Fixtures;
using namespace ProtectChecks;

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

// A click on a toggle's box (the widget is wider than what takes clicks).
void toggle(QCheckBox *box)
{
    QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(6, box->height() / 2));
}

void click(QPushButton *button)
{
    QTest::mouseClick(button, Qt::LeftButton);
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

    // A widget of the panel on show (panels of files chosen before linger
    // until deleted, so search the current one only).
    template <typename T = QWidget> T *part(const char *name) const
    {
        QWidget *content = m_screen->page()->content();
        return content ? content->findChild<T *>(QLatin1String(name)) : nullptr;
    }

    QString text(const char *name) const
    {
        auto *label = part<QLabel>(name);
        return label ? label->text() : QStringLiteral("<no %1>").arg(QLatin1String(name));
    }

    bool shows(const char *name) const
    {
        auto *w = part(name);
        return w && w->isVisibleTo(m_screen->page());
    }

    QPushButton *modeButton(Protect::Mode mode) const
    {
        for (auto *b : m_screen->page()->content()->findChildren<QPushButton *>(
                 QStringLiteral("protectMode")))
            if (b->property("mode").toInt() == int(mode))
                return b;
        return nullptr;
    }

    void typeBoth(const QString &password)
    {
        type(part<QLineEdit>("protectPassword"), password);
        type(part<QLineEdit>("protectPasswordAgain"), password);
    }

    bool finish()
    {
        return QTest::qWaitFor([this] { return !model().job().isRunning(); }, 60000);
    }

private Q_SLOTS:
    void initTestCase() { Symbols::installTheme(); }

    void init()
    {
        m_screen.reset();
        m_ws.reset();
        m_dir = std::make_unique<QTemporaryDir>();
        writeFile(path(QStringLiteral("Report.pdf")), textPDF(3, QStringLiteral("Report")));
        writeFile(path(QStringLiteral("Secret.pdf")),
                  makePDF(numberedPages(2, QStringLiteral("Secret")), tenantLock()));
        m_dialogs = std::make_unique<ScriptedDialogs>(
            QList<std::optional<QString>>{QStringLiteral("tenant")});
        m_ws = std::make_unique<Workspace>();
        m_ws->setDialogs(m_dialogs.get());
    }

    void addModeTexts()
    {
        show({QStringLiteral("Report.pdf")});
        QVERIFY(modeButton(Protect::Mode::Add)->isChecked());
        QCOMPARE(modeButton(Protect::Mode::Add)->text(), QStringLiteral("Add a password"));
        QCOMPARE(modeButton(Protect::Mode::Remove)->text(), QStringLiteral("Remove the password"));
        QCOMPARE(part<QCheckBox>("protectPrinting")->text(), QStringLiteral("Allow printing"));
        QCOMPARE(part<QCheckBox>("protectCopying")->text(),
                 QStringLiteral("Allow copying text and pictures"));
        QVERIFY(part<QCheckBox>("protectPrinting")->isChecked());
        QVERIFY(part<QCheckBox>("protectCopying")->isChecked());
        QCOMPARE(
            text("protectNote"),
            QStringLiteral("Anyone opening the file needs this password. If you forget it, nobody "
                           "can open the file, so keep it somewhere safe."));
        QCOMPARE(text("protectMismatch"), QStringLiteral("The two passwords are different."));
        QCOMPARE(part<QPushButton>("protectButton")->text(), QStringLiteral("Protect"));
        QVERIFY(shows("protectAdd"));
        QVERIFY(!shows("protectRemove"));
        QVERIFY(!shows("jobBar"));
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
        click(modeButton(Protect::Mode::Remove));
        QCOMPARE(model().request().mode, Protect::Mode::Remove);
        QVERIFY(!shows("protectAdd"));
        QVERIFY(shows("protectRemove"));
        QCOMPARE(shows("banner"), !offer);
        QCOMPARE(text("bannerText"), QStringLiteral("This file has no password."));
        QVERIFY(!Symbols::pixmap(Protect::noPasswordSymbol(), 18, Qt::blue).isNull());
        QCOMPARE(shows("protectRemoveText"), offer);
        QCOMPARE(
            text("protectRemoveText"),
            QStringLiteral("You opened this file with its password. Quirebook will save a copy "
                           "that opens without one."));
        QCOMPARE(shows("removePasswordButton"), offer);
        QCOMPARE(part<QPushButton>("removePasswordButton")->text(),
                 QStringLiteral("Remove Password"));
        QCOMPARE(model().canRemove(), offer);
    }

    // The fields and toggles reach the form; the warning and the button
    // follow it, and not even Return starts a job before both fields agree.
    // The password leaves the screen as the job starts; the job bar tells
    // the outcome.
    void protectRun()
    {
        show({QStringLiteral("Report.pdf")});
        auto *field = part<QLineEdit>("protectPassword");
        auto *again = part<QLineEdit>("protectPasswordAgain");
        auto *protect = part<QPushButton>("protectButton");
        QCOMPARE(field->echoMode(), QLineEdit::Password);
        QCOMPARE(again->echoMode(), QLineEdit::Password);
        const QString password = QStringLiteral("пароль €");
        type(field, password);
        QVERIFY(!shows("protectMismatch"));
        QVERIFY(!protect->isEnabled());
        type(again, QStringLiteral("x"));
        QCOMPARE(model().request().password, password);
        QCOMPARE(model().passwordAgain(), QStringLiteral("x"));
        QVERIFY(shows("protectMismatch"));
        QVERIFY(!protect->isEnabled());
        QTest::keyClick(again, Qt::Key_Return);
        QVERIFY(std::holds_alternative<Job::Idle>(model().job().state()));
        again->clear();
        type(again, password);
        QVERIFY(!shows("protectMismatch"));
        QVERIFY(protect->isEnabled());

        toggle(part<QCheckBox>("protectPrinting"));
        QVERIFY(!model().request().allowPrinting && model().request().allowCopying);
        toggle(part<QCheckBox>("protectPrinting"));
        toggle(part<QCheckBox>("protectCopying"));
        QVERIFY(model().request().allowPrinting && !model().request().allowCopying);

        click(protect);
        QVERIFY(model().job().isRunning() ||
                std::holds_alternative<Job::Done>(model().job().state()));
        QCOMPARE(field->text(), QString());
        QCOMPARE(again->text(), QString());
        QVERIFY(model().request().password.isEmpty() && model().passwordAgain().isEmpty());
        QVERIFY(!protect->isEnabled());
        QVERIFY(finish());
        QCOMPARE(text("jobTitle"), QStringLiteral("Saved “Report protected.pdf”"));
        QVERIFY(shows("jobShow"));
        QCOMPARE(poppler(path(QStringLiteral("Report protected.pdf")), password).pages, 3);
    }

    // Another file: the job's result goes, the form stays as it was; then
    // the password comes off the second.
    void choosingAnotherFile()
    {
        show({QStringLiteral("Report.pdf"), QStringLiteral("Secret.pdf")});
        m_ws->select(m_ws->pdfs().first().id);
        typeBoth(QStringLiteral("pw"));
        click(part<QPushButton>("protectButton"));
        QVERIFY(finish());
        QVERIFY(std::holds_alternative<Job::Done>(model().job().state()));

        toggle(part<QCheckBox>("protectCopying"));
        type(part<QLineEdit>("protectPassword"), QStringLiteral("half"));
        click(modeButton(Protect::Mode::Remove));
        m_ws->select(m_ws->pdfs().last().id);
        QVERIFY(std::holds_alternative<Job::Idle>(model().job().state()));
        QTRY_VERIFY(m_screen->page()->content() && !shows("jobBar"));
        QVERIFY(modeButton(Protect::Mode::Remove)->isChecked());
        QVERIFY(shows("removePasswordButton")); // Secret.pdf has a password
        QVERIFY(!part<QCheckBox>("protectCopying")->isChecked());
        QCOMPARE(part<QLineEdit>("protectPassword")->text(), QStringLiteral("half"));

        auto *remove = part<QPushButton>("removePasswordButton");
        click(remove);
        QVERIFY(!remove->isEnabled() || !model().job().isRunning());
        QVERIFY(finish());
        QCOMPARE(text("jobTitle"), QStringLiteral("Saved “Secret unlocked.pdf”"));
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
        QVERIFY(QDir(m_dir->path()).mkdir(QStringLiteral("in")));
        QVERIFY(QFile::rename(path(QStringLiteral("Report.pdf")),
                              path(QStringLiteral("in/Report.pdf"))));
        show({QStringLiteral("in/Report.pdf")});
        QVERIFY(QDir(m_dir->path()).rename(QStringLiteral("in"), QStringLiteral("moved")));

        typeBoth(QStringLiteral("pw"));
        click(part<QPushButton>("protectButton"));
        QCOMPARE(m_dialogs->saveProposals, QStringList{QStringLiteral("|Report protected.pdf")});
        QVERIFY(std::holds_alternative<Job::Idle>(model().job().state()));
        QCOMPARE(part<QLineEdit>("protectPassword")->text(), QStringLiteral("pw"));

        const QString chosen = path(QStringLiteral("Chosen.pdf"));
        m_dialogs->saveAnswers = {chosen};
        click(part<QPushButton>("protectButton"));
        QVERIFY(finish());
        QCOMPARE(text("jobTitle"),
                 PDFError::unreadable(QStringLiteral("Report.pdf")).description());
        QVERIFY(!shows("jobShow"));
    }
};

QTEST_MAIN(TestProtectScreen)
#include "tst_protectscreen.moc"
