#pragma once

#include <QString>

#include <optional>

// The controlling terminal, for questions that must not echo.
namespace Terminal {
bool stdinIsInteractive();
bool stderrIsInteractive();
// Shows the prompt on the terminal and reads a line without echo.
// Nothing when there is no terminal or the input ended.
std::optional<QString> readSecret(const QString &prompt);
} // namespace Terminal
