#include "core/Dialogs.h"

std::optional<QString> ScriptedDialogs::askSecret(const SecretPrompt &prompt)
{
    asked.append(prompt);
    if (m_secrets.isEmpty())
        return std::nullopt;
    return m_secrets.takeFirst();
}

std::optional<QString> ScriptedDialogs::savePDF(const QString &base, const QString &folder)
{
    saveProposals.append(folder + u'|' + base + QStringLiteral(".pdf"));
    return saveAnswers.isEmpty() ? std::nullopt : saveAnswers.takeFirst();
}

QStringList ScriptedDialogs::openFiles(bool)
{
    return openAnswers.isEmpty() ? QStringList() : openAnswers.takeFirst();
}

std::optional<QString> ScriptedDialogs::openImage()
{
    return imageAnswers.isEmpty() ? std::nullopt : imageAnswers.takeFirst();
}

bool ScriptedDialogs::confirm(const Question &question)
{
    questions.append(question);
    return !confirmAnswers.isEmpty() && confirmAnswers.takeFirst();
}
