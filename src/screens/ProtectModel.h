#pragma once

#include "Job.h"
#include "ToolModel.h"
#include "ProtectForm.h"

#include <QObject>
#include <QString>
#include <QUuid>

#include <optional>

class Workspace;

// The Protect screen without its widgets: the form (mode, the two password
// fields, the toggles), the job, and the chosen file they act on. The state
// lives as long as the screen; the job goes back to idle whenever another
// file is chosen.
class ProtectModel : public ToolModel {
    Q_OBJECT
public:
    explicit ProtectModel(Workspace &workspace, QObject *parent = nullptr);

    const ProtectForm &form() const { return m_form; }

    void setMode(ProtectForm::Mode mode);
    void setPassword(const QString &text);
    void setPasswordAgain(const QString &text);
    void setPrinting(bool on);
    void setCopying(bool on);

    std::optional<QString> mismatch() const { return m_form.mismatch(); }
    bool canProtect() const;
    bool canRemove() const;
    // What remove mode shows for the chosen file; nothing without one.
    std::optional<ProtectForm::RemoveView> removeView() const;

    // Start the jobs on the chosen file; false when nothing started.
    bool protect();
    bool remove();

private:

    ProtectForm m_form;
};
