#pragma once

// Not API: the hand-back of a loaded page from a worker to the thread of the list that shows it.

#include <QList>

#include <functional>

class QObject;
class ResourceItem;

// Posts items to receiver's thread, where take gets them. The items travel in a holder that
// destroys whatever take leaves in the list, and all of them when the call is dropped because
// receiver went away in between, so that no page leaks.
void handOverPage(QObject *receiver, const QList<ResourceItem *> &items,
                  std::function<void(QList<ResourceItem *> &items)> take);
