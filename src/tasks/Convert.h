#pragma once

#include "Job.h"
#include "PDFFile.h"
#include "PDFOpsRender.h"

#include <QList>
#include <QString>

// The Convert tool: every page of a PDF as a picture in a new folder, or
// all of its text in one plain-text file. The screen and quirebook-cli
// both work through these functions and show these texts.
namespace Convert {

enum class Mode { Images, Text };
inline constexpr std::array<Mode, 2> kModes{Mode::Images, Mode::Text};
QString label(Mode mode); // "Pictures", "Text"

struct Resolution {
    QString label;
    double dpi;
};
// "Screen (72 dpi)", "Good (150 dpi)" (the first choice), "Print (300 dpi)".
QList<Resolution> resolutions();
inline constexpr double kDefaultDpi = 150;
// Picture quality, on the 0…1 scale of PDFOps::writeImage (JPEG only).
inline constexpr double kQuality = 0.85;

// The screen's texts.
QString formatLabel();      // "Format"
QString qualityLabel();     // "Quality"
QString picturesNote();     // "Every page becomes one picture, saved together in a new folder."
QString textNote();         // "Saves all the text in the PDF as a plain text file."
QString savePicturesTitle(); // "Save Pictures"
QString saveTextTitle();    // "Save Text"
QString picturesJobTitle(); // "Saving"
QString textJobTitle();     // "Reading"
QString noFolderText();     // "Quirebook can't write next to this file. …"
QString noTextText();       // "There's no text in this PDF — it's probably a scan. …"

// "png" or "jpg".
QString extension(PDFOps::ImageFormat format);
// "Report page 007.png": the page number (1-based) padded with zeros to the
// width of the page count.
QString pictureName(const QString &baseName, int pageNumber, int pageCount,
                    PDFOps::ImageFormat format);

struct PictureOptions {
    PDFOps::ImageFormat format = PDFOps::ImageFormat::Png;
    double dpi = kDefaultDpi;
    double quality = kQuality;
    // Zero-based pages to save, in order; empty for every page.
    QList<int> pages;
};

// Interface thread, before the job: the new "<name> pictures" folder next
// to the source. Throws PDFError when it can't be made.
QString picturesFolder(const PDFFile &file);

// The job's work: draws the pages on all cores into `folder`, each picture
// written under a hidden temporary name and then given its own, so the
// folder only ever holds complete pictures (also after a cancel or a
// failure; those written stay). Outcome "Saved 12 pictures".
Outcome pictures(const PDFFile &file, const QString &folder, const PictureOptions &options,
                 const Progress &progress, const IsCancelled &isCancelled);

// Interface thread, before the job: "<name>.txt" next to the source,
// numbered rather than overwriting. Throws PDFError::failed(noFolderText())
// when the source's folder can't be written.
QString textDestination(const PDFFile &file);
// For a place the person chose: a folder gets "<name>.txt" inside, a file
// name is taken as it is; either is numbered rather than overwriting.
QString textDestination(const PDFFile &file, const QString &chosen);

// The job's work: the text of every page in page order, pages separated by
// a form feed, trimmed, as UTF-8. Streamed to a hidden temporary file that
// only becomes the destination once the text is known to be long enough.
// Outcome “Report.txt” and the word count.
Outcome text(const PDFFile &file, const QString &destination, const Progress &progress,
             const IsCancelled &isCancelled);

} // namespace Convert
