#pragma once

#include "mediamodel_export.h"

#include <QObject>

// One row of a storage-usage list: the bytes one kind of data takes, its share of the list's
// total and of the checked subset. Shares are kept in hundredths of a percent, so that 0.01 is
// the smallest non-zero share shown. Made and owned by its MediaSizeBaseModel; QML never deletes
// one. Lives on the model's (UI) thread.
class MEDIAMODEL_EXPORT MediaSizeItem : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int type READ type CONSTANT)
    Q_PROPERTY(bool atQuery READ atQuery NOTIFY atQueryChanged)
    Q_PROPERTY(qlonglong size READ size NOTIFY sizeChanged)
    Q_PROPERTY(bool checked READ checked NOTIFY checkedChanged)
    Q_PROPERTY(float percent READ percent NOTIFY percentChanged)
    Q_PROPERTY(float selectPercent READ selectPercent NOTIFY selectPercentChanged)

public:
    explicit MediaSizeItem(int type, QObject *parent = nullptr);

    int type() const { return m_type; }
    bool atQuery() const { return m_atQuery; }
    qlonglong size() const { return m_size; }
    bool checked() const { return m_checked; }
    float percent() const { return m_percent / 100.0f; }
    float selectPercent() const { return m_selectPercent / 100.0f; }
    // The shares in hundredths of a percent, as stored.
    int percentHundredths() const { return m_percent; }
    int selectPercentHundredths() const { return m_selectPercent; }

    void setAtQuery(bool bQuery);
    void setSize(qint64 size);
    void setChecked(bool checked);
    void setPercentHundredths(int percent);
    void setSelectPercentHundredths(int percent);

Q_SIGNALS:
    void atQueryChanged(bool bQuery);
    void sizeChanged(qlonglong size);
    void checkedChanged();
    void percentChanged();
    void selectPercentChanged();

private:
    const int m_type;
    qint64 m_size = 0;
    int m_percent = 0;
    int m_selectPercent = 0;
    bool m_checked = true;
    bool m_atQuery = true;
};
