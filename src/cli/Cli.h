#pragma once

#include "Dialogs.h"

#include <QStringList>
#include <QTextStream>

#include <optional>

// quirebook-cli: one verb per tool action, like git.
namespace Cli {

enum Status { Done = 0, Failed = 1, Usage = 2, Interrupted = 130 };

// Runs the command line (without the program's own name).
int run(const QStringList &arguments);

// Answers intake's password questions from the command line: the given
// password once, or a question on the terminal when none was given.
class CliDialogs : public Dialogs {
public:
    CliDialogs(std::optional<QString> password, std::optional<QString> ownerPassword,
               bool interactive)
        : m_password(std::move(password)), m_owner(std::move(ownerPassword)),
          m_interactive(interactive)
    {
    }
    std::optional<QString> askSecret(const SecretPrompt &prompt) override;

private:
    std::optional<QString> m_password;
    std::optional<QString> m_owner;
    bool m_interactive;
};

} // namespace Cli
