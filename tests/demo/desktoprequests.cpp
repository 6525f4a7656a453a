#include "desktoprequests.h"

#include <QDesktopServices>

DesktopRequests::DesktopRequests(const QStringList &schemes, QObject *parent)
    : QObject(parent)
    , m_schemes(schemes)
{
    for (const QString &scheme : schemes) {
        QDesktopServices::setUrlHandler(scheme, this, "open");
    }
}

DesktopRequests::~DesktopRequests()
{
    for (const QString &scheme : m_schemes) {
        QDesktopServices::unsetUrlHandler(scheme);
    }
}

void DesktopRequests::open(const QUrl &url)
{
    m_urls.append(url);
    Q_EMIT opened(url);
}
