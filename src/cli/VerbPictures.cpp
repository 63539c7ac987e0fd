#include "cli/Cli.h"
#include "tasks/Convert.h"

#include <QCoreApplication>

#include <algorithm>
#include <limits>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("VerbPictures", text);
}

int pictures(const QStringList &arguments)
{
    QCommandLineParser parser;
    Cli::Sources sources;
    sources.addOptionsTo(parser);
    const QCommandLineOption format(QStringLiteral("format"),
                                    tr("Picture format: png (the default) or jpeg."), tr("FORMAT"),
                                    QStringLiteral("png"));
    using Request = Convert::Request;
    const QCommandLineOption dpi(QStringLiteral("dpi"),
                                 tr("Resolution in dots per inch, %1 to %2 (default %3).")
                                     .arg(Request::kMinDpi)
                                     .arg(Request::kMaxDpi)
                                     .arg(Request::kDefaultDpi),
                                 tr("N"), QString::number(Request::kDefaultDpi));
    // A percentage here, where the window's scale is 0 to 1.
    const int defaultPercent = qRound(Request::kDefaultQuality * 100);
    const QCommandLineOption quality(QStringLiteral("quality"),
                                     tr("JPEG quality, 0 to 100 (default %1).").arg(defaultPercent),
                                     tr("Q"), QString::number(defaultPercent));
    const QCommandLineOption pages(QStringLiteral("pages"),
                                   tr("Only these pages, like 1-3, 5, 8- (default all)."),
                                   tr("RANGES"));
    parser.addOptions({format, dpi, quality, pages, Cli::quietOption()});
    if (auto status =
            Cli::parse(parser, QStringLiteral("pictures"),
                       tr("Save every page of a PDF as a picture, together in a new folder “<name> "
                          "pictures” next to it. The folder's path is printed."),
                       tr("The PDF (or picture) to save as pictures."), arguments))
        return *status;

    const QStringList paths = parser.positionalArguments();
    if (paths.size() != 1) {
        Cli::complain(tr("Name one file. Try “quirebook-cli pictures --help”."));
        return Cli::Usage;
    }
    Request request;
    const QString formatName = parser.value(format).toLower();
    if (formatName == QLatin1String("png")) {
        request.format = PDFOps::ImageFormat::Png;
    } else if (formatName == QLatin1String("jpeg") || formatName == QLatin1String("jpg")) {
        request.format = PDFOps::ImageFormat::Jpeg;
    } else {
        Cli::complain(
            tr("“%1” isn't a picture format. Use png or jpeg.").arg(parser.value(format)));
        return Cli::Usage;
    }
    // What isn't a number is refused as out of range.
    const double notANumber = std::numeric_limits<double>::quiet_NaN();
    bool ok = false;
    request.dpi = parser.value(dpi).toDouble(&ok);
    if (!ok)
        request.dpi = notANumber;
    const int percent = parser.value(quality).toInt(&ok);
    request.quality = ok ? percent / 100.0 : notANumber;
    if (const auto problem = request.validate()) {
        Cli::complain(*problem);
        return Cli::Usage;
    }
    if (!sources.readPasswords(parser))
        return Cli::Failed;

    Cli::Run run;
    run.destination =
        Cli::settledBy([](const PDFFile &file) { return Convert::destination(file, {}); });
    run.label = [](const PDFFile &) { return Convert::jobTitle(Convert::Mode::Images); };
    const auto file = Cli::take(sources, paths.first(), run);
    if (!file)
        return Cli::Failed;
    if (parser.isSet(pages)) {
        const auto named = Cli::pagesNamed(parser.value(pages), file->pageCount());
        if (!named)
            return Cli::Usage;
        request.pages = *named;
        std::sort(request.pages.begin(), request.pages.end());
        request.pages.erase(std::unique(request.pages.begin(), request.pages.end()),
                            request.pages.end());
    }
    run.work = [request](const PDFFile &source, const QString &folder, const Progress &progress,
                         const IsCancelled &isCancelled) {
        return Convert::run(source, request, folder, progress, isCancelled);
    };
    return Cli::runOne(*file, run, parser.isSet(QStringLiteral("quiet")));
}

const Cli::Registration registration{
    {QStringLiteral("pictures"),
     QCoreApplication::translate("VerbPictures", "Save every page as a PNG or JPEG picture."),
     pictures}};

} // namespace
