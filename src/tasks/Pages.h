#pragma once

#include "core/Job.h"
#include "core/PDFFile.h"

#include <QList>
#include <QString>

#include <optional>

// The Pages tool: one PDF rearranged (pages reordered, turned, left out,
// others added) and saved as a new file. The editing lives in PagesModel;
// this is the save, and every text the window and quirebook-cli show.
namespace Pages {

// One page of the result: which file it comes from, which of its pages
// (zero-based) and the degrees it is turned beyond its own rotation.
struct Piece {
    PDFFile file;
    int page = 0;
    int extra = 0;
};

// What a save writes, taken from the model on the interface thread when
// the person confirms; the job builds and writes it.
struct Request {
    QList<Piece> pieces;
    // The document whose title and other information the result takes.
    std::optional<PDFFile> info;

    // No page to save: the message; nothing otherwise.
    std::optional<QString> validate() const;
};

// Opens every file the pieces come from for this job alone, puts the pages
// together in order (no bookmarks) and writes them to destination through
// the safe write. Returns "Saved 12 pages" ("Saved 1 page") with the file's name. Throws
// PDFError ("Couldn't write the file.", the disk-full sentence, a file
// that can't be read or is restricted).
Outcome run(const Request &request, const QString &destination, const Progress &progress,
            const IsCancelled &isCancelled);

// The files whose pages "Add Pages From" offers, in the order given: the
// PDFs other than the one being edited and other than restricted ones.
QList<PDFFile> addable(const QList<PDFFile> &pdfs, const QUuid &edited);

// "<name> edited", or "<name> selection" when only the selection is saved.
QString suggestedName(const PDFFile &file, bool selectionOnly);

QString suffix();           // "edited", as in "<name> edited.pdf"
QString jobTitle();         // "Saving"
QString rotateLeft();       // "Rotate Left"
QString rotateRight();      // "Rotate Right"
QString deleteLabel();      // "Delete"
QString addPagesFrom();     // "Add Pages From"
QString chooseAFile();      // "Choose a File…"
QString undoLabel();        // "Undo"
QString selectAll();        // "Select All"
QString hint();             // "Click pages to select · drag to reorder"
QString saveSelected();     // "Save Selected…"
QString saveACopy();        // "Save a Copy…"
QString bookmarksCaption(); // "Bookmarks inside the file aren't carried over when …"
// "12 pages" ("1 page"), then " · 3 selected" when some are.
QString summary(int pages, int selected);

} // namespace Pages
