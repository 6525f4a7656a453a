#pragma once

#include "mediachatlistmodel.h"
#include "mediamodel_export.h"

// The chats on offer on the bulk download screen (MediaSync::syncChats).
//
// checkedAll follows the rows: it is true while the list has rows and every one of them is
// selected, so ticking the last unticked chat by hand ticks "all" too, and unticking any chat
// unticks it. MediaSync::selectAll sets it at once, before the rows follow.
//
// Main thread; owned by MediaSync.
class MEDIAMODEL_EXPORT MediaChatModel : public MediaChatListModel
{
    Q_OBJECT
    Q_PROPERTY(bool checkedAll READ checkedAll NOTIFY checkedAllChanged)
    Q_PROPERTY(bool isQuerying READ isQuerying NOTIFY isQueryingChanged)

public:
    explicit MediaChatModel(QObject *parent = nullptr);
    ~MediaChatModel() override;

    bool checkedAll() const { return m_checkedAll; }
    bool isQuerying() const { return m_querying; }
    void setCheckedAll(bool bChecked);
    void setQuerying(bool bQuerying);

    // Shows exactly items, in their order, with row removals and insertions rather than a reset,
    // so that a view keeps its place while a filter hides or shows a few chats. items must keep
    // the relative order of the rows it shares with the list.
    void showItems(const QList<MediaChatItem *> &items);

Q_SIGNALS:
    void checkedAllChanged();
    void isQueryingChanged();

protected:
    void contentChanged() override;

private:
    bool m_checkedAll = false;
    bool m_querying = false;
};
