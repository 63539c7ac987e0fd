#pragma once

#include <QString>

#include <functional>

// Results are never written in place: the whole file goes to a hidden
// ".quirebook-<UUID>.pdf" beside the destination, which is then renamed
// onto it. A crash leaves either the old destination or the new one, and
// the temporary file is removed in every case we live through. While a
// temporary file is being written it is locked, so a later run can tell a
// stale one (left by a killed process) from one still in use.
namespace SafeWrite {

// A fresh temporary path in the destination's folder.
QString temporaryPath(const QString &destination);

// Calls write(temporaryPath); if it throws, the exception goes on (a
// PDFError stays as it is, anything else becomes failed(failureMessage)).
// Then the temporary file replaces the destination. Throws PDFError.
void write(const QString &destination, const std::function<void(const QString &)> &write,
           const QString &failureMessage);

// Removes ".quirebook-" files in the folder that no live process holds.
void removeStale(const QString &folder);

// Removes every temporary file this process is writing; safe to call from
// a signal handler.
void removeAllInProgress() noexcept;

} // namespace SafeWrite
