#include "engine/internal/PDFOpsRebuild.h"

#include "engine/SafeWrite.h"
#include "engine/internal/Rebuilder.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace PDFOps {

void rebuild(PDFDocument &doc, const QString &destination, const Progress &progress,
             const IsCancelled &isCancelled, const PageHook &hook)
{
    // Refused before any file is made.
    rebuilding::check(doc, QFileInfo(destination).fileName());
    rebuilding::Settings settings;
    settings.hook = hook;
    settings.tighterJpegs = true;
    SafeWrite::write(
        destination,
        [&](SafeWrite::Target &out) {
            rebuilding::buildAndWrite(doc, out, settings, progress, isCancelled);
        },
        QCoreApplication::translate(
            "PDFOps", "Couldn't create the file here. Check that you can write to that folder."));
}

} // namespace PDFOps
