#include "app/model/Mailbox.h"

#include <QtCore/qcoreapplication.h>
#include <QtCore/qcoreevent.h>

namespace vantorel {

class Mailbox::Carrier final : public QObject {
public:
    Carrier(Mailbox& mailbox, QObject* receiver)
        : QObject(receiver)
        , mailbox_(mailbox)
    {
    }

    bool event(QEvent* event) override
    {
        if (const auto letter = mailbox_.next(*event)) {
            letter();
            return true;
        }
        return QObject::event(event);
    }

private:
    Mailbox& mailbox_; ///< Is there as long as the receiver.
};

Mailbox::Mailbox(QObject* receiver)
    : carrier_(new Carrier(*this, receiver))
{
}

void Mailbox::post(std::function<void()> letter)
{
    const std::scoped_lock held(lock_);
    if (carrier_) {
        letters_.push_back(std::move(letter));
        QCoreApplication::postEvent(carrier_, new QEvent(QEvent::User)); // the queue of events owns it
    }
}

std::function<void()> Mailbox::next(const QEvent& event)
{
    const std::scoped_lock held(lock_); // before a look at the event, which another thread made
    if (event.type() != QEvent::User || letters_.empty()) {
        return {};
    }
    auto letter = std::move(letters_.front());
    letters_.pop_front();
    return letter;
}

void Mailbox::close()
{
    std::deque<std::function<void()>> dropped; // what letters hold is let go of without the lock
    const std::scoped_lock held(lock_);
    std::swap(dropped, letters_);
    delete std::exchange(carrier_, nullptr);
}

} // namespace vantorel
