#pragma once

#include "core/Job.h"
#include "core/PDFFile.h"
#include "engine/Placement.h"

#include <QList>
#include <QString>

#include <optional>

// The Sign & Stamp tool: the stamps placed on a PDF drawn into the pages of
// a new copy beside it. What it is asked, its work, and the texts the window
// and quirebook-cli show.
namespace Sign {

// The screen's widths for a new stamp, in points.
inline constexpr double kSignatureWidth = 150;
inline constexpr double kPictureWidth = 180;
inline constexpr int kPictureMaxPixels = 1600;
inline constexpr double kTextSize = 18;
inline constexpr double kDateSize = 14;
inline constexpr double kLineWidth = 3.2;

struct Request {
    // Taken when the person saves; later edits don't reach a running job.
    QList<Placement> placements;

    // Nothing placed: the message; nothing otherwise.
    std::optional<QString> validate() const;
};

// Draws the placements into a fresh copy of the file's document and writes
// it to destination through the safe write. The outcome: "Saved “<name>”",
// "Signatures are part of the pages, so they show in every PDF viewer."
// Throws PDFError (unreadable, locked, restricted, cancelled, can't write).
Outcome run(const PDFFile &file, const Request &request, const QString &destination,
            const Progress &progress, const IsCancelled &isCancelled);

// Today's date in the person's locale: day, month written out, year.
QString today();

QString suffix();   // "signed"
QString jobTitle(); // "Signing"

} // namespace Sign
