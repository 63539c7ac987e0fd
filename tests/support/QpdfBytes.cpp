#include "support/QpdfBytes.h"

#include <qpdf/Buffer.hh>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFWriter.hh>

namespace Fixtures {

QByteArray bytesOf(QPDF &q, const WriteOptions &options)
{
    QPDFWriter writer(q);
    writer.setOutputMemory();
    writer.setStaticID(true);
    if (options.encrypt) {
        const std::string user = options.userPassword.toStdString();
        const std::string owner = options.ownerPassword.toStdString();
        writer.setR6EncryptionParameters(
            user.c_str(), owner.c_str(), true, options.allowCopying, options.allowChanges,
            options.allowChanges, options.allowChanges, options.allowChanges,
            options.allowPrinting ? qpdf_r3p_full : qpdf_r3p_none, true);
    }
    writer.write();
    auto buffer = writer.getBufferSharedPointer();
    return QByteArray(reinterpret_cast<const char *>(buffer->getBuffer()),
                      qsizetype(buffer->getSize()));
}

} // namespace Fixtures
