#include "mediasizeitem.h"
#include "notifyingsetter_p.h"

#include <QJSEngine>

MediaSizeItem::MediaSizeItem(int type, QObject *parent)
    : QObject(parent)
    , m_type(type)
{
    QJSEngine::setObjectOwnership(this, QJSEngine::CppOwnership);
}

void MediaSizeItem::setAtQuery(bool bQuery)
{
    setAndNotify(this, m_atQuery, bQuery, &MediaSizeItem::atQueryChanged);
}

void MediaSizeItem::setSize(qint64 size)
{
    setAndNotify(this, m_size, size, &MediaSizeItem::sizeChanged);
}

void MediaSizeItem::setChecked(bool checked)
{
    setAndNotify(this, m_checked, checked, &MediaSizeItem::checkedChanged);
}

void MediaSizeItem::setPercentHundredths(int percent)
{
    setAndNotify(this, m_percent, percent, &MediaSizeItem::percentChanged);
}

void MediaSizeItem::setSelectPercentHundredths(int percent)
{
    setAndNotify(this, m_selectPercent, percent, &MediaSizeItem::selectPercentChanged);
}
