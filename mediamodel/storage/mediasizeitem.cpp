#include "mediasizeitem.h"

#include <QJSEngine>

MediaSizeItem::MediaSizeItem(int type, QObject *parent)
    : QObject(parent)
    , m_type(type)
{
    QJSEngine::setObjectOwnership(this, QJSEngine::CppOwnership);
}

void MediaSizeItem::setAtQuery(bool bQuery)
{
    if (m_atQuery == bQuery) {
        return;
    }
    m_atQuery = bQuery;
    Q_EMIT atQueryChanged(bQuery);
}

void MediaSizeItem::setSize(qint64 size)
{
    if (m_size == size) {
        return;
    }
    m_size = size;
    Q_EMIT sizeChanged(size);
}

void MediaSizeItem::setChecked(bool checked)
{
    if (m_checked == checked) {
        return;
    }
    m_checked = checked;
    Q_EMIT checkedChanged();
}

void MediaSizeItem::setPercentHundredths(int percent)
{
    if (m_percent == percent) {
        return;
    }
    m_percent = percent;
    Q_EMIT percentChanged();
}

void MediaSizeItem::setSelectPercentHundredths(int percent)
{
    if (m_selectPercent == percent) {
        return;
    }
    m_selectPercent = percent;
    Q_EMIT selectPercentChanged();
}
