#pragma once

// Internal to the storage library, not API.

#include <QString>
#include <QStringList>
#include <QVariantList>

namespace storage {

// The WHERE clause of a statement: terms joined by AND, with the values they bind, in order.
// Terms are fixed SQL written by the library; anything from callers goes into the values.
class WhereClause
{
public:
    WhereClause() = default;
    WhereClause(const QString &term, const QVariantList &values) { add(term, values); }

    WhereClause &add(const QString &term, const QVariantList &values = {})
    {
        m_terms.append(term);
        m_values.append(values);
        return *this;
    }

    // " WHERE a AND b", or nothing without terms.
    QString sql() const
    {
        return m_terms.isEmpty()
                ? QString()
                : QStringLiteral(" WHERE ") + m_terms.join(QStringLiteral(" AND "));
    }

    const QVariantList &values() const { return m_values; }

private:
    QStringList m_terms;
    QVariantList m_values;
};

} // namespace storage
