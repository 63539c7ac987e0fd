#include "cli/Cli.h"
#include "core/PageRanges.h"

#include "cli/Terminal.h"
#include "core/Output.h"
#include "engine/PDFError.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

namespace Cli {

namespace {

// The last source's document is left for the process's end to free all at
// once; freeing a big PDF object by object takes a tenth of a second.
void keepToTheEnd(std::shared_ptr<const PDFDocument> document)
{
    static std::shared_ptr<const PDFDocument> last;
    last = std::move(document);
}

} // namespace

QCommandLineOption quietOption()
{
    return QCommandLineOption({QStringLiteral("q"), QStringLiteral("quiet")},
                              QCoreApplication::translate("Cli", "Show no progress."));
}

QCommandLineOption outputOption(const QString &description, const QString &valueName)
{
    return QCommandLineOption(
        {QStringLiteral("o"), QStringLiteral("output")},
        description + u' ' +
            QCoreApplication::translate(
                "Cli", "A path ending in / is a folder, made if it isn't there yet."),
        valueName);
}

std::optional<int> checkOutput(const QString &output, qsizetype sourceCount, const QString &message,
                               const QString &verb)
{
    if (output.isEmpty() || sourceCount < 2 || output.endsWith(u'/') || QFileInfo(output).isDir())
        return std::nullopt;
    complain(message);
    if (!verb.isEmpty())
        err(QCoreApplication::translate("Cli", "Try “quirebook-cli %1 --help”.").arg(verb));
    return Usage;
}

void cannotWriteBeside(const PDFFile &file)
{
    complain(QCoreApplication::translate(
                 "Cli", "Quirebook can't write next to “%1”. Choose another place with -o.")
                 .arg(file.fileName()));
}

std::optional<QList<int>> pagesNamed(const QString &ranges, int pageCount)
{
    const auto result = PageRanges::parse(ranges, pageCount);
    if (const auto *failure = std::get_if<PageRanges::Failure>(&result)) {
        complain(failure->message());
        return std::nullopt;
    }
    QList<int> pages;
    for (const QList<int> &group : std::get<PageRanges::Groups>(result))
        pages += group;
    return pages;
}

std::function<std::optional<QString>(const PDFFile &)> pdfsOnly(const QString &verb)
{
    return [verb](const PDFFile &file) -> std::optional<QString> {
        if (file.kind == PDFFile::Kind::Pdf)
            return std::nullopt;
        return QCoreApplication::translate("Cli", "“%1” is a picture; %2 works on PDFs.")
            .arg(file.fileName(), verb);
    };
}

std::optional<QString> chosenPlace(const QString &output, const QString &base, const QString &ext)
{
    if (output == QLatin1String("-")) {
        complain(QCoreApplication::translate(
            "Cli", "Only text can go to standard output. Name a file or a folder after -o."));
        return std::nullopt;
    }
    try {
        return Output::chosenURL(output, base, ext);
    } catch (const PDFError &e) {
        complain(e.description());
        return std::nullopt;
    }
}

Run::Destination pdfResult(const QString &suffix, const QString &output)
{
    return [suffix, output](const PDFFile &file) -> std::optional<QString> {
        if (!output.isEmpty())
            return chosenPlace(output, Output::resultName(file, suffix), QStringLiteral("pdf"));
        auto place = Output::pdfURL(file, suffix, nullptr);
        if (!place)
            cannotWriteBeside(file);
        return place;
    };
}

Run::Destination settledBy(std::function<QString(const PDFFile &)> settle)
{
    return [settle](const PDFFile &file) -> std::optional<QString> {
        try {
            return settle(file);
        } catch (const PDFError &e) {
            complain(e.description());
            return std::nullopt;
        }
    };
}

std::optional<PDFFile> take(Sources &sources, const QString &path, const Run &run)
{
    auto file = sources.open(path);
    if (!file)
        return std::nullopt;
    if (run.refuse) {
        if (const auto refusal = run.refuse(*file)) {
            complain(*refusal);
            return std::nullopt;
        }
    }
    return file;
}

int runOne(const PDFFile &file, const Run &run, bool quiet)
{
    const auto destination = run.destination(file);
    if (!destination)
        return Failed;
    const Run::Work work = run.work;
    const PDFFile source = file;
    const QString target = *destination;
    const auto result = execute(
        run.label(file),
        [work, source, target](const Progress &progress, const IsCancelled &isCancelled) {
            return work(source, target, progress, isCancelled);
        },
        quiet);
    keepToTheEnd(file.doc);
    if (const int *status = std::get_if<int>(&result)) {
        if (*status == Failed && run.keepsFailedResult && QFileInfo::exists(target))
            out(target);
        return *status;
    }
    const Outcome &outcome = std::get<Outcome>(result);
    for (const QString &url : outcome.urls)
        out(QDir::toNativeSeparators(url));
    if (!quiet && run.summary)
        if (const auto line = run.summary(file, outcome))
            err(*line);
    return Done;
}

int runEach(Sources &sources, const QStringList &paths, const Run &run, bool quiet)
{
    int status = Done;
    for (const QString &path : paths) {
        const auto file = take(sources, path, run);
        const int done = file ? runOne(*file, run, quiet) : Failed;
        if (done == Interrupted)
            return done;
        if (done != Done)
            status = Failed;
    }
    return status;
}

std::variant<Outcome, int> execute(const QString &label, const Work &work, bool quiet)
{
    const bool bar = !quiet && Terminal::stderrIsInteractive();
    const Progress progress = [&](int done, int total) {
        if (bar)
            Terminal::drawProgress(label, done, total);
    };
    // Ctrl-C ends the process by its signal (Process::endCleanlyOnSignals),
    // so nothing here is ever cancelled.
    const IsCancelled isCancelled = [] { return false; };
    std::variant<Outcome, int> result = Failed;
    try {
        if (bar)
            Terminal::drawProgress(label, 0, 0);
        result = work(progress, isCancelled);
    } catch (const PDFError &e) {
        Terminal::endProgress();
        if (e.isCancelled())
            return Interrupted;
        complain(e.description());
        return Failed;
    } catch (const std::exception &e) {
        Terminal::endProgress();
        complain(QString::fromLocal8Bit(e.what()));
        return Failed;
    }
    Terminal::endProgress();
    return result;
}

} // namespace Cli
