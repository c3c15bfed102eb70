#pragma once

// The way to the background and back; for the sources of AppModel.

#include "app/model/AppModel.h"

#include <exception>
#include <utility>

namespace vantorel {

inline constexpr Seconds progressInterval{0.05};

template <typename Result>
void AppModel::inBackground(
    std::function<Result()> work, std::function<void(Result)> apply, Result ifItCannotRun)
{
    auto task = [box = std::weak_ptr(mailbox_), work = std::move(work), apply, ifItCannotRun] {
        Result result = ifItCannotRun;
        try {
            result = work();
        } catch (const std::exception&) {
            result = ifItCannotRun; // memory ran out: what the caller says then
        }
        if (const auto mailbox = box.lock()) {
            mailbox->post([apply, result = std::move(result)] { apply(result); });
        }
    };
    if (!services_.start(std::move(task))) {
        mailbox_->post([apply = std::move(apply), result = std::move(ifItCannotRun)] { apply(result); });
    }
}

template <typename Value>
std::function<void(const Value&)> AppModel::throttled(std::function<void(const Value&)> apply)
{
    return [this, box = std::weak_ptr(mailbox_), latest = std::make_shared<LatestValue<Value>>(),
               apply = std::move(apply)](const Value& value) {
        if (!latest->put(value)) {
            return;
        }
        if (const auto mailbox = box.lock()) {
            mailbox->post([this, latest, apply] { deliver(latest, apply); });
        }
    };
}

template <typename Value>
void AppModel::deliver(
    const std::shared_ptr<LatestValue<Value>>& latest, const std::function<void(const Value&)>& apply)
{
    if (const auto value = latest->take()) {
        apply(*value);
        later(progressInterval, [this, latest, apply] { deliver(latest, apply); });
    }
}

} // namespace vantorel
