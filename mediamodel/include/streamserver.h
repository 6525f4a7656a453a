#pragma once

#include "mediamodel_export.h"

#include <QObject>
#include <QString>
#include <functional>
#include <memory>

class QTcpSocket;

namespace network {

// The process's local HTTP/1.1 server that lets a player in this process play a chat file while
// it is still downloading. It listens on the IPv4 loopback address only, on a port the system
// chooses, starts listening on the first getUrl and stops by itself 30 s after its last client
// has gone. Clients ask for byte ranges; the bytes come from the account's DownloadFileMgr. It
// holds at most a quarter of the process's descriptor limit in connections (from 4 to 256) and
// stops accepting while at that cap, and answers requests naming a host other than the loopback
// address as requests for an unknown file.
//
// All its objects (the listening socket, the idle timer, the client sockets) live on
// network::getNetworkThread(). getUrl, disconnectForUser and close hand their work to that thread
// and block until it is done, so they are meant for other threads (the UI thread); called on the
// network thread itself they run inline.
class MEDIAMODEL_EXPORT StreamServer : public QObject
{
    Q_OBJECT

public:
    // The single instance, created on first use and destroyed at process exit.
    static StreamServer *instance();
    ~StreamServer() override;

    // The http:// URL of a file of an account, starting to listen when needed; empty when the
    // server cannot listen. A URL holds only while the server keeps listening: after an idle
    // stop the next URL may name another port.
    QString getUrl(qint64 accountId, QString fileId);
    // Closes every connection that serves a file of the account, e.g. when it signs out. Unlike
    // a client's own disconnect, this does not start the idle stop.
    void disconnectForUser(qint64 accountId);
    // Stops listening and closes every connection; does nothing when not listening.
    void close();
    // Destroys the server, its timer and its connections for shutdown, after all use has ended;
    // the instance does nothing afterwards (getUrl returns an empty string).
    void release();

private:
    StreamServer();
    Q_DISABLE_COPY(StreamServer)

    // Network thread.
    bool startServer();
    void stopServer();
    void onNewConnection();
    void onDisconnected(QTcpSocket *socket);
    void onAcceptError();
    // Accepts again after a pause, unless the connections are at their cap.
    void resumeAcceptingIfRoom();
    // Runs task on the network thread and waits for it; false when the server is released.
    bool runOnNetworkThread(const std::function<void()> &task);

    class Private;
    std::unique_ptr<Private> d;
};

} // namespace network
