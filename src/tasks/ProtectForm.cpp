#include "ProtectForm.h"

#include "Output.h"

#include <QCoreApplication>

namespace {
QString tr(const char *text) { return QCoreApplication::translate("Protect", text); }
} // namespace

QList<ProtectForm::Mode> ProtectForm::modes() { return {Mode::Add, Mode::Remove}; }

QString ProtectForm::label(Mode mode)
{
    return mode == Mode::Add ? tr("Add a password") : tr("Remove the password");
}

ProtectForm::RemoveView ProtectForm::removeView(const PDFFile &file)
{
    return file.doc && file.doc->isEncrypted() ? RemoveView::Offer : RemoveView::NoPassword;
}

QString ProtectForm::passwordLabel() { return tr("Password"); }
QString ProtectForm::repeatLabel() { return tr("Type it again"); }
QString ProtectForm::printingLabel() { return tr("Allow printing"); }
QString ProtectForm::copyingLabel() { return tr("Allow copying text and pictures"); }
QString ProtectForm::note()
{
    return tr("Anyone opening the file needs this password. If you forget it, nobody can open "
              "the file, so keep it somewhere safe.");
}
QString ProtectForm::mismatchText() { return tr("The two passwords are different."); }
QString ProtectForm::protectButton() { return tr("Protect"); }
QString ProtectForm::removeButton() { return tr("Remove Password"); }
QString ProtectForm::noPasswordBanner() { return tr("This file has no password."); }
QString ProtectForm::noPasswordSymbol() { return QStringLiteral("info.circle.fill"); }
QString ProtectForm::removeExplanation()
{
    return tr("You opened this file with its password. Quirebook will save a copy that opens "
              "without one.");
}
QString ProtectForm::protectTitle() { return tr("Protecting"); }
QString ProtectForm::removeTitle() { return tr("Removing password"); }
QString ProtectForm::protectSuffix() { return QStringLiteral("protected"); }
QString ProtectForm::removeSuffix() { return QStringLiteral("unlocked"); }

std::optional<QString> ProtectForm::mismatch() const
{
    if (!password.isEmpty() && !passwordAgain.isEmpty() && password != passwordAgain)
        return mismatchText();
    return std::nullopt;
}

bool ProtectForm::canProtect(bool jobRunning) const
{
    return !jobRunning && !password.isEmpty() && password == passwordAgain;
}

void ProtectForm::wipe(QString &text)
{
    // Overwrite the characters we hold before letting go of them; a copy
    // taken for the job is that job's to drop.
    text.detach();
    text.fill(QChar(0));
    text.clear();
}

Tasks::ProtectChoices ProtectForm::takeChoices()
{
    Tasks::ProtectChoices choices;
    choices.password = QString(password.constData(), password.size()); // a copy of its own
    choices.allowPrinting = printing;
    choices.allowCopying = copying;
    wipe(password);
    wipe(passwordAgain);
    return choices;
}

bool ProtectForm::startProtect(Job &job, const PDFFile &file, Dialogs *dialogs)
{
    if (!canProtect(job.isRunning()))
        return false;
    const auto destination = Output::pdfURL(file, protectSuffix(), dialogs);
    if (!destination)
        return false;
    const Tasks::ProtectChoices choices = takeChoices();
    const QString to = *destination;
    job.run(protectTitle(), [file, choices, to](const Progress &progress,
                                               const IsCancelled &isCancelled) {
        return Tasks::protect(file, choices, to, progress, isCancelled);
    });
    return true;
}

bool ProtectForm::startRemove(Job &job, const PDFFile &file, Dialogs *dialogs)
{
    if (!canRemove(job.isRunning()))
        return false;
    const auto destination = Output::pdfURL(file, removeSuffix(), dialogs);
    if (!destination)
        return false;
    const QString to = *destination;
    job.run(removeTitle(), [file, to](const Progress &progress, const IsCancelled &isCancelled) {
        return Tasks::removePassword(file, to, progress, isCancelled);
    });
    return true;
}
