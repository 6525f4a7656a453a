#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

// Writes ZIP archives. Qt has no public ZIP writer, and the sample's archives are small, so the
// entries are stored as they are (no compression).
namespace ZipArchive {

struct Entry
{
    QString name; // a path inside the archive, '/' between folders
    QByteArray data;
};

// The archive of entries, in their order. Every entry carries the same fixed time, so that equal
// entries give equal bytes.
QByteArray write(const QList<Entry> &entries);

// The CRC-32 (IEEE 802.3) of data, as ZIP records it.
quint32 crc32(const QByteArray &data);

} // namespace ZipArchive
