#include "app/SingleInstance.h"

#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>
#include <QStandardPaths>

#include <unistd.h>

SingleInstance::SingleInstance(QObject *parent)
    : QObject(parent)
{
}

SingleInstance::~SingleInstance()
{
    if (m_server)
        m_server->close();
}

QString SingleInstance::socketPath()
{
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (!runtime.isEmpty() && QDir(runtime).exists())
        return QDir(runtime).filePath(QStringLiteral(QUIREBOOK_APP_ID ".socket"));
    return QDir(QDir::tempPath())
        .filePath(QStringLiteral(QUIREBOOK_APP_ID "-%1.socket").arg(getuid()));
}

bool SingleInstance::handOver(const QStringList &paths)
{
    QLocalSocket socket;
    socket.connectToServer(socketPath());
    if (!socket.waitForConnected(1000))
        return false;
    // One path a line, then an empty line: the message is complete.
    QByteArray message;
    for (const QString &path : paths)
        message += path.toUtf8() + '\n';
    message += '\n';
    socket.write(message);
    if (!socket.waitForBytesWritten(3000))
        return false;
    // The running program closes the connection once it has read the list.
    socket.waitForDisconnected(3000);
    return true;
}

bool SingleInstance::listen()
{
    m_server = new QLocalServer(this);
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_server->listen(socketPath())) {
        // A socket left behind by a program that ended without closing it:
        // nothing answered on it, so it can go.
        QLocalServer::removeServer(socketPath());
        if (!m_server->listen(socketPath()))
            return false;
    }
    connect(m_server, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket *socket = m_server->nextPendingConnection()) {
            connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
            connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
                QByteArray buffer = socket->property("buffer").toByteArray() + socket->readAll();
                socket->setProperty("buffer", buffer);
                if (!buffer.endsWith("\n\n") && buffer != "\n")
                    return;
                QStringList paths;
                for (const QByteArray &line : buffer.split('\n'))
                    if (!line.isEmpty())
                        paths << QString::fromUtf8(line);
                socket->disconnectFromServer();
                Q_EMIT filesReceived(paths);
            });
        }
    });
    return true;
}
