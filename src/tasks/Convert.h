#pragma once

#include "core/Job.h"
#include "core/PDFFile.h"
#include "engine/PDFOpsRender.h"

#include <QList>
#include <QString>

#include <functional>
#include <optional>

// The Convert tool: every page of a PDF as a picture in a new folder, or
// all of its text in one plain-text file. What it is asked, its work, and
// every text the window and quirebook-cli show for it.
namespace Convert {

enum class Mode { Images, Text };
inline constexpr std::array<Mode, 2> kModes{Mode::Images, Mode::Text};
QString label(Mode mode); // "Pictures", "Text"

struct Request {
    static constexpr double kDefaultDpi = 150;
    static constexpr double kMinDpi = 1;
    static constexpr double kMaxDpi = 2400;
    // Picture quality on the 0…1 scale of PDFOps::writeImage (JPEG only).
    static constexpr double kDefaultQuality = 0.85;

    Mode mode = Mode::Images;
    // Pictures only: their format, resolution and quality, and the
    // zero-based pages to save in order (empty for every page).
    PDFOps::ImageFormat format = PDFOps::ImageFormat::Png;
    double dpi = kDefaultDpi;
    double quality = kDefaultQuality;
    QList<int> pages;

    // A resolution or quality out of range (or not a number): the message;
    // nothing otherwise.
    std::optional<QString> validate() const;
};

// Interface thread, before the job: where the request's result goes.
// Pictures: a new "<name> pictures" folder next to the source. Text:
// "<name>.txt" next to it, numbered rather than overwriting. Throws
// PDFError when the folder can't be made or written (noFolderText()).
QString destination(const PDFFile &file, const Request &request);

// The job's work. Pictures: the pages drawn on all cores into the folder,
// each picture written under a hidden temporary name and then given its
// own, so the folder only ever holds complete pictures (also after a cancel
// or a failure; those written stay); "Saved 12 pictures". Text: every
// page's text in page order, pages separated by a form feed, trimmed, as
// UTF-8, streamed to a hidden temporary file that only becomes the
// destination once the text is known to be long enough; “Report.txt” and
// the word count.
Outcome run(const PDFFile &file, const Request &request, const QString &destination,
            const Progress &progress, const IsCancelled &isCancelled);

struct Resolution {
    QString label;
    double dpi;
};
// "Screen (72 dpi)", "Good (150 dpi)" (the first choice), "Print (300 dpi)".
QList<Resolution> resolutions();

QString formatLabel();       // "Format"
QString qualityLabel();      // "Quality"
QString picturesNote();      // "Every page becomes one picture, saved together in a new folder."
QString textNote();          // "Saves all the text in the PDF as a plain text file."
QString savePicturesTitle(); // "Save Pictures"
QString saveTextTitle();     // "Save Text"
QString jobTitle(Mode mode); // "Saving", "Reading"
QString noFolderText();      // "Quirebook can't write next to this file. …"
QString noTextText();        // "There's no text in this PDF — it's probably a scan. …"
QString resolutionRefusal(); // "The resolution must be a number from 1 to 2400."
QString qualityRefusal();    // "The quality must be a whole number from 0 to 100."

// "png" or "jpg".
QString extension(PDFOps::ImageFormat format);
// "Report page 007.png": the page number (1-based) padded with zeros to the
// width of the page count.
QString pictureName(const QString &baseName, int pageNumber, int pageCount,
                    PDFOps::ImageFormat format);

// The two works run() hands a request to.
Outcome pictures(const PDFFile &file, const QString &folder, const Request &request,
                 const Progress &progress, const IsCancelled &isCancelled);
Outcome text(const PDFFile &file, const QString &destination, const Progress &progress,
             const IsCancelled &isCancelled);
// The text as text() saves it, handed to `write` in pieces of UTF-8 as
// the pages are read (quirebook-cli's standard output). Throws
// noTextText() before anything is handed over when there is no real text.
// Returns the number of words.
qint64 extractText(const PDFFile &file, const std::function<void(const QByteArray &)> &write,
                   const Progress &progress, const IsCancelled &isCancelled);

} // namespace Convert
