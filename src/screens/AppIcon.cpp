#include "screens/AppIcon.h"

#include "screens/Theme.h"

#include <QPainter>
#include <QPainterPath>
#include <QPixmap>

namespace AppIcon {

namespace {
QPixmap draw(int size)
{
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(size / 256.0, size / 256.0);
    const QColor accent = Theme::accent();
    auto rounded = [&](QRectF r, double radius, const QColor &color) {
        QPainterPath path;
        path.addRoundedRect(r, radius, radius);
        painter.fillPath(path, color);
    };
    rounded({16, 16, 224, 224}, 48, accent);
    rounded({96, 48, 100, 132}, 10, Theme::withAlpha(Qt::white, 0.55));
    rounded({60, 76, 100, 132}, 10, Qt::white);
    for (int y : {104, 124, 144})
        rounded({78, double(y), 64, 8}, 4, Theme::withAlpha(accent, 0.6));
    rounded({78, 164, 40, 8}, 4, Theme::withAlpha(accent, 0.6));
    return pixmap;
}
} // namespace

QIcon make()
{
    const QIcon installed = QIcon::fromTheme(QStringLiteral(QUIREBOOK_APP_ID));
    if (!installed.pixmap(48).isNull())
        return installed;
    QIcon icon;
    for (int size : {16, 24, 32, 48, 64, 128, 256})
        icon.addPixmap(draw(size));
    return icon;
}

} // namespace AppIcon
