#include "disk/CancelToken.h"

namespace vantorel {

void CancelToken::cancel()
{
    const std::scoped_lock held(lock_);
    flag_ = true;
}

bool CancelToken::isCancelled() const
{
    const std::scoped_lock held(lock_);
    return flag_;
}

} // namespace vantorel
