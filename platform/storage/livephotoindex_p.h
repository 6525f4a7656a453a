#pragma once

// Not API: the index of the file-reference rows by the live-photo video their record names.

#include <QString>

// The record's live-photo id is a key of its JSON text. The index holds only the rows whose
// record names one (few do) and parses well, so that ingest pays for it only there and a
// malformed record never fails a write. SQLite uses the index only for a query that repeats
// its expression and its condition word for word, hence one spelling of each.
namespace storage::LivePhotoIndex {

inline QString expression()
{
    return QStringLiteral("json_extract(CAST(data AS TEXT), '$.livePhotoId')");
}

inline QString condition()
{
    return QStringLiteral("instr(data, '\"livePhotoId\"') > 0 AND json_valid(CAST(data AS TEXT))");
}

} // namespace storage::LivePhotoIndex
