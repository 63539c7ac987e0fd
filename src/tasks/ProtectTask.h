#pragma once

#include "Job.h"
#include "PDFFile.h"

#include <QString>

#include <optional>

// The Protect tool's two jobs: a copy that asks for a password, and a
// copy that opens without one. The window and quirebook-cli both run these.
namespace Tasks {

struct ProtectChoices {
    QString password;
    // The copy's owner password; the open password serves when there is none.
    std::optional<QString> ownerPassword;
    bool allowPrinting = true;
    bool allowCopying = true;
};

// Writes the protected copy of `file` at `destination`. Throws PDFError
// with the message to show; returns "Saved “<name>”" and its detail.
Outcome protect(const PDFFile &file, const ProtectChoices &choices, const QString &destination,
                const Progress &progress, const IsCancelled &isCancelled);

// Writes a copy of `file` (opened with its password) that opens without
// one at `destination`.
Outcome removePassword(const PDFFile &file, const QString &destination,
                       const Progress &progress, const IsCancelled &isCancelled);

// The same two jobs on a document the caller holds for this job alone.
// quirebook-cli hands over its intake document, which nothing else uses,
// rather than reading the file a second time.
Outcome protect(const PDFDocument &doc, const ProtectChoices &choices,
                const QString &destination);
Outcome removePassword(const PDFDocument &doc, const QString &destination);

} // namespace Tasks
