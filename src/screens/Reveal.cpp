#include "screens/Reveal.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDesktopServices>
#include <QFileInfo>
#include <QSet>
#include <QUrl>

namespace Reveal {

namespace {
std::function<void(const QStringList &)> &handler()
{
    static std::function<void(const QStringList &)> h;
    return h;
}

bool viaFileManager(const QStringList &paths)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return false;
    QStringList uris;
    for (const QString &path : paths)
        uris << QUrl::fromLocalFile(QFileInfo(path).absoluteFilePath()).toString();
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"),
        QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << uris << QString();
    const QDBusMessage reply = bus.call(call, QDBus::Block, 3000);
    return reply.type() == QDBusMessage::ReplyMessage;
}
} // namespace

void setHandler(std::function<void(const QStringList &)> h)
{
    handler() = std::move(h);
}

void showInFolder(const QStringList &paths)
{
    if (paths.isEmpty())
        return;
    if (handler()) {
        handler()(paths);
        return;
    }
    if (viaFileManager(paths))
        return;
    QSet<QString> opened;
    for (const QString &path : paths) {
        const QFileInfo info(path);
        const QString folder = info.isDir() ? info.absoluteFilePath() : info.absolutePath();
        if (!opened.contains(folder)) {
            opened.insert(folder);
            QDesktopServices::openUrl(QUrl::fromLocalFile(folder));
        }
    }
}

} // namespace Reveal
