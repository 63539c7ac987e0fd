#pragma once

#include "screens/ToolModel.h"
#include "tasks/Protect.h"

#include <QObject>
#include <QString>

#include <optional>

class Workspace;

// The Password screen without its widgets: the request (mode, the new
// password, the two toggles), the second password field, the job, and the
// chosen file they act on. The state lives as long as the screen; the job
// goes back to idle whenever another file is chosen.
class ProtectModel : public ToolModel {
    Q_OBJECT
public:
    explicit ProtectModel(Workspace &workspace, QObject *parent = nullptr);

    const Protect::Request &request() const { return m_request; }
    const QString &passwordAgain() const { return m_passwordAgain; }

    void setMode(Protect::Mode mode);
    void setPassword(const QString &text);
    void setPasswordAgain(const QString &text);
    void setPrinting(bool on);
    void setCopying(bool on);

    std::optional<QString> mismatch() const;
    // A chosen file, no job running, and both fields holding the same password.
    bool canProtect() const;
    bool canRemove() const;
    // What remove mode shows for the chosen file; nothing without one.
    std::optional<Protect::RemoveView> removeView() const;

    // Ask for the destination (the save panel when the source's folder
    // can't be written), then start the job on the chosen file; false when
    // nothing started. Protecting empties both fields as the job starts, so
    // the password doesn't stay on screen; a cancelled panel keeps them.
    bool protect();
    bool remove();

private:
    bool start(Protect::Mode mode);

    Protect::Request m_request;
    QString m_passwordAgain;
};
