#include "app/Announcer.h"

#include "app/AccessibleRole.h"

namespace vantorel {

void Announcer::announce(QWidget* window, const QString& text)
{
    if (!window) {
        return;
    }
#if QT_VERSION >= QT_VERSION_CHECK(6, 8, 0)
    QAccessibleAnnouncementEvent event(window, text);
    QAccessible::updateAccessibility(&event);
#else
    if (!label_) {
        label_ = new QWidget(window);
        label_->setObjectName("announcement");
        label_->setAttribute(Qt::WA_TransparentForMouseEvents);
        label_->setFixedSize(1, 1);
        setAccessibleRole(*label_, QAccessible::Notification);
    }
    label_->hide();
    label_->setAccessibleName(text);
    label_->show();
#endif
}

} // namespace vantorel
