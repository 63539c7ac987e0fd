#include "cli/Cli.h"
#include "cli/Terminal.h"
#include "engine/PDFError.h"
#include "tasks/Protect.h"

#include <QCoreApplication>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("VerbProtect", text);
}

// What protect and unlock share: the -o option, and one copy per source
// next to it (or at -o), its path on stdout and the outcome on a terminal.
QCommandLineOption protectOutputOption()
{
    return Cli::outputOption(tr("Write the result into FOLDER, or as the file FOLDER names "
                                "(numbered if it exists)."),
                             tr("FOLDER"));
}

QString severalText()
{
    return tr("With several files, -o must name a folder.");
}

Cli::Run protectRun(Protect::Mode mode, const QString &output)
{
    Cli::Run run;
    run.destination = Cli::pdfResult(Protect::suffix(mode), output);
    run.label = [mode](const PDFFile &) { return Protect::jobTitle(mode); };
    run.summary = [](const PDFFile &, const Outcome &outcome) -> std::optional<QString> {
        if (!Terminal::stderrIsInteractive())
            return std::nullopt;
        return outcome.title + QStringLiteral(". ") + outcome.detail;
    };
    return run;
}

// The new open password: from a file, from the environment, or asked
// twice on the terminal. Never from an argument, which other users of the
// machine can read. Nothing (after saying why) when there is none.
std::optional<QString> newPassword(const QCommandLineParser &parser,
                                   const QCommandLineOption &fromFile, int &status)
{
    if (parser.isSet(fromFile)) {
        const QString path = parser.value(fromFile);
        auto password = Cli::firstLine(path);
        if (!password) {
            Cli::complain(tr("Couldn't read the password file “%1”.").arg(path));
            status = Cli::Failed;
        }
        return password;
    }
    if (qEnvironmentVariableIsSet("QUIREBOOK_NEW_PASSWORD"))
        return qEnvironmentVariable("QUIREBOOK_NEW_PASSWORD");
    if (!Terminal::stdinIsInteractive()) {
        Cli::complain(tr("Give the new password with --new-password-file or the environment "
                         "variable QUIREBOOK_NEW_PASSWORD."));
        status = Cli::Usage;
        return std::nullopt;
    }
    const auto first = Terminal::readSecret(tr("New password: "));
    const auto again =
        first ? Terminal::readSecret(Protect::repeatLabel() + QStringLiteral(": ")) : first;
    if (!first || !again) {
        Cli::complain(tr("No password was typed, so nothing was written."));
        status = Cli::Failed;
        return std::nullopt;
    }
    if (const auto mismatch = Protect::mismatch(*first, *again)) {
        Cli::complain(*mismatch);
        status = Cli::Failed;
        return std::nullopt;
    }
    return first;
}

int protect(const QStringList &arguments)
{
    QCommandLineParser parser;
    Cli::Sources sources;
    sources.addOptionsTo(parser);
    const QCommandLineOption newPasswordFile(
        QStringLiteral("new-password-file"),
        tr("Read the new open password from the first line of FILE (else from "
           "QUIREBOOK_NEW_PASSWORD, else it is asked for twice)."),
        tr("FILE"));
    const QCommandLineOption newOwnerFile(
        QStringLiteral("new-owner-password-file"),
        tr("Read the copy's owner password from the first line of FILE, when it should "
           "differ from --owner-password-file."),
        tr("FILE"));
    const QCommandLineOption noPrinting(QStringLiteral("no-printing"), tr("Don't allow printing."));
    const QCommandLineOption noCopying(QStringLiteral("no-copying"),
                                       tr("Don't allow copying text and pictures."));
    const QCommandLineOption output = protectOutputOption();
    const QCommandLineOption quiet = Cli::quietOption();
    parser.addOptions({newPasswordFile, newOwnerFile, noPrinting, noCopying, output, quiet});
    if (auto status = Cli::parse(
            parser, QStringLiteral("protect"),
            tr("Save a copy that asks for a password when opened (AES-256): "
               "“<name> protected.pdf” next to each source.\n"
               "The owner password given with --owner-password-file (or "
               "--new-owner-password-file) becomes the copy's owner password; "
               "without one the open password serves as both, and whoever opens the copy "
               "has every right. --no-printing and --no-copying limit those who open it with "
               "the open password only."),
            tr("PDFs to protect."), arguments))
        return *status;
    const QStringList paths = parser.positionalArguments();
    if (paths.isEmpty()) {
        Cli::complain(tr("Name a PDF to protect. Try “quirebook-cli protect --help”."));
        return Cli::Usage;
    }
    if (auto status = Cli::checkOutput(parser.value(output), paths.size(), severalText(),
                                       QStringLiteral("protect")))
        return *status;
    if (!sources.readPasswords(parser))
        return Cli::Failed;

    Protect::Request request;
    request.allowPrinting = !parser.isSet(noPrinting);
    request.allowCopying = !parser.isSet(noCopying);
    const QString ownerFile = parser.isSet(newOwnerFile)
                                  ? parser.value(newOwnerFile)
                                  : parser.value(QStringLiteral("owner-password-file"));
    if (!ownerFile.isEmpty()) {
        request.ownerPassword = Cli::firstLine(ownerFile);
        if (!request.ownerPassword) {
            Cli::complain(tr("Couldn't read the password file “%1”.").arg(ownerFile));
            return Cli::Failed;
        }
        // An empty owner password would let many readers open the copy
        // with no password at all.
        if (request.ownerPassword->isEmpty()) {
            Cli::complain(tr("The owner password in “%1” is empty.").arg(ownerFile));
            return Cli::Usage;
        }
    }

    Cli::Run run = protectRun(Protect::Mode::Add, parser.value(output));
    run.refuse = [](const PDFFile &file) -> std::optional<QString> {
        if (file.kind != PDFFile::Kind::Pdf)
            return tr("“%1” isn't a PDF. Only PDFs can be protected.").arg(file.fileName());
        if (file.restricted())
            return PDFError::restricted().description();
        return std::nullopt;
    };
    // The sources first, so nobody types a new password for a file that
    // can't be protected.
    int status = Cli::Done;
    QList<PDFFile> files;
    for (const QString &path : paths) {
        if (const auto file = Cli::take(sources, path, run))
            files.append(*file);
        else
            status = Cli::Failed;
    }
    if (files.isEmpty())
        return status;
    int passwordStatus = Cli::Done;
    const auto password = newPassword(parser, newPasswordFile, passwordStatus);
    if (!password)
        return passwordStatus;
    request.password = *password;

    run.work = [request](const PDFFile &file, const QString &to, const Progress &,
                         const IsCancelled &) {
        // Intake's document is this job's alone here: no second reading.
        return Protect::run(*file.doc, request, to);
    };
    for (const PDFFile &file : files) {
        const int done = Cli::runOne(file, run, parser.isSet(quiet));
        if (done == Cli::Interrupted)
            return done;
        if (done != Cli::Done)
            status = Cli::Failed;
    }
    return status;
}

int unlock(const QStringList &arguments)
{
    QCommandLineParser parser;
    Cli::Sources sources;
    sources.addOptionsTo(parser);
    const QCommandLineOption output = protectOutputOption();
    const QCommandLineOption quiet = Cli::quietOption();
    parser.addOptions({output, quiet});
    if (auto status = Cli::parse(
            parser, QStringLiteral("unlock"),
            tr("Save a copy that opens without a password: “<name> unlocked.pdf” next to each "
               "source. The source's password comes from --password-file, QUIREBOOK_PASSWORD "
               "or the terminal; a file that limits copying or changes also needs its owner "
               "password."),
            tr("PDFs to unlock."), arguments))
        return *status;
    const QStringList paths = parser.positionalArguments();
    if (paths.isEmpty()) {
        Cli::complain(tr("Name a PDF to unlock. Try “quirebook-cli unlock --help”."));
        return Cli::Usage;
    }
    if (auto status = Cli::checkOutput(parser.value(output), paths.size(), severalText(),
                                       QStringLiteral("unlock")))
        return *status;
    if (!sources.readPasswords(parser))
        return Cli::Failed;

    Cli::Run run = protectRun(Protect::Mode::Remove, parser.value(output));
    run.refuse = [](const PDFFile &file) -> std::optional<QString> {
        if (Protect::removeView(file) == Protect::RemoveView::Offer)
            return std::nullopt;
        return QStringLiteral("“%1”: %2").arg(file.fileName(), Protect::noPasswordBanner());
    };
    run.work = [](const PDFFile &file, const QString &to, const Progress &, const IsCancelled &) {
        // Intake's document is this job's alone here: no second reading.
        Protect::Request request;
        request.mode = Protect::Mode::Remove;
        return Protect::run(*file.doc, request, to);
    };
    return Cli::runEach(sources, paths, run, parser.isSet(quiet));
}

const Cli::Registration protectRegistration{
    {QStringLiteral("protect"),
     QCoreApplication::translate("VerbProtect", "Save a copy that asks for a password."), protect}};
const Cli::Registration unlockRegistration{
    {QStringLiteral("unlock"),
     QCoreApplication::translate("VerbProtect", "Save a copy that opens without a password."),
     unlock}};

} // namespace
