#include "byterangemap_p.h"

#include "platformlog.h"

#include <QFile>
#include <QSaveFile>

void ByteRangeMap::add(qint64 start, qint64 end)
{
    if (start < 0 || end <= start) {
        return;
    }
    // Swallows every range that touches or overlaps [start, end).
    auto it = m_ranges.upperBound(start);
    if (it != m_ranges.begin() && std::prev(it).value() >= start) {
        --it;
    }
    while (it != m_ranges.end() && it.key() <= end) {
        start = qMin(start, it.key());
        end = qMax(end, it.value());
        it = m_ranges.erase(it);
    }
    m_ranges.insert(start, end);
}

bool ByteRangeMap::contains(qint64 start, qint64 end) const
{
    if (end <= start) {
        return true;
    }
    auto it = m_ranges.upperBound(start);
    if (it == m_ranges.begin()) {
        return false;
    }
    --it;
    return it.key() <= start && end <= it.value();
}

bool ByteRangeMap::load(const QString &path)
{
    m_ranges.clear();
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return false;
    }
    while (!file.atEnd()) {
        const QList<QByteArray> fields = file.readLine().trimmed().split(' ');
        bool startOk = false;
        bool endOk = false;
        const qint64 start = fields.value(0).toLongLong(&startOk);
        const qint64 end = fields.value(1).toLongLong(&endOk);
        if (fields.size() != 2 || !startOk || !endOk || start < 0 || end <= start) {
            qCWarning(lcPlatform) << "ignoring malformed range map" << path;
            m_ranges.clear();
            return false;
        }
        add(start, end);
    }
    return true;
}

bool ByteRangeMap::save(const QString &path) const
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        qCWarning(lcPlatform) << "cannot write range map" << path << file.errorString();
        return false;
    }
    for (auto it = m_ranges.cbegin(); it != m_ranges.cend(); ++it) {
        file.write(QByteArray::number(it.key()) + ' ' + QByteArray::number(it.value()) + '\n');
    }
    return file.commit();
}
