#pragma once

#include <QtGui/qaccessible.h>

class QWidget;

namespace vantorel {

/// What assistive technology calls a widget that Qt knows nothing about. Before it is shown.
void setAccessibleRole(QWidget& widget, QAccessible::Role role);

} // namespace vantorel
