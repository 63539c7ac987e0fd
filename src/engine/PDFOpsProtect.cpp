#include "engine/PDFOpsProtect.h"

#include "engine/PDFError.h"
#include "engine/SafeWrite.h"
#include "engine/internal/QpdfSupport.h"

#include <qpdf/Buffer.hh>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFWriter.hh>

#include <QCoreApplication>
#include <QFile>

namespace PDFOps {

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("PDFOps", text);
}

// qpdf takes the permissions as one switch each; print is one setting for
// both qualities (high quality can't be granted without low).
void encrypt(QPDFWriter &writer, const std::string &user, const std::string &owner, int flags)
{
    const auto has = [flags](int flag) { return (flags & flag) != 0; };
    qpdf_r3_print_e print = qpdf_r3p_none;
    if (has(Permission::LowQualityPrinting))
        print = has(Permission::HighQualityPrinting) ? qpdf_r3p_full : qpdf_r3p_low;
    writer.setR6EncryptionParameters(user.c_str(), owner.c_str(), has(Permission::Accessibility),
                                     has(Permission::Copying), has(Permission::Assembly),
                                     has(Permission::Commenting), has(Permission::FormFilling),
                                     has(Permission::Changes), print,
                                     true); // metadata encrypted too
}

} // namespace

int protectPermissions(bool allowPrinting, bool allowCopying)
{
    int flags = Permission::Changes | Permission::Assembly | Permission::Accessibility |
                Permission::Commenting | Permission::FormFilling;
    if (allowPrinting)
        flags |= Permission::LowQualityPrinting | Permission::HighQualityPrinting;
    if (allowCopying)
        flags |= Permission::Copying;
    return flags;
}

qint32 standardPermissionBits(int permissions)
{
    // Bit n (1-based) of /P has the value 1 << (n - 1).
    static constexpr struct {
        int flag;
        int bit;
    } map[] = {
        {Permission::LowQualityPrinting, 3},
        {Permission::Changes, 4},
        {Permission::Copying, 5},
        {Permission::Commenting, 6},
        {Permission::FormFilling, 9},
        {Permission::Accessibility, 10},
        {Permission::Assembly, 11},
        {Permission::HighQualityPrinting, 12},
    };
    // Bits 1 and 2 are zero; the reserved bits 7, 8 and 13 to 32 are one.
    quint32 p = 0xFFFFFFFCu;
    for (const auto &entry : map) {
        const quint32 bit = 1u << (entry.bit - 1);
        if (permissions & entry.flag)
            p |= bit;
        else
            p &= ~bit;
    }
    return static_cast<qint32>(p);
}

QString preparedPassword(const QString &password)
{
    // PDFDocument::unlock tries it too, so what this program writes it also opens.
    QString mapped;
    mapped.reserve(password.size());
    for (QChar c : password) {
        const char16_t u = c.unicode();
        const bool nothing = u == 0x00AD || u == 0x034F || u == 0x1806 ||
                             (u >= 0x180B && u <= 0x180D) || u == 0x200B || u == 0x200C ||
                             u == 0x200D || u == 0x2060 || (u >= 0xFE00 && u <= 0xFE0F) ||
                             u == 0xFEFF;
        if (nothing)
            continue;
        if (u != 0x20 && c.category() == QChar::Separator_Space)
            mapped.append(u' ');
        else
            mapped.append(c);
    }
    return mapped.normalized(QString::NormalizationForm_KC);
}

void protect(const PDFDocument &doc, const QString &openPassword,
             const std::optional<QString> &ownerPassword, bool allowPrinting, bool allowCopying,
             const QString &to)
{
    requireRewritable(doc);
    if (openPassword.isEmpty())
        throw PDFError::failed(tr("Type a password first."));
    const std::string user = preparedPassword(openPassword).toStdString();
    const std::string owner = ownerPassword ? preparedPassword(*ownerPassword).toStdString() : user;
    const int flags = protectPermissions(allowPrinting, allowCopying);
    const QString failure = tr("Couldn't write the protected file.");
    SafeWrite::write(
        to,
        [&](SafeWrite::Target &out) {
            try {
                // The whole document, as it is: forms, attachments and
                // object streams stay; only the encryption is new.
                qpdfsupport::TargetPipeline pipeline(out);
                QPDFWriter writer(*doc.qpdf());
                writer.setOutputPipeline(&pipeline);
                encrypt(writer, user, owner, flags);
                writer.write();
            } catch (...) {
                throw PDFError::failed(failure);
            }
        },
        failure);
}

std::shared_ptr<PDFDocument> unprotected(const PDFDocument &doc)
{
    requireRewritable(doc);
    const QString failure = tr("Couldn't write the new file.");
    QByteArray bytes;
    try {
        // Writing the whole document without encryption keeps what a page
        // copy would lose: forms, attachments, names, page labels.
        QPDFWriter writer(*doc.qpdf());
        writer.setOutputMemory();
        writer.setPreserveEncryption(false);
        writer.write();
        auto buffer = writer.getBufferSharedPointer();
        bytes = QByteArray(reinterpret_cast<const char *>(buffer->getBuffer()),
                           qsizetype(buffer->getSize()));
    } catch (...) {
        throw PDFError::failed(failure);
    }
    auto copy = PDFDocument::fromBytes(bytes, doc.name());
    if (!copy || copy->isLocked() || copy->isEncrypted())
        throw PDFError::failed(failure);
    return copy;
}

} // namespace PDFOps
