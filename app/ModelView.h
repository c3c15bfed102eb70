#pragma once

#include "app/model/AppModel.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <QtCore/qtimer.h>
#include <QtWidgets/qwidget.h>

class QLabel;

namespace vantorel {

QString shown(std::string_view text);
/// A name or a path from a disk: control characters made visible.
QString displayed(std::string_view bytes);
/// With a line beneath it, where there is one.
QString withLine(const QString& text, const std::optional<std::string>& line);
/// The same of a text of several lines, which stay.
QString displayedText(std::string_view bytes);
/// A tooltip that shows the text as it is: what looks like markup would else be read as such, and names come
/// from libraries.
QString plainToolTip(const QString& text);

/// A widget that shows a part of the model: whatever it watches changes, it is refreshed once, after the
/// model has come to rest; while it is hidden, once it is shown. So the end of a scan of a large library does
/// not fill every tab at once.
class ModelView : public QWidget {
public:
    explicit ModelView(AppModel& app, QWidget* parent = nullptr)
        : QWidget(parent)
        , app_(app)
    {
    }

protected:
    template <typename... Properties>
    void watch(const Properties&... properties)
    {
        (notifiers_.push_back(
             std::make_unique<QPropertyNotifier>(properties.onChange([this] { refreshSoon(); }))),
            ...);
        refreshSoon();
    }
    virtual void refresh() = 0;
    bool event(QEvent* event) override;

    AppModel& app_;

private:
    void refreshSoon()
    {
        if (!isSoon_) {
            isSoon_ = true;
            QTimer::singleShot(0, this, [this] {
                isSoon_ = false;
                isStale_ = !isVisible();
                if (!isStale_) {
                    refresh();
                }
            });
        }
    }

    bool isSoon_ = false;
    bool isStale_ = false;
    std::vector<std::unique_ptr<QPropertyNotifier>> notifiers_{};
};

/// One line with the warning symbol (or that of a mere note) and a text, and maybe a button behind it and a
/// quiet line beneath.
class WarningLine final : public QWidget {
public:
    enum class Kind { warning, note };

    explicit WarningLine(const QString& text, Kind kind = Kind::warning, QWidget* parent = nullptr);
    void setText(const QString& text);
    /// Shows the text and what helps on this system, or takes no room without a text.
    void setTextOrHide(const std::optional<std::string>& text, const std::optional<std::string>& advice = {});
    void addButton(const QString& title, std::function<void()> action);

private:
    QLabel* text_;
    QLabel* advice_;
};

} // namespace vantorel
