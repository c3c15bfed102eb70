#pragma once

#include <QtCore/qproperty.h>

#include <concepts>
#include <utility>

namespace vantorel {

/// A bindable property that everybody reads and observes and only its owner sets. Main thread only. Setting
/// an equal value tells nobody; so what is large is held by `std::shared_ptr<const …>` and compared by
/// address.
template <typename Owner, typename T>
class Published {
public:
    Published() = default;
    explicit Published(T initial)
        : property_(std::move(initial))
    {
    }

    /// The value; inside a binding or an observed expression also a dependency on it.
    decltype(auto) operator()() const { return property_.value(); }

    /// Calls `told` after each change for as long as the returned notifier lives.
    template <std::invocable Told>
    [[nodiscard]] QPropertyNotifier onChange(Told told) const
    {
        return property_.addNotifier(std::move(told));
    }

private:
    friend Owner;

    void set(T value) { property_.setValue(std::move(value)); }

    mutable QProperty<T> property_; ///< Adding an observer changes no value.
};

} // namespace vantorel
