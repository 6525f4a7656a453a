#pragma once

//
// Internal to the file library, not API.
//

#include <QMap>
#include <QString>

// The byte ranges of a file that sit in its range file (see RangeFetch), as disjoint, sorted,
// half-open intervals [start, end); adjacent and overlapping ranges merge. Persisted next to the
// range file as one "start end" line per range, so that the bytes fetched before a restart are
// still served from there; ranges are saved only after their bytes are flushed, so the map never
// claims bytes that a crash lost.
//
// Not thread-safe; the download queue owns one per file on the network thread.
class ByteRangeMap
{
public:
    void add(qint64 start, qint64 end);
    // Whether every byte of [start, end) is present; an empty interval is.
    bool contains(qint64 start, qint64 end) const;
    bool isEmpty() const { return m_ranges.isEmpty(); }
    qint64 rangeCount() const { return m_ranges.size(); }

    // False, leaving the map empty, when the file is missing or malformed.
    bool load(const QString &path);
    bool save(const QString &path) const;

private:
    QMap<qint64, qint64> m_ranges; // start -> end
};
