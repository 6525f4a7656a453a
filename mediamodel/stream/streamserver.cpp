#include "streamserver.h"

#include "byterange_p.h"
#include "mediamodellog_p.h"
#include "streamrequestparser_p.h"
#include "streamserver_p.h"

#include "accountbase.h"
#include "accountmanager.h"
#include "downloadfilemgr.h"
#include "filedata.h"
#include "filemanager.h"
#include "networkthread.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QHostAddress>
#include <QMutex>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>
#include <QTimer>
#include <QUrl>

#include <algorithm>
#include <atomic>
#include <optional>
#include <unordered_map>

#include <sys/resource.h>

namespace network {

namespace {

constexpr int kIdleStopMs = 30000;
std::atomic<int> s_idleStopMs {kIdleStopMs};

constexpr qint64 kStreamChunkSize = 512000;
// A slow reader must not make the server buffer the whole file: the next chunk is asked for only
// while less than this waits in the socket.
constexpr qint64 kMaxQueuedStreamBytes = 1024 * 1024;
// A client that sends requests without reading the replies is not read any further while this
// much waits in its socket. Larger than a chunk over kMaxQueuedStreamBytes, so that a streaming
// reply never stops a new request from cancelling it.
constexpr qint64 kMaxQueuedReplyBytes = 4 * 1024 * 1024;
// What one read of a client socket may hold.
constexpr qint64 kSocketReadBufferBytes = 64 * 1024;
// Connections held at once: a quarter of the descriptors the process may open, within these
// bounds, so that a flood of idle clients leaves the process the descriptors it reads files with
// and the streams that play go on. Players in the process need a few.
constexpr int kMinConnections = 4;
constexpr int kMaxConnections = 256;
// After an error accepting a connection (descriptors run out), the server listens again after
// this long, or as soon as one of its connections closes.
constexpr int kAcceptRetryMs = 500;

const QHostAddress kListenAddress(QHostAddress::LocalHost);

const QByteArray kHttpVersion = QByteArrayLiteral("HTTP/1.1 ");
const QByteArray kStatusOk = QByteArrayLiteral("200 OK");
// The program's own reason phrase for partial content; players only read the code.
const QByteArray kStatusPartialContent = QByteArrayLiteral("206 OK");
const QByteArray kStatusBadRequest = QByteArrayLiteral("400 Bad Request");
const QByteArray kStatusNotFound = QByteArrayLiteral("404 Not Found");
const QByteArray kStatusRangeNotSatisfiable =
        QByteArrayLiteral("416 Requested Range Not Satisfiable");
const QByteArray kMethodGet = QByteArrayLiteral("GET");
const QByteArray kRangeHeader = QByteArrayLiteral("Range");
const QByteArray kHostHeader = QByteArrayLiteral("host");
// The names of the loopback address the server may be reached by; any other name in Host is a
// page in a browser whose own name resolves here (DNS rebinding).
const QByteArray kLoopbackHosts[] = {QByteArrayLiteral("127.0.0.1"), QByteArrayLiteral("localhost"),
                                     QByteArrayLiteral("[::1]")};
const QByteArray kContentRangeUnit = QByteArrayLiteral("bytes ");
const QByteArray kContentLength = QByteArrayLiteral("Content-Length");
const QByteArray kContentRange = QByteArrayLiteral("Content-Range");
const QByteArray kContentType = QByteArrayLiteral("Content-Type");
const QByteArray kOctetStream = QByteArrayLiteral("application/octet-stream");
const QByteArray kServerLine = QByteArrayLiteral("Server: im-stream-server");
const QByteArray kConnectionLine = QByteArrayLiteral("Connection: keep-alive");
const QByteArray kDatePrefix = QByteArrayLiteral("Date: ");
const QByteArray kLineEnd = QByteArrayLiteral("\r\n");

QByteArray headerLine(const QByteArray &name, const QByteArray &value)
{
    return name + ": " + value;
}

int connectionCap()
{
    rlimit limit {};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) {
        return kMaxConnections;
    }
    return int(qBound<rlim_t>(kMinConnections, limit.rlim_cur / 4, kMaxConnections));
}

// Whether a Host value names the loopback address, alone or with the port the client reached.
bool isLoopbackHost(const QByteArray &value, quint16 port)
{
    const QByteArray host = value.trimmed().toLower();
    const QByteArray withPort = ':' + QByteArray::number(port);
    return std::any_of(std::begin(kLoopbackHosts), std::end(kLoopbackHosts),
                       [&host, &withPort](const QByteArray &loopback) {
                           return host == loopback || host == loopback + withPort;
                       });
}

// Runs task on thread's event loop and waits for it; inline when that is the calling thread or
// when its loop has ended.
void runBlockingOn(QThread *thread, const std::function<void()> &task)
{
    if (thread == QThread::currentThread() || !thread->isRunning()) {
        task();
        return;
    }
    // A context of its own: the objects the task deletes cannot serve as the receiver.
    QObject context;
    context.moveToThread(thread);
    if (!QMetaObject::invokeMethod(&context, task, Qt::BlockingQueuedConnection)) {
        qCWarning(lcMedia, "[stream_server]: the network thread cannot be reached");
    }
}

// The file a stream reads: the account's FileManager (guarded, since an account may sign out
// without disconnectForUser) and the file id.
struct StreamSource
{
    qint64 userId = 0;
    QString fileId;
    QPointer<FileManager> fileManager;

    QSharedPointer<FileData> file() const
    {
        return fileManager ? fileManager->filePtrWithId(fileId, true) : nullptr;
    }
    DownloadFileMgr *downloads() const
    {
        return fileManager ? fileManager->downloadFileMgr() : nullptr;
    }
};

// One accepted client. Reads requests, answers errors and plain requests with a header block,
// and streams range requests chunk by chunk from the account's DownloadFileMgr: one request
// outstanding, the next asked for once the previous chunk has been handed to the socket. A new
// request cancels the range being streamed.
//
// Owned by the server's connection table and torn down by closeConnection, which posts its
// deletion; lives on the network thread, where everything but onStreamBuffer runs.
class StreamConnection
{
public:
    explicit StreamConnection(QTcpSocket *socket);

    // Whether the connection asked for or streams a file of the account.
    bool servesAccount(qint64 accountId) const
    {
        return m_userId == accountId || (m_streaming && m_source.userId == accountId);
    }

    void onReadyRead();
    // Aborts the outstanding chunk, drops the socket's connections, disconnects it and posts the
    // deletion of this object and of the socket behind any task already posted to the socket.
    void closeConnection();

private:
    void parseRequests();
    void parseReply();
    // The value of a Host header of the request that names anything but the loopback address.
    std::optional<QByteArray> foreignHost() const;
    // The file the request's path names; null after replying 404.
    QSharedPointer<FileData> resolveTarget(StreamSource &source);
    void replyStatus(const QByteArray &status);
    void startStreaming(const StreamSource &source, const QList<ByteRange> &ranges);
    void sendNextChunk();
    // Asks for the next chunk bytes of range, which holds at least that many.
    void requestChunk(ByteRange &range, qint64 chunk);
    void queueRangeHeader(const ByteRange &range, qint64 size);
    void flushReply();
    void abortStreamRequest();
    // Any thread: the buffer callback.
    void onStreamBuffer(qint64 requestId, const QByteArray &data);
    void writeChunk(qint64 requestId, const QByteArray &data);
    void onBytesWritten();
    bool isReplyBacklogFull() const;

    QMutex m_lock;        // guards m_socket against onStreamBuffer; held only to read or clear it
    QTcpSocket *m_socket; // null once closed; written only on the network thread
    StreamRequestParser m_request;
    qint64 m_userId = 0;   // account of the last request whose path named a known file
    StreamSource m_source; // the file of the ranges below
    bool m_streaming = false;
    qint64 m_streamRequestId = 0;   // outstanding chunk; 0 = none
    qint64 m_streamChunkLength = 0; // bytes of the outstanding chunk
    std::unique_ptr<ByteRange> m_current;
    QList<ByteRange> m_pending;
    QList<QByteArray> m_replyLines;
    QByteArray m_replyBody;         // nothing fills it; kept so that a reply may carry a body
    bool m_waitingForDrain = false; // the next chunk is due once the client has read enough
    bool m_readingPaused = false;   // requests wait until the client has read enough replies
};

StreamConnection::StreamConnection(QTcpSocket *socket)
    : m_socket(socket)
{
    m_socket->setReadBufferSize(kSocketReadBufferBytes);
    QObject::connect(
            socket, &QTcpSocket::readyRead, socket, [this] { onReadyRead(); },
            Qt::DirectConnection);
    // Queued: flush() emits bytesWritten from inside a write, where resuming would re-enter the
    // streaming code.
    QObject::connect(
            socket, &QTcpSocket::bytesWritten, socket, [this] { onBytesWritten(); },
            Qt::QueuedConnection);
}

void StreamConnection::onReadyRead()
{
    if (!m_socket) {
        return;
    }
    if (isReplyBacklogFull()) {
        m_readingPaused = true; // onBytesWritten resumes
        return;
    }
    m_request.append(m_socket->readAll());
    parseRequests();
}

void StreamConnection::parseRequests()
{
    while (m_socket && m_request.consumeLine()) {
        switch (m_request.state()) {
        case StreamRequestParser::RequestComplete:
            m_replyLines.clear();
            m_replyBody.clear();
            parseReply();
            m_request.startNextRequest();
            break;
        case StreamRequestParser::ParseFailed:
            // The rest of the buffer is read as a new request.
            replyStatus(kStatusBadRequest);
            m_request.startNextRequest();
            break;
        default:
            break;
        }
        if (isReplyBacklogFull()) {
            m_readingPaused = true;
            return;
        }
    }
    if (m_socket && m_request.isHeadTooLarge()) {
        qCWarning(lcMedia, "[stream_server]: request head over %lld bytes, disconnecting",
                  qint64(StreamRequestParser::kMaxRequestHeadBytes));
        m_socket->disconnectFromHost();
    }
}

bool StreamConnection::isReplyBacklogFull() const
{
    return m_socket && m_socket->bytesToWrite() > kMaxQueuedReplyBytes;
}

void StreamConnection::onBytesWritten()
{
    if (!m_socket) {
        return;
    }
    if (m_waitingForDrain && m_socket->bytesToWrite() <= kMaxQueuedStreamBytes) {
        m_waitingForDrain = false;
        sendNextChunk();
    }
    if (m_readingPaused && !isReplyBacklogFull()) {
        m_readingPaused = false;
        onReadyRead();
    }
}

std::optional<QByteArray> StreamConnection::foreignHost() const
{
    const QHash<QByteArray, QByteArray> &headers = m_request.headers();
    for (auto it = headers.cbegin(); it != headers.cend(); ++it) {
        if (it.key().compare(kHostHeader, Qt::CaseInsensitive) == 0
            && !isLoopbackHost(it.value(), m_socket->localPort())) {
            return it.value();
        }
    }
    return std::nullopt;
}

QSharedPointer<FileData> StreamConnection::resolveTarget(StreamSource &source)
{
    // One URL opens every file of its account, so a name that merely resolves to the loopback
    // address must open none. A request without Host is one from this machine's own players.
    if (const std::optional<QByteArray> host = foreignHost()) {
        qCWarning(lcMedia, "[stream_server]: request for another host: %s", host->constData());
        replyStatus(kStatusNotFound);
        return nullptr;
    }
    const QString path = QUrl(QString::fromUtf8(m_request.target())).path(QUrl::FullyDecoded);
    if (path.isEmpty()) {
        qCWarning(lcMedia, "[stream_server]: empty path");
        replyStatus(kStatusNotFound);
        return nullptr;
    }
    // The first character is dropped whatever it is; empty parts are kept, so a trailing or a
    // doubled slash fails below.
    const QStringList parts = path.mid(1).split(QLatin1Char('/'));
    if (parts.size() != 2) {
        qCWarning(lcMedia, "[stream_server]: invalid path");
        replyStatus(kStatusNotFound);
        return nullptr;
    }
    bool ok = false;
    const qint64 userId = parts.at(0).toLongLong(&ok, 10);
    if (!ok) {
        qCWarning(lcMedia, "[stream_server]: invalid user id");
        replyStatus(kStatusNotFound);
        return nullptr;
    }
    const QString fileId = parts.at(1);
    if (fileId.isEmpty()) {
        qCWarning(lcMedia, "[stream_server]: invalid file id");
        replyStatus(kStatusNotFound);
        return nullptr;
    }
    AccountBase *account = AccountManager::getInstance()->getAccount(userId);
    if (!account) {
        qCWarning(lcMedia, "[stream_server]: can not find account model %lld", userId);
        replyStatus(kStatusNotFound);
        return nullptr;
    }
    QSharedPointer<FileData> file = account->fileManager()->filePtrWithId(fileId, true);
    if (!file) {
        qCWarning(lcMedia, "[stream_server]: invalid file id");
        replyStatus(kStatusNotFound);
        return nullptr;
    }
    m_userId = userId;
    source = {userId, fileId, account->fileManager()};
    return file;
}

void StreamConnection::parseReply()
{
    StreamSource source;
    const QSharedPointer<FileData> file = resolveTarget(source);
    if (!file) {
        return;
    }
    // Only range requests are served: anything else gets an empty 200 by design.
    if (m_request.method() != kMethodGet) {
        replyStatus(kStatusOk);
        return;
    }
    const auto range = m_request.headers().constFind(kRangeHeader);
    if (range == m_request.headers().cend()) {
        replyStatus(kStatusOk);
        return;
    }
    QList<ByteRange> ranges;
    switch (parseByteRanges(*range, file->size(), ranges)) {
    case RangeHeaderResult::BadKeyword:
        replyStatus(kStatusRangeNotSatisfiable);
        return;
    case RangeHeaderResult::BadNumber:
        qCWarning(lcMedia, "[stream_server]: parse ranges failed");
        replyStatus(kStatusRangeNotSatisfiable);
        return;
    case RangeHeaderResult::Parsed:
        break;
    }
    startStreaming(source, ranges);
}

void StreamConnection::replyStatus(const QByteArray &status)
{
    m_replyLines.clear();
    m_replyBody.clear();
    m_replyLines.append(kHttpVersion + status);
    flushReply();
}

void StreamConnection::startStreaming(const StreamSource &source, const QList<ByteRange> &ranges)
{
    // Cancels what streams: bytes already written stay written. With no range gathered, nothing
    // is written at all.
    abortStreamRequest();
    m_source = source;
    m_current.reset();
    m_pending = ranges;
    m_streaming = true;
    m_waitingForDrain = false;
    sendNextChunk();
}

void StreamConnection::sendNextChunk()
{
    const QSharedPointer<FileData> file = m_source.file();
    DownloadFileMgr *downloads = m_source.downloads();
    if (!file || !downloads) {
        if (m_current || !m_pending.isEmpty()) {
            qCWarning(lcMedia, "[stream_server]: file %s is gone, stream dropped",
                      qUtf8Printable(m_source.fileId));
            m_current.reset();
            m_pending.clear();
        }
        return;
    }
    const qint64 size = file->size();
    for (;;) {
        if (!m_current && !m_pending.isEmpty()) {
            abortStreamRequest();
            m_current = std::make_unique<ByteRange>(m_pending.takeFirst());
            queueRangeHeader(*m_current, size);
            flushReply();
        }
        if (!m_socket || !m_current) {
            return;
        }
        ByteRange &range = *m_current;
        const qint64 inFile = range.start >= 0 && range.start <= size ? size - range.start : 0;
        const qint64 chunk = qMin(qMin(kStreamChunkSize, inFile), qMax<qint64>(range.length, 0));
        if (chunk > 0) {
            requestChunk(range, chunk);
            return;
        }
        // A range is announced unclamped. Past the end of the file no bytes can come: once the
        // file's bytes are written the connection ends, as the length it announced cannot be kept.
        if (range.length > 0) {
            qCWarning(lcMedia,
                      "[stream_server]: range of %s runs past the end of the file, "
                      "disconnecting",
                      qUtf8Printable(m_source.fileId));
            m_current.reset();
            m_pending.clear();
            m_socket->disconnectFromHost();
            return;
        }
        // An empty range is whole with its header; the next one follows at once.
        m_current.reset();
    }
}

void StreamConnection::requestChunk(ByteRange &range, qint64 chunk)
{
    m_streamChunkLength = chunk;
    m_streamRequestId = m_source.downloads()->requestStreamBuffer(
            m_source.fileId, range.start, chunk,
            [this](qint64 requestId, const QByteArray &data) { onStreamBuffer(requestId, data); });
    range.start += chunk;
    range.length -= chunk;
    if (range.length == 0) {
        m_current.reset();
    }
}

void StreamConnection::queueRangeHeader(const ByteRange &range, qint64 size)
{
    // The end is one past the last byte, unlike the usual notation; the players in use accept it.
    const QByteArray contentRange = kContentRangeUnit + QByteArray::number(range.start) + '-'
            + QByteArray::number(range.start + range.length) + '/' + QByteArray::number(size);
    m_replyLines.append(kHttpVersion + kStatusPartialContent);
    m_replyLines.append(headerLine(kContentType, kOctetStream));
    m_replyLines.append(headerLine(kContentRange, contentRange));
    m_replyLines.append(headerLine(kContentLength, QByteArray::number(range.length)));
}

void StreamConnection::flushReply()
{
    if (m_replyLines.isEmpty()) {
        return;
    }
    m_replyLines.append(kServerLine);
    m_replyLines.append(kConnectionLine);
    m_replyLines.append(kDatePrefix
                        + QDateTime::currentDateTimeUtc().toString(Qt::TextDate).toUtf8());
    QByteArray reply;
    for (const QByteArray &line : std::as_const(m_replyLines)) {
        reply += line + kLineEnd;
    }
    reply += kLineEnd;
    reply += m_replyBody;
    if (m_socket) {
        m_socket->write(reply);
        m_socket->flush();
    }
    m_replyLines.clear();
    m_replyBody.clear();
}

void StreamConnection::abortStreamRequest()
{
    if (m_streamRequestId == 0) {
        return;
    }
    if (DownloadFileMgr *downloads = m_source.downloads()) {
        downloads->abortDownloader(m_streamRequestId);
    }
    m_streamRequestId = 0;
}

void StreamConnection::onStreamBuffer(qint64 requestId, const QByteArray &data)
{
    QMutexLocker locker(&m_lock);
    if (m_socket) {
        QMetaObject::invokeMethod(
                m_socket, [this, requestId, data] { writeChunk(requestId, data); },
                Qt::QueuedConnection);
    }
}

void StreamConnection::writeChunk(qint64 requestId, const QByteArray &data)
{
    // A chunk posted before a new request cancelled its range must not land in the new reply.
    if (!m_socket || requestId != m_streamRequestId) {
        return;
    }
    if (data.size() != m_streamChunkLength) {
        // The file library gave up on these bytes. The reply has announced its length, so the
        // only honest end is to close the connection; the player reconnects or reports it.
        qCWarning(lcMedia, "[stream_server]: bytes of %s cannot be read, disconnecting",
                  qUtf8Printable(m_source.fileId));
        m_streamRequestId = 0;
        m_socket->disconnectFromHost();
        return;
    }
    m_socket->write(data);
    // A client that has hung up is found out here: the disconnect closes this connection at once.
    m_socket->flush();
    if (!m_socket) {
        return;
    }
    if (m_socket->bytesToWrite() > kMaxQueuedStreamBytes) {
        m_waitingForDrain = true; // onBytesWritten asks for the next chunk
        return;
    }
    sendNextChunk();
}

void StreamConnection::closeConnection()
{
    abortStreamRequest();
    QTcpSocket *socket = m_socket;
    // Queued behind any write task already posted, which then finds the socket gone.
    QMetaObject::invokeMethod(
            socket,
            [this, socket] {
                delete this;
                socket->deleteLater();
            },
            Qt::QueuedConnection);
    QMutexLocker locker(&m_lock);
    socket->disconnect();
    socket->disconnectFromHost();
    m_socket = nullptr;
}

struct ConnectionCloser
{
    void operator()(StreamConnection *connection) const { connection->closeConnection(); }
};
using ConnectionPtr = std::unique_ptr<StreamConnection, ConnectionCloser>;

} // namespace

void setStreamServerIdleIntervalForTests(int msecs)
{
    s_idleStopMs = msecs;
}

// Everything here lives on, and is touched only from, the network thread.
class StreamServer::Private
{
public:
    Private()
        : server(std::make_unique<QTcpServer>())
        , idleTimer(std::make_unique<QTimer>())
        , acceptRetryTimer(std::make_unique<QTimer>())
    { }

    ~Private()
    {
        server.reset();
        idleTimer.reset();
        acceptRetryTimer.reset();
        connections.clear(); // closes each connection
    }

    std::unique_ptr<QTcpServer> server;
    std::unique_ptr<QTimer> idleTimer;
    std::unique_ptr<QTimer> acceptRetryTimer; // single-shot, after an accept error
    std::unordered_map<QTcpSocket *, ConnectionPtr> connections;
    int connectionCap = kMaxConnections; // set each time the server starts listening
    bool bAcceptPaused = false;          // at the cap or after an accept error
};

StreamServer *StreamServer::instance()
{
    static StreamServer server;
    return &server;
}

namespace {
void releaseAtApplicationExit()
{
    StreamServer::instance()->release();
}
} // namespace

StreamServer::StreamServer()
    : d(std::make_unique<Private>())
{
    QThread *thread = getNetworkThread();
    d->server->moveToThread(thread);
    connect(
            d->server.get(), &QTcpServer::newConnection, d->server.get(),
            [this] { onNewConnection(); }, Qt::DirectConnection);
    d->idleTimer->setSingleShot(true);
    d->idleTimer->setInterval(kIdleStopMs);
    d->idleTimer->moveToThread(thread);
    connect(
            d->idleTimer.get(), &QTimer::timeout, d->idleTimer.get(), [this] { stopServer(); },
            Qt::DirectConnection);
    // The server pauses itself when an accept fails for want of descriptors; it is woken here,
    // never by a loop that tries again at once.
    connect(
            d->server.get(), &QTcpServer::acceptError, d->server.get(),
            [this](QAbstractSocket::SocketError) { onAcceptError(); }, Qt::DirectConnection);
    d->acceptRetryTimer->setSingleShot(true);
    d->acceptRetryTimer->setInterval(kAcceptRetryMs);
    d->acceptRetryTimer->moveToThread(thread);
    connect(
            d->acceptRetryTimer.get(), &QTimer::timeout, d->acceptRetryTimer.get(),
            [this] { resumeAcceptingIfRoom(); }, Qt::DirectConnection);
    // After the application object is gone, events no longer reach the network thread, so the
    // sockets are released while it still exists.
    if (QCoreApplication::instance()) {
        qAddPostRoutine(releaseAtApplicationExit);
    }
}

StreamServer::~StreamServer()
{
    release();
}

void StreamServer::release()
{
    if (!d) {
        return;
    }
    // Taken and destroyed on the thread its sockets and timer live on while that thread runs:
    // a socket of it may be announcing its disconnection there at this very moment.
    runBlockingOn(getNetworkThread(), [this] {
        std::unique_ptr<Private> released = std::move(d);
        released.reset();
        // Closing a connection posts the deletion of it and of its socket. At application
        // exit the thread stops before its next turn, so that runs here and now.
        if (QThread::currentThread() == getNetworkThread()) {
            QCoreApplication::sendPostedEvents();
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        }
    });
}

bool StreamServer::runOnNetworkThread(const std::function<void()> &task)
{
    QThread *thread = getNetworkThread();
    if (thread != QThread::currentThread() && !thread->isRunning()) {
        qCWarning(lcMedia, "[stream_server]: the network thread has stopped");
        return false;
    }
    // Looked at there: a release may take the server state away until the task's turn comes.
    bool ran = false;
    runBlockingOn(thread, [this, &task, &ran] {
        if (d) {
            task();
            ran = true;
        }
    });
    return ran;
}

QString StreamServer::getUrl(qint64 accountId, QString fileId)
{
    QString result;
    runOnNetworkThread([this, accountId, &fileId, &result] {
        if (!startServer()) {
            qCWarning(lcMedia, "[stream_server]: start failed.");
            return;
        }
        QUrl url;
        url.setScheme(QStringLiteral("http"));
        url.setHost(d->server->serverAddress().toString(), QUrl::DecodedMode);
        url.setPort(d->server->serverPort());
        url.setPath(QLatin1Char('/') + QString::number(accountId) + QLatin1Char('/') + fileId,
                    QUrl::DecodedMode);
        result = url.toString();
    });
    return result;
}

void StreamServer::disconnectForUser(qint64 accountId)
{
    const bool ran = runOnNetworkThread([this, accountId] {
        // Unlike a client's own disconnect, this never starts the idle timer.
        for (auto it = d->connections.begin(); it != d->connections.end();) {
            it = it->second->servesAccount(accountId) ? d->connections.erase(it) : std::next(it);
        }
    });
    if (ran) {
        qCDebug(lcMedia, "[stream_server]: disconnect for user %lld", accountId);
    }
}

void StreamServer::close()
{
    runOnNetworkThread([this] { stopServer(); });
}

bool StreamServer::startServer()
{
    if (d->server->isListening()) {
        return true;
    }
    if (!d->server->listen(kListenAddress, 0)) {
        qCWarning(lcMedia, "[stream_server]: listen error: %s",
                  qUtf8Printable(d->server->errorString()));
        return false;
    }
    // Qt accepts ahead into a list of its own; one there at most, so that the cap holds.
    d->server->setMaxPendingConnections(1);
    d->connectionCap = connectionCap();
    d->bAcceptPaused = false;
    d->idleTimer->setInterval(s_idleStopMs.load());
    d->idleTimer->start();
    qCDebug(lcMedia, "[stream_server]: start server: %d", int(d->server->serverPort()));
    return true;
}

void StreamServer::stopServer()
{
    if (!d->server->isListening()) {
        return;
    }
    d->idleTimer->stop();
    d->acceptRetryTimer->stop();
    d->server->close();
    d->connections.clear();
    qCDebug(lcMedia, "[stream_server]: close server");
}

void StreamServer::onNewConnection()
{
    while (int(d->connections.size()) < d->connectionCap && d->server->hasPendingConnections()) {
        QTcpSocket *socket = d->server->nextPendingConnection();
        // The connection's teardown deletes the socket, so it must not die with the server.
        socket->setParent(nullptr);
        connect(socket, &QTcpSocket::disconnected, socket,
                [this, socket] { onDisconnected(socket); });
        d->connections.emplace(socket, ConnectionPtr(new StreamConnection(socket)));
        d->idleTimer->stop();
    }
    // Taking a pending connection makes the server accept again, so it pauses only after.
    if (int(d->connections.size()) >= d->connectionCap && !d->bAcceptPaused) {
        qCWarning(lcMedia, "[stream_server]: %d connections, accepting no more until one closes",
                  d->connectionCap);
        d->server->pauseAccepting();
        d->bAcceptPaused = true;
    }
}

void StreamServer::onAcceptError()
{
    if (!d->bAcceptPaused) {
        qCWarning(lcMedia,
                  "[stream_server]: accept error: %s; accepting again in %d ms or when "
                  "a connection closes",
                  qUtf8Printable(d->server->errorString()), kAcceptRetryMs);
    }
    // Paused already by the server for every error but a passing one.
    d->server->pauseAccepting();
    d->bAcceptPaused = true;
    d->acceptRetryTimer->start();
}

void StreamServer::resumeAcceptingIfRoom()
{
    if (!d->bAcceptPaused || !d->server->isListening()
        || int(d->connections.size()) >= d->connectionCap) {
        return;
    }
    d->bAcceptPaused = false;
    d->server->resumeAccepting();
    onNewConnection();
}

void StreamServer::onDisconnected(QTcpSocket *socket)
{
    // A socket deleted after the release still says goodbye.
    if (!d) {
        return;
    }
    const auto it = d->connections.find(socket);
    if (it != d->connections.end()) {
        d->connections.erase(it);
        // A descriptor is free again.
        d->acceptRetryTimer->stop();
        resumeAcceptingIfRoom();
    } else {
        qCWarning(lcMedia, "[stream_server]: unknown socket %p", static_cast<void *>(socket));
    }
    if (d->connections.empty()) {
        d->idleTimer->setInterval(s_idleStopMs.load());
        d->idleTimer->start();
    }
}

} // namespace network
