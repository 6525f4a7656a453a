#pragma once

#include "mediachatlistmodel.h"
#include "mediamodel_export.h"

// The chats chosen for a bulk download (MediaSync::selectChats) and the bytes they still need.
//
// totalSize is recomputed as the sum of the rows' totalSize whenever a row comes or goes and
// whenever a row's size or check boxes change, so it always equals that sum; it is emitted only
// when it moves.
//
// Main thread; owned by MediaSync. The rows are MediaSync's items.
class MEDIAMODEL_EXPORT MediaChatSelectModel : public MediaChatListModel
{
    Q_OBJECT
    Q_PROPERTY(qlonglong totalSize READ totalSize NOTIFY totalSizeChanged)

public:
    explicit MediaChatSelectModel(QObject *parent = nullptr);
    ~MediaChatSelectModel() override;

    qlonglong totalSize() const { return m_totalSize; }

    // Appends item unless it is there already.
    void addItem(MediaChatItem *item);
    void removeItem(MediaChatItem *item);

Q_SIGNALS:
    void totalSizeChanged(qlonglong totalSize);

protected:
    void contentChanged() override;

private:
    void setTotalSize(qlonglong totalSize);

    qlonglong m_totalSize = 0;
};
