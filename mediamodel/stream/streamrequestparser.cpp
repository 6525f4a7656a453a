#include "streamrequestparser_p.h"

#include "mediamodellog_p.h"

namespace network {

namespace {
const QByteArray kLineEnd = QByteArrayLiteral("\r\n");
const QByteArray kContentLength = QByteArrayLiteral("Content-Length");
} // namespace

bool StreamRequestParser::consumeLine()
{
    const qsizetype end = m_receiveBuffer.indexOf(kLineEnd);
    if (end < 0) {
        return false;
    }
    const QByteArray line = m_receiveBuffer.left(end);
    m_receiveBuffer.remove(0, end + kLineEnd.size());
    m_rawRequest.append(line).append(kLineEnd);

    switch (m_state) {
    case ReadRequestLine:
        parseRequestLine(line);
        break;
    case ReadHeaders:
        if (line.isEmpty()) {
            endHeaders();
        } else {
            parseHeaderLine(line);
        }
        break;
    default:
        qCWarning(lcMedia, "[stream_server]: parse error");
        fail();
        break;
    }
    return true;
}

void StreamRequestParser::parseRequestLine(const QByteArray &line)
{
    // Split at every blank: two blanks in a row make an empty field and the line fails.
    const QList<QByteArray> fields = line.split(' ');
    if (fields.size() != 3) {
        qCWarning(lcMedia, "[stream_server]: parse request line error");
        fail();
        return;
    }
    m_method = fields.at(0);
    m_target = fields.at(1);
    m_requestVersion = fields.at(2);
    m_headers.clear();
    m_state = ReadHeaders;
}

void StreamRequestParser::parseHeaderLine(const QByteArray &line)
{
    const qsizetype colon = line.indexOf(':');
    if (colon < 0) {
        qCWarning(lcMedia, "[stream_server]: parse request head error");
        fail();
        return;
    }
    const QByteArray name = line.left(colon).trimmed();
    if (!m_headers.contains(name)) {
        m_headers.insert(name, line.mid(colon + 1).trimmed());
    }
}

void StreamRequestParser::endHeaders()
{
    m_state = RequestComplete;
    const auto length = m_headers.constFind(kContentLength);
    if (length == m_headers.cend()) {
        return;
    }
    bool ok = false;
    const int bodyLength = length->toInt(&ok, 10);
    if (!ok) {
        qCWarning(lcMedia, "[stream_server]: parse request data error");
        fail();
        return;
    }
    // Only what has arrived: the body is never used, so it is not waited for.
    m_body = m_receiveBuffer.left(qMax(bodyLength, 0));
    m_receiveBuffer.remove(0, m_body.size());
}

void StreamRequestParser::fail()
{
    m_state = ParseFailed;
    m_rawRequest.clear();
}

void StreamRequestParser::startNextRequest()
{
    m_state = ReadRequestLine;
    m_rawRequest.clear();
}

bool StreamRequestParser::isHeadTooLarge() const
{
    // The buffer is only counted when it holds no line end: a buffer of many whole pipelined
    // requests is consumed line by line and is bounded by the socket reads instead.
    const qsizetype unfinishedLine =
            m_receiveBuffer.contains(kLineEnd) ? 0 : m_receiveBuffer.size();
    return m_rawRequest.size() + unfinishedLine > kMaxRequestHeadBytes;
}

} // namespace network
