#include "app/AccessibleRole.h"

#include <utility>

#include <QtCore/qvariant.h>
#include <QtWidgets/qaccessiblewidget.h>
#include <QtWidgets/qwidget.h>

namespace vantorel {

namespace {

constexpr const char* spokenName = "spoken";

struct Spoken {
    QAccessible::Role role = QAccessible::NoRole;
    std::function<void()> press{};
};

class SpokenWidget final : public QAccessibleWidget {
public:
    SpokenWidget(QWidget* widget, Spoken spoken)
        : QAccessibleWidget(widget, spoken.role)
        , press_(std::move(spoken.press))
    {
    }

    QStringList actionNames() const override
    {
        const auto names = QAccessibleWidget::actionNames();
        return press_ && widget()->isEnabled() ? QStringList{pressAction()} + names : names;
    }

    void doAction(const QString& name) override
    {
        if (name != pressAction()) {
            QAccessibleWidget::doAction(name);
        } else if (press_ && widget()->isEnabled()) {
            const auto press = press_; // the widget may go away with what it does
            press();
        }
    }

private:
    std::function<void()> press_;
};

/// Qt asks for an interface by class; an object without a role of its own is left to the other factories.
QAccessibleInterface* withRole(const QString&, QObject* object)
{
    const auto spoken = object && object->isWidgetType() ? object->property(spokenName) : QVariant();
    return spoken.isValid() ? new SpokenWidget(static_cast<QWidget*>(object), spoken.value<Spoken>())
                            : nullptr;
}

} // namespace

void setAccessibleRole(QWidget& widget, QAccessible::Role role, std::function<void()> press)
{
    [[maybe_unused]] static const bool isInstalled = [] {
        QAccessible::installFactory(withRole);
        return true;
    }();
    widget.setProperty(spokenName, QVariant::fromValue(Spoken{.role = role, .press = std::move(press)}));
}

} // namespace vantorel
