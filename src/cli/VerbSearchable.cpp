#include "cli/Cli.h"
#include "tasks/MakeSearchable.h"

#include <QCoreApplication>

#include <memory>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("VerbSearchable", text);
}

using Request = MakeSearchable::Request;

int searchable(const QStringList &arguments)
{
    QCommandLineParser parser;
    Cli::Sources sources;
    sources.addOptionsTo(parser);
    const QCommandLineOption allPages(QStringLiteral("all-pages"),
                                      tr("Read every page, also those that already have text (by "
                                         "default they are left as they are)."));
    const QCommandLineOption language(
        QStringLiteral("language"),
        tr("The languages to read, as tesseract codes joined by '+' (eng+deu). Without it: English "
           "and the languages last chosen in the window."),
        tr("LANG"));
    const QCommandLineOption dpi(
        QStringLiteral("dpi"),
        tr("The resolution pages are read at, %1 to %2 dots per inch (default %3).")
            .arg(Request::kMinDpi)
            .arg(Request::kMaxDpi)
            .arg(Request::kDefaultDpi),
        tr("N"), QString::number(Request::kDefaultDpi));
    const QCommandLineOption output = Cli::outputOption(
        tr("Write the result here instead of next to the source (a file, or a folder for "
           "several sources). Nothing is overwritten: a number is added."),
        tr("OUT"));
    parser.addOptions({allPages, language, dpi, output, Cli::quietOption()});
    if (auto status =
            Cli::parse(parser, QStringLiteral("searchable"),
                       tr("Make scans searchable: each page is read with text recognition on "
                          "this computer and the words are hidden behind the picture, so the "
                          "page looks the same but can be searched and copied. Each result is "
                          "\"<name> searchable.pdf\" beside its source. Pictures (a photo of a "
                          "page) become a searchable one-page PDF."),
                       tr("PDFs or pictures to make searchable."), arguments))
        return *status;

    const QStringList paths = parser.positionalArguments();
    if (paths.isEmpty()) {
        Cli::complain(
            tr("Name at least one PDF or picture. Try “quirebook-cli searchable --help”."));
        return Cli::Usage;
    }
    Request request;
    request.skipPagesWithText = !parser.isSet(allPages);
    bool dpiIsNumber = false;
    request.dpi = parser.value(dpi).toInt(&dpiIsNumber);
    // Only the resolution is set so far: it is refused in the words typed.
    if (!dpiIsNumber || request.validate()) {
        Cli::complain(MakeSearchable::resolutionRefusal(parser.value(dpi)));
        return Cli::Usage;
    }
    if (parser.isSet(language)) {
        QStringList codes;
        for (const QString &piece : parser.value(language).split(u'+'))
            if (!piece.trimmed().isEmpty())
                codes << piece.trimmed();
        if (codes.isEmpty()) {
            Cli::complain(tr("Name a language after --language, as a tesseract code such as deu."));
            return Cli::Usage;
        }
        request.languages = codes;
    }
    if (const auto problem = request.validate()) {
        Cli::complain(*problem);
        return Cli::Usage;
    }
    const QString outOption = parser.value(output);
    if (auto status = Cli::checkOutput(outOption, paths.size(),
                                       tr("With several files, -o must name a folder.")))
        return *status;
    if (!sources.readPasswords(parser))
        return Cli::Failed;

    const bool several = paths.size() > 1;
    const auto stats = std::make_shared<Searchable::Stats>();
    Cli::Run run;
    run.destination = Cli::pdfResult(MakeSearchable::suffix(), outOption);
    run.label = [](const PDFFile &file) {
        return MakeSearchable::jobTitle() + u' ' + file.fileName();
    };
    run.work = [request, stats](const PDFFile &file, const QString &to, const Progress &progress,
                                const IsCancelled &isCancelled) {
        return MakeSearchable::run(file, request, to, progress, isCancelled, stats);
    };
    run.summary = [stats, several](const PDFFile &file, const Outcome &) -> std::optional<QString> {
        const QString summary = MakeSearchable::summary(*stats);
        return several ? file.fileName() + QStringLiteral(": ") + summary : summary;
    };
    // A recognition failure still writes the copy (pages from the failing
    // one on carry no text): say where it is.
    run.keepsFailedResult = true;
    return Cli::runEach(sources, paths, run, parser.isSet(Cli::quietOption()));
}

const Cli::Registration registration{
    {QStringLiteral("searchable"),
     QCoreApplication::translate("VerbSearchable", "Make scans searchable with text recognition."),
     searchable}};

} // namespace
