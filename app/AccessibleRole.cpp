#include "app/AccessibleRole.h"

#include <QtCore/qvariant.h>
#include <QtWidgets/qaccessiblewidget.h>
#include <QtWidgets/qwidget.h>

namespace vantorel {

namespace {

constexpr const char* roleName = "accessibleRole";

/// Qt asks for an interface by class; an object without a role of its own is left to the other factories.
QAccessibleInterface* withRole(const QString&, QObject* object)
{
    const auto role = object && object->isWidgetType() ? object->property(roleName) : QVariant();
    return role.isValid()
        ? new QAccessibleWidget(static_cast<QWidget*>(object), static_cast<QAccessible::Role>(role.toInt()))
        : nullptr;
}

} // namespace

void setAccessibleRole(QWidget& widget, QAccessible::Role role)
{
    [[maybe_unused]] static const bool isInstalled = [] {
        QAccessible::installFactory(withRole);
        return true;
    }();
    widget.setProperty(roleName, static_cast<int>(role));
}

} // namespace vantorel
