#pragma once

#include "Dialogs.h"
#include "Job.h"
#include "PDFFile.h"
#include "Workspace.h"

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QList>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>
#include <variant>

// quirebook-cli: one verb per tool action, like git. Each verb lives in
// its own file and registers itself with a static Cli::Registration.
namespace Cli {

enum Status { Done = 0, Failed = 1, Usage = 2, Interrupted = 130 };

// Runs the command line (without the program's own name).
int run(const QStringList &arguments);

struct Verb {
    QString name;
    QString summary;
    std::function<int(const QStringList &)> run;
};

struct Registration {
    explicit Registration(Verb verb);
};

// A line on stdout (results) or stderr (messages, progress).
void out(const QString &text);
void err(const QString &text);
// A message for the person, prefixed with the program's name.
void complain(const QString &message);

// Sets up a verb's parser (with --help) and parses. Returns a status to end
// with, or nothing to go on.
std::optional<int> parse(QCommandLineParser &parser, const QString &verb,
                         const QString &description, const QString &positionalHelp,
                         const QStringList &arguments);

// Runs a task's work here, on this thread: progress as a one-line bar on
// stderr when it is a terminal (nothing when quiet), Ctrl-C or SIGTERM
// removes any temporary file and ends the process with status 130.
// Returns the outcome, or the status to end with after saying why (1).
std::variant<Outcome, int> execute(const QString &label, const Work &work, bool quiet);

// Ends a verb after execute(): its status, or each result's path on
// stdout and Done.
int printResults(const std::variant<Outcome, int> &result);

// The --quiet option, for verbs that show progress.
QCommandLineOption quietOption();

// Answers intake's password questions from the command line. Passwords
// given several times go to the locked files in order (the second
// password to the second locked file), and the others are tried after it;
// with none given, the question goes to the terminal.
class CliDialogs : public Dialogs {
public:
    CliDialogs(QStringList passwords, QStringList ownerPasswords, bool interactive)
        : m_passwords(std::move(passwords)), m_owners(std::move(ownerPasswords)),
          m_interactive(interactive)
    {
    }
    std::optional<QString> askSecret(const SecretPrompt &prompt) override;
    // No panels on the command line: -o names the place instead.
    std::optional<QString> savePDF(const QString &, const QString &) override { return std::nullopt; }
    QStringList openFiles(bool) override { return {}; }
    std::optional<QString> openImage() override { return std::nullopt; }

private:
    QStringList m_passwords;
    QStringList m_owners;
    bool m_interactive;
    int m_lockedFiles = 0;
    int m_restrictedFiles = 0;
};

// The sources of a verb, opened through the same intake as the window:
// --password, --password-file or QUIREBOOK_PASSWORD unlock a locked PDF,
// --owner-password lifts restrictions. The options may be repeated.
class Sources {
public:
    Sources();
    void addOptionsTo(QCommandLineParser &parser) const;
    // Reads the passwords the options name. False (after saying why) when
    // a password file can't be read.
    bool readPasswords(const QCommandLineParser &parser);

    // Opens one file. Nothing (after saying why on stderr) when intake
    // refused it.
    std::optional<PDFFile> open(const QString &path);

    Workspace &workspace() { return m_workspace; }

private:
    QCommandLineOption m_password, m_passwordFile, m_ownerPassword, m_ownerPasswordFile;
    QStringList m_users, m_owners;
    std::unique_ptr<CliDialogs> m_dialogs;
    Workspace m_workspace;
};

} // namespace Cli
