#include "Split.h"

#include "PDFError.h"
#include "PDFOps.h"
#include "SafeWrite.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

namespace {
QString tr(const char *text) { return QCoreApplication::translate("Split", text); }
QString plural(qsizetype n, const QString &word) { return n == 1 ? word : word + u's'; }
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

PageRanges::Result groups(Mode mode, const QString &rangeText, int every, int pageCount)
{
    switch (mode) {
    case Mode::Ranges: return PageRanges::parse(rangeText, pageCount);
    case Mode::Every: return PDFOps::chunks(pageCount, every);
    case Mode::Each: return PDFOps::chunks(pageCount, 1);
    }
    return PageRanges::Groups{};
}

QString preview(const PageRanges::Groups &groups)
{
    QStringList labels;
    for (qsizetype i = 0; i < std::min<qsizetype>(6, groups.size()); ++i)
        labels << PageRanges::label(groups[i]);
    QString text = tr("This will make %1 %2: ").arg(groups.size()).arg(plural(groups.size(), tr("file")))
                 + labels.join(QStringLiteral(", "));
    if (groups.size() > 6)
        text += QStringLiteral(", …");
    return text;
}

QString everyLabel(int every) { return tr("Every %1 %2").arg(every).arg(plural(every, tr("page"))); }

QString rangesHelp(int pageCount)
{
    return tr("Each part separated by a comma becomes its own file. This PDF has %1 pages.").arg(pageCount);
}

QString partName(const QString &baseName, const QList<int> &group)
{
    QString range = PageRanges::label(group);
    range.replace(QChar(0x2013), u'-');
    return baseName + (group.size() == 1 ? tr(" page ") : tr(" pages ")) + range;
}

} // namespace Split

namespace Tasks {

Outcome split(const PDFFile &file, const PageRanges::Groups &groups, const QString &folder,
              const Progress &progress, const IsCancelled &isCancelled)
{
    auto doc = file.fresh();
    if (!doc) {
        QDir().rmdir(folder);
        throw PDFError::unreadable(file.fileName());
    }
    return splitDocument(doc, file.name(), groups, folder, progress, isCancelled);
}

Outcome splitDocument(const std::shared_ptr<const PDFDocument> &doc, const QString &baseName,
                      const PageRanges::Groups &groups, const QString &folder,
                      const Progress &progress, const IsCancelled &isCancelled)
{
    // An empty result folder is of no use to anyone; parts already made stay.
    struct FolderGuard {
        QString path;
        ~FolderGuard() { QDir().rmdir(path); } // only succeeds when empty
    } guard{folder};

    PDFOps::requireRewritable(*doc);

    const int total = int(groups.size());
    PDFOps::split(
        doc, groups,
        [&](int i, PDFDocument &part) {
            const QString name = Split::partName(baseName, groups[i]);
            const QString path = PDFOps::uniqueURL(folder, name, QStringLiteral("pdf"));
            const QString failure = tr("Couldn't write %1.").arg(QFileInfo(path).fileName());
            SafeWrite::write(
                path,
                [&](const QString &temporary) {
                    try {
                        part.write(temporary);
                    } catch (...) {
                        throw PDFError::failed(failure);
                    }
                },
                failure);
            if (progress)
                progress(i + 1, total);
        },
        isCancelled);

    return Outcome{tr("Made %1 %2").arg(total).arg(plural(total, tr("file"))),
                   tr("In the folder “%1”.").arg(QFileInfo(folder).fileName()),
                   {folder}};
}

} // namespace Tasks
