#include "ProtectTask.h"

#include "PDFError.h"
#include "PDFOpsProtect.h"
#include "SafeWrite.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace Tasks {

namespace {

QString tr(const char *text) { return QCoreApplication::translate("Protect", text); }

QString savedTitle(const QString &destination)
{
    return tr("Saved “%1”").arg(QFileInfo(destination).fileName());
}

std::shared_ptr<PDFDocument> freshDocument(const PDFFile &file)
{
    auto doc = file.fresh();
    if (!doc)
        throw PDFError::unreadable(file.fileName());
    return doc;
}

} // namespace

Outcome protect(const PDFDocument &doc, const ProtectChoices &choices,
                const QString &destination)
{
    PDFOps::protect(doc, choices.password, choices.ownerPassword, choices.allowPrinting,
                    choices.allowCopying, destination);
    return {savedTitle(destination), tr("It now asks for the password when opened."),
            {destination}};
}

Outcome protect(const PDFFile &file, const ProtectChoices &choices, const QString &destination,
                const Progress &, const IsCancelled &)
{
    // Neither progress nor cancellation: one write, done in one go.
    return protect(*freshDocument(file), choices, destination);
}

Outcome removePassword(const PDFDocument &doc, const QString &destination)
{
    const auto copy = PDFOps::unprotected(doc);
    const QString failure = tr("Couldn't write the new file.");
    WriteOptions options;
    options.compact = false; // as it was: only the encryption goes
    SafeWrite::write(
        destination,
        [&](const QString &temporary) {
            try {
                copy->write(temporary, options);
            } catch (...) {
                throw PDFError::failed(failure);
            }
        },
        failure);
    return {savedTitle(destination), tr("This copy opens without a password."), {destination}};
}

Outcome removePassword(const PDFFile &file, const QString &destination, const Progress &,
                       const IsCancelled &)
{
    return removePassword(*freshDocument(file), destination);
}

} // namespace Tasks
