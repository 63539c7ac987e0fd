#include "screens/Reveal.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QFileInfo>
#include <QSet>

namespace Reveal {

namespace {

// A file manager started by the call itself may take a while to answer;
// giving up early could end with its window and the fallback's both open.
constexpr int kAnswerWithinMs = 15000;

std::function<void(const QStringList &)> &handler()
{
    static std::function<void(const QStringList &)> h;
    return h;
}

Means &means()
{
    static Means m;
    return m;
}

void askOverBus(const QStringList &uris, std::function<void(bool)> answered)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        answered(false);
        return;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"),
        QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << uris << QString();
    auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(call, kAnswerWithinMs),
                                                QCoreApplication::instance());
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher,
                     [watcher, answered = std::move(answered)] {
                         answered(!watcher->isError());
                         watcher->deleteLater();
                     });
}

void openFolders(const QStringList &paths)
{
    const auto open = means().openFolder ? means().openFolder
                                         : [](const QUrl &url) { QDesktopServices::openUrl(url); };
    QSet<QString> opened;
    for (const QString &path : paths) {
        const QFileInfo info(path);
        const QString folder = info.isDir() ? info.absoluteFilePath() : info.absolutePath();
        if (!opened.contains(folder)) {
            opened.insert(folder);
            open(QUrl::fromLocalFile(folder));
        }
    }
}

} // namespace

void setHandler(std::function<void(const QStringList &)> h)
{
    handler() = std::move(h);
}

void setMeans(Means m)
{
    means() = std::move(m);
}

QStringList uris(const QStringList &paths)
{
    QStringList list;
    for (const QString &path : paths)
        list
            << QUrl::fromLocalFile(QFileInfo(path).absoluteFilePath()).toString(QUrl::FullyEncoded);
    return list;
}

void showInFolder(const QStringList &paths)
{
    if (paths.isEmpty())
        return;
    if (handler()) {
        handler()(paths);
        return;
    }
    const auto ask = means().askFileManager ? means().askFileManager : askOverBus;
    ask(uris(paths), [paths](bool shown) {
        if (!shown)
            openFolders(paths);
    });
}

} // namespace Reveal
