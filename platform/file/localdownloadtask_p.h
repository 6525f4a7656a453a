#pragma once

//
// Internal to the file library, not API.
//

#include "downloadtask_p.h"

#include <QFile>

// Copies a file:// source in chunks, one chunk per turn of the network thread's event loop, so a
// large copy neither blocks stream requests nor delays a stop.
class LocalDownloadTask : public DownloadTask
{
    Q_OBJECT

public:
    LocalDownloadTask(const QSharedPointer<FileData> &file, QObject *parent);

protected:
    void startTransfer(QNetworkAccessManager *network, qint64 offset) override;
    void abortTransfer() override;

private:
    void copyChunk();
    void scheduleChunk();

    QFile m_source;
};
