#pragma once

#include <QList>
#include <QString>
#include <QStringList>

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

// A question with two answers: `accept` does what is asked, `keep` (the
// default) leaves everything as it is.
struct Question {
    QString title;
    QString text;
    QString accept;
    QString keep;
};

// Every modal question the program asks goes through this interface: the
// window answers with real dialogs, the command line with what it was
// given, tests with scripted answers.
class Dialogs {
public:
    virtual ~Dialogs() = default;
    // The typed text, or nothing when the person cancelled.
    virtual std::optional<QString> askSecret(const SecretPrompt &prompt) = 0;
    // A save panel for a PDF, proposing base + ".pdf" in folder (or the
    // panel's own default when folder is empty). Nothing when cancelled.
    virtual std::optional<QString> savePDF(const QString &base, const QString &folder) = 0;
    // An open panel for several PDFs (and pictures when asked). Empty when cancelled.
    virtual QStringList openFiles(bool images) = 0;
    // An open panel for one picture.
    virtual std::optional<QString> openImage() = 0;
    // True when the person chose `accept`.
    virtual bool confirm(const Question &question) = 0;
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
    std::optional<QString> savePDF(const QString &base, const QString &folder) override;
    QStringList openFiles(bool images) override;
    std::optional<QString> openImage() override;
    bool confirm(const Question &question) override;

    QList<SecretPrompt> asked;
    // What the questions answer (false once used up), and what was asked.
    QList<bool> confirmAnswers;
    QList<Question> questions;
    // What the panels answer, and what they were shown.
    QList<std::optional<QString>> saveAnswers;
    QList<QStringList> openAnswers;
    QList<std::optional<QString>> imageAnswers;
    QStringList saveProposals; // "folder|base.pdf"

private:
    QList<std::optional<QString>> m_secrets;
};
