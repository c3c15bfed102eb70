#pragma once

#include "disk/SystemCalls.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vantorel {

/// Which system calls are disturbed, and how; and a log of all of them. Thread-safe.
class FaultScript {
public:
    struct Range {
        std::int64_t offset = 0;
        std::size_t length = 0;

        bool touches(const Range& other) const;
    };

    struct Call {
        std::string name{};
        DiskPath path{};

        bool operator==(const Call&) const = default;
    };

    /// What a rule does to a call, in this order.
    struct Trouble {
        std::function<void()> action{};
        std::chrono::nanoseconds delay{0};
        bool hangs = false;
        std::optional<int> error{};
        std::size_t mostBytes = std::numeric_limits<std::size_t>::max(); ///< Of a read or write.
        std::optional<Range> flipped{};
        std::function<void(FileStatus&)> statusChange{};
        std::optional<std::uint64_t> fileSystem{};
    };

private:
    struct Entry {
        std::shared_ptr<std::mutex> lock{}; ///< The script's.
        std::string call{};
        std::string path{};
        std::size_t first = 1;
        std::size_t last = std::numeric_limits<std::size_t>::max();
        std::optional<Range> range{};
        std::optional<std::size_t> room{};
        Trouble trouble{};
        std::size_t met = 0;  ///< Calls that fitted.
        std::size_t hits = 0; ///< Those that were disturbed.
    };

public:
    /// A disturbance, and how often it came about. Copies are the same rule.
    class Rule {
    public:
        // Which of the calls that fit; without a word, all.

        /// Counted from 1.
        Rule nth(std::size_t number) { return set(&Entry::first, number).set(&Entry::last, number); }
        /// That one and all later ones.
        Rule from(std::size_t number) { return set(&Entry::first, number); }
        /// No more than this many; after `from`.
        Rule times(std::size_t count) { return set(&Entry::last, entry_->first + count - 1); }
        /// Reads that touch these bytes of the file.
        Rule at(std::int64_t offset, std::size_t length = 1)
        {
            return set(&Entry::range, Range{offset, length});
        }

        // What happens. Without a word, the calls are counted.

        Rule fail(int code) { return set(&Trouble::error, code); }
        /// For ever; let go at the end of the test it gives ENXIO.
        Rule hang() { return set(&Trouble::hangs, true); }
        /// Then it goes on.
        Rule delay(std::chrono::nanoseconds time) { return set(&Trouble::delay, time); }
        /// Reads or writes no more than this at once.
        Rule shorten(std::size_t mostBytes) { return set(&Trouble::mostBytes, mostBytes); }
        /// Writes fit as long as there is room, the last of them in part; then ENOSPC, which alone is a hit.
        Rule room(std::size_t bytes) { return set(&Entry::room, bytes); }
        /// The bytes given with `at` are read inverted.
        Rule flip() { return set(&Trouble::flipped, entry_->range); }
        /// Before the call, on its thread.
        Rule run(std::function<void()> action) { return set(&Trouble::action, std::move(action)); }
        Rule changeStatus(std::function<void(FileStatus&)> change)
        {
            return set(&Trouble::statusChange, std::move(change));
        }
        /// Its content is not on this machine.
        Rule cloudFile()
        {
            return changeStatus([](FileStatus& status) { status.contentElsewhere = true; });
        }
        /// Another volume under the same path.
        Rule otherFileSystem(std::uint64_t identifier) { return set(&Trouble::fileSystem, identifier); }

        std::size_t hits() const;

    private:
        friend class FaultScript;
        explicit Rule(std::shared_ptr<Entry> entry)
            : entry_(std::move(entry))
        {
        }
        template <typename Value>
        Rule set(Value Entry::* member, std::type_identity_t<Value> value)
        {
            const std::scoped_lock held(*entry_->lock);
            (*entry_).*member = std::move(value);
            return *this;
        }
        template <typename Value>
        Rule set(Value Trouble::* member, std::type_identity_t<Value> value)
        {
            const std::scoped_lock held(*entry_->lock);
            entry_->trouble.*member = std::move(value);
            return *this;
        }

        std::shared_ptr<Entry> entry_;
    };

    /// Throws for a name that no call has: it would be a rule that never comes about.
    Rule on(std::string_view call, std::string path);
    void removeRules();

    /// Logs a call and says what happens to it: the troubles of all rules that fit, in the order in which the
    /// rules were made. `otherPath` is a rename's new one.
    std::vector<Trouble> meet(Call call, const Range& range, const std::optional<DiskPath>& otherPath);

    std::vector<Call> log() const;
    std::size_t count(std::string_view call, std::string_view path) const;

private:
    std::shared_ptr<std::mutex> lock_ = std::make_shared<std::mutex>();
    std::vector<std::shared_ptr<Entry>> entries_;
    std::vector<Call> log_;
};

} // namespace vantorel
