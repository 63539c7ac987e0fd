#pragma once

#include "Dialogs.h"
#include "PDFFile.h"

#include <QString>

#include <optional>

// Where results go: next to the source, named after what was done
// ("a compressed.pdf", "a split"), numbered rather than overwriting.
namespace Output {

// The source's folder when the user may write to it.
std::optional<QString> folder(const PDFFile &file);

// Where a single PDF result goes: "<name> <suffix>.pdf" beside the source,
// or, when that folder can't be written, wherever the save panel says.
// Nothing when the panel was cancelled. Creates nothing.
std::optional<QString> pdfURL(const PDFFile &file, const QString &suffix, Dialogs *dialogs);

// Creates a new, empty "<name> <suffix>" folder beside the source.
// Throws PDFError when the folder can't be written or created.
QString newFolder(const PDFFile &file, const QString &suffix);

} // namespace Output
