#pragma once

#include "Job.h"
#include "PDFFile.h"

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QString>

#include <optional>

// What `protect` and `unlock` share: where the result goes, and how it is
// reported.
namespace ProtectCli {

// The -o option: a folder to put results in, or a file name.
QCommandLineOption outputOption();

// Where the result for `file` goes: "<name> <suffix>.pdf" next to it, or
// in the -o folder, or the -o file (numbered if it exists: never
// overwrite). Nothing, after saying why, when the source's folder can't
// be written and no -o was given.
std::optional<QString> destination(const PDFFile &file, const QString &suffix,
                                   const QString &output);

// Checks -o against the number of sources: several results need a folder.
// Returns the usage status after saying why, or nothing.
std::optional<int> checkOutput(const QString &output, qsizetype sourceCount, const QString &verb);

// Runs the work and prints the result's path on stdout (and the outcome on
// stderr when it is a terminal and not quiet). Returns the exit status.
int runAndReport(const QString &label, const Work &work, bool quiet);

// The first line of a file (a password file), without its line break.
std::optional<QString> firstLine(const QString &path);

} // namespace ProtectCli
