#include "Cli.h"
#include "Convert.h"
#include "PDFError.h"
#include "PageRanges.h"

#include <QCoreApplication>

#include <algorithm>

namespace {

QString tr(const char *text) { return QCoreApplication::translate("VerbPictures", text); }

int pictures(const QStringList &arguments)
{
    QCommandLineParser parser;
    Cli::Sources sources;
    sources.addOptionsTo(parser);
    const QCommandLineOption format(QStringLiteral("format"),
                                    tr("Picture format: png (the default) or jpeg."),
                                    tr("FORMAT"), QStringLiteral("png"));
    const QCommandLineOption dpi(QStringLiteral("dpi"),
                                 tr("Resolution in dots per inch, 1 to 2400 (default 150)."),
                                 tr("N"), QStringLiteral("150"));
    const QCommandLineOption quality(QStringLiteral("quality"),
                                     tr("JPEG quality, 0 to 100 (default 85)."), tr("Q"),
                                     QStringLiteral("85"));
    const QCommandLineOption pages(QStringLiteral("pages"),
                                   tr("Only these pages, like 1-3, 5, 8- (default all)."),
                                   tr("RANGES"));
    parser.addOptions({format, dpi, quality, pages, Cli::quietOption()});
    if (auto status = Cli::parse(
            parser, QStringLiteral("pictures"),
            tr("Save every page of a PDF as a picture, together in a new folder “<name> "
               "pictures” next to it. The folder's path is printed."),
            tr("The PDF (or picture) to save as pictures."), arguments))
        return *status;

    const QStringList paths = parser.positionalArguments();
    if (paths.size() != 1) {
        Cli::complain(tr("Name one file. Try “quirebook-cli pictures --help”."));
        return Cli::Usage;
    }
    Convert::PictureOptions options;
    const QString formatName = parser.value(format).toLower();
    if (formatName == QLatin1String("png")) {
        options.format = PDFOps::ImageFormat::Png;
    } else if (formatName == QLatin1String("jpeg") || formatName == QLatin1String("jpg")) {
        options.format = PDFOps::ImageFormat::Jpeg;
    } else {
        Cli::complain(tr("“%1” isn't a picture format. Use png or jpeg.").arg(parser.value(format)));
        return Cli::Usage;
    }
    bool ok = false;
    options.dpi = parser.value(dpi).toDouble(&ok);
    if (!ok || !(options.dpi >= 1 && options.dpi <= 2400)) {
        Cli::complain(tr("The resolution must be a number from 1 to 2400."));
        return Cli::Usage;
    }
    const int percent = parser.value(quality).toInt(&ok);
    if (!ok || percent < 0 || percent > 100) {
        Cli::complain(tr("The quality must be a whole number from 0 to 100."));
        return Cli::Usage;
    }
    options.quality = percent / 100.0;
    if (!sources.readPasswords(parser))
        return Cli::Failed;

    const auto file = sources.open(paths.first());
    if (!file)
        return Cli::Failed;
    if (parser.isSet(pages)) {
        const auto parsed = PageRanges::parse(parser.value(pages), file->pageCount());
        if (const auto *failure = std::get_if<PageRanges::Failure>(&parsed)) {
            Cli::complain(failure->message());
            return Cli::Usage;
        }
        for (const auto &group : std::get<PageRanges::Groups>(parsed))
            options.pages += group;
        std::sort(options.pages.begin(), options.pages.end());
        options.pages.erase(std::unique(options.pages.begin(), options.pages.end()),
                            options.pages.end());
    }

    QString folder;
    try {
        folder = Convert::picturesFolder(*file);
    } catch (const PDFError &e) {
        Cli::complain(e.description());
        return Cli::Failed;
    }
    const PDFFile source = *file;
    const auto result = Cli::execute(
        Convert::picturesJobTitle(),
        [source, folder, options](const Progress &progress, const IsCancelled &isCancelled) {
            return Convert::pictures(source, folder, options, progress, isCancelled);
        },
        parser.isSet(QStringLiteral("quiet")));
    return Cli::printResults(result);
}

const Cli::Registration registration{
    {QStringLiteral("pictures"),
     QCoreApplication::translate("VerbPictures", "Save every page as a PNG or JPEG picture."),
     pictures}};

} // namespace
