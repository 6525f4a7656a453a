#include "pagehandover_p.h"

#include "resourceitem.h"

#include <QObject>

#include <memory>

void handOverPage(QObject *receiver, const QList<ResourceItem *> &items,
                  std::function<void(QList<ResourceItem *> &items)> take)
{
    auto holder = std::shared_ptr<QList<ResourceItem *>>(new QList<ResourceItem *>(items),
                                                         [](QList<ResourceItem *> *left) {
                                                             qDeleteAll(*left);
                                                             delete left;
                                                         });
    QMetaObject::invokeMethod(
            receiver, [holder, take = std::move(take)] { take(*holder); }, Qt::QueuedConnection);
}
