#pragma once

#include <QtCore/qobject.h>

class QScrollArea;

namespace vantorel {

/// For an area of text that scrolls: it takes the focus only while there is something to scroll, and its
/// scroll bar then shows that the keyboard is there. Owned by the area.
class ScrollFocus final : public QObject {
public:
    static void addTo(QScrollArea& area, const QString& accessibleName);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    explicit ScrollFocus(QScrollArea& area);
    void showFocus(bool hasFocus);

    QScrollArea& area_;
};

} // namespace vantorel
