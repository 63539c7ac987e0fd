#include "cli/Cli.h"
#include "core/Output.h"
#include "engine/PDFError.h"
#include "tasks/Convert.h"

#include <QCoreApplication>

#include <cstdio>

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
    const QCommandLineOption output = Cli::outputOption(
        tr("Write to OUT instead of “<name>.txt” next to the PDF (a folder: “<name>.txt” "
           "inside it; - for standard output). An existing file is never overwritten: a number "
           "is added."),
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
    const QString standardOutput = QStringLiteral("-");
    Cli::Run run;
    run.destination = Cli::settledBy([request, chosen, standardOutput](const PDFFile &file) {
        if (chosen == standardOutput)
            return standardOutput;
        return chosen ? Output::chosenURL(*chosen, file.name(), QStringLiteral("txt"))
                      : Convert::destination(file, request);
    });
    run.label = [](const PDFFile &) { return Convert::jobTitle(Convert::Mode::Text); };
    run.work = [request, standardOutput](const PDFFile &file, const QString &to,
                                         const Progress &progress, const IsCancelled &isCancelled) {
        if (to != standardOutput)
            return Convert::run(file, request, to, progress, isCancelled);
        // Only the text on stdout: no path follows it.
        const auto write = [](const QByteArray &bytes) {
            if (std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout) !=
                size_t(bytes.size()))
                throw PDFError::failed(tr("Couldn't write the text to standard output."));
        };
        Convert::extractText(file, write, progress, isCancelled);
        write(QByteArrayLiteral("\n")); // a text on a terminal ends its last line
        if (std::fflush(stdout) != 0)
            throw PDFError::failed(tr("Couldn't write the text to standard output."));
        return Outcome{};
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
