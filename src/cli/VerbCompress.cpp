#include "Cli.h"
#include "Compress.h"
#include "Output.h"
#include "PDFOps.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace {

QString tr(const char *text) { return QCoreApplication::translate("VerbCompress", text); }

// Where one result goes: beside the source as the window would put it, or
// at -o (a file, or a folder to put it in), numbered rather than
// overwriting anything.
std::optional<QString> destinationFor(const PDFFile &file, const QString &option, bool several)
{
    const QString base = file.name() + u' ' + Tasks::compressSuffix();
    if (option.isEmpty()) {
        const auto place = Output::pdfURL(file, Tasks::compressSuffix(), nullptr);
        if (!place)
            Cli::complain(tr("Quirebook can't write next to “%1”. Choose another place with -o.")
                              .arg(file.fileName()));
        return place;
    }
    const QFileInfo out(option);
    if (out.isDir() || several)
        return PDFOps::uniqueURL(out.absoluteFilePath(), base, QStringLiteral("pdf"));
    return PDFOps::uniqueURL(out.absolutePath(), out.completeBaseName(), out.suffix());
}

int compress(const QStringList &arguments)
{
    QCommandLineParser parser;
    Cli::Sources sources;
    sources.addOptionsTo(parser);
    const QCommandLineOption level(
        {QStringLiteral("l"), QStringLiteral("level")},
        tr("How hard to squeeze pictures: small, balanced (the default) or high."),
        tr("LEVEL"), QStringLiteral("balanced"));
    const QCommandLineOption output(
        {QStringLiteral("o"), QStringLiteral("output")},
        tr("Write the result here instead of next to the source (a file, or a folder for "
           "several sources). Nothing is overwritten: a number is added."),
        tr("OUT"));
    parser.addOption(level);
    parser.addOption(output);
    parser.addOption(Cli::quietOption());
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
    const auto chosen = PDFOps::compressionLevel(parser.value(level));
    if (!chosen) {
        Cli::complain(tr("“%1” isn't a level. Use small, balanced or high.").arg(parser.value(level)));
        return Cli::Usage;
    }
    const QString outOption = parser.value(output);
    const bool several = paths.size() > 1;
    if (several && !outOption.isEmpty() && !QFileInfo(outOption).isDir()) {
        Cli::complain(tr("With several PDFs, -o must name an existing folder."));
        return Cli::Usage;
    }
    if (!sources.readPasswords(parser))
        return Cli::Failed;
    const bool quiet = parser.isSet(Cli::quietOption());

    int status = Cli::Done;
    for (const QString &path : paths) {
        const auto file = sources.open(path);
        if (!file) {
            status = Cli::Failed;
            continue;
        }
        if (file->kind != PDFFile::Kind::Pdf) {
            Cli::complain(tr("“%1” is a picture. Compress works on PDFs.").arg(file->fileName()));
            status = Cli::Failed;
            continue;
        }
        const auto destination = destinationFor(*file, outOption, several);
        if (!destination) {
            status = Cli::Failed;
            continue;
        }
        const CompressionLevel levelValue = *chosen;
        const PDFFile source = *file;
        const QString target = *destination;
        const auto result = Cli::execute(
            Tasks::compressJobTitle() + u' ' + file->fileName(),
            [source, levelValue, target](const Progress &progress, const IsCancelled &cancelled) {
                return Tasks::compress(source, levelValue, target, progress, cancelled);
            },
            quiet);
        if (const int *failed = std::get_if<int>(&result)) {
            if (*failed == Cli::Interrupted)
                return *failed;
            status = Cli::Failed;
            continue;
        }
        const Outcome &outcome = std::get<Outcome>(result);
        Cli::out(target);
        if (!quiet)
            Cli::err(outcome.detail == QFileInfo(target).fileName()
                         ? file->fileName() + QStringLiteral(": ") + outcome.title
                         : outcome.title + QStringLiteral(". ") + outcome.detail);
    }
    return status;
}

const Cli::Registration registration{
    {QStringLiteral("compress"),
     QCoreApplication::translate("VerbCompress", "Make PDFs smaller."), compress}};

} // namespace
