#pragma once

#include <QtWidgets/qlabel.h>

namespace vantorel {

/// One line that is cut in the middle where it does not fit. Whole in its tooltip, for screen readers, and
/// for the clipboard through its menu.
class ElidedLabel final : public QLabel {
public:
    enum class Kind { title, name, body, quiet };

    explicit ElidedLabel(const QString& text, Kind kind = Kind::body, QWidget* parent = nullptr);
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    Kind kind_;
};

} // namespace vantorel
