#pragma once

#include "app/model/Desktop.h"

#include <memory>

#include <QtCore/qobject.h>
#include <QtCore/qpointer.h>
#include <QtWidgets/qwidget.h>

namespace vantorel {

class Announcer;

/// What both systems do alike, through Qt.
class QtDesktop : public QObject, public Desktop {
    Q_OBJECT

public:
    QtDesktop();
    ~QtDesktop() override;

    /// The window over which panels open and that speaks; not owned.
    virtual void setWindow(QWidget* window);

    void choose(const Panel& panel, std::function<void(std::optional<DiskPath>)> chosen) override;
    bool closePanels() override;
    Assertion beginActivity(const std::string& reason) override;
    Assertion preventSuddenTermination() override;
    void announce(const std::string& text) override;
    void listen(Requests requests) override { requests_ = std::move(requests); }
    Updates* updates() override { return nullptr; }
    bool eventFilter(QObject* watched, QEvent* event) override;

protected:
    QWidget* window() const { return window_; }
    const Requests& requests() const { return requests_; }

private:
    QPointer<QWidget> window_{};
    QPointer<QWidget> panel_{};
    std::unique_ptr<Announcer> announcer_;
    Requests requests_{};
};

/// The desktop of this system.
std::shared_ptr<QtDesktop> systemDesktop();

} // namespace vantorel
