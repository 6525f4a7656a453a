#pragma once

#include "mediasizebasemodel.h"

#include <QString>

// The sizes of one dialog's cached data by kind.
class MEDIAMODEL_EXPORT MediaSizeModel : public MediaSizeBaseModel
{
    Q_OBJECT
    Q_PROPERTY(QString dialogId READ dialogId CONSTANT)

public:
    explicit MediaSizeModel(const QString &dialogId, QObject *parent = nullptr);

    QString dialogId() const { return m_dialogId; }

private:
    const QString m_dialogId;
};
