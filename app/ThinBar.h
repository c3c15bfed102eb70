#pragma once

#include <cstdint>

#include <QtCore/qtimer.h>
#include <QtWidgets/qprogressbar.h>

namespace vantorel {

/// Progress as a thin bar without a text; the numbers stand beside it. Without a total it shows that
/// something is going on, and so it does when it was full for a moment and is still there.
class ThinBar final : public QProgressBar {
public:
    explicit ThinBar(const QString& accessibleName, QWidget* parent = nullptr);
    /// A total of 0 is not known.
    void showPart(std::int64_t done, std::int64_t total);
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void moveOrRest();

    QTimer motion_{};
    QTimer stillWorks_{};
    bool isFull_ = false;
    int step_ = 0;
};

} // namespace vantorel
