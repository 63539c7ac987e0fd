#pragma once

#include <QObject>
#include <QStringList>

class QLocalServer;

// One window per user: a second start hands its files to the running
// program over a local socket and ends.
class SingleInstance : public QObject {
    Q_OBJECT
public:
    explicit SingleInstance(QObject *parent = nullptr);
    ~SingleInstance() override;

    // The socket: in the user's runtime folder, else the temporary folder
    // with the user's id in the name.
    static QString socketPath();

    // Sends the files (absolute paths) to a running program. False when
    // none answers.
    static bool handOver(const QStringList &paths);

    // Starts answering later starts. False when the socket can't be made.
    bool listen();

Q_SIGNALS:
    // A later start asked for these files to be opened (possibly none:
    // the window should come to the front).
    void filesReceived(const QStringList &paths);

private:
    QLocalServer *m_server = nullptr;
};
