#include "tasks/Protect.h"

#include "engine/PDFError.h"
#include "engine/PDFOpsProtect.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace {
QString tr(const char *text)
{
    return QCoreApplication::translate("Protect", text);
}
} // namespace

namespace Protect {

QList<Mode> modes()
{
    return {Mode::Add, Mode::Remove};
}

QString label(Mode mode)
{
    return mode == Mode::Add ? tr("Add a password") : tr("Remove the password");
}

std::optional<QString> Request::validate() const
{
    if (mode == Mode::Add && password.isEmpty())
        return tr("Type a password first.");
    return std::nullopt;
}

Outcome run(const PDFDocument &doc, const Request &request, const QString &destination)
{
    if (const auto problem = request.validate())
        throw PDFError::failed(*problem);
    const QString saved = tr("Saved “%1”").arg(QFileInfo(destination).fileName());
    if (request.mode == Mode::Add) {
        PDFOps::protect(doc, request.password, request.ownerPassword, request.allowPrinting,
                        request.allowCopying, destination);
        return {saved, tr("It now asks for the password when opened."), {destination}};
    }
    const auto copy = PDFOps::unprotected(doc);
    WriteOptions options;
    options.compact = false; // as it was: only the encryption goes
    copy->write(destination, options, tr("Couldn't write the new file."));
    return {saved, tr("This copy opens without a password."), {destination}};
}

Outcome run(const PDFFile &file, const Request &request, const QString &destination,
            const Progress &, const IsCancelled &)
{
    const auto doc = file.fresh();
    if (!doc)
        throw PDFError::notOpened(file.fileName());
    return run(*doc, request, destination);
}

RemoveView removeView(const PDFFile &file)
{
    return file.doc && file.doc->isEncrypted() ? RemoveView::Offer : RemoveView::NoPassword;
}

std::optional<QString> mismatch(const QString &password, const QString &again)
{
    if (!password.isEmpty() && !again.isEmpty() && password != again)
        return mismatchText();
    return std::nullopt;
}

void wipe(QString &text)
{
    // A copy taken for a job is that job's to drop.
    text.detach();
    text.fill(QChar(0));
    text.clear();
}

QString passwordLabel()
{
    return tr("Password");
}
QString repeatLabel()
{
    return tr("Type it again");
}
QString printingLabel()
{
    return tr("Allow printing");
}
QString copyingLabel()
{
    return tr("Allow copying text and pictures");
}
QString note()
{
    return tr("Anyone opening the file needs this password. If you forget it, nobody can open "
              "the file, so keep it somewhere safe.");
}
QString mismatchText()
{
    return tr("The two passwords are different.");
}
QString protectButton()
{
    return tr("Protect");
}
QString removeButton()
{
    return tr("Remove Password");
}
QString noPasswordBanner()
{
    return tr("This file has no password.");
}
QString noPasswordSymbol()
{
    return QStringLiteral("info.circle.fill");
}
QString removeExplanation()
{
    return tr("You opened this file with its password. Quirebook will save a copy that opens "
              "without one.");
}
QString jobTitle(Mode mode)
{
    return mode == Mode::Add ? tr("Protecting") : tr("Removing password");
}
QString suffix(Mode mode)
{
    return mode == Mode::Add ? QStringLiteral("protected") : QStringLiteral("unlocked");
}

} // namespace Protect
