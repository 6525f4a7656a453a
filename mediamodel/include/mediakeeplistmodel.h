#pragma once

#include "mediamodel_export.h"

#include <QAbstractListModel>
#include <QList>
#include <QString>

// Dialogs of the retention settings page, one row each: the dialogs with their own keep time,
// or the dialogs a search offers for one. Lives and changes on the main thread.
class MEDIAMODEL_EXPORT MediaKeepListModel : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(int count READ rowCount NOTIFY countChanged)

public:
    enum Role { DialogIdRole = Qt::UserRole + 1, NameRole, KeepTimeRole, IsGroupRole };
    Q_ENUM(Role)

    struct Row
    {
        QString dialogId;
        QString name;
        int keepTime = 0; // the dialog's own keep time; 0 for a search hit without one
        bool isGroup = false;
    };

    explicit MediaKeepListModel(QObject *parent = nullptr);

    // The order the rows are shown in: by name ignoring case, then by dialog id.
    static bool lessByName(const Row &a, const Row &b);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    // Replaces every row.
    void reset(const QList<Row> &rows);
    // Adds rows at the end.
    void append(const QList<Row> &rows);
    // Replaces the row of the same dialog, or appends it.
    void upsert(const Row &row);
    void removeDialog(const QString &dialogId);
    // The row of the dialog; -1 when it has none.
    int indexOf(const QString &dialogId) const;
    QList<Row> rows() const { return m_rows; }

Q_SIGNALS:
    void countChanged();

private:
    QList<Row> m_rows;
};
