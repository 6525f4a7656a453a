#pragma once

#include "mediamodel_export.h"

#include <QObject>
#include <QSharedPointer>
#include <array>

class DialogBase;

// One chat on the bulk download screen: what is still to download of it, by kind of media, and
// which kinds the user wants. The kinds are media (photos and videos), documents (files), audio
// (music) and voice messages.
//
// Main thread. Owned by MediaSync, which lists it in its chat model and refers to it from its
// selection; QML never owns it.
class MEDIAMODEL_EXPORT MediaChatItem : public QObject
{
    Q_OBJECT
    Q_MOC_INCLUDE("dialogbase.h")
    Q_PROPERTY(DialogBase *dialog READ dialog CONSTANT)
    Q_PROPERTY(qlonglong mediaSize READ mediaSize NOTIFY mediaSizeChanged)
    Q_PROPERTY(qlonglong docSize READ docSize NOTIFY docSizeChanged)
    Q_PROPERTY(qlonglong audioSize READ audioSize NOTIFY audioSizeChanged)
    Q_PROPERTY(qlonglong voiceSize READ voiceSize NOTIFY voiceSizeChanged)
    Q_PROPERTY(qlonglong totalSize READ totalSize NOTIFY totalSizeChanged)
    Q_PROPERTY(bool mediaChecked READ mediaChecked NOTIFY mediaCheckedChanged)
    Q_PROPERTY(bool docChecked READ docChecked NOTIFY docCheckedChanged)
    Q_PROPERTY(bool audioChecked READ audioChecked NOTIFY audioCheckedChanged)
    Q_PROPERTY(bool voiceChecked READ voiceChecked NOTIFY voiceCheckedChanged)
    Q_PROPERTY(bool isSelected READ isSelected NOTIFY isSelectedChanged)
    Q_PROPERTY(bool isQuerying READ isQuerying NOTIFY isQueryingChanged)

public:
    enum Kind { KIND_MEDIA = 0, KIND_DOC = 1, KIND_AUDIO = 2, KIND_VOICE = 3, KIND_COUNT = 4 };

    // The kind of a content type code, or -1 for a code that is no kind (text, combined).
    static int kindOfType(int msgType);

    // Every kind starts checked, with nothing to download, not selected and not counted yet.
    explicit MediaChatItem(const QSharedPointer<DialogBase> &dialog, QObject *parent = nullptr);
    ~MediaChatItem() override;

    DialogBase *dialog() const { return m_dialog.data(); }
    QString dialogId() const;

    qlonglong mediaSize() const { return m_sizes[KIND_MEDIA]; }
    qlonglong docSize() const { return m_sizes[KIND_DOC]; }
    qlonglong audioSize() const { return m_sizes[KIND_AUDIO]; }
    qlonglong voiceSize() const { return m_sizes[KIND_VOICE]; }
    qlonglong size(int kind) const;
    // The sum of the sizes of the checked kinds.
    qlonglong totalSize() const;

    bool mediaChecked() const { return m_checked[KIND_MEDIA]; }
    bool docChecked() const { return m_checked[KIND_DOC]; }
    bool audioChecked() const { return m_checked[KIND_AUDIO]; }
    bool voiceChecked() const { return m_checked[KIND_VOICE]; }
    bool isChecked(int kind) const;

    bool isSelected() const { return m_selected; }
    bool isQuerying() const { return m_querying; }

    void setSize(int kind, qlonglong size);
    // Flips the check box of the kind of msgType; false, with nothing changed or emitted, for a
    // code that is no kind.
    bool toggleChecked(int msgType);
    void setSelected(bool bSelect);
    void setQuerying(bool bQuerying);

Q_SIGNALS:
    void mediaSizeChanged(qlonglong mediaSize);
    void docSizeChanged(qlonglong docSize);
    void audioSizeChanged(qlonglong audioSize);
    void voiceSizeChanged(qlonglong voiceSize);
    void totalSizeChanged();
    void mediaCheckedChanged();
    void docCheckedChanged();
    void audioCheckedChanged();
    void voiceCheckedChanged();
    void isSelectedChanged(bool bSelect);
    void isQueryingChanged();

private:
    void emitSizeChanged(int kind);
    void emitCheckedChanged(int kind);

    const QSharedPointer<DialogBase> m_dialog;
    std::array<qlonglong, KIND_COUNT> m_sizes {};
    std::array<bool, KIND_COUNT> m_checked {true, true, true, true};
    bool m_selected = false;
    bool m_querying = false;
};
