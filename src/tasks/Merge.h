#pragma once

#include "core/Job.h"
#include "core/PDFFile.h"

#include <QList>
#include <QString>

#include <memory>

// The Merge tool: the whole list of files, in order, into one PDF. It has
// nothing to choose but the order and the place, so it takes no request.
namespace Merge {

// The name the merged file is offered under: "Merged" for two files or a
// picture first, else "<first name> merged".
QString suggestedName(const QList<PDFFile> &files);

// Joins the files (PDFs and pictures) in order into one PDF at
// destination, each document's bookmarks after the one before, with the
// first document's title. Throws PDFError.
Outcome run(const QList<PDFFile> &files, const QString &destination, const Progress &progress,
            const IsCancelled &isCancelled);
// The same for documents already opened by their caller for this job alone
// (the command line hands over its intake documents instead of reading
// every file twice).
Outcome run(const QList<std::shared_ptr<const PDFDocument>> &docs, const QString &destination,
            const Progress &progress, const IsCancelled &isCancelled);

QString jobTitle(); // "Merging"

} // namespace Merge
