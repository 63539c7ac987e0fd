#include "screens/Symbols.h"

#include <QDir>
#include <QHash>
#include <QPainter>

namespace Symbols {

namespace {
// The table. Symbolic icons of the theme are one-colour shapes, which can
// be tinted like the originals.
const QHash<QString, QString> &table()
{
    static const QHash<QString, QString> names{
        {QStringLiteral("square.stack.3d.up"), QStringLiteral("view-paged")},
        {QStringLiteral("square.grid.2x2"), QStringLiteral("view-grid")},
        {QStringLiteral("scissors"), QStringLiteral("edit-cut")},
        {QStringLiteral("arrow.down.right.and.arrow.up.left"), QStringLiteral("view-restore")},
        {QStringLiteral("signature"), QStringLiteral("document-edit")},
        {QStringLiteral("text.magnifyingglass"), QStringLiteral("edit-find")},
        {QStringLiteral("lock"), QStringLiteral("changes-prevent")},
        {QStringLiteral("photo.on.rectangle"), QStringLiteral("image-x-generic")},
        {QStringLiteral("doc.on.doc.fill"), QStringLiteral("edit-copy")},
        {QStringLiteral("lock.trianglebadge.exclamationmark"), QStringLiteral("channel-insecure")},
        {QStringLiteral("lock.doc"), QStringLiteral("channel-secure")},
        {QStringLiteral("doc.richtext"), QStringLiteral("x-office-document")},
        {QStringLiteral("plus"), QStringLiteral("list-add")},
        {QStringLiteral("xmark.circle.fill"), QStringLiteral("window-close")},
        {QStringLiteral("xmark"), QStringLiteral("window-close")},
        {QStringLiteral("arrow.down.doc"), QStringLiteral("document-open")},
        {QStringLiteral("checkmark.circle.fill"), QStringLiteral("emblem-ok")},
        {QStringLiteral("xmark.octagon.fill"), QStringLiteral("dialog-error")},
        {QStringLiteral("exclamationmark.triangle.fill"), QStringLiteral("dialog-warning")},
        {QStringLiteral("line.3.horizontal"), QStringLiteral("list-drag-handle")},
        {QStringLiteral("folder"), QStringLiteral("folder-open")},
        {QStringLiteral("info.circle"), QStringLiteral("dialog-information")},
        {QStringLiteral("info.circle.fill"), QStringLiteral("dialog-information")},
        {QStringLiteral("rotate.left"), QStringLiteral("object-rotate-left")},
        {QStringLiteral("rotate.right"), QStringLiteral("object-rotate-right")},
        {QStringLiteral("trash"), QStringLiteral("user-trash")},
        {QStringLiteral("plus.square.on.square"), QStringLiteral("document-new")},
        {QStringLiteral("arrow.uturn.backward"), QStringLiteral("edit-undo")},
        {QStringLiteral("textformat"), QStringLiteral("insert-text")},
        {QStringLiteral("photo"), QStringLiteral("image-x-generic")},
        {QStringLiteral("chevron.left"), QStringLiteral("go-previous")},
        {QStringLiteral("chevron.right"), QStringLiteral("go-next")},
    };
    return names;
}

QIcon themeIcon(const QString &name)
{
    // The symbolic name first, as themes name their one-colour icons; then
    // Adwaita's PNG renderings of it ("<name>-symbolic.symbolic"), which Qt
    // reads without an SVG plugin; the plain name last. An icon counts only
    // when it draws: an SVG-only entry doesn't without the plugin.
    for (const QString &candidate :
         {name + QStringLiteral("-symbolic"), name + QStringLiteral("-symbolic.symbolic"), name}) {
        const QIcon icon = QIcon::fromTheme(candidate);
        if (!icon.pixmap(16).isNull())
            return icon;
    }
    return {};
}
} // namespace

void installTheme()
{
    QStringList paths = QIcon::themeSearchPaths();
    for (const QString &dir :
         {QStringLiteral("/usr/share/icons"), QStringLiteral("/usr/local/share/icons"),
          QDir::homePath() + QStringLiteral("/.local/share/icons")})
        if (!paths.contains(dir) && QDir(dir).exists())
            paths.append(dir);
    QIcon::setThemeSearchPaths(paths);
    // The person's own theme, as the desktop names it, comes first; Adwaita
    // (which the package depends on) fills its gaps, and stands in where no
    // desktop names a theme (offscreen, a bare X session).
    const QString adwaita = QStringLiteral("Adwaita");
    const bool haveAdwaita = QDir(QStringLiteral("/usr/share/icons/Adwaita")).exists();
    const QString own = QIcon::themeName();
    if (haveAdwaita && (own.isEmpty() || own == QLatin1String("hicolor")))
        QIcon::setThemeName(adwaita);
    QIcon::setFallbackThemeName(haveAdwaita ? adwaita : QStringLiteral("hicolor"));
}

QString iconName(const QString &symbol)
{
    return table().value(symbol);
}

QPixmap pixmap(const QString &symbol, int size, const QColor &color, qreal devicePixelRatio)
{
    const QString name = iconName(symbol);
    if (name.isEmpty())
        return {};
    const QIcon icon = themeIcon(name);
    if (icon.isNull())
        return {};
    const int pixels = qRound(size * devicePixelRatio);
    QPixmap source = icon.pixmap(QSize(pixels, pixels));
    if (source.isNull())
        return {};
    if (source.width() != pixels)
        source = source.scaled(pixels, pixels, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    QPixmap tinted(source.size());
    tinted.fill(Qt::transparent);
    {
        QPainter painter(&tinted);
        painter.drawPixmap(0, 0, source);
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        painter.fillRect(tinted.rect(), color);
    }
    tinted.setDevicePixelRatio(devicePixelRatio);
    return tinted;
}

QIcon icon(const QString &symbol, const QColor &color)
{
    QIcon result;
    for (int size : {16, 20, 24, 32, 48}) {
        const QPixmap p = pixmap(symbol, size, color);
        if (!p.isNull())
            result.addPixmap(p);
    }
    return result;
}

} // namespace Symbols
