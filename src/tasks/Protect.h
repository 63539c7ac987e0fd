#pragma once

#include "core/Job.h"
#include "core/PDFFile.h"

#include <QList>
#include <QString>

#include <optional>

// The Password tool: a copy that asks for a password, or a copy that opens
// without one. What it is asked, its work, and every text the window and
// quirebook-cli show for it.
namespace Protect {

enum class Mode { Add, Remove };
QList<Mode> modes();      // in the picker's order
QString label(Mode mode); // "Add a password", "Remove the password"

struct Request {
    Mode mode = Mode::Add;
    // Add: the copy's open password, and its owner password (the open
    // password serves when there is none).
    QString password;
    std::optional<QString> ownerPassword;
    bool allowPrinting = true;
    bool allowCopying = true;

    // "Type a password first." when adding without one; nothing otherwise.
    std::optional<QString> validate() const;
};

// Writes the copy of `file` the request asks for at `destination` (chosen
// before the job starts, see Output::pdfURL). Throws PDFError with the
// message to show; returns "Saved “<name>”" and its detail. Neither
// progress nor cancellation: one write, done in one go.
Outcome run(const PDFFile &file, const Request &request, const QString &destination,
            const Progress &progress, const IsCancelled &isCancelled);
// The same on a document the caller holds for this job alone: quirebook-cli
// hands over its intake document rather than reading the file again.
Outcome run(const PDFDocument &doc, const Request &request, const QString &destination);

// What remove mode offers for a file.
enum class RemoveView {
    NoPassword, // only the info banner
    Offer,      // the explanation and the "Remove Password" button
};
RemoveView removeView(const PDFFile &file);

// "The two passwords are different." once both hold something and they
// differ; nothing otherwise.
std::optional<QString> mismatch(const QString &password, const QString &again);

// Overwrites the characters of a password before letting go of them.
void wipe(QString &text);

QString passwordLabel(); // "Password"
QString repeatLabel();   // "Type it again"
QString printingLabel();
QString copyingLabel();
QString note();
QString mismatchText();
QString protectButton();
QString removeButton();
QString noPasswordBanner(); // "This file has no password."
QString noPasswordSymbol(); // "info.circle.fill", shown in blue
QString removeExplanation();
QString jobTitle(Mode mode); // "Protecting", "Removing password"
QString suffix(Mode mode);   // "protected", "unlocked": "<name> protected.pdf"

} // namespace Protect
