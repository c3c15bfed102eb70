#pragma once

#include <cstddef>
#include <string_view>

namespace vantorel {

/// Bounds the memory of texts that stand once in a library and are copied to every photo that has them, such
/// as keywords. A million photos with a dozen keywords each take a quarter of it; in a library that was made
/// to harm, a few megabytes would otherwise become a terabyte.
class TextBudget {
public:
    /// False where too little is left for another copy: it then counts as lost.
    [[nodiscard]] bool take(std::string_view text)
    {
        if (text.size() > left_) {
            return false;
        }
        left_ -= text.size();
        return true;
    }

private:
    std::size_t left_ = std::size_t{512} << 20U;
};

} // namespace vantorel
