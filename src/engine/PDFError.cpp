#include "engine/PDFError.h"

#include <QCoreApplication>

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

PDFError::PDFError(Kind kind, QString value)
    : m_kind(kind)
    , m_value(std::move(value))
{
    m_utf8 = description().toStdString();
}

PDFError PDFError::unreadable(const QString &fileName)
{
    return {Kind::Unreadable, fileName};
}
PDFError PDFError::failed(const QString &sentence)
{
    return {Kind::Failed, sentence};
}
PDFError PDFError::restricted()
{
    return {Kind::Restricted, {}};
}
PDFError PDFError::cancelled()
{
    return {Kind::Cancelled, {}};
}

PDFError PDFError::notOpened(const QString &fileName)
{
    return outOfFileHandles() ? failed(tooManyFilesText()) : unreadable(fileName);
}

QString PDFError::description() const
{
    switch (m_kind) {
    case Kind::Unreadable:
        return QCoreApplication::translate("PDFError", "“%1” couldn't be read as a PDF.")
            .arg(m_value);
    case Kind::Failed: return m_value;
    case Kind::Restricted:
        return QCoreApplication::translate(
            "PDFError",
            "This PDF has restrictions set by its owner (for example no copying or editing). "
            "Quirebook only changes such files when you enter the owner's password.");
    case Kind::Cancelled: return QCoreApplication::translate("PDFError", "Cancelled.");
    }
    return {};
}

QString PDFError::lockedText()
{
    return QCoreApplication::translate("PDFError", "This PDF is locked. Enter its password first.");
}

QString PDFError::tooManyFilesText()
{
    return QCoreApplication::translate(
        "PDFError", "Too many files are open at once. Close some programs and try again.");
}

bool PDFError::outOfFileHandles(int error)
{
    return error == EMFILE || error == ENFILE;
}

bool PDFError::outOfFileHandles()
{
    // The libraries that failed to open a file don't say why; a handle of
    // our own, asked for at once, fails the same way when none is left.
    const int fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return outOfFileHandles(errno);
    ::close(fd);
    return false;
}
