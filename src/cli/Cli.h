#pragma once

#include "core/Dialogs.h"
#include "core/Job.h"
#include "core/PDFFile.h"

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

// The first line of a file (a password file), without its line break;
// "-" is the next line of standard input.
std::optional<QString> firstLine(const QString &path);

// Sets up a verb's parser (with --help) and parses. Returns a status to end
// with, or nothing to go on.
std::optional<int> parse(QCommandLineParser &parser, const QString &verb,
                         const QString &description, const QString &positionalHelp,
                         const QStringList &arguments);

// Runs a task's work here, on this thread: progress as a one-line bar on
// stderr when it is a terminal (nothing when quiet). Ctrl-C or SIGTERM
// removes any temporary file and ends the process by that signal.
// Returns the outcome, or the status to end with after saying why (1).
std::variant<Outcome, int> execute(const QString &label, const Work &work, bool quiet);

// The --quiet option, for verbs that show progress.
QCommandLineOption quietOption();

// The -o option of a verb that writes one result per source; its help
// adds how a folder is named.
QCommandLineOption outputOption(const QString &description, const QString &valueName);

// Several sources need -o to be a folder: the usage status after saying
// `message` (and, given a verb, where its help is), or nothing.
std::optional<int> checkOutput(const QString &output, qsizetype sourceCount, const QString &message,
                               const QString &verb = {});

// Answers intake's password questions from the command line. Passwords
// given several times go to the locked files in order (the second
// password to the second locked file), and the others are tried after it;
// with none given, the question goes to the terminal.
class CliDialogs : public Dialogs {
public:
    CliDialogs(QStringList passwords, QStringList ownerPasswords, bool interactive)
        : m_passwords(std::move(passwords))
        , m_owners(std::move(ownerPasswords))
        , m_interactive(interactive)
    {
    }
    std::optional<QString> askSecret(const SecretPrompt &prompt) override;
    // No panels on the command line: -o names the place instead.
    std::optional<QString> savePDF(const QString &, const QString &) override
    {
        return std::nullopt;
    }
    QStringList openFiles(bool) override { return {}; }
    std::optional<QString> openImage() override { return std::nullopt; }
    bool confirm(const Question &) override { return false; }

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

private:
    QCommandLineOption m_password, m_passwordFile, m_ownerPassword, m_ownerPasswordFile;
    QStringList m_users, m_owners;
    std::unique_ptr<CliDialogs> m_dialogs;
};

// What a verb does with each of its sources: the tool's work, where its
// result goes and what is said about it. runEach() and runOne() carry it
// out the same way for every verb.
struct Run {
    using Destination = std::function<std::optional<QString>(const PDFFile &)>;
    using Work = std::function<Outcome(const PDFFile &, const QString &destination,
                                       const Progress &, const IsCancelled &)>;

    // Where the result for a source goes; nothing after saying why.
    Destination destination;
    // What the progress bar says while a source is worked on.
    std::function<QString(const PDFFile &)> label;
    Work work;
    // A source the tool doesn't take: the sentence that says so.
    std::function<std::optional<QString>(const PDFFile &)> refuse = {};
    // The line for stderr after a result; not asked when quiet.
    std::function<std::optional<QString>(const PDFFile &, const Outcome &)> summary = {};
    // A failed run may still leave its result (a searchable copy whose later
    // pages carry no text): its path is printed all the same.
    bool keepsFailedResult = false;
};

// The zero-based pages `ranges` ("1-3, 5, 9-") name in a document of
// pageCount pages, in the order named, repeats kept; nothing after saying
// the parser's reason.
std::optional<QList<int>> pagesNamed(const QString &ranges, int pageCount);

// A refusal for verbs that work on PDFs only: "“photo.jpg” is a picture;
// split works on PDFs."
std::function<std::optional<QString>(const PDFFile &)> pdfsOnly(const QString &verb);

// Says that nothing can be written next to `file` and -o must say where.
void cannotWriteBeside(const PDFFile &file);

// Output::chosenURL for -o: nothing, after saying why, for "-" (a PDF
// can't go to standard output) or a folder that can't be made.
std::optional<QString> chosenPlace(const QString &output, const QString &base, const QString &ext);

// One PDF per source: "<name> <suffix>.pdf" beside it as the window would
// place it, or at -o (a file, or a folder to put it in). Nothing, after
// saying why, when the source's folder can't be written and no -o given.
Run::Destination pdfResult(const QString &suffix, const QString &output);

// A destination settled by the tool itself (a new folder, say), which
// throws PDFError when it can't be had: that is said, and nothing returned.
Run::Destination settledBy(std::function<QString(const PDFFile &)> settle);

// Opens a source and lets the run refuse it. Nothing after saying why.
std::optional<PDFFile> take(Sources &sources, const QString &path, const Run &run);
// Places the result, does the work with a progress bar, then prints the
// result's paths on stdout and the summary on stderr. Returns the status.
int runOne(const PDFFile &file, const Run &run, bool quiet);
// take() and runOne() for every source in turn: Done when all were done,
// Failed when one failed, Interrupted at once when the person stopped it.
int runEach(Sources &sources, const QStringList &paths, const Run &run, bool quiet);

} // namespace Cli
