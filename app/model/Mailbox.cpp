#include "app/model/Mailbox.h"

#include <QtCore/qmetaobject.h>

namespace vantorel {

void Mailbox::post(std::function<void()> letter)
{
    const std::scoped_lock held(lock_);
    if (receiver_) {
        QMetaObject::invokeMethod(receiver_, std::move(letter), Qt::QueuedConnection);
    }
}

void Mailbox::close()
{
    const std::scoped_lock held(lock_);
    receiver_ = nullptr;
}

} // namespace vantorel
