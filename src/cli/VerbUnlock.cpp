#include "Cli.h"
#include "ProtectCliSupport.h"
#include "ProtectForm.h"
#include "ProtectTask.h"

#include <QCoreApplication>

namespace {

QString tr(const char *text) { return QCoreApplication::translate("VerbUnlock", text); }

int unlock(const QStringList &arguments)
{
    QCommandLineParser parser;
    Cli::Sources sources;
    sources.addOptionsTo(parser);
    const QCommandLineOption output = ProtectCli::outputOption();
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
    if (auto status = ProtectCli::checkOutput(parser.value(output), paths.size(),
                                              QStringLiteral("unlock")))
        return *status;
    if (!sources.readPasswords(parser))
        return Cli::Failed;

    int status = Cli::Done;
    for (const QString &path : paths) {
        const auto file = sources.open(path);
        if (!file) {
            status = Cli::Failed;
            continue;
        }
        if (ProtectForm::removeView(*file) == ProtectForm::RemoveView::NoPassword) {
            Cli::complain(QStringLiteral("“%1”: %2").arg(file->fileName(),
                                                         ProtectForm::noPasswordBanner()));
            status = Cli::Failed;
            continue;
        }
        const auto to = ProtectCli::destination(*file, ProtectForm::removeSuffix(),
                                                parser.value(output));
        if (!to) {
            status = Cli::Failed;
            continue;
        }
        const PDFFile source = *file;
        const QString destination = *to;
        const int done = ProtectCli::runAndReport(
            ProtectForm::removeTitle(),
            [&](const Progress &, const IsCancelled &) {
                // Intake's document is this job's alone here: no second reading.
                return Tasks::removePassword(*source.doc, destination);
            },
            parser.isSet(quiet));
        if (done != Cli::Done)
            status = done;
    }
    return status;
}

const Cli::Registration registration{
    {QStringLiteral("unlock"),
     QCoreApplication::translate("VerbUnlock", "Save a copy that opens without a password."),
     unlock}};

} // namespace
