#pragma once

#include "mediamodel_export.h"
#include "messageidrange.h"
#include "messagekey.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QPoint>
#include <QSharedPointer>
#include <QString>
#include <QVariant>
#include <optional>

class AccountBase;
class MessageBase;
class ResourceItem;
class ResourceModel;
struct MediaSelectInfo;

// The multi-selection of a gallery: the media items the user ticked, grouped by dialog, with the
// counters the view binds to, and the actions on what is ticked (forward, delete, save as,
// transfer to the cloud drive).
//
// Made and deleted by MediaMgr, never owned by QML. Lives on the main thread: QML ticks and acts
// there, and the hub prunes there after messages were deleted.
class MEDIAMODEL_EXPORT MediaSelector : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int selectCount READ selectCount NOTIFY selectCountChanged)
    Q_PROPERTY(int selectChildCount READ selectChildCount NOTIFY selectChildCountChanged)
    Q_PROPERTY(int forwardableCount READ forwardableCount NOTIFY forwardableCountChanged)

public:
    // An empty dialogId makes a cross-dialog selection (e.g. over global search results), which
    // asks messages whether they can be forwarded from such a place.
    MediaSelector(AccountBase *account, const QString &dialogId, QObject *parent = nullptr);
    ~MediaSelector() override;

    // Ticked entries, all dialogs together.
    int selectCount() const { return m_selectCount; }
    // Ticked child items of combined messages.
    int selectChildCount() const { return m_selectChildCount; }
    // Ticked entries whose message could be forwarded when it was ticked.
    int forwardableCount() const { return m_forwardableCount; }
    QString dialogId() const { return m_dialogId; }

    // Pruning after deletions elsewhere. A plain message and the ticked children of a combined
    // message both go by the message's id.
    void removeSelected(const QString &dialogId, qint64 messageId);
    void removeSelecteds(const QString &dialogId, const QList<qint64> &messageIds);
    // Removes the entries from the key (range.second, 0) up to and including (range.first, 0).
    // So a range given lower bound first removes nothing, and nothing goes either unless the
    // dialog has a ticked entry newer than range.first. Callers rely on exactly these limits.
    void removeSelecteds(const QString &dialogId, const MessageIdRange &range);
    // Removes every entry after messageId (newer ones, and its own children); 0 removes all.
    void removeSelecteds(const QString &dialogId, qint64 messageId);

    // The ticked messages, newest first within a dialog; a combined message once per ticked child.
    QList<QSharedPointer<MessageBase>> selectMedias() const;

public Q_SLOTS:
    // Toggles one item; items without a message are ignored.
    void changeSelected(ResourceItem *item);
    // Ticks or unticks one item; nothing happens, and nothing is emitted, when it already is.
    void changeSelected(ResourceItem *item, bool bChecked);

    // A range gesture: beginSelect, then changeSelects at every pointer move with the press point
    // and the current point, then endSelect. Points are (section, row) of a sectioned model and
    // (any, row) of a flat one. Each step touches only the items whose state changes.
    void beginSelect();
    // Toggles: items that leave the range get back the state they had before the gesture.
    void changeSelects(ResourceModel *resourceModel, QPoint startPos, QPoint endPos);
    // Sets bChecked: items that leave the range get !bChecked, whatever they were before.
    void changeSelects(ResourceModel *resourceModel, QPoint startPos, QPoint endPos, bool bChecked);
    void endSelect();

    // Drops the whole selection; emits selectChildCountChanged, selectCountChanged and
    // forwardableCountChanged in that order, and nothing when there was nothing.
    void clearSelected();
    bool isSelected(const QString &dialogId, const MessageKey &mediaKey) const;
    // Ticked entries whose message carries an uploaded file; counted on each call.
    int selectFileCount() const;
    // Distinct sender ids (qint64) of the ticked messages, in first-seen order.
    QVariantList selectedSenderIds() const;

    // One line saying what a forward would send: "[Photo]"-like texts for one media item, the
    // text of one text message, "Forward N messages"-like for several; empty for none.
    QString forwardDesc() const;
    // Forwards the forwardable ticked messages, oldest first, with the caller's options; then
    // clears the selection.
    void forwardMessages(const QVariantMap &data);
    // Dialog id -> list of the distinct sender ids of its ticked messages, for the withdraw
    // dialog. Leaves the selection as it is.
    QVariantMap revokeInfos() const;
    // Deletes the ticked messages (children of combined messages are not sent on their own),
    // withdrawn for everyone when bRevocable; then clears the selection.
    void deleteMessages(bool bRevocable);
    // Hands the forwardable ticked messages to the cloud drive folder nodeLocalId; then clears.
    void transferToCloudDrive(qlonglong nodeLocalId);
    // Copies the ticked files into folderPath (a path or a file:// URL), renaming on clashes; then
    // clears the selection. A folder that is missing or cannot be written leaves everything as
    // it was, with a warning.
    void batchSaveAs(const QString &folderPath);

Q_SIGNALS:
    void selectCountChanged();
    void selectChildCountChanged();
    void forwardableCountChanged();
    // Declared for views that bind to it; the selection reports through the three above.
    void countChanged();

private:
    using Selection = QHash<QString, QList<MediaSelectInfo>>;
    struct Removed
    {
        int children = 0;
        int forwardable = 0;
    };

    void changeSelected(ResourceItem *item, std::optional<bool> bChecked);
    void changeSelects(ResourceModel *model, QPoint startPos, QPoint endPos,
                       std::optional<bool> bChecked);
    void settingStep(ResourceModel *model, QPoint endPos, bool bChecked);
    void toggleStep(ResourceModel *model, QPoint endPos);
    void applyRange(ResourceModel *model, QPoint from, QPoint to, QPoint except,
                    std::optional<bool> bChecked);

    bool isForwardable(const MediaSelectInfo &info) const;
    Removed removeEntries(Selection::iterator entries, int from, int to);
    void dropIfEmpty(Selection::iterator entries);
    void announceRemoval(int removed, const Removed &counts);
    QList<MediaSelectInfo> entriesInKeyOrder() const;
    QList<QSharedPointer<MessageBase>> usableMessages(bool bForwardableOnly) const;

    AccountBase *const m_account; // not owned
    Selection m_selection;        // each list ascending by key; see MediaSelectInfo
    QPoint m_anchor {-1, -1};     // press point of the gesture under way
    QPoint m_lastEnd {-1, -1};    // end point of the gesture's previous step
    const QString m_dialogId;
    int m_selectCount = 0;
    int m_selectChildCount = 0;
    int m_forwardableCount = 0;
    const bool m_global;
};
