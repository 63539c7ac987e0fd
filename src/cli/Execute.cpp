#include "cli/Cli.h"
#include "core/PageRanges.h"

#include "cli/Terminal.h"
#include "core/Output.h"
#include "engine/PDFError.h"
#include "engine/SafeWrite.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

#include <csignal>
#include <cstdio>

#include <unistd.h>

namespace Cli {

namespace {

extern "C" void onInterrupt(int)
{
    // Only async-signal-safe calls here.
    SafeWrite::removeAllInProgress();
    const char newline = '\n';
    (void)!::write(STDERR_FILENO, &newline, 1);
    ::_exit(Interrupted);
}

void drawBar(const QString &label, int done, int total)
{
    QString line;
    if (total > 0) {
        const int width = 30;
        const int filled = int(qint64(width) * done / total);
        line = QStringLiteral("\r%1 [%2%3] %4/%5")
                   .arg(label, QString(filled, u'#'), QString(width - filled, u' '))
                   .arg(done)
                   .arg(total);
    } else {
        line = QStringLiteral("\r%1…").arg(label);
    }
    std::fputs(line.toUtf8().constData(), stderr);
    std::fflush(stderr);
}

} // namespace

QCommandLineOption quietOption()
{
    return QCommandLineOption({QStringLiteral("q"), QStringLiteral("quiet")},
                              QCoreApplication::translate("Cli", "Show no progress."));
}

QCommandLineOption outputOption(const QString &description, const QString &valueName)
{
    return QCommandLineOption({QStringLiteral("o"), QStringLiteral("output")}, description,
                              valueName);
}

std::optional<int> checkOutput(const QString &output, qsizetype sourceCount, const QString &message,
                               const QString &verb)
{
    if (output.isEmpty() || sourceCount < 2 || QFileInfo(output).isDir())
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

Run::Destination pdfResult(const QString &suffix, const QString &output)
{
    return [suffix, output](const PDFFile &file) -> std::optional<QString> {
        if (!output.isEmpty())
            return Output::chosenURL(output, Output::resultName(file, suffix),
                                     QStringLiteral("pdf"));
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
    std::signal(SIGINT, onInterrupt);
    std::signal(SIGTERM, onInterrupt);
    std::signal(SIGHUP, onInterrupt);
    const bool bar = !quiet && Terminal::stderrIsInteractive();
    bool drawn = false;
    const Progress progress = [&](int done, int total) {
        if (bar) {
            drawBar(label, done, total);
            drawn = true;
        }
    };
    const IsCancelled isCancelled = [] { return false; };
    std::variant<Outcome, int> result = Failed;
    try {
        if (bar)
            drawBar(label, 0, 0), drawn = true;
        result = work(progress, isCancelled);
    } catch (const PDFError &e) {
        if (drawn)
            std::fputs("\n", stderr);
        drawn = false;
        if (e.isCancelled())
            return Interrupted;
        complain(e.description());
        return Failed;
    } catch (const std::exception &e) {
        if (drawn)
            std::fputs("\n", stderr);
        drawn = false;
        complain(QString::fromLocal8Bit(e.what()));
        return Failed;
    }
    if (drawn)
        std::fputs("\n", stderr);
    return result;
}

} // namespace Cli
