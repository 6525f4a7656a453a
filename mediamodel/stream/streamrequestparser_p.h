#pragma once

//
// Internal to the stream server, not API.
//

#include "mediamodel_export.h"

#include <QByteArray>
#include <QHash>

namespace network {

// Splits the bytes a stream client sends into HTTP/1.1 requests, one line at a time. Only "\r\n"
// ends a line. A request is a request line of exactly three blank-separated fields, header lines
// "name: value" (the first occurrence of a name wins, names are case-sensitive) and an empty
// line; a Content-Length body is taken from what has arrived and never waited for.
//
// The owner feeds bytes with append, then calls consumeLine until it returns false; after each
// line it looks at state(): RequestComplete and ParseFailed each call for a reply, after which
// the owner calls startNextRequest. Not thread-safe; owned by one connection.
class MEDIAMODEL_TESTS_EXPORT StreamRequestParser
{
public:
    enum ParseState {
        ReadRequestLine = 0,
        ReadHeaders = 1,
        RequestComplete = 2,
        ParseFailed = 0xFFFF,
    };

    // A request head (request line and headers) larger than this is not parsed: a client can
    // make the connection hold no more than this and one read of the socket.
    static constexpr qsizetype kMaxRequestHeadBytes = 64 * 1024;

    void append(const QByteArray &bytes) { m_receiveBuffer.append(bytes); }
    // Consumes the next complete line; false when no complete line is buffered.
    bool consumeLine();
    // After a reply to a complete or failed request: the following bytes start a new request.
    void startNextRequest();
    // Whether the request being read has outgrown kMaxRequestHeadBytes.
    bool isHeadTooLarge() const;

    ParseState state() const { return m_state; }
    bool hasBufferedBytes() const { return !m_receiveBuffer.isEmpty(); }
    QByteArray method() const { return m_method; }
    QByteArray target() const { return m_target; }
    QByteArray requestVersion() const { return m_requestVersion; }
    const QHash<QByteArray, QByteArray> &headers() const { return m_headers; }
    QByteArray body() const { return m_body; }

private:
    void parseRequestLine(const QByteArray &line);
    void parseHeaderLine(const QByteArray &line);
    void endHeaders();
    void fail();

    QByteArray m_receiveBuffer; // received, not yet consumed
    ParseState m_state = ReadRequestLine;
    QByteArray m_rawRequest; // the consumed lines of the current request, each with "\r\n"
    QByteArray m_method;
    QByteArray m_target;
    QByteArray m_requestVersion; // kept, never examined
    QHash<QByteArray, QByteArray> m_headers;
    QByteArray m_body; // taken by Content-Length, never used
};

} // namespace network
