#include "disk/CancelToken.h"

namespace vantorel {

void CancelToken::cancel()
{
    const std::scoped_lock held(lock_);
    flag_ = true;
}

bool CancelToken::isCancelled() const
{
    {
        const std::scoped_lock held(lock_);
        if (flag_) {
            return true;
        }
    }
    return other_ && other_->isCancelled();
}

} // namespace vantorel
