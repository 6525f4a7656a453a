#include "ziparchive.h"

#include <QtEndian>
#include <array>

namespace ZipArchive {

namespace {

constexpr quint32 LocalHeaderSignature = 0x04034b50;
constexpr quint32 CentralHeaderSignature = 0x02014b50;
constexpr quint32 EndOfCentralSignature = 0x06054b50;
constexpr quint16 VersionStored = 10;         // 1.0: stored entries need nothing newer
constexpr quint16 VersionMadeByUnix = 0x0314; // Unix, 2.0: the permissions below are Unix ones
constexpr quint16 Utf8Names = 0x0800;
constexpr quint16 MethodStored = 0;
constexpr quint32 RegularFileMode = 0100644;
// 2026-01-01 12:00:00 in MS-DOS form.
constexpr quint16 DosTime = 12 << 11;
constexpr quint16 DosDate = ((2026 - 1980) << 9) | (1 << 5) | 1;

std::array<quint32, 256> makeCrcTable()
{
    std::array<quint32, 256> table {};
    for (quint32 n = 0; n < 256; ++n) {
        quint32 c = n;
        for (int k = 0; k < 8; ++k) {
            c = (c & 1) ? 0xedb88320u ^ (c >> 1) : c >> 1;
        }
        table[n] = c;
    }
    return table;
}

void append16(QByteArray &out, quint16 value)
{
    char bytes[2];
    qToLittleEndian(value, bytes);
    out.append(bytes, 2);
}

void append32(QByteArray &out, quint32 value)
{
    char bytes[4];
    qToLittleEndian(value, bytes);
    out.append(bytes, 4);
}

// What the local and the central header of an entry share, from "version needed" to the lengths
// of the name and the extra field.
void appendCommonFields(QByteArray &out, const QByteArray &name, const QByteArray &data,
                        quint32 crc)
{
    append16(out, VersionStored);
    append16(out, Utf8Names);
    append16(out, MethodStored);
    append16(out, DosTime);
    append16(out, DosDate);
    append32(out, crc);
    append32(out, quint32(data.size())); // compressed size
    append32(out, quint32(data.size()));
    append16(out, quint16(name.size()));
    append16(out, 0); // no extra field
}

} // namespace

quint32 crc32(const QByteArray &data)
{
    static const std::array<quint32, 256> table = makeCrcTable();
    quint32 crc = 0xffffffffu;
    for (const char byte : data) {
        crc = table[(crc ^ quint8(byte)) & 0xff] ^ (crc >> 8);
    }
    return crc ^ 0xffffffffu;
}

QByteArray write(const QList<Entry> &entries)
{
    QByteArray archive;
    QByteArray directory;
    for (const Entry &entry : entries) {
        const QByteArray name = entry.name.toUtf8();
        const quint32 crc = crc32(entry.data);
        const quint32 offset = quint32(archive.size());
        append32(archive, LocalHeaderSignature);
        appendCommonFields(archive, name, entry.data, crc);
        archive.append(name);
        archive.append(entry.data);

        append32(directory, CentralHeaderSignature);
        append16(directory, VersionMadeByUnix);
        appendCommonFields(directory, name, entry.data, crc);
        append16(directory, 0); // no comment
        append16(directory, 0); // disk number
        append16(directory, 0); // internal attributes
        append32(directory, RegularFileMode << 16);
        append32(directory, offset);
        directory.append(name);
    }
    const quint32 directoryOffset = quint32(archive.size());
    archive.append(directory);
    append32(archive, EndOfCentralSignature);
    append16(archive, 0); // this disk
    append16(archive, 0); // the disk the directory starts on
    append16(archive, quint16(entries.size()));
    append16(archive, quint16(entries.size()));
    append32(archive, quint32(directory.size()));
    append32(archive, directoryOffset);
    append16(archive, 0); // no comment
    return archive;
}

} // namespace ZipArchive
