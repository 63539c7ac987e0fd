#include "engine/PDFOps.h"

#include <QDir>
#include <QFileInfo>

namespace PDFOps {

QString uniqueURL(const QString &folder, const QString &name, const QString &ext,
                  const std::function<void(const QString &taken)> &onTaken)
{
    const QDir dir(folder);
    const QString dotted = ext.isEmpty() ? QString() : QStringLiteral(".") + ext;
    QString candidate = dir.filePath(name + dotted);
    for (qint64 n = 2; QFileInfo::exists(candidate) || QFileInfo(candidate).isSymLink(); ++n) {
        if (onTaken)
            onTaken(candidate);
        candidate = dir.filePath(QStringLiteral("%1 %2%3").arg(name).arg(n).arg(dotted));
    }
    return candidate;
}

} // namespace PDFOps
