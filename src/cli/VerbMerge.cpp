#include "cli/Cli.h"
#include "core/Output.h"
#include "tasks/Merge.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("VerbMerge", text);
}

// Where the result goes: inside -o's folder, at -o's name (made a PDF when
// it has no extension; numbered when taken), or beside the first file
// under the name the window suggests.
std::optional<QString> destination(const QString &requested, const QList<PDFFile> &files)
{
    const QString suggested = Merge::suggestedName(files);
    const QString pdf = QStringLiteral("pdf");
    if (!requested.isEmpty()) {
        const QFileInfo info(requested);
        // A name without an extension becomes a PDF's.
        const bool bare = !info.isDir() && !requested.endsWith(u'/') && requested != u'-' &&
                          info.suffix().isEmpty();
        return Cli::chosenPlace(bare ? info.absolutePath() + u'/' + info.completeBaseName() +
                                           QStringLiteral(".pdf")
                                     : requested,
                                suggested, pdf);
    }
    const auto folder = Output::folder(files.first());
    if (!folder) {
        Cli::cannotWriteBeside(files.first());
        return std::nullopt;
    }
    return Output::chosenURL(*folder, suggested, pdf);
}

int merge(const QStringList &arguments)
{
    QCommandLineParser parser;
    Cli::Sources sources;
    sources.addOptionsTo(parser);
    const QCommandLineOption output =
        Cli::outputOption(tr("Write the merged PDF here (a file or a folder)."), tr("OUT"));
    const QCommandLineOption quiet = Cli::quietOption();
    parser.addOptions({output, quiet});
    if (auto status = Cli::parse(parser, QStringLiteral("merge"),
                                 tr("Combine PDFs and pictures into one file, in the order given. "
                                    "Each PDF's bookmarks are kept, one after another.\n"
                                    "--password may be repeated: the first goes to the first "
                                    "locked PDF, the second to the second, and so on."),
                                 tr("PDFs and pictures (JPG, PNG, HEIC) to merge."), arguments))
        return *status;
    const QStringList paths = parser.positionalArguments();
    if (paths.size() < 2) {
        Cli::complain(tr("Name at least two files to merge. Try “quirebook-cli merge --help”."));
        return Cli::Usage;
    }
    if (!sources.readPasswords(parser))
        return Cli::Failed;

    QList<PDFFile> files;
    for (const QString &path : paths) {
        const auto file = sources.open(path);
        if (!file)
            return Cli::Failed;
        files.append(*file);
    }
    const auto target = destination(parser.value(output), files);
    if (!target)
        return Cli::Failed;

    const auto result = Cli::execute(
        Merge::jobTitle(),
        [&](const Progress &progress, const IsCancelled &isCancelled) {
            QList<std::shared_ptr<const PDFDocument>> docs;
            for (const PDFFile &file : files)
                docs.append(file.kind == PDFFile::Kind::Pdf ? file.doc : file.fresh());
            return Merge::run(docs, *target, progress, isCancelled);
        },
        parser.isSet(quiet));
    if (const int *status = std::get_if<int>(&result))
        return *status;
    const Outcome &outcome = std::get<Outcome>(result);
    if (!parser.isSet(quiet))
        Cli::err(outcome.title + QStringLiteral(" · ") + outcome.detail);
    Cli::out(*target);
    return Cli::Done;
}

const Cli::Registration registration{
    {QStringLiteral("merge"),
     QCoreApplication::translate("VerbMerge", "Combine PDFs and pictures into one file."), merge}};

} // namespace
