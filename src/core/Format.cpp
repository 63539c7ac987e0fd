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

QString version(const QString &program)
{
    return program + QStringLiteral(" " QUIREBOOK_VERSION "\n") +
           QCoreApplication::translate(
               "Format", "Copyright (C) 2026 The Quirebook developers\n"
                         "License GPLv3+: GNU GPL version 3 or later "
                         "<https://gnu.org/licenses/gpl.html>.\n"
                         "This is free software: you are free to change and redistribute it.\n"
                         "There is NO WARRANTY, to the extent permitted by law.\n");
}

} // namespace Format
