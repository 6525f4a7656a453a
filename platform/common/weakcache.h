#pragma once

#include <QHash>
#include <QSharedPointer>
#include <QWeakPointer>

// Objects others hold, found by key while anyone holds them: a chat's messages, an account's
// files. The cache itself holds none. An entry outlives its object until the table has grown to
// twice the entries it kept at the last sweep; then the expired ones go together, so a long chat
// paged through and released leaves no trail of dead entries behind. Not thread-safe: the owner
// guards it.
template<typename Key, typename T> class WeakCache
{
public:
    // The object of key, or null when nobody holds one.
    QSharedPointer<T> value(const Key &key) const { return m_entries.value(key).toStrongRef(); }

    // Keeps object for key unless one is held there already, and returns the one kept.
    QSharedPointer<T> adopt(const Key &key, const QSharedPointer<T> &object)
    {
        QWeakPointer<T> &slot = m_entries[key];
        if (QSharedPointer<T> known = slot.toStrongRef()) {
            return known;
        }
        slot = object;
        sweepIfGrown();
        return object;
    }

    // Room for more entries, so that a batch grows the table at most once.
    void reserveMore(qsizetype more) { m_entries.reserve(m_entries.size() + more); }

    // Entries, expired ones included.
    qsizetype size() const { return m_entries.size(); }

private:
    static constexpr qsizetype MinSweepSize = 64;

    void sweepIfGrown()
    {
        if (m_entries.size() <= m_sweepSize) {
            return;
        }
        m_entries.removeIf([](const auto &entry) { return entry.value().isNull(); });
        m_sweepSize = qMax(MinSweepSize, m_entries.size() * 2);
    }

    QHash<Key, QWeakPointer<T>> m_entries;
    qsizetype m_sweepSize = MinSweepSize;
};
