#pragma once

#include "core/Dialogs.h"

#include <QPointer>
#include <QWidget>

// The window's answers to the program's questions: password alerts with a
// masked field, the save panel for PDFs, the open panels.
class QtDialogs : public Dialogs {
public:
    explicit QtDialogs(QWidget *window = nullptr)
        : m_window(window)
    {
    }
    void setWindow(QWidget *window) { m_window = window; }

    std::optional<QString> askSecret(const SecretPrompt &prompt) override;
    std::optional<QString> savePDF(const QString &base, const QString &folder) override;
    QStringList openFiles(bool images) override;
    std::optional<QString> openImage() override;
    bool confirm(const Question &question) override;

    // The name patterns of the open panels.
    static QStringList pictureSuffixes();

private:
    QPointer<QWidget> m_window;
};
