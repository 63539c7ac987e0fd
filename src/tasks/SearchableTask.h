#pragma once

#include "Job.h"
#include "PDFFile.h"
#include "Searchable.h"

#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

// The Make Searchable tool: its work and every text its screen shows, so
// that the window and quirebook-cli say exactly the same.
namespace Tasks {

QString searchableExplanation(); // "Quirebook reads each scanned page with …"
QString searchableSkipToggle();  // "Skip pages that already have text"
QString searchableButton();      // "Make Searchable"
QString searchableJobTitle();    // "Reading"
QString searchableSuffix();      // "searchable": "Scan searchable.pdf"
constexpr double kSearchableDpi = 200;

// "Read 3 pages, found 412 words." with " 4 already had text." and the
// nothing-recognised sentence where they apply.
QString searchableDetail(const Searchable::Stats &stats);
// For quirebook-cli's stderr: "Read 10 pages, found 3,412 words; skipped 0"
QString searchableSummary(const Searchable::Stats &stats);

// Languages: English is always read; the user may add one more (or several)
// of those installed. The choice is remembered for the next run.
QStringList searchableLanguages();         // installed codes, English first
QString languageName(const QString &code); // "deu" → "German"
QStringList rememberedLanguages();         // the extra ones chosen last (not "eng")
void rememberLanguages(const QStringList &extra);
// What a run reads when it is given `chosen` ("deu+fra" split into codes),
// or nothing: English plus the remembered ones.
QStringList languagesFor(const std::optional<QStringList> &chosen);
// The message for a code that isn't installed, or nothing when all are.
std::optional<QString> missingLanguage(const QStringList &codes);

struct SearchableOptions {
    bool skipPagesWithText = true;
    double dpi = kSearchableDpi;
    std::optional<QStringList> languages; // nothing: English plus the remembered ones
};

// The work: a searchable copy of the file at `destination` (chosen before
// the job starts, see Output::pdfURL). Outcome: "Saved “<name>”", the detail
// above, the destination. `stats`, when given, receives the numbers.
// Throws PDFError (unreadable, locked, restricted, cancelled, failed with
// "Text recognition failed: …").
Outcome makeSearchable(const PDFFile &file, const SearchableOptions &options,
                       const QString &destination, const Progress &progress,
                       const IsCancelled &isCancelled,
                       const std::shared_ptr<Searchable::Stats> &stats = {});

} // namespace Tasks
