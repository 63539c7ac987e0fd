#pragma once

// What both programs set up about their own process before anything else.
namespace Process {

// SIGINT, SIGTERM and SIGHUP remove the hidden temporary files of the
// writes in progress, run the last words (if any), and then end the process
// by the signal itself, so whoever started it sees that (a shell's status
// 130 for Ctrl-C, which also stops a loop of commands). A signal that was
// ignored when the process started stays ignored.
void endCleanlyOnSignals();

// Something to put back before such an end (the terminal's echo, say).
// Called from the signal handler: async-signal-safe calls only. Null for
// nothing.
void setLastWords(void (*lastWords)());

// Raises the soft limit of open files to the hard one: merging hundreds of
// PDFs keeps each one open.
void raiseOpenFileLimit();

// Qt's notes on stderr (a damaged ICC profile or JPEG inside a PDF, no
// XDG_RUNTIME_DIR) aren't ours to show: stderr carries the program's own
// sentences only. Call early, before any file is read.
void keepLibrariesQuiet();

} // namespace Process
