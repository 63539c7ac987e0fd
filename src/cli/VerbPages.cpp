#include "cli/Cli.h"
#include "tasks/Pages.h"
#include "tasks/PagesModel.h"

#include <QCoreApplication>
#include <QSet>

#include <algorithm>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("VerbPages", text);
}

struct Turn {
    int degrees = 0;
    QString ranges;
};

// "90:1-3" → 90 and "1-3"; nothing after saying why.
std::optional<Turn> turn(const QString &value)
{
    const qsizetype colon = value.indexOf(u':');
    bool numberOk = false;
    const int degrees = colon > 0 ? value.left(colon).trimmed().toInt(&numberOk) : 0;
    if (!numberOk) {
        Cli::complain(tr("“%1” isn't a turn. Use DEGREES:PAGES, like 90:1-3 or -90:5.").arg(value));
        return std::nullopt;
    }
    if (degrees % 90 != 0) {
        Cli::complain(tr("Pages turn in quarter turns: %1 isn't a multiple of 90.").arg(degrees));
        return std::nullopt;
    }
    return Turn{degrees, value.mid(colon + 1)};
}

// The ids of the pages the ranges name, in the order named (numbering as
// the pages came in); nothing after saying why.
std::optional<QList<QUuid>> named(const QString &ranges, const QList<QUuid> &pages)
{
    const auto numbers = Cli::pagesNamed(ranges, int(pages.size()));
    if (!numbers)
        return std::nullopt;
    QList<QUuid> ids;
    for (const int page : *numbers)
        ids.append(pages.at(page));
    return ids;
}

int pages(const QStringList &arguments)
{
    QCommandLineParser parser;
    Cli::Sources sources;
    sources.addOptionsTo(parser);
    const QCommandLineOption order(
        QStringLiteral("order"),
        tr("Keep only these pages, in this order, like \"5-, 1-4\" (pages not named are left "
           "out)."),
        tr("RANGES"));
    const QCommandLineOption remove(QStringLiteral("delete"), tr("Leave these pages out."),
                                    tr("RANGES"));
    const QCommandLineOption rotate(
        QStringLiteral("rotate"),
        tr("Turn these pages clockwise by DEGREES, a multiple of 90 (negative turns left), like "
           "90:1-3. May be repeated."),
        tr("DEGREES:RANGES"));
    const QCommandLineOption append(
        QStringLiteral("append"),
        tr("Add the pages of this PDF at the end; they are numbered after FILE's. May be "
           "repeated."),
        tr("PDF"));
    const QCommandLineOption output = Cli::outputOption(
        tr("Write the result here instead of next to the source (a file or a folder). Nothing is "
           "overwritten: a number is added."),
        tr("OUT"));
    const QCommandLineOption quiet = Cli::quietOption();
    parser.addOptions({order, remove, rotate, append, output, quiet});
    if (auto status = Cli::parse(
            parser, QStringLiteral("pages"),
            tr("Reorder, turn, leave out and add pages, and save the result as "
               "\"<name> edited.pdf\" beside FILE. Pages are numbered as in FILE, then the "
               "--append PDFs' pages in turn; every option uses those numbers. --order is "
               "applied first, then --delete, then --rotate. Bookmarks aren't carried over."),
            tr("The PDF to change."), arguments))
        return *status;
    if (parser.positionalArguments().size() != 1) {
        Cli::complain(tr("Name one PDF. Try “quirebook-cli pages --help”."));
        return Cli::Usage;
    }
    if (!parser.isSet(order) && !parser.isSet(remove) && !parser.isSet(rotate) &&
        !parser.isSet(append)) {
        Cli::complain(tr("Say what to change with --order, --delete, --rotate or --append. "
                         "Try “quirebook-cli pages --help”."));
        return Cli::Usage;
    }
    QList<Turn> turns;
    for (const QString &value : parser.values(rotate)) {
        const auto parsed = turn(value);
        if (!parsed)
            return Cli::Usage;
        turns.append(*parsed);
    }
    if (!sources.readPasswords(parser))
        return Cli::Failed;

    Cli::Run run;
    run.refuse = Cli::pdfsOnly(QStringLiteral("pages"));
    const auto file = Cli::take(sources, parser.positionalArguments().first(), run);
    if (!file)
        return Cli::Failed;
    PagesModel model;
    model.load(*file);
    for (const QString &path : parser.values(append)) {
        const auto added = Cli::take(sources, path, run);
        if (!added)
            return Cli::Failed;
        model.append(*added);
    }

    // Every number means a page as the files came in, so all of them are
    // turned into ids before anything moves.
    QList<QUuid> numbering;
    for (const PagesModel::Item &item : model.items())
        numbering.append(item.id);
    std::optional<QList<QUuid>> kept;
    if (parser.isSet(order)) {
        kept = named(parser.value(order), numbering);
        if (!kept)
            return Cli::Usage;
        QSet<QUuid> seen;
        for (const QUuid &id : *kept) {
            if (seen.contains(id)) {
                Cli::complain(tr("Page %1 is named twice in --order; each page can be there once.")
                                  .arg(numbering.indexOf(id) + 1));
                return Cli::Usage;
            }
            seen.insert(id);
        }
    }
    QSet<QUuid> dropped;
    if (parser.isSet(remove)) {
        const auto ids = named(parser.value(remove), numbering);
        if (!ids)
            return Cli::Usage;
        dropped = QSet<QUuid>(ids->cbegin(), ids->cend());
    }
    QList<std::pair<QSet<QUuid>, int>> turned;
    for (const Turn &t : turns) {
        const auto ids = named(t.ranges, numbering);
        if (!ids)
            return Cli::Usage;
        turned.append({QSet<QUuid>(ids->cbegin(), ids->cend()), t.degrees});
    }
    const QList<QUuid> &left = kept ? *kept : numbering;
    if (std::all_of(left.cbegin(), left.cend(),
                    [&](const QUuid &id) { return dropped.contains(id); })) {
        Cli::complain(tr("That would leave no pages. Keep at least one."));
        return Cli::Usage;
    }

    if (kept)
        model.arrange(*kept);
    // Only pages still there count: the model refuses a set as large as the list.
    dropped.removeIf([&](const QUuid &id) { return model.indexOf(id) < 0; });
    if (!dropped.isEmpty())
        model.remove(dropped);
    for (auto [ids, degrees] : turned) {
        // Pages already left out have nothing to turn.
        ids.removeIf([&](const QUuid &id) { return model.indexOf(id) < 0; });
        if (degrees % 360 != 0)
            model.rotate(ids, degrees);
    }
    const Pages::Request request = model.build(*file, std::nullopt);
    if (const auto problem = request.validate()) {
        Cli::complain(*problem);
        return Cli::Usage;
    }

    run.destination = Cli::pdfResult(Pages::suffix(), parser.value(output));
    run.label = [](const PDFFile &) { return Pages::jobTitle(); };
    run.work = [request](const PDFFile &, const QString &to, const Progress &progress,
                         const IsCancelled &isCancelled) {
        return Pages::run(request, to, progress, isCancelled);
    };
    run.summary = [](const PDFFile &, const Outcome &outcome) -> std::optional<QString> {
        return outcome.detail.isEmpty() ? outcome.title
                                        : outcome.title + QStringLiteral(" · ") + outcome.detail;
    };
    return Cli::runOne(*file, run, parser.isSet(quiet));
}

const Cli::Registration registration{
    {QStringLiteral("pages"),
     QCoreApplication::translate("VerbPages", "Reorder, turn, delete and add pages of a PDF."),
     pages}};

} // namespace
