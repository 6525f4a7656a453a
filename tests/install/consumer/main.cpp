// Opens an account, gives it its media layer, asks for a chat's gallery and takes the layer down
// again, through the installed headers and libraries alone. Prints "consumer: ok" on success.

#include "accountbase.h"
#include "contenttype.h"
#include "mediamgr.h"
#include "mediautil.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QTemporaryDir>
#include <cstdio>

namespace {

int fail(const char *what)
{
    std::fprintf(stderr, "consumer: %s\n", what);
    return 1;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QTemporaryDir folder;
    if (!folder.isValid()) {
        return fail("no temporary folder");
    }
    AccountBase account(1, folder.path());
    if (!account.isValid()
        || !account.storeDialog(QStringLiteral("chat"), QStringLiteral("A chat"), DIALOG_PRIVATE,
                                QDateTime::currentMSecsSinceEpoch())) {
        return fail("cannot open the account");
    }
    MediaMgr::registerMetaType("Consumer");
    auto *hub = new MediaMgr(&account);
    hub->initConnection();
    if (!MediaMgr::isMedia(CONTENT_PHOTO) || hub->mediaBaseDir(CONTENT_PHOTO).isEmpty()) {
        return fail("the hub does not know its cache");
    }
    if (!hub->mediaResourceMgr(QStringLiteral("chat"))) {
        return fail("no gallery for a known chat");
    }
    hub->prepareToClearData(false);
    hub->clearData(false);
    QCoreApplication::sendPostedEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    std::printf("consumer: ok\n");
    return 0;
}
