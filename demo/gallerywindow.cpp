#include "gallerywindow.h"

#include "gallerycontroller.h"
#include "gallerylog.h"
#include "mediamgr.h"
#include "mediaplayer.h"
#include "mediatranslator.h"
#include "thumbnailprovider.h"

#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickWindow>

void chooseGalleryRenderer()
{
    if (QGuiApplication::platformName() == QLatin1String("offscreen")
        || QGuiApplication::platformName() == QLatin1String("minimal")) {
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    }
}

void setUpMediaLayer()
{
    MediaMgr::registerMetaType("MediaGallery");
    MediaTranslator::install();
    MediaPlayer::instance()->loadConfig();
}

QQuickWindow *loadGalleryWindow(QQmlApplicationEngine &engine, GalleryController &controller,
                                int initialTab, const QSize &size, int initialSection)
{
    // The module's qmldir is compiled in under qrc:/MediaGallery; without it on the import path
    // the engine knows the module only from the plugin's type registrations, which lack the
    // singleton theme.
    engine.addImportPath(QStringLiteral("qrc:/"));
    engine.addImageProvider(QLatin1String(ThumbnailProvider::Name), new ThumbnailProvider);
    engine.setInitialProperties({{QStringLiteral("controller"), QVariant::fromValue(&controller)},
                                 {QStringLiteral("initialTab"), initialTab},
                                 {QStringLiteral("initialSection"), initialSection},
                                 {QStringLiteral("width"), size.width()},
                                 {QStringLiteral("height"), size.height()}});
    engine.load(QUrl(QStringLiteral("qrc:/MediaGallery/qml/Main.qml")));
    auto *window = engine.rootObjects().isEmpty()
            ? nullptr
            : qobject_cast<QQuickWindow *>(engine.rootObjects().constFirst());
    if (!window) {
        qCCritical(lcGallery) << "cannot load the gallery window";
    }
    return window;
}
