#pragma once

//
// Internal to the stream server, not API.
//

#include "mediamodel_export.h"

#include <QByteArray>
#include <QList>

namespace network {

// A part of a file still to be sent: while it streams, start advances and length shrinks.
struct ByteRange
{
    qint64 start = 0;
    qint64 length = 0;

    friend bool operator==(const ByteRange &a, const ByteRange &b)
    {
        return a.start == b.start && a.length == b.length;
    }
};

enum class RangeHeaderResult {
    Parsed,     // ranges holds what was gathered, possibly nothing
    BadKeyword, // the value does not begin with "bytes="
    BadNumber,  // a start or end did not convert
};

// Reads the value of a Range header for a file of size bytes. Pieces are read in order; a piece
// that is not "start-end" or "start-", whose end lies before its start or whose start lies past
// the end of the file stops the reading without failing, so the pieces before it are served. The
// end is not clamped to the file: a range may announce more bytes than the file holds.
MEDIAMODEL_TESTS_EXPORT RangeHeaderResult parseByteRanges(const QByteArray &value, qint64 size,
                                                          QList<ByteRange> &ranges);

} // namespace network
