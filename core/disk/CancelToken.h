#pragma once

#include <memory>
#include <mutex>
#include <utility>

namespace vantorel {

/// The flag that the user's Stop sets: once, from any thread, never reset. A new one for each scan, export or
/// search.
class CancelToken {
public:
    CancelToken() = default;
    /// Is cancelled with the other one too.
    explicit CancelToken(std::shared_ptr<const CancelToken> other)
        : other_(std::move(other))
    {
    }

    void cancel();
    bool isCancelled() const;

private:
    std::shared_ptr<const CancelToken> other_;
    mutable std::mutex lock_;
    bool flag_ = false;
};

using SharedCancelToken = std::shared_ptr<CancelToken>;

/// False without a token.
inline bool isCancelled(const SharedCancelToken& token) { return token && token->isCancelled(); }

} // namespace vantorel
