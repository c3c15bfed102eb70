#pragma once

#include "disk/SystemCalls.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace vantorel {

/// The desktop around the program. Main thread.
class Desktop {
public:
    struct Panel {
        enum class What { library, folder };
        What what = What::library;
        std::string prompt{}; ///< On the button.
        std::string message{};
    };
    /// Ends when the last holder lets go of it.
    using Assertion = std::shared_ptr<void>;

    virtual ~Desktop() = default;
    /// Calls back on the main thread, with none when the user chose nothing.
    virtual void choose(const Panel& panel, std::function<void(std::optional<DiskPath>)> chosen) = 0;
    /// Keeps the program from being slowed down while it works for the user; the computer may still sleep.
    virtual Assertion beginActivity(const std::string& reason) = 0;
    /// The system does not end the program suddenly.
    virtual Assertion preventSuddenTermination() = 0;
    /// Spoken by assistive technology.
    virtual void announce(const std::string& text) = 0;
};

} // namespace vantorel
