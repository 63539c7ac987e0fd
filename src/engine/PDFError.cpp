#include "engine/PDFError.h"

#include <QCoreApplication>

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
