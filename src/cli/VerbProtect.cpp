#include "Cli.h"
#include "PDFError.h"
#include "ProtectCliSupport.h"
#include "ProtectForm.h"
#include "ProtectTask.h"
#include "Terminal.h"

#include <QCoreApplication>

namespace {

QString tr(const char *text) { return QCoreApplication::translate("VerbProtect", text); }

// The new open password: from a file, from the environment, or asked
// twice on the terminal. Never from an argument, which other users of the
// machine can read. Nothing (after saying why) when there is none.
std::optional<QString> newPassword(const QCommandLineParser &parser,
                                   const QCommandLineOption &fromFile, int &status)
{
    if (parser.isSet(fromFile)) {
        const QString path = parser.value(fromFile);
        auto password = ProtectCli::firstLine(path);
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
        first ? Terminal::readSecret(ProtectForm::repeatLabel() + QStringLiteral(": ")) : first;
    if (!first || !again) {
        Cli::complain(tr("No password was typed, so nothing was written."));
        status = Cli::Failed;
        return std::nullopt;
    }
    if (*first != *again) {
        Cli::complain(ProtectForm::mismatchText());
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
    const QCommandLineOption noPrinting(QStringLiteral("no-printing"),
                                        tr("Don't allow printing."));
    const QCommandLineOption noCopying(QStringLiteral("no-copying"),
                                       tr("Don't allow copying text and pictures."));
    const QCommandLineOption output = ProtectCli::outputOption();
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
    if (auto status = ProtectCli::checkOutput(parser.value(output), paths.size(),
                                              QStringLiteral("protect")))
        return *status;
    if (!sources.readPasswords(parser))
        return Cli::Failed;

    Tasks::ProtectChoices choices;
    choices.allowPrinting = !parser.isSet(noPrinting);
    choices.allowCopying = !parser.isSet(noCopying);
    const QString ownerFile = parser.isSet(newOwnerFile)
                                  ? parser.value(newOwnerFile)
                                  : parser.value(QStringLiteral("owner-password-file"));
    if (!ownerFile.isEmpty()) {
        choices.ownerPassword = ProtectCli::firstLine(ownerFile);
        if (!choices.ownerPassword) {
            Cli::complain(tr("Couldn't read the password file “%1”.").arg(ownerFile));
            return Cli::Failed;
        }
        // An empty owner password would let many readers open the copy
        // with no password at all.
        if (choices.ownerPassword->isEmpty()) {
            Cli::complain(tr("The owner password in “%1” is empty.").arg(ownerFile));
            return Cli::Usage;
        }
    }

    // The sources first, so nobody types a new password for a file that
    // can't be protected.
    int status = Cli::Done;
    QList<PDFFile> files;
    for (const QString &path : paths) {
        const auto file = sources.open(path);
        if (!file) {
            status = Cli::Failed;
        } else if (file->kind != PDFFile::Kind::Pdf) {
            Cli::complain(tr("“%1” isn't a PDF. Only PDFs can be protected.").arg(file->fileName()));
            status = Cli::Failed;
        } else if (file->restricted()) {
            Cli::complain(PDFError::restricted().description());
            status = Cli::Failed;
        } else {
            files.append(*file);
        }
    }
    if (files.isEmpty())
        return status;
    int passwordStatus = Cli::Done;
    const auto password = newPassword(parser, newPasswordFile, passwordStatus);
    if (!password)
        return passwordStatus;
    choices.password = *password;

    for (const PDFFile &file : files) {
        const auto to = ProtectCli::destination(file, ProtectForm::protectSuffix(),
                                                parser.value(output));
        if (!to) {
            status = Cli::Failed;
            continue;
        }
        const QString destination = *to;
        // Intake's document is this job's alone here: no second reading.
        const int done = ProtectCli::runAndReport(
            ProtectForm::protectTitle(),
            [&](const Progress &, const IsCancelled &) {
                return Tasks::protect(*file.doc, choices, destination);
            },
            parser.isSet(quiet));
        if (done != Cli::Done)
            status = done;
    }
    return status;
}

const Cli::Registration registration{
    {QStringLiteral("protect"),
     QCoreApplication::translate("VerbProtect", "Save a copy that asks for a password."), protect}};

} // namespace
