#pragma once

#include <QtWidgets/qscrollarea.h>

namespace vantorel {

/// A column that scrolls where the window is too low for it. It is as high as its texts are once they are
/// wrapped: a plain scroll area squeezes them instead, down to the height of unwrapped ones.
class ColumnArea final : public QScrollArea {
public:
    explicit ColumnArea(QWidget* content, const QString& accessibleName, QWidget* parent = nullptr);

protected:
    void resizeEvent(QResizeEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void fit();
};

} // namespace vantorel
