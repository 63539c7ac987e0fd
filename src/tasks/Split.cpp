#include "tasks/Split.h"

#include "core/Output.h"
#include "engine/PDFError.h"
#include "engine/PDFOps.h"
#include "tasks/ResultFolder.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

namespace {
QString tr(const char *text)
{
    return QCoreApplication::translate("Split", text);
}
QString plural(qsizetype n, const QString &word)
{
    return n == 1 ? word : word + u's';
}
} // namespace

namespace Split {

QString label(Mode mode)
{
    switch (mode) {
    case Mode::Ranges: return tr("By page numbers");
    case Mode::Every: return tr("Every N pages");
    case Mode::Each: return tr("Every page");
    }
    return {};
}

std::optional<QString> Request::validate() const
{
    if (every < kMinEvery)
        return tr("--every takes a whole number of pages, 1 or more.");
    return std::nullopt;
}

PageRanges::Result Request::groups(int pageCount) const
{
    switch (mode) {
    case Mode::Ranges: return PageRanges::parse(ranges, pageCount);
    case Mode::Every: return PDFOps::chunks(pageCount, every);
    case Mode::Each: return PDFOps::chunks(pageCount, 1);
    }
    return PageRanges::Groups{};
}

QString destination(const PDFFile &file)
{
    return Output::newFolder(file, QStringLiteral("split"));
}

QString preview(const PageRanges::Groups &groups)
{
    QStringList labels;
    for (qsizetype i = 0; i < std::min<qsizetype>(6, groups.size()); ++i)
        labels << PageRanges::label(groups[i]);
    QString text =
        tr("This will make %1 %2: ").arg(groups.size()).arg(plural(groups.size(), tr("file"))) +
        labels.join(QStringLiteral(", "));
    if (groups.size() > 6)
        text += QStringLiteral(", …");
    return text;
}

QString everyLabel(int every)
{
    return tr("Every %1 %2").arg(every).arg(plural(every, tr("page")));
}

QString rangesHelp(int pageCount)
{
    return tr("Each part separated by a comma becomes its own file. This PDF has %1 pages.")
        .arg(pageCount);
}

QString rangesPlaceholder()
{
    return tr("For example: 1-3, 5, 8-");
}
QString eachNote()
{
    return tr("One file per page.");
}
QString button()
{
    return tr("Split");
}
QString jobTitle()
{
    return tr("Splitting");
}

QString partName(const QString &baseName, const QList<int> &group)
{
    QString range = PageRanges::label(group);
    range.replace(QChar(0x2013), u'-');
    return baseName + (group.size() == 1 ? tr(" page ") : tr(" pages ")) + range;
}

Outcome run(const PDFFile &file, const PageRanges::Groups &groups, const QString &folder,
            const Progress &progress, const IsCancelled &isCancelled)
{
    const ResultFolder::EmptyGuard guard(folder);
    auto doc = file.fresh();
    if (!doc)
        throw PDFError::notOpened(file.fileName());
    return run(doc, file.name(), groups, folder, progress, isCancelled);
}

Outcome run(const std::shared_ptr<PDFDocument> &doc, const QString &baseName,
            const PageRanges::Groups &groups, const QString &folder, const Progress &progress,
            const IsCancelled &isCancelled)
{
    const ResultFolder::EmptyGuard guard(folder);
    PDFOps::requireRewritable(*doc);
    const int total = int(groups.size());
    // Every part, made on every core and put in place in order.
    ResultFolder::fill(folder, total, ResultFolder::Pieces::Files, [&](std::atomic<int> &saved) {
        const QDir dir(folder);
        PDFOps::split(
            doc, groups,
            [&](int i, const PDFDocument &part) {
                // Made on a worker: named for now as it is meant to be; the
                // name is settled when the part is put in place.
                const QString name = partName(baseName, groups[i]) + QStringLiteral(".pdf");
                // Object streams would make each small part a few per cent
                // smaller for a third more time; the parts come out no bigger
                // than other splitters' without them.
                WriteOptions options;
                options.compact = false;
                return part.writePending(dir.filePath(name), options,
                                         tr("Couldn't write %1.").arg(name));
            },
            [&](int i, SafeWrite::Pending &&file) {
                const QString path = PDFOps::uniqueURL(dir.path(), partName(baseName, groups[i]),
                                                       QStringLiteral("pdf"));
                file.commit(path, SafeWrite::Pending::Folder::SyncLater);
                ++saved;
                if (progress)
                    progress(i + 1, total);
            },
            isCancelled);
    });

    return Outcome{tr("Made %1 %2").arg(total).arg(plural(total, tr("file"))),
                   tr("In the folder “%1”.").arg(QFileInfo(folder).fileName()),
                   {folder}};
}

} // namespace Split
