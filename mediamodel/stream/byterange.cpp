#include "byterange_p.h"

#include "mediamodellog_p.h"

namespace network {

namespace {
const QByteArray kBytesKeyword = QByteArrayLiteral("bytes=");

// The arithmetic of the range numbers wraps like the unsigned values they were parsed as, so that
// a client's extreme numbers give odd ranges but never undefined behaviour.
qint64 wrappingLength(qint64 start, qint64 end)
{
    return qint64(quint64(end) + 1 - quint64(start));
}
} // namespace

RangeHeaderResult parseByteRanges(const QByteArray &value, qint64 size, QList<ByteRange> &ranges)
{
    const QByteArray trimmed = value.trimmed();
    if (!trimmed.startsWith(kBytesKeyword)) {
        qCWarning(lcMedia, "[stream_server]: invalid range keyword");
        return RangeHeaderResult::BadKeyword;
    }
    const QList<QByteArray> pieces = trimmed.mid(kBytesKeyword.size()).split(',');
    for (const QByteArray &piece : pieces) {
        const QList<QByteArray> fields = piece.trimmed().split('-');
        if (fields.size() != 2) {
            qCWarning(lcMedia, "[stream_server]: parse range failed");
            break;
        }
        bool ok = false;
        // Parsed as unsigned and compared as signed: an empty start (the suffix form) fails here.
        const auto start = qint64(fields.at(0).toULongLong(&ok, 10));
        if (!ok) {
            qCWarning(lcMedia, "[stream_server]: parse start range failed");
            return RangeHeaderResult::BadNumber;
        }
        qint64 length = 0;
        if (fields.at(1).isEmpty()) {
            length = qint64(quint64(size) - quint64(start));
        } else {
            const qint64 end = fields.at(1).toLongLong(&ok, 10);
            if (!ok) {
                qCWarning(lcMedia, "[stream_server]: parse finish range failed");
                return RangeHeaderResult::BadNumber;
            }
            length = wrappingLength(start, end);
        }
        // A start equal to the size is accepted: it announces an empty range. The start is
        // checked first, so that an open range past the end is reported as such.
        if (start > size) {
            qCWarning(lcMedia, "[stream_server]: invalid start");
            break;
        }
        if (length < 0) {
            qCWarning(lcMedia, "[stream_server]: invalid range");
            break;
        }
        ranges.append({start, length});
    }
    return RangeHeaderResult::Parsed;
}

} // namespace network
