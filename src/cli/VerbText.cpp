#include "cli/Cli.h"
#include "core/Output.h"
#include "tasks/Convert.h"

#include <QCoreApplication>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("VerbText", text);
}

int text(const QStringList &arguments)
{
    QCommandLineParser parser;
    Cli::Sources sources;
    sources.addOptionsTo(parser);
    const QCommandLineOption output(
        {QStringLiteral("o"), QStringLiteral("output")},
        tr("Write to OUT instead of “<name>.txt” next to the PDF (a folder: “<name>.txt” "
           "inside it). An existing file is never overwritten: a number is added."),
        tr("OUT"));
    parser.addOptions({output, Cli::quietOption()});
    if (auto status = Cli::parse(parser, QStringLiteral("text"),
                                 tr("Save all the text of a PDF as a plain UTF-8 text file, pages "
                                    "separated by a form feed. The file's path is printed."),
                                 tr("The PDF to read."), arguments))
        return *status;

    const QStringList paths = parser.positionalArguments();
    if (paths.size() != 1) {
        Cli::complain(tr("Name one file. Try “quirebook-cli text --help”."));
        return Cli::Usage;
    }
    if (!sources.readPasswords(parser))
        return Cli::Failed;

    Convert::Request request;
    request.mode = Convert::Mode::Text;
    const std::optional<QString> chosen =
        parser.isSet(output) ? std::optional(parser.value(output)) : std::nullopt;
    Cli::Run run;
    run.destination = Cli::settledBy([request, chosen](const PDFFile &file) {
        return chosen ? Output::chosenURL(*chosen, file.name(), QStringLiteral("txt"))
                      : Convert::destination(file, request);
    });
    run.label = [](const PDFFile &) { return Convert::jobTitle(Convert::Mode::Text); };
    run.work = [request](const PDFFile &file, const QString &to, const Progress &progress,
                         const IsCancelled &isCancelled) {
        return Convert::run(file, request, to, progress, isCancelled);
    };
    const auto file = Cli::take(sources, paths.first(), run);
    if (!file)
        return Cli::Failed;
    return Cli::runOne(*file, run, parser.isSet(QStringLiteral("quiet")));
}

const Cli::Registration registration{
    {QStringLiteral("text"),
     QCoreApplication::translate("VerbText", "Save the text of a PDF as a plain text file."),
     text}};

} // namespace
