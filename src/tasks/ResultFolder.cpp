#include "tasks/ResultFolder.h"

#include "engine/BestEffort.h"
#include "engine/PDFError.h"
#include "engine/SafeWrite.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("ResultFolder", text);
}

QString savedText(int saved, int total, ResultFolder::Pieces pieces, const QString &folder)
{
    if (saved == 0)
        return tr("Nothing was saved.");
    const QString name = QFileInfo(folder).fileName();
    return (pieces == ResultFolder::Pieces::Files
                ? tr("Saved %1 of %2 files in the folder “%3”.")
                : tr("Saved %1 of %2 pictures in the folder “%3”."))
        .arg(saved)
        .arg(total)
        .arg(name);
}

} // namespace

namespace ResultFolder {

EmptyGuard::~EmptyGuard()
{
    QDir().rmdir(m_folder);
} // only succeeds when empty

void fill(const QString &folder, int total, Pieces pieces,
          const std::function<void(std::atomic<int> &saved)> &fillFolder)
{
    const EmptyGuard guard(folder);
    std::atomic<int> saved{0};
    // The pieces' names reach the disk together, once the last is in place
    // (or the work stops), before anything is reported.
    const auto syncFolder = [&] {
        SafeWrite::syncFolder(folder, tr("Couldn't write %1.").arg(QFileInfo(folder).fileName()));
    };
    try {
        fillFolder(saved);
        syncFolder();
    } catch (const PDFError &error) {
        bestEffort(syncFolder);
        if (error.isCancelled())
            throw;
        throw PDFError::failed(error.description() + u' ' +
                               savedText(saved.load(), total, pieces, folder));
    } catch (...) {
        bestEffort(syncFolder);
        throw;
    }
}

} // namespace ResultFolder
