#pragma once

#include "disk/SystemCalls.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace vantorel {

/// The way to newer versions of the program. Main thread.
class Updates {
public:
    virtual ~Updates() = default;
    /// Looks for a newer version and tells the user what was found.
    virtual void checkNow() = 0;
    virtual bool checksAutomatically() const = 0;
    virtual void setChecksAutomatically(bool checks) = 0;
};

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

    /// What the system asks of the program on its own account.
    struct Requests {
        /// A log-out, the Dock, another program: the user can be asked first. `answered`, where there is one,
        /// is called once, now or later: whether the program ends.
        std::function<void(std::function<void(bool ends)> answered)> quit{};
        /// Whether an export runs, so that there would be a question.
        std::function<bool()> isSaving{};
        /// The system ends the program soon, whatever is answered: no question, only a safe point.
        std::function<void()> endSoon{};
        /// The computer is about to sleep. `reached` is called once what is being saved now is whole.
        std::function<void(std::function<void()> reached)> sleepComes{};
        /// The user wants to see the window.
        std::function<void()> reopen{};
        /// The user gave a folder to the program, in the Finder or on the Dock.
        std::function<void(const DiskPath&)> open{};
    };
    enum class WindowClosed { leavesProgramRunning, endsProgram };

    virtual ~Desktop() = default;
    /// Calls back on the main thread, with none when the user chose nothing.
    virtual void choose(const Panel& panel, std::function<void(std::optional<DiskPath>)> chosen) = 0;
    /// Takes away a panel that is open, as if nothing was chosen; tells whether one still is there.
    virtual bool closePanels() = 0;
    /// Keeps the program from being slowed down while it works for the user; the computer may still sleep.
    virtual Assertion beginActivity(const std::string& reason) = 0;
    /// The system does not end the program suddenly, or not before it was told to end soon.
    virtual Assertion preventSuddenTermination() = 0;
    /// Spoken by assistive technology.
    virtual void announce(const std::string& text) = 0;

    /// From now on what the system asks goes to `requests`; to nobody after `listen({})`.
    virtual void listen(Requests requests) = 0;
    virtual WindowClosed whenWindowIsClosed() const = 0;
    /// None where the program is kept up to date by other means; then nothing offers it. Owned by the
    /// desktop.
    virtual Updates* updates() = 0;
};

} // namespace vantorel
