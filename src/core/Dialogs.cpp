#include "Dialogs.h"

std::optional<QString> ScriptedDialogs::askSecret(const SecretPrompt &prompt)
{
    asked.append(prompt);
    if (m_secrets.isEmpty())
        return std::nullopt;
    return m_secrets.takeFirst();
}
