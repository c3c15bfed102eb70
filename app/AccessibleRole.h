#pragma once

#include <functional>

#include <QtGui/qaccessible.h>

class QWidget;

namespace vantorel {

/// What assistive technology calls a widget that Qt knows nothing about, and what it does when it is pressed
/// there. Before it is shown.
void setAccessibleRole(QWidget& widget, QAccessible::Role role, std::function<void()> press = {});

} // namespace vantorel
