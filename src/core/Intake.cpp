#include "core/Intake.h"

#include "core/Workspace.h"
#include "engine/PDFError.h"
#include "engine/PDFOps.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QUuid>

#include <functional>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("Workspace", text);
}

QString quoted(const QString &name)
{
    return QChar(0x201C) + name + QChar(0x201D);
}

// Asks for a password up to three times, the later times saying the last
// one didn't work. `tryIt` answers true for a password that worked, false
// for one that didn't, nothing to give up.
Intake::Password askThreeTimes(Dialogs *dialogs, SecretPrompt prompt,
                               const std::function<std::optional<bool>(const QString &)> &tryIt)
{
    if (!dialogs)
        return Intake::Password::Cancelled;
    for (int attempt = 1; attempt <= 3; ++attempt) {
        prompt.attempt = attempt;
        if (attempt > 1)
            prompt.informative = tr("That password didn't work. Try again (%1 of 3).").arg(attempt);
        const auto typed = dialogs->askSecret(prompt);
        const auto worked = typed ? tryIt(*typed) : std::nullopt;
        if (!worked)
            return Intake::Password::Cancelled;
        if (*worked)
            return Intake::Password::Accepted;
    }
    return Intake::Password::Refused;
}

} // namespace

namespace Intake {

FileType typeOf(const QString &path)
{
    static const QStringList pictures{QStringLiteral("jpg"),  QStringLiteral("jpeg"),
                                      QStringLiteral("png"),  QStringLiteral("heic"),
                                      QStringLiteral("heif"), QStringLiteral("gif"),
                                      QStringLiteral("bmp"),  QStringLiteral("tif"),
                                      QStringLiteral("tiff"), QStringLiteral("webp")};
    const QString extension = QFileInfo(path).suffix().toLower();
    if (extension == QLatin1String("pdf"))
        return FileType::Pdf;
    if (pictures.contains(extension))
        return FileType::Picture;
    return FileType::Other;
}

std::variant<PDFFile, QString> open(const QString &path, Dialogs *dialogs)
{
    const QString fileName = QFileInfo(path).fileName();
    PDFFile entry;
    entry.path = path;
    switch (typeOf(path)) {
    case FileType::Pdf: {
        auto doc = PDFDocument::open(path);
        if (!doc)
            return PDFError::notOpened(fileName).description();
        if (doc->isLocked()) {
            SecretPrompt prompt;
            prompt.purpose = SecretPrompt::Purpose::OpenPassword;
            prompt.fileName = fileName;
            prompt.message = tr("This PDF is password-protected");
            prompt.informative = tr("Type the password to open %1.").arg(quoted(fileName));
            prompt.acceptTitle = tr("Open");
            const auto unlocked = askThreeTimes(dialogs, prompt, [&](const QString &typed) {
                if (!doc->unlock(typed))
                    return std::optional(false);
                entry.password = typed;
                return std::optional(true);
            });
            if (unlocked != Password::Accepted)
                return tr("%1 stayed locked.").arg(quoted(fileName));
        }
        if (doc->pageCount() < 1)
            return tr("%1 has no pages.").arg(quoted(fileName));
        entry.kind = PDFFile::Kind::Pdf;
        entry.doc = doc;
        break;
    }
    case FileType::Picture: {
        const auto image = PDFOps::loadImage(path, kPictureMaxPixel);
        auto doc = image ? PDFOps::page(*image) : nullptr;
        if (!doc) {
            if (PDFError::outOfFileHandles())
                return PDFError::tooManyFilesText();
            return tr("%1 couldn't be read as a picture.").arg(quoted(fileName));
        }
        entry.kind = PDFFile::Kind::Image;
        entry.doc = doc;
        entry.pictureDocument = doc->toBytes();
        break;
    }
    case FileType::Other: return tr("%1 isn't a PDF or a picture.").arg(quoted(fileName));
    }
    entry.id = QUuid::createUuid();
    entry.bytes = Workspace::bytes(path);
    return entry;
}

Password liftRestrictions(PDFFile &file, Dialogs *dialogs)
{
    SecretPrompt prompt;
    prompt.purpose = SecretPrompt::Purpose::OwnerPassword;
    prompt.fileName = file.fileName();
    prompt.message = tr("Owner password needed");
    prompt.informative = tr("%1 limits what can be done with it (such as copying or editing). "
                            "Enter its owner password to continue.")
                             .arg(quoted(file.fileName()));
    prompt.acceptTitle = tr("OK");
    return askThreeTimes(dialogs, prompt, [&](const QString &typed) -> std::optional<bool> {
        auto doc = PDFDocument::open(file.path);
        if (!doc)
            return std::nullopt;
        if (!doc->unlock(typed) || PDFOps::isRestricted(*doc))
            return false;
        file.doc = doc;
        file.password = typed;
        return true;
    });
}

} // namespace Intake
