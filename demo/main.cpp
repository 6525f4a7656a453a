// The gallery application: the shared-media panel of a messenger over a local account, by default
// the embedded sample account, which is created on first start.

#include "accountmanager.h"
#include "chatlistmodel.h"
#include "galleryaccount.h"
#include "gallerycontroller.h"
#include "gallerylog.h"
#include "gallerywindow.h"
#include "mediamgr.h"
#include "sampleaccount.h"
#include "screenshotgrabber.h"

#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQmlExtensionPlugin>
#include <QQuickWindow>
#include <QStandardPaths>
#include <memory>
#include <optional>

Q_IMPORT_QML_PLUGIN(MediaGalleryPlugin)

namespace {

constexpr int ScreenshotTimeoutMs = 30000;
const QList<int> TabTypes {2, 6, 1, 4, 3};
const QStringList Sections {QStringLiteral("media"), QStringLiteral("storage"),
                            QStringLiteral("download")};

struct Options
{
    QString accountDir;
    QString chatId;
    int tab = 2;
    int section = 0;
    QString screenshotPath;
    QSize windowSize {1180, 760};
};

QString defaultAccountDir()
{
    const QString dataDir = qEnvironmentVariableIsEmpty("MEDIAMODEL_DATA_DIR")
            ? QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
                    + QStringLiteral("/mediamodel")
            : qEnvironmentVariable("MEDIAMODEL_DATA_DIR");
    return QDir(dataDir).filePath(QStringLiteral("sample"));
}

std::optional<QSize> parseSize(const QString &text)
{
    const QStringList parts = text.split(QLatin1Char('x'));
    bool okWidth = false;
    bool okHeight = false;
    const QSize size = parts.size() == 2
            ? QSize(parts[0].toInt(&okWidth), parts[1].toInt(&okHeight))
            : QSize();
    if (!okWidth || !okHeight || size.width() < 320 || size.height() < 240) {
        return std::nullopt;
    }
    return size;
}

std::optional<Options> parseOptions(const QCoreApplication &app)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
            QStringLiteral("Browse the photos, files, links, music and voice of a chat."));
    parser.addHelpOption();
    const QCommandLineOption account(
            QStringLiteral("account"),
            QStringLiteral("The account folder (default: %1).").arg(defaultAccountDir()),
            QStringLiteral("DIR"));
    const QCommandLineOption chat(QStringLiteral("chat"),
                                  QStringLiteral("The chat to open (default: the most recent)."),
                                  QStringLiteral("DIALOG_ID"));
    const QCommandLineOption tab(
            QStringLiteral("tab"),
            QStringLiteral("The list to show: 2 photos and videos, 6 files, 1 links, 4 music, "
                           "3 voice."),
            QStringLiteral("TYPE"), QStringLiteral("2"));
    const QCommandLineOption screenshot(
            QStringLiteral("screenshot"),
            QStringLiteral("Save the window to FILE once the list and its thumbnails are shown, "
                           "then quit."),
            QStringLiteral("FILE.png"));
    const QCommandLineOption size(QStringLiteral("size"),
                                  QStringLiteral("The window size (default: 1180x760)."),
                                  QStringLiteral("WxH"));
    const QCommandLineOption section(
            QStringLiteral("section"),
            QStringLiteral("The screen to open: media, storage or download (default: media)."),
            QStringLiteral("NAME"), Sections.constFirst());
    parser.addOptions({account, chat, tab, section, screenshot, size});
    parser.process(app);

    Options options;
    options.accountDir = parser.isSet(account) ? parser.value(account) : defaultAccountDir();
    options.chatId = parser.value(chat);
    options.screenshotPath = parser.value(screenshot);
    bool tabOk = false;
    options.tab = parser.value(tab).toInt(&tabOk);
    if (!tabOk || !TabTypes.contains(options.tab)) {
        qCCritical(lcGallery) << "unknown list type" << parser.value(tab)
                              << "; use one of 2, 6, 1, 4, 3";
        return std::nullopt;
    }
    options.section = int(Sections.indexOf(parser.value(section)));
    if (options.section < 0) {
        qCCritical(lcGallery) << "unknown screen" << parser.value(section) << "; use one of"
                              << Sections.join(QStringLiteral(", "));
        return std::nullopt;
    }
    if (parser.isSet(size)) {
        const std::optional<QSize> windowSize = parseSize(parser.value(size));
        if (!windowSize) {
            qCCritical(lcGallery) << "bad window size" << parser.value(size)
                                  << "; use WxH, at least 320x240";
            return std::nullopt;
        }
        options.windowSize = *windowSize;
    }
    return options;
}

// The sample account is made on first start, so that the gallery always has something to show.
bool ensureAccount(const QString &folder)
{
    if (QFileInfo::exists(QDir(folder).filePath(QStringLiteral("account.db")))) {
        return true;
    }
    qCInfo(lcGallery) << "creating the sample account in" << folder;
    SampleAccount::Report report;
    if (!SampleAccount::create(folder, SampleAccount::Options(), &report)) {
        qCCritical(lcGallery) << "cannot create the sample account in" << folder;
        return false;
    }
    qCInfo(lcGallery) << "sample account:" << report.dialogs << "chats," << report.messages
                      << "messages";
    return true;
}

QString chooseChat(const ChatListModel &chats, const QString &requested)
{
    if (requested.isEmpty()) {
        return chats.rowCount() > 0
                ? chats.data(chats.index(0), ChatListModel::DialogIdRole).toString()
                : QString();
    }
    if (chats.indexOf(requested) < 0) {
        qCCritical(lcGallery) << "the account has no chat" << requested;
        return QString();
    }
    return requested;
}

int runWindow(QGuiApplication &app, const Options &options, GalleryAccount &account, MediaMgr &hub)
{
    GalleryController controller(&account, &hub);
    const QString chatId = chooseChat(*controller.chats(), options.chatId);
    if (chatId.isEmpty() && !options.chatId.isEmpty()) {
        return 2;
    }
    controller.setCurrentChatId(chatId);

    QQmlApplicationEngine engine;
    QQuickWindow *window =
            loadGalleryWindow(engine, controller, options.tab, options.windowSize, options.section);
    if (!window) {
        return 1;
    }
    std::unique_ptr<ScreenshotGrabber> grabber;
    if (!options.screenshotPath.isEmpty()) {
        grabber = std::make_unique<ScreenshotGrabber>(window, QByteArrayLiteral("pageReady"),
                                                      options.screenshotPath);
        grabber->start(ScreenshotTimeoutMs);
    }
    return app.exec();
}

} // namespace

int main(int argc, char *argv[])
{
    QGuiApplication app(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("mediamodel-gallery"));
    QGuiApplication::setOrganizationName(QStringLiteral("mediamodel"));
    chooseGalleryRenderer();

    const std::optional<Options> options = parseOptions(app);
    if (!options || !ensureAccount(options->accountDir)) {
        return 2;
    }
    const qint64 userId = AccountManager::userIdOfFolder(options->accountDir);
    if (userId == 0) {
        qCCritical(lcGallery) << "no account in" << options->accountDir;
        return 2;
    }
    GalleryAccount account(userId, options->accountDir);
    if (!account.isValid()) {
        qCCritical(lcGallery) << "cannot open the account in" << options->accountDir;
        return 2;
    }
    // The process-wide player and stream server find the account, and its hub, by user id.
    AccountManager::getInstance()->addAccount(&account);
    setUpMediaLayer();
    MediaMgr hub(&account);
    hub.initConnection();
    hub.loadLocalData(false);
    hub.getNewData();
    // Media kept only while the window has focus are cleaned when it loses it.
    QObject::connect(&app, &QGuiApplication::applicationStateChanged, &hub,
                     [&hub](Qt::ApplicationState state) {
                         hub.onAppIsActive(state == Qt::ApplicationActive);
                     });

    const int exitCode = runWindow(app, *options, account, hub);

    hub.prepareToClearData(false);
    // Galleries released while the window ran are deleted through the event loop.
    QCoreApplication::sendPostedEvents();
    hub.clearData(false);
    AccountManager::getInstance()->removeAccount(&account);
    return exitCode;
}
