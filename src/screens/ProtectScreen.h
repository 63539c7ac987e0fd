#pragma once

#include <QWidget>

class ProtectModel;
class ToolPage;
class Workspace;

// The Password tool: a copy of the chosen PDF that asks for a password,
// or a copy of a password-protected one that opens without it.
class ProtectScreen : public QWidget {
    Q_OBJECT
public:
    explicit ProtectScreen(Workspace &workspace, QWidget *parent = nullptr);

    ProtectModel &model() const { return *m_model; }
    ToolPage *page() const { return m_page; }

private:
    ProtectModel *m_model = nullptr;
    ToolPage *m_page = nullptr;
};
