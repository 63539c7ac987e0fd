#pragma once

#include "core/Dialogs.h"
#include "core/PDFFile.h"

#include <QString>

#include <variant>

// How one file becomes an opened file: a PDF (its password asked for when
// it is locked) or a picture made into a one-page document, told apart by
// extension. The window's workspace and quirebook-cli both take files in
// here, so they refuse the same files with the same sentences.
namespace Intake {

// What a file name is taken for.
enum class FileType { Pdf, Picture, Other };
FileType typeOf(const QString &path);

// Pictures are bounded to this many pixels on their longer side.
constexpr int kPictureMaxPixel = 3200;

// The opened file (with a new id), or the sentence that says why it was
// refused ("“a.txt” isn't a PDF or a picture."). Without dialogs a locked
// PDF stays locked.
std::variant<PDFFile, QString> open(const QString &path, Dialogs *dialogs);

// Asks for the owner password of a restricted file, up to three times.
// Accepted: `file` now holds the reopened document and that password.
// Refused: three passwords didn't lift the restrictions. Cancelled: no
// password was given (or the file can no longer be opened).
enum class Password { Accepted, Refused, Cancelled };
Password liftRestrictions(PDFFile &file, Dialogs *dialogs);

} // namespace Intake
