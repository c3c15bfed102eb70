#pragma once

#include <memory>
#include <mutex>

namespace vantorel {

/// The flag that the user's Stop sets: once, from any thread, never reset. A new one for each scan, export or
/// search.
class CancelToken {
public:
    void cancel();
    bool isCancelled() const;

private:
    mutable std::mutex lock_;
    bool flag_ = false;
};

using SharedCancelToken = std::shared_ptr<CancelToken>;

/// False without a token.
inline bool isCancelled(const SharedCancelToken& token) { return token && token->isCancelled(); }

} // namespace vantorel
