#pragma once

#include "engine/PDFOps.h"

#include <QString>

#include <memory>
#include <optional>

// Adding and removing a password.
namespace PDFOps {

// What a protected copy lets someone do who opens it with the open
// password. The values are the program's own flags (the numbers the
// person's choices add up to); each is written as its standard /P bit.
namespace Permission {
enum : int {
    LowQualityPrinting = 1,
    HighQualityPrinting = 2,
    Changes = 4,
    Assembly = 8,
    Copying = 16,
    Accessibility = 32,
    Commenting = 64,
    FormFilling = 128,
};
} // namespace Permission

// The flags of a protected copy: everything but printing and copying is
// always allowed, so the result is 236, 239 (printing), 252 (copying) or
// 255 (both).
int protectPermissions(bool allowPrinting, bool allowCopying);

// The /P value of the standard security handler for those flags: bits 3
// (print), 4 (modify), 5 (copy), 6 (annotate), 9 (fill forms),
// 10 (accessibility), 11 (assemble) and 12 (high-quality print), with the
// reserved bits set as the format asks.
qint32 standardPermissionBits(int permissions);

// A password as AES-256 (revision 6) expects it before it is turned into
// UTF-8: characters that mean nothing dropped, unusual spaces made plain
// spaces, and the text normalised (NFKC). Readers prepare what the person
// types the same way, so "é" typed as one character or as two opens the file.
QString preparedPassword(const QString &password);

// Writes an encrypted copy of the document at `to` (replacing what is
// there) that asks for `openPassword` when opened: AES-256, revision 6.
// The owner password is `ownerPassword` when given (even empty), else the
// open password, so that a file protected with one password gives full
// rights to whoever knows it. Throws PDFError: the locked text, restricted,
// "Type a password first." or "Couldn't write the protected file.".
void protect(const PDFDocument &doc, const QString &openPassword,
             const std::optional<QString> &ownerPassword, bool allowPrinting, bool allowCopying,
             const QString &to);

// A copy of the whole document (pages, bookmarks, links, forms,
// attachments, info) that opens without a password, held in memory for the
// caller to write. Throws PDFError: the locked text, restricted, or
// "Couldn't write the new file." when the document can't be copied.
std::shared_ptr<PDFDocument> unprotected(const PDFDocument &doc);

} // namespace PDFOps
