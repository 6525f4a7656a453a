#pragma once

#include <QList>
#include <QObject>
#include <QStringList>
#include <QUrl>

// Takes what the gallery asks the desktop to open, for the URL schemes given, in place of the
// system's applications: the test sees the request, and nothing starts on the machine.
class DesktopRequests : public QObject
{
    Q_OBJECT

public:
    explicit DesktopRequests(const QStringList &schemes, QObject *parent = nullptr);
    // Hands the schemes back to the system.
    ~DesktopRequests() override;

    QList<QUrl> urls() const { return m_urls; }

public Q_SLOTS:
    void open(const QUrl &url);

Q_SIGNALS:
    void opened(const QUrl &url);

private:
    const QStringList m_schemes;
    QList<QUrl> m_urls;
};
