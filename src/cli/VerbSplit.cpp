#include "Cli.h"
#include "Output.h"
#include "PDFError.h"
#include "Split.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

namespace {

QString tr(const char *text) { return QCoreApplication::translate("VerbSplit", text); }

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
    const int modes = int(parser.isSet(ranges)) + int(parser.isSet(every)) + int(parser.isSet(each));
    if (modes != 1 || parser.positionalArguments().size() != 1) {
        Cli::complain(tr("Name one PDF and one of --ranges, --every or --each. "
                         "Try “quirebook-cli split --help”."));
        return Cli::Usage;
    }
    bool numberOk = true;
    const int size = parser.isSet(every) ? parser.value(every).toInt(&numberOk) : 1;
    if (!numberOk || size < 1) {
        Cli::complain(tr("--every takes a whole number of pages, 1 or more."));
        return Cli::Usage;
    }
    if (!sources.readPasswords(parser))
        return Cli::Failed;
    const auto file = sources.open(parser.positionalArguments().first());
    if (!file)
        return Cli::Failed;
    if (file->kind != PDFFile::Kind::Pdf) {
        Cli::complain(tr("“%1” is a picture; split works on PDFs.").arg(file->fileName()));
        return Cli::Failed;
    }

    const Split::Mode mode = parser.isSet(ranges) ? Split::Mode::Ranges
                           : parser.isSet(every)  ? Split::Mode::Every
                                                  : Split::Mode::Each;
    const auto result = Split::groups(mode, parser.value(ranges), size, file->pageCount());
    if (const auto *failure = std::get_if<PageRanges::Failure>(&result)) {
        Cli::complain(failure->message());
        return Cli::Usage;
    }
    const auto groups = std::get<PageRanges::Groups>(result);

    QString folder;
    try {
        folder = Output::newFolder(*file, QStringLiteral("split"));
    } catch (const PDFError &e) {
        Cli::complain(e.description());
        return Cli::Failed;
    }
    const auto outcome = Cli::execute(
        tr("Splitting"),
        [&](const Progress &progress, const IsCancelled &isCancelled) {
            return Tasks::splitDocument(file->doc, file->name(), groups, folder, progress, isCancelled);
        },
        parser.isSet(quiet));
    if (const int *status = std::get_if<int>(&outcome)) {
        QDir().rmdir(folder); // nothing was made
        return *status;
    }
    if (!parser.isSet(quiet))
        Cli::err(std::get<Outcome>(outcome).title + QStringLiteral(" · ") + std::get<Outcome>(outcome).detail);
    Cli::out(folder);
    return Cli::Done;
}

const Cli::Registration registration{
    {QStringLiteral("split"), QCoreApplication::translate("VerbSplit", "Cut a PDF into several files."),
     split}};

} // namespace
