#pragma once

#include <QtWidgets/qwidget.h>

namespace vantorel {

/// One line that is cut in the middle where it does not fit, whole in its tooltip.
class ElidedLabel final : public QWidget {
public:
    enum class Kind { name, body, quiet };

    explicit ElidedLabel(const QString& text, Kind kind = Kind::body, QWidget* parent = nullptr);
    void setText(const QString& text);
    QString text() const { return text_; }
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString text_;
    Kind kind_;
};

} // namespace vantorel
