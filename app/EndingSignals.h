#pragma once

#include <functional>
#include <memory>

#include <QtCore/qobject.h>

class QSocketNotifier;

namespace vantorel {

/// SIGINT, SIGTERM and SIGHUP as a call on the main thread instead of the process's end, for as long as this
/// lives; one of them at a time. A SIGHUP that is ignored ("nohup") stays so. SIGPIPE is ignored from then
/// on: a child that went away is a failed write. Main thread.
class EndingSignals final : public QObject {
public:
    explicit EndingSignals(std::function<void()> received);
    ~EndingSignals() override;

private:
    std::unique_ptr<QSocketNotifier> notifier_;
};

} // namespace vantorel
