#include "mediatranslator.h"

#include "mediamodellog_p.h"

#include <QCoreApplication>
#include <QTranslator>

QString MediaTranslator::translationsDir()
{
    return QStringLiteral(":/mediamodel/i18n");
}

bool MediaTranslator::install(const QLocale &locale)
{
    QCoreApplication *app = QCoreApplication::instance();
    if (!app) {
        qCWarning(lcMedia) << "no application object to install the media texts into";
        return false;
    }
    auto *translator = new QTranslator(app);
    const QString name = QStringLiteral("mediamodel");
    if (!translator->load(locale, name, QStringLiteral("_"), translationsDir())
        && !translator->load(name + QStringLiteral("_en"), translationsDir())) {
        qCWarning(lcMedia) << "the media texts could not be loaded from" << translationsDir();
        delete translator;
        return false;
    }
    return QCoreApplication::installTranslator(translator);
}
