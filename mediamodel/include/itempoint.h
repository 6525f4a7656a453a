#pragma once

#include <QPoint>

// The address of an item in a list model: the group (a section of a sectioned model) and the row
// in it. A flat model uses the row alone. Points order by group, then row. Views and the selection
// pass QPoint, read as (x, y) = (group, row).
struct ItemPoint
{
    ItemPoint() = default;
    ItemPoint(int group, int row)
        : group(group)
        , row(row)
    { }
    ItemPoint(const QPoint &point)
        : group(point.x())
        , row(point.y())
    { }

    bool operator==(const ItemPoint &other) const
    {
        return group == other.group && row == other.row;
    }
    bool operator!=(const ItemPoint &other) const { return !(*this == other); }
    bool operator<(const ItemPoint &other) const
    {
        return group < other.group || (group == other.group && row < other.row);
    }

    int group = 0;
    int row = 0;
};
