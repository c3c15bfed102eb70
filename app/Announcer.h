#pragma once

#include <QtCore/qpointer.h>
#include <QtCore/qstring.h>
#include <QtWidgets/qwidget.h>

namespace vantorel {

/// Has assistive technology speak a text. Main thread.
///
/// Before Qt 6.8 there is no event for it. Screen readers speak an object whose role is "notification" when
/// it comes into view, so a label of one pixel is shown anew for each text.
class Announcer {
public:
    void announce(QWidget* window, const QString& text);

private:
    QPointer<QWidget> label_{};
};

} // namespace vantorel
