#include "Cli.h"
#include "Convert.h"
#include "PDFError.h"

#include <QCoreApplication>

namespace {

QString tr(const char *text) { return QCoreApplication::translate("VerbText", text); }

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
    const auto file = sources.open(paths.first());
    if (!file)
        return Cli::Failed;

    QString destination;
    try {
        destination = parser.isSet(output) ? Convert::textDestination(*file, parser.value(output))
                                            : Convert::textDestination(*file);
    } catch (const PDFError &e) {
        Cli::complain(e.description());
        return Cli::Failed;
    }
    const PDFFile source = *file;
    const auto result = Cli::execute(
        Convert::textJobTitle(),
        [source, destination](const Progress &progress, const IsCancelled &isCancelled) {
            return Convert::text(source, destination, progress, isCancelled);
        },
        parser.isSet(QStringLiteral("quiet")));
    return Cli::printResults(result);
}

const Cli::Registration registration{
    {QStringLiteral("text"),
     QCoreApplication::translate("VerbText", "Save the text of a PDF as a plain text file."), text}};

} // namespace
