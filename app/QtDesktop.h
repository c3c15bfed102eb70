#pragma once

#include "app/model/Desktop.h"

class QWidget;

namespace vantorel {

/// The desktop through Qt alone.
class QtDesktop final : public Desktop {
public:
    /// The window over which panels open; not owned, outlives its last use here.
    void setWindow(QWidget* window) { window_ = window; }

    void choose(const Panel& panel, std::function<void(std::optional<DiskPath>)> chosen) override;
    /// Nothing is slowed down here, so there is nothing to hold off.
    Assertion beginActivity(const std::string& reason) override;
    Assertion preventSuddenTermination() override;
    void announce(const std::string& text) override;

private:
    QWidget* window_ = nullptr;
};

} // namespace vantorel
