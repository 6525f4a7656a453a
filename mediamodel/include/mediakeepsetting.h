#pragma once

#include "mediakeeplistmodel.h"
#include "mediamodel_export.h"

#include <QHash>
#include <QObject>
#include <QRecursiveMutex>
#include <QString>

class AccountBase;
class MediaKeepSearchModel;

// How long an account keeps downloaded media on disk: one default for private chats, one for
// groups, and a keep time of its own for any dialog. The local cleanups take their limits from
// here.
//
// Made and owned by the hub; lives on the main thread, where QML and the hub change it. The
// keep-time queries (keepTime, shortestKeepTime, the defaults, hasFocusLossDefault) are also made
// by the cleanup workers and read under the mutex.
class MEDIAMODEL_EXPORT MediaKeepSetting : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int privateKeepTime READ privateKeepTime WRITE setPrivateKeepTime NOTIFY
                       privateKeepTimeChanged)
    Q_PROPERTY(
            int groupKeepTime READ groupKeepTime WRITE setGroupKeepTime NOTIFY groupKeepTimeChanged)
    // The dialogs with a keep time of their own, of the kind chosen by initModel.
    Q_PROPERTY(MediaKeepListModel *exceptionModel READ exceptionModel CONSTANT)
    // The dialogs of that kind matching the last search that have no keep time of their own.
    Q_PROPERTY(MediaKeepListModel *searchModel READ searchModel CONSTANT)
    Q_PROPERTY(bool groupSetting READ isGroupSetting NOTIFY groupSettingChanged)

public:
    // Days, with two special choices.
    enum MediaKeepType {
        WINDOW_LOSES_FOCUS = -2, // cleaned whenever the application loses focus
        FOREVER = -1,
        ONE_DAY = 1,
        ONE_WEEK = 7,
        ONE_MONTH = 30,
    };
    Q_ENUM(MediaKeepType)

    explicit MediaKeepSetting(AccountBase *account);
    ~MediaKeepSetting() override;

    static bool isKeepType(int keepTime);
    // A keep time in milliseconds; the special choices come back unchanged, so a result below 1
    // means no age limit.
    static qint64 toMsecs(int keepTime);

    // Reads the defaults and, unless bFast, the dialogs' own keep times.
    void loadLocalData(bool bFast);
    // Whether the last load could not read the dialogs' own keep times, or the account its
    // dialogs (and so their kinds): keepTime may then give the default of a dialog that keeps its
    // media longer, and nothing may be deleted on it. Any thread.
    bool hasUnreadKeepTimes() const;
    // Forgets the dialogs' keep times and empties the lists.
    void clear();

    int privateKeepTime() const;
    void setPrivateKeepTime(int keepTime);
    int groupKeepTime() const;
    void setGroupKeepTime(int keepTime);
    bool hasFocusLossDefault() const;

    // The dialog's own keep time, else the default of its kind, in milliseconds. Any thread.
    qint64 keepTime(const QString &dialogId, bool bGroup) const;
    // The same, with the kind from the account; a dialog it does not know counts as private.
    qint64 keepTime(const QString &dialogId) const;
    // The shortest positive keep time of the defaults and the dialogs, in milliseconds; -1 or
    // -2 when nothing expires by age. Any thread.
    qint64 shortestKeepTime() const;

    // The dialogs with a keep time of their own, by kind.
    QList<QString> privateDialogs() const;
    QList<QString> groupDialogs() const;

    MediaKeepListModel *exceptionModel() const;
    MediaKeepListModel *searchModel() const;
    bool isGroupSetting() const { return m_groupSetting; }

public Q_SLOTS:
    // Shows the exceptions of group dialogs when bGroupSetting, of private dialogs otherwise.
    void initModel(bool bGroupSetting);
    // Gives the dialog a keep time of its own (add on a dialog that has one updates it).
    void add(const QString &dialogId, int keepTime);
    void updateKeepTime(const QString &dialogId, int keepTime);
    void remove(const QString &dialogId);
    bool contains(const QString &dialogId) const;
    // Fills searchModel with the dialogs of the shown kind matching keyword (all when empty).
    void search(const QString &keyword);

Q_SIGNALS:
    void privateKeepTimeChanged();
    void groupKeepTimeChanged();
    void groupSettingChanged();

private:
    struct Exception
    {
        int keepTime = 0;
        // Whether the account knew the dialog, and so its kind, when it was read.
        bool bResolved = false;
        bool bGroup = false;
    };

    // Stores a valid keep time in member; true when it changed.
    bool changeDefault(int &member, int keepTime);
    bool store(const QString &dialogId, int keepTime);
    void resolveLater(const QList<QString> &dialogIds);
    MediaKeepListModel::Row rowOf(const QString &dialogId, const Exception &exception) const;
    void takeResolved(const QHash<QString, bool> &groupFlags);
    void showExceptions();
    QList<QString> dialogsOfKind(bool bGroup) const;

    AccountBase *const m_account;
    mutable QRecursiveMutex m_mutex; // guards the members below it
    int m_privateKeepTime = -1;
    int m_groupKeepTime = -1;
    QHash<QString, Exception> m_exceptions;
    bool m_exceptionsUnread = false; // the last load could not read them
    // Dialogs the account did not know at load are resolved on the host's database worker.
    bool m_resolving = false;

    bool m_groupSetting = false;
    MediaKeepListModel *m_exceptionModel = nullptr; // child
    MediaKeepSearchModel *m_searchModel = nullptr;  // child
};
