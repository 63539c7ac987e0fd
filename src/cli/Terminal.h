#pragma once

#include <QString>

#include <optional>

// The controlling terminal: questions that must not echo, and the one-line
// progress bar on stderr.
namespace Terminal {
bool stdinIsInteractive();
bool stderrIsInteractive();
// Shows the prompt on the terminal and reads a line without echo.
// Nothing when there is no terminal or the input ended.
std::optional<QString> readSecret(const QString &prompt);

// Redraws the progress line on stderr: "<label> [####    ] 3/10", or
// "<label>…" while the total isn't known. It always fits the terminal's
// width (a long label loses its middle), so it never wraps.
void drawProgress(const QString &label, int done, int total);
// Ends the progress line, if one is drawn, so the next text starts afresh.
void endProgress();

// What the terminal needs when a signal ends the process: its echo back,
// and the cursor off the progress line. Async-signal-safe.
void putBack();

} // namespace Terminal
