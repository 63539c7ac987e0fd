#pragma once

#include "Dialogs.h"
#include "Job.h"
#include "PDFFile.h"
#include "ProtectTask.h"

#include <QList>
#include <QString>

#include <optional>

// Everything the Protect screen shows and decides, without widgets: its
// texts, the two password fields with their check, the two toggles, and
// the starting of its jobs. The screen binds controls to this and draws it.
class ProtectForm {
public:
    enum class Mode { Add, Remove };
    static QList<Mode> modes(); // in the picker's order
    static QString label(Mode mode);

    // What remove mode shows for the chosen file.
    enum class RemoveView {
        NoPassword, // only the info banner
        Offer,      // the explanation and the "Remove Password" button
    };
    static RemoveView removeView(const PDFFile &file);

    // The screen's texts.
    static QString passwordLabel();
    static QString repeatLabel();
    static QString printingLabel();
    static QString copyingLabel();
    static QString note();
    static QString mismatchText();
    static QString protectButton();
    static QString removeButton();
    static QString noPasswordBanner();
    static QString noPasswordSymbol(); // "info.circle.fill", shown in blue
    static QString removeExplanation();
    static QString protectTitle(); // the jobs' titles
    static QString removeTitle();
    static QString protectSuffix(); // "<name> protected.pdf"
    static QString removeSuffix();  // "<name> unlocked.pdf"

    Mode mode = Mode::Add;
    QString password;
    QString passwordAgain;
    bool printing = true;
    bool copying = true;

    // "The two passwords are different." once both fields hold something
    // and they differ; nothing otherwise.
    std::optional<QString> mismatch() const;
    bool canProtect(bool jobRunning) const;
    bool canRemove(bool jobRunning) const { return !jobRunning; }

    // What a protect job takes with it. Empties both fields, so the
    // password doesn't stay on screen.
    Tasks::ProtectChoices takeChoices();

    // The two actions: ask for the destination (the save panel when the
    // source's folder can't be written), then run the job. False when
    // nothing started (the panel was cancelled, or the form can't act).
    bool startProtect(Job &job, const PDFFile &file, Dialogs *dialogs);
    bool startRemove(Job &job, const PDFFile &file, Dialogs *dialogs);

private:
    static void wipe(QString &text);
};
