#pragma once

#include "engine/PDFDocument.h"
#include "engine/Progress.h"

#include <QImage>
#include <QList>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

// Stateless operations on documents. Each family lives in its own file
// (PDFOpsPictures.cpp, ...).
namespace PDFOps {

// Reads a picture file upright (its orientation applied) with its longer
// side at most maxPixel. Nothing for files that aren't pictures.
std::optional<QImage> loadImage(const QString &path, int maxPixel);

// A one-page document showing the picture, its longer side 842 points.
// Nothing for an empty picture.
std::shared_ptr<PDFDocument> page(const QImage &image);

// The page size a picture of this many pixels gets.
QSizeF picturePageSize(QSize pixels);

// True when the document is opened with limited rights that the program
// must respect: encrypted, unlocked, without owner rights, and copying,
// assembly or changes forbidden.
bool isRestricted(const PDFDocument &doc);

// Throws the message every rewriting tool gives for a document that is
// still locked, or restricted by its owner.
void requireRewritable(const PDFDocument &doc);

// The first free name in the folder: "name.ext", then "name 2.ext",
// "name 3.ext", ... (no extension when ext is empty). Creates nothing.
QString uniqueURL(const QString &folder, const QString &name, const QString &ext,
                  const std::function<void(const QString &taken)> &onTaken = {});

// Progress of a page loop (pages done, pages in all) and its cancel test.

// A new document holding copies of the listed pages (zero-based, any
// order, repeats allowed; indexes out of range are skipped). Each copy
// keeps its content, boxes, rotation, annotations and links; links and
// bookmarks lead to the first copy of their page, and those whose page was
// left out are dropped. Title, author, subject and keywords come along.
std::shared_ptr<PDFDocument> copyDocument(const std::shared_ptr<const PDFDocument> &doc,
                                          const QList<int> &pages);
std::shared_ptr<PDFDocument> extract(const std::shared_ptr<const PDFDocument> &doc,
                                     const QList<int> &pages);

// All pages of the documents in order, each document's bookmarks after the
// one before. No document info. Reports each page copied; the cancel test
// is asked before each document and every few dozen pages (throws
// PDFError::cancelled).
std::shared_ptr<PDFDocument> merge(const QList<std::shared_ptr<const PDFDocument>> &docs,
                                   const Progress &progress = {},
                                   const IsCancelled &isCancelled = {});

// One page of some document, turned by a further number of degrees.
struct AssemblyItem {
    std::shared_ptr<const PDFDocument> doc;
    int page = 0;
    int extraRotation = 0;
};
// The pages in order, each with its rotation plus the extra; no bookmarks.
// Info (title, author, subject, keywords) from `info` when given.
std::shared_ptr<PDFDocument> assemble(const QList<AssemblyItem> &items,
                                      const std::shared_ptr<const PDFDocument> &info = {});

// One new document per group, as copyDocument makes them. Parts are made on
// up to `workers` threads (all cores when 0), each working from its own
// reading of the source, and written there by writePart(index, part) under
// a hidden name; keepPart(index, file) then puts them in place on the
// calling thread, in order, while the next ones are made. Workers stay a
// few parts ahead at most, so memory stays flat. The cancel test is asked
// while waiting for each part (throws PDFError::cancelled); parts made but
// not kept leave nothing behind. The other readings are kept with `doc`
// and freed with it: freeing a big one takes a while, which the parts
// needn't wait for.
void split(const std::shared_ptr<PDFDocument> &doc, const QList<QList<int>> &groups,
           const std::function<SafeWrite::Pending(int, const PDFDocument &)> &writePart,
           const std::function<void(int, SafeWrite::Pending &&)> &keepPart,
           const IsCancelled &isCancelled = {}, int workers = 0);

// 0..pageCount-1 cut into runs of `every`; empty when either is below 1.
QList<QList<int>> chunks(int pageCount, int every);

// Title, author, subject and keywords of `from` become the whole info of
// `to`; nothing happens when `from` has none of them.
void copyInfo(const PDFDocument &from, PDFDocument &to);

} // namespace PDFOps
