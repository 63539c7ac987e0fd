#pragma once

#include "core/Job.h"
#include "core/PDFFile.h"
#include "ocr/Searchable.h"

#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

// The Make Searchable tool: what it is asked, its work, its languages, and
// every text the window and quirebook-cli show for it.
namespace MakeSearchable {

struct Request {
    // Pages are read at this resolution; the limits keep a run between
    // unreadably coarse and needlessly slow.
    static constexpr int kDefaultDpi = 200;
    static constexpr int kMinDpi = 72;
    static constexpr int kMaxDpi = 600;

    bool skipPagesWithText = true;
    int dpi = kDefaultDpi;
    std::optional<QStringList> languages; // nothing: English plus the remembered ones

    // A resolution outside the limits, or a chosen language that isn't
    // installed: the message; nothing otherwise.
    std::optional<QString> validate() const;
};

// A searchable copy of the file at `destination` (chosen before the job
// starts, see Output::pdfURL). Outcome: "Saved “<name>”", detail() below,
// the destination. `stats`, when given, receives the numbers. Throws
// PDFError (unreadable, locked, restricted, cancelled, failed with
// "Text recognition failed: …" or validate()'s message).
Outcome run(const PDFFile &file, const Request &request, const QString &destination,
            const Progress &progress, const IsCancelled &isCancelled,
            const std::shared_ptr<Searchable::Stats> &stats = {});

QString explanation(); // "Quirebook reads each scanned page with …"
QString skipToggle();  // "Skip pages that already have text"
QString button();      // "Make Searchable"
QString jobTitle();    // "Reading"
QString suffix();      // "searchable": "Scan searchable.pdf"
// "“<typed>” isn't a resolution Quirebook reads at. …"
QString resolutionRefusal(const QString &typed);

// "Read 3 pages, found 412 words." with " 4 already had text." and the
// nothing-recognised sentence where they apply.
QString detail(const Searchable::Stats &stats);
// For quirebook-cli's stderr: "Read 10 pages, found 3,412 words; skipped 0"
QString summary(const Searchable::Stats &stats);

// Languages: English is always read; the user may add one more (or several)
// of those installed. The choice is remembered for the next run.
QStringList installedLanguages();          // installed codes, English first
QString languageName(const QString &code); // "deu" → "German"
QStringList rememberedLanguages();         // the extra ones chosen last (not "eng")
void rememberLanguages(const QStringList &extra);
// What a run reads when it is given `chosen` ("deu+fra" split into codes),
// or nothing: English plus the remembered ones.
QStringList languagesFor(const std::optional<QStringList> &chosen);
// The message for a code that isn't installed, or nothing when all are.
std::optional<QString> missingLanguage(const QStringList &codes);

} // namespace MakeSearchable
