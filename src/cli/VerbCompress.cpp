#include "cli/Cli.h"
#include "engine/PDFOps.h"
#include "tasks/Compress.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("VerbCompress", text);
}

int compress(const QStringList &arguments)
{
    QCommandLineParser parser;
    Cli::Sources sources;
    sources.addOptionsTo(parser);
    const QCommandLineOption level(
        {QStringLiteral("l"), QStringLiteral("level")},
        tr("How hard to squeeze pictures: small, balanced (the default) or high."), tr("LEVEL"),
        PDFOps::rawValue(Compress::Request::kDefaultLevel));
    const QCommandLineOption output = Cli::outputOption(
        tr("Write the result here instead of next to the source (a file, or a folder for "
           "several sources). Nothing is overwritten: a number is added."),
        tr("OUT"));
    parser.addOptions({level, output, Cli::quietOption()});
    if (auto status = Cli::parse(parser, QStringLiteral("compress"),
                                 tr("Make PDFs smaller: pictures are shrunk, text stays sharp "
                                    "and searchable, links, bookmarks and the title are kept. "
                                    "Each result is \"<name> compressed.pdf\" beside its source, "
                                    "never bigger than the source."),
                                 tr("PDFs to compress."), arguments))
        return *status;

    const QStringList paths = parser.positionalArguments();
    if (paths.isEmpty()) {
        Cli::complain(tr("Name at least one PDF. Try “quirebook-cli compress --help”."));
        return Cli::Usage;
    }
    Compress::Request request;
    if (const auto chosen = PDFOps::compressionLevel(parser.value(level))) {
        request.level = *chosen;
    } else {
        Cli::complain(
            tr("“%1” isn't a level. Use small, balanced or high.").arg(parser.value(level)));
        return Cli::Usage;
    }
    if (auto status = Cli::checkOutput(parser.value(output), paths.size(),
                                       tr("With several PDFs, -o must name a folder.")))
        return *status;
    if (!sources.readPasswords(parser))
        return Cli::Failed;

    Cli::Run run;
    run.destination = Cli::pdfResult(Compress::suffix(), parser.value(output));
    run.label = [](const PDFFile &file) { return Compress::jobTitle() + u' ' + file.fileName(); };
    run.refuse = Cli::pdfsOnly(QStringLiteral("compress"));
    run.work = [request](const PDFFile &file, const QString &to, const Progress &progress,
                         const IsCancelled &isCancelled) {
        return Compress::run(file, request, to, progress, isCancelled);
    };
    // Sizes in the window's words, or why the copy is the source unchanged.
    run.summary = [](const PDFFile &file, const Outcome &outcome) -> std::optional<QString> {
        if (outcome.detail == QFileInfo(outcome.urls.value(0)).fileName())
            return file.fileName() + QStringLiteral(": ") + outcome.title;
        return outcome.title + QStringLiteral(". ") + outcome.detail;
    };
    return Cli::runEach(sources, paths, run, parser.isSet(Cli::quietOption()));
}

const Cli::Registration registration{
    {QStringLiteral("compress"), QCoreApplication::translate("VerbCompress", "Make PDFs smaller."),
     compress}};

} // namespace
