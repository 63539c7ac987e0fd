#include "cli/Cli.h"
#include "engine/PDFOps.h"
#include "signing/SignatureStore.h"
#include "signing/Stamps.h"
#include "tasks/Sign.h"
#include "tasks/SignModel.h"

#include <QColor>
#include <QCoreApplication>
#include <QFileInfo>
#include <QHash>
#include <QSet>

#include <cmath>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("VerbSign", text);
}

// One stamp as typed: what it is, then the options that followed it.
struct Stamp {
    QString kind; // the option that started it: "signature", "picture", ...
    QString value;
    QString pages = QStringLiteral("1");
    QString at;
    std::optional<double> width;
    QColor ink;
    QSet<QString> given; // options already bound to it
};

const QStringList &stampKinds()
{
    static const QStringList kinds{QStringLiteral("signature"), QStringLiteral("picture"),
                                   QStringLiteral("signature-photo"), QStringLiteral("text"),
                                   QStringLiteral("date")};
    return kinds;
}

const QStringList &stampOptions()
{
    static const QStringList options{QStringLiteral("page"), QStringLiteral("at"),
                                     QStringLiteral("width"), QStringLiteral("ink")};
    return options;
}

QString placeHelp()
{
    return tr("Use X,Y in points from the lower left of the page, like 360,60, or bottom-left, "
              "bottom-right, top-left, top-right or center.");
}

// The lower-left corner of a stamp of `size` on a page of `page` (both as
// seen); nothing for a malformed place.
std::optional<QPointF> corner(const QString &at, QSizeF size, QSizeF page)
{
    constexpr double margin = 36;
    const double right = page.width() - margin - size.width();
    const double top = page.height() - margin - size.height();
    if (at.isEmpty() || at == QLatin1String("center"))
        return QPointF((page.width() - size.width()) / 2, (page.height() - size.height()) / 2);
    if (at == QLatin1String("bottom-left"))
        return QPointF(margin, margin);
    if (at == QLatin1String("bottom-right"))
        return QPointF(right, margin);
    if (at == QLatin1String("top-left"))
        return QPointF(margin, top);
    if (at == QLatin1String("top-right"))
        return QPointF(right, top);
    const QStringList parts = at.split(u',');
    bool xOk = false, yOk = false;
    const double x = parts.size() == 2 ? parts[0].trimmed().toDouble(&xOk) : 0;
    const double y = parts.size() == 2 ? parts[1].trimmed().toDouble(&yOk) : 0;
    if (!xOk || !yOk || !std::isfinite(x) || !std::isfinite(y))
        return std::nullopt;
    return QPointF(x, y);
}

// The stamps in the order typed, each with the options that follow it;
// nothing after saying why.
std::optional<QList<Stamp>> stampsOf(const QCommandLineParser &parser)
{
    QList<Stamp> stamps;
    QHash<QString, int> used;
    for (const QString &name : parser.optionNames()) {
        const bool starts = stampKinds().contains(name);
        if (!starts && !stampOptions().contains(name))
            continue;
        const QString value =
            name == QLatin1String("date") ? QString() : parser.values(name).value(used[name]++);
        if (starts) {
            stamps.append(Stamp{
                name, value, QStringLiteral("1"), {}, {}, Stamps::inkColors().first().color, {}});
            continue;
        }
        if (stamps.isEmpty()) {
            Cli::complain(tr("--%1 goes after the stamp it applies to, like --text Approved "
                             "--%1 %2.")
                              .arg(name, value));
            return std::nullopt;
        }
        Stamp &stamp = stamps.last();
        if (stamp.given.contains(name)) {
            Cli::complain(tr("--%1 is given twice for one stamp.").arg(name));
            return std::nullopt;
        }
        stamp.given.insert(name);
        if (name == QLatin1String("page")) {
            stamp.pages = value;
        } else if (name == QLatin1String("at")) {
            if (value.trimmed().isEmpty() || !corner(value, {}, {})) {
                Cli::complain(tr("“%1” isn't a place on the page. ").arg(value) + placeHelp());
                return std::nullopt;
            }
            stamp.at = value;
        } else if (name == QLatin1String("width")) {
            bool ok = false;
            const double width = value.toDouble(&ok);
            if (!ok || !std::isfinite(width) || width <= 0) {
                Cli::complain(tr("“%1” isn't a width. Give it in points, a number above 0, like "
                                 "150.")
                                  .arg(value));
                return std::nullopt;
            }
            stamp.width = width;
        } else {
            if (stamp.kind != QLatin1String("signature-photo")) {
                Cli::complain(tr("--ink is for a --signature-photo stamp; put it after one."));
                return std::nullopt;
            }
            QStringList names;
            bool found = false;
            for (const Stamps::Ink &ink : Stamps::inkColors()) {
                names.append(ink.name.toLower());
                if (ink.name.compare(value, Qt::CaseInsensitive) == 0) {
                    stamp.ink = ink.color;
                    found = true;
                }
            }
            if (!found) {
                Cli::complain(tr("“%1” isn't an ink. Use %2.").arg(value, names.join(tr(" or "))));
                return std::nullopt;
            }
        }
    }
    return stamps;
}

// A stamp's picture and its width by default; the status to end with
// after saying why.
std::variant<std::pair<QImage, double>, int> pictureOf(const Stamp &stamp)
{
    const QColor black = Stamps::inkColors().first().color;
    const auto natural = [](const std::optional<QImage> &image) {
        return image ? image->width() / Stamps::kPixelsPerPoint : 0;
    };
    if (stamp.kind == QLatin1String("signature")) {
        const QList<SignatureStore::Saved> saved = SignatureStore::shared().list();
        bool ok = false;
        const int number = stamp.value.toInt(&ok);
        if (ok && number >= 1 && number <= saved.size())
            return std::pair{saved[number - 1].image, Sign::kSignatureWidth};
        if (saved.isEmpty())
            Cli::complain(tr("There are no saved signatures yet. Save one in Sign & Stamp first."));
        else if (saved.size() == 1)
            Cli::complain(
                tr("There's no saved signature “%1”; the only one is number 1.").arg(stamp.value));
        else
            Cli::complain(tr("There's no saved signature “%1”; they are numbered 1 to %2.")
                              .arg(stamp.value)
                              .arg(saved.size()));
        return Cli::Usage;
    }
    if (stamp.kind == QLatin1String("text") || stamp.kind == QLatin1String("date")) {
        const bool date = stamp.kind == QLatin1String("date");
        const auto image = Stamps::text(date ? Sign::today() : stamp.value,
                                        date ? Sign::kDateSize : Sign::kTextSize, black, false);
        if (!image) {
            Cli::complain(tr("--text needs something to write."));
            return Cli::Usage;
        }
        return std::pair{*image, natural(image)};
    }
    const auto image = PDFOps::loadImage(stamp.value, Sign::kPictureMaxPixels);
    if (!image) {
        Cli::complain(
            tr("“%1” couldn't be read as a picture.").arg(QFileInfo(stamp.value).fileName()));
        return Cli::Failed;
    }
    if (stamp.kind == QLatin1String("picture"))
        return std::pair{*image, Sign::kPictureWidth};
    const auto ink = Stamps::signatureFromPhoto(*image, stamp.ink);
    if (!ink) {
        Cli::complain(tr("Couldn't find any ink in that picture."));
        return Cli::Failed;
    }
    return std::pair{*ink, Sign::kSignatureWidth};
}

int sign(const QStringList &arguments)
{
    QCommandLineParser parser;
    Cli::Sources sources;
    sources.addOptionsTo(parser);
    const QList<QCommandLineOption> stampOptions{
        {QStringLiteral("signature"),
         tr("Place a saved signature: its number in the window's list, from 1."), tr("N")},
        {QStringLiteral("picture"), tr("Place a picture as it is (180 points wide)."), tr("IMG")},
        {QStringLiteral("signature-photo"),
         tr("Place the signature in a photo of it on paper, the paper taken away."), tr("IMG")},
        {QStringLiteral("ink"), tr("The ink of the --signature-photo before it: black or blue."),
         tr("INK")},
        {QStringLiteral("text"), tr("Place a line of text."), tr("TEXT")},
        {QStringLiteral("date"), tr("Place today's date.")},
        {QStringLiteral("page"),
         tr("The pages of the stamp before it, like 2 or 1- (every page). Default: 1."),
         tr("PAGES")},
        {QStringLiteral("at"),
         tr("Where the stamp before it goes: its lower-left corner X,Y in points from the lower "
            "left of the page as seen, or bottom-left, bottom-right, top-left, top-right (36 "
            "points from the edges) or center (the default)."),
         tr("PLACE")},
        {QStringLiteral("width"),
         tr("The width of the stamp before it, in points (signatures 150, pictures 180, text as "
            "written)."),
         tr("PT")},
    };
    const QCommandLineOption output = Cli::outputOption(
        tr("Write the result here instead of next to the source (a file or a folder). Nothing is "
           "overwritten: a number is added."),
        tr("OUT"));
    const QCommandLineOption quiet = Cli::quietOption();
    parser.addOptions(stampOptions);
    parser.addOptions({output, quiet});
    if (auto status = Cli::parse(
            parser, QStringLiteral("sign"),
            tr("Draw signatures, pictures, text and the date into the pages of a PDF and save it "
               "as \"<name> signed.pdf\" beside FILE. Each stamp starts with --signature, "
               "--picture, --signature-photo, --text or --date; the --page, --at, --width and "
               "--ink that follow it apply to it."),
            tr("The PDF to sign."), arguments))
        return *status;
    if (parser.positionalArguments().size() != 1) {
        Cli::complain(tr("Name one PDF. Try “quirebook-cli sign --help”."));
        return Cli::Usage;
    }
    const auto stamps = stampsOf(parser);
    if (!stamps)
        return Cli::Usage;
    if (stamps->isEmpty()) {
        Cli::complain(tr("Say what to place with --signature, --picture, --signature-photo, "
                         "--text or --date. Try “quirebook-cli sign --help”."));
        return Cli::Usage;
    }
    if (!sources.readPasswords(parser))
        return Cli::Failed;

    Cli::Run run;
    run.refuse = Cli::pdfsOnly(QStringLiteral("sign"));
    const auto file = Cli::take(sources, parser.positionalArguments().first(), run);
    if (!file)
        return Cli::Failed;

    // Only the page boxes are read: nothing is drawn before the work.
    SignModel model;
    for (const Stamp &stamp : *stamps) {
        const auto pages = Cli::pagesNamed(stamp.pages, file->pageCount());
        if (!pages)
            return Cli::Usage;
        const auto picture = pictureOf(stamp);
        if (const int *status = std::get_if<int>(&picture))
            return *status;
        const auto &[image, defaultWidth] = std::get<std::pair<QImage, double>>(picture);
        const double width = stamp.width.value_or(defaultWidth);
        const QSizeF size(width, width * image.height() / std::max(1, image.width()));
        QSet<int> placed;
        for (const int page : *pages) {
            const auto geometry = file->doc->page(page);
            if (!geometry || placed.contains(page))
                continue;
            placed.insert(page);
            const QSizeF seen = SignModel::seenSize(geometry->cropBox.size(), geometry->rotation);
            model.place(image, page, QRectF(*corner(stamp.at, size, seen), size));
        }
    }
    Sign::Request request{model.placements()};
    if (const auto problem = request.validate()) {
        Cli::complain(*problem);
        return Cli::Usage;
    }

    run.destination = Cli::pdfResult(Sign::suffix(), parser.value(output));
    run.label = [](const PDFFile &) { return Sign::jobTitle(); };
    run.work = [request](const PDFFile &source, const QString &to, const Progress &progress,
                         const IsCancelled &isCancelled) {
        return Sign::run(source, request, to, progress, isCancelled);
    };
    run.summary = [](const PDFFile &, const Outcome &outcome) -> std::optional<QString> {
        return outcome.detail.isEmpty() ? outcome.title
                                        : outcome.title + QStringLiteral(" · ") + outcome.detail;
    };
    return Cli::runOne(*file, run, parser.isSet(quiet));
}

const Cli::Registration registration{
    {QStringLiteral("sign"),
     QCoreApplication::translate("VerbSign",
                                 "Put signatures, pictures, text and the date onto PDF pages."),
     sign}};

} // namespace
