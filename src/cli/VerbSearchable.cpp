#include "Cli.h"
#include "Output.h"
#include "PDFOps.h"
#include "SearchableTask.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <memory>

namespace {

QString tr(const char *text) { return QCoreApplication::translate("VerbSearchable", text); }

constexpr int kMinDpi = 72;
constexpr int kMaxDpi = 600;

// Where one result goes: beside the source as the window would put it, or
// at -o (a file, or a folder to put it in), numbered rather than
// overwriting anything.
std::optional<QString> destinationFor(const PDFFile &file, const QString &option, bool several)
{
    if (option.isEmpty()) {
        const auto place = Output::pdfURL(file, Tasks::searchableSuffix(), nullptr);
        if (!place)
            Cli::complain(tr("Quirebook can't write next to “%1”. Choose another place with -o.")
                              .arg(file.fileName()));
        return place;
    }
    const QFileInfo out(option);
    if (out.isDir() || several)
        return PDFOps::uniqueURL(out.absoluteFilePath(), file.name() + u' ' + Tasks::searchableSuffix(),
                                 QStringLiteral("pdf"));
    return PDFOps::uniqueURL(out.absolutePath(), out.completeBaseName(), out.suffix());
}

int searchable(const QStringList &arguments)
{
    QCommandLineParser parser;
    Cli::Sources sources;
    sources.addOptionsTo(parser);
    const QCommandLineOption allPages(
        QStringLiteral("all-pages"),
        tr("Read every page, also those that already have text (by default they are left as they are)."));
    const QCommandLineOption language(
        QStringLiteral("language"),
        tr("The languages to read, as tesseract codes joined by '+' (eng+deu). Without it: English "
           "and the languages last chosen in the window."),
        tr("LANG"));
    const QCommandLineOption dpi(
        QStringLiteral("dpi"),
        tr("The resolution pages are read at, %1 to %2 dots per inch (default %3).")
            .arg(kMinDpi)
            .arg(kMaxDpi)
            .arg(int(Tasks::kSearchableDpi)),
        tr("N"), QString::number(int(Tasks::kSearchableDpi)));
    const QCommandLineOption output(
        {QStringLiteral("o"), QStringLiteral("output")},
        tr("Write the result here instead of next to the source (a file, or a folder for "
           "several sources). Nothing is overwritten: a number is added."),
        tr("OUT"));
    parser.addOption(allPages);
    parser.addOption(language);
    parser.addOption(dpi);
    parser.addOption(output);
    parser.addOption(Cli::quietOption());
    if (auto status = Cli::parse(parser, QStringLiteral("searchable"),
                                 tr("Make scans searchable: each page is read with text recognition on "
                                    "this computer and the words are hidden behind the picture, so the "
                                    "page looks the same but can be searched and copied. Each result is "
                                    "\"<name> searchable.pdf\" beside its source. Pictures (a photo of a "
                                    "page) become a searchable one-page PDF."),
                                 tr("PDFs or pictures to make searchable."), arguments))
        return *status;

    const QStringList paths = parser.positionalArguments();
    if (paths.isEmpty()) {
        Cli::complain(tr("Name at least one PDF or picture. Try “quirebook-cli searchable --help”."));
        return Cli::Usage;
    }
    bool dpiIsNumber = false;
    const int dpiValue = parser.value(dpi).toInt(&dpiIsNumber);
    if (!dpiIsNumber || dpiValue < kMinDpi || dpiValue > kMaxDpi) {
        Cli::complain(tr("“%1” isn't a resolution Quirebook reads at. Use a whole number of dots per "
                         "inch from %2 to %3.")
                          .arg(parser.value(dpi))
                          .arg(kMinDpi)
                          .arg(kMaxDpi));
        return Cli::Usage;
    }
    Tasks::SearchableOptions options;
    options.skipPagesWithText = !parser.isSet(allPages);
    options.dpi = dpiValue;
    if (parser.isSet(language)) {
        QStringList codes;
        for (const QString &piece : parser.value(language).split(u'+'))
            if (!piece.trimmed().isEmpty())
                codes << piece.trimmed();
        if (codes.isEmpty()) {
            Cli::complain(tr("Name a language after --language, as a tesseract code such as deu."));
            return Cli::Usage;
        }
        if (const auto missing = Tasks::missingLanguage(codes)) {
            Cli::complain(*missing);
            return Cli::Usage;
        }
        options.languages = codes;
    }
    const QString outOption = parser.value(output);
    const bool several = paths.size() > 1;
    if (several && !outOption.isEmpty() && !QFileInfo(outOption).isDir()) {
        Cli::complain(tr("With several files, -o must name an existing folder."));
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
        const auto destination = destinationFor(*file, outOption, several);
        if (!destination) {
            status = Cli::Failed;
            continue;
        }
        const PDFFile source = *file;
        const QString target = *destination;
        const auto stats = std::make_shared<Searchable::Stats>();
        const auto result = Cli::execute(
            Tasks::searchableJobTitle() + u' ' + file->fileName(),
            [source, options, target, stats](const Progress &progress, const IsCancelled &cancelled) {
                return Tasks::makeSearchable(source, options, target, progress, cancelled, stats);
            },
            quiet);
        if (const int *failed = std::get_if<int>(&result)) {
            if (*failed == Cli::Interrupted)
                return *failed;
            // A recognition failure still writes the copy (pages from the
            // failing one on carry no text): say where it is.
            if (QFileInfo::exists(target))
                Cli::out(target);
            status = Cli::Failed;
            continue;
        }
        Cli::out(target);
        if (!quiet) {
            const QString summary = Tasks::searchableSummary(*stats);
            Cli::err(several ? file->fileName() + QStringLiteral(": ") + summary : summary);
        }
    }
    return status;
}

const Cli::Registration registration{
    {QStringLiteral("searchable"),
     QCoreApplication::translate("VerbSearchable", "Make scans searchable with text recognition."),
     searchable}};

} // namespace
