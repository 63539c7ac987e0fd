#pragma once

#include <QList>
#include <QString>

#include <optional>

// A modal question for a password (masked entry).
struct SecretPrompt {
    enum class Purpose { OpenPassword, OwnerPassword };
    Purpose purpose = Purpose::OpenPassword;
    QString fileName;    // last path component, shown in the text
    int attempt = 1;     // 1 to 3
    QString message;     // the alert's bold line
    QString informative; // the sentence below it
    QString acceptTitle; // "Open" or "OK"
};

// Every modal question the program asks goes through this interface: the
// window answers with real dialogs, the command line with what it was
// given, tests with scripted answers.
class Dialogs {
public:
    virtual ~Dialogs() = default;
    // The typed text, or nothing when the person cancelled.
    virtual std::optional<QString> askSecret(const SecretPrompt &prompt) = 0;
};

// Answers from a list, in order; once the list is used up, every further
// question is cancelled. Remembers what it was asked.
class ScriptedDialogs : public Dialogs {
public:
    explicit ScriptedDialogs(QList<std::optional<QString>> secrets = {})
        : m_secrets(std::move(secrets))
    {
    }
    std::optional<QString> askSecret(const SecretPrompt &prompt) override;

    QList<SecretPrompt> asked;

private:
    QList<std::optional<QString>> m_secrets;
};
