#include "core/Format.h"

#include <QCoreApplication>
#include <QLocale>

namespace Format {

QString bytes(qint64 count)
{
    return QLocale(QLocale::English).formattedDataSize(count, 1, QLocale::DataSizeSIFormat);
}

QString pages(qint64 count)
{
    return count == 1 ? QCoreApplication::translate("Format", "1 page")
                      : QCoreApplication::translate("Format", "%1 pages").arg(count);
}

} // namespace Format
