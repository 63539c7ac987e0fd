#pragma once

#include "core/Dialogs.h"
#include "core/PDFFile.h"

#include <QString>

#include <optional>

// Where results go: next to the source, named after what was done
// ("a compressed.pdf", "a split"), numbered rather than overwriting. The
// window and quirebook-cli both place results through these.
namespace Output {

// The source's folder when the user may write to it.
std::optional<QString> folder(const PDFFile &file);

// "<name> <suffix>" ("a compressed"), or the source's name alone when the
// suffix is empty.
QString resultName(const PDFFile &file, const QString &suffix);

// "<name> <suffix>.<ext>" beside the source, numbered; nothing when its
// folder can't be written. Creates nothing.
std::optional<QString> besideURL(const PDFFile &file, const QString &suffix, const QString &ext);

// Where a single PDF result goes: besideURL(…, "pdf"), or, when that folder
// can't be written, wherever the save panel says. Nothing when the panel
// was cancelled (or there is none). Creates nothing.
std::optional<QString> pdfURL(const PDFFile &file, const QString &suffix, Dialogs *dialogs);

// A place the person named (quirebook-cli's -o): an existing folder, or a
// path ending in "/", gets "<base>.<ext>" inside it; any other path is the
// file's name as given. Numbered rather than overwriting either way. A
// folder ending in "/" that isn't there yet is made (its parent must
// exist); throws PDFError when that can't be done.
QString chosenURL(const QString &chosen, const QString &base, const QString &ext);

// Creates a new, empty "<name> <suffix>" folder beside the source.
// Throws PDFError when the folder can't be written or created.
QString newFolder(const PDFFile &file, const QString &suffix);

} // namespace Output
