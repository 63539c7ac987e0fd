#include "cli/Cli.h"
#include "tasks/Split.h"

#include <QCoreApplication>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("VerbSplit", text);
}

int split(const QStringList &arguments)
{
    QCommandLineParser parser;
    Cli::Sources sources;
    sources.addOptionsTo(parser);
    const QCommandLineOption ranges(QStringLiteral("ranges"),
                                    tr("One part per range, like \"1-3, 5, 9-\"."), tr("RANGES"));
    const QCommandLineOption every(QStringLiteral("every"), tr("One part per N pages."), tr("N"));
    const QCommandLineOption each(QStringLiteral("each"), tr("One part per page."));
    const QCommandLineOption quiet = Cli::quietOption();
    parser.addOptions({ranges, every, each, quiet});
    if (auto status = Cli::parse(parser, QStringLiteral("split"),
                                 tr("Cut a PDF into several files, in a new folder "
                                    "“<name> split” next to it. Choose exactly one of "
                                    "--ranges, --every and --each."),
                                 tr("The PDF to cut."), arguments))
        return *status;
    const int modes =
        int(parser.isSet(ranges)) + int(parser.isSet(every)) + int(parser.isSet(each));
    if (modes != 1 || parser.positionalArguments().size() != 1) {
        Cli::complain(tr("Name one PDF and one of --ranges, --every or --each. "
                         "Try “quirebook-cli split --help”."));
        return Cli::Usage;
    }
    Split::Request request;
    request.mode = parser.isSet(ranges)  ? Split::Mode::Ranges
                   : parser.isSet(every) ? Split::Mode::Every
                                         : Split::Mode::Each;
    request.ranges = parser.value(ranges);
    if (parser.isSet(every)) {
        bool numberOk = false;
        request.every = parser.value(every).toInt(&numberOk);
        if (!numberOk)
            request.every = 0; // refused below as too small
    }
    if (const auto problem = request.validate()) {
        Cli::complain(*problem);
        return Cli::Usage;
    }
    if (!sources.readPasswords(parser))
        return Cli::Failed;

    Cli::Run run;
    run.refuse = Cli::pdfsOnly(QStringLiteral("split"));
    const auto file = Cli::take(sources, parser.positionalArguments().first(), run);
    if (!file)
        return Cli::Failed;
    const auto result = request.groups(file->pageCount());
    if (const auto *failure = std::get_if<PageRanges::Failure>(&result)) {
        Cli::complain(failure->message());
        return Cli::Usage;
    }
    const auto groups = std::get<PageRanges::Groups>(result);
    run.destination = Cli::settledBy(Split::destination);
    run.label = [](const PDFFile &) { return Split::jobTitle(); };
    run.work = [groups](const PDFFile &source, const QString &folder, const Progress &progress,
                        const IsCancelled &isCancelled) {
        // Intake's document is this job's alone here: no second reading.
        return Split::run(source.doc, source.name(), groups, folder, progress, isCancelled);
    };
    run.summary = [](const PDFFile &, const Outcome &outcome) -> std::optional<QString> {
        return outcome.title + QStringLiteral(" · ") + outcome.detail;
    };
    return Cli::runOne(*file, run, parser.isSet(quiet));
}

const Cli::Registration registration{
    {QStringLiteral("split"),
     QCoreApplication::translate("VerbSplit", "Cut a PDF into several files."), split}};

} // namespace
