#pragma once

#include "app/model/AppServices.h"

#include <cstddef>
#include <exception>
#include <memory>
#include <tuple>
#include <utility>

namespace vantorel {

/// Shares a value of so many items with the windows. Whoever lets go of it last, on whatever thread, does not
/// wait until a hundred thousand texts are freed: a thread of its own does that. A small value is freed where
/// it is.
template <typename Value>
std::shared_ptr<const Value> freedInBackground(Value value, std::size_t items, BackgroundStart start)
{
    constexpr std::size_t worthAThread = 10'000;
    struct Holder {
        Holder(Value held, BackgroundStart on)
            : value(std::make_shared<Value>(std::move(held)))
            , start(std::move(on))
        {
        }
        Holder(const Holder&) = delete;
        Holder& operator=(const Holder&) = delete;
        ~Holder()
        {
            try {
                std::ignore =
                    start([last = std::move(value)]() mutable { last.reset(); }); // else it is freed here
            } catch (const std::exception&) { // no memory for the task: likewise
            }
        }

        std::shared_ptr<Value> value;
        BackgroundStart start;
    };
    if (items < worthAThread) {
        return std::make_shared<const Value>(std::move(value));
    }
    auto holder = std::make_shared<Holder>(std::move(value), std::move(start));
    return {holder, holder->value.get()};
}

} // namespace vantorel
