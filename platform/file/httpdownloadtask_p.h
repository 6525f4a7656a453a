#pragma once

//
// Internal to the file library, not API.
//

#include "downloadtask_p.h"

#include <QPointer>

class QNetworkReply;

// Downloads from an http:// or https:// source with one GET; a resumed download asks for the rest
// with a Range request and starts over when the server answers with the whole file.
class HttpDownloadTask : public DownloadTask
{
    Q_OBJECT

public:
    HttpDownloadTask(const QSharedPointer<FileData> &file, QObject *parent);
    ~HttpDownloadTask() override;

protected:
    void startTransfer(QNetworkAccessManager *network, qint64 offset) override;
    void abortTransfer() override;

private:
    void onReadyRead();
    void onFinished();
    // Checks the status and range of the reply once, before its first byte is written.
    bool acceptReply(QNetworkReply *reply);
    void releaseReply();

    QNetworkReply *m_reply = nullptr; // owned, deleted later once released
    qint64 m_offset = 0;
    bool m_accepted = false;
};
