#pragma once

#include "database/model/Album.h"
#include "database/model/Asset.h"

#include <deque>
#include <string>
#include <string_view>

namespace vantorel {

/// Identifiers in the form by which two libraries are compared, upper case. The views last as long as this
/// and what they were made of. An empty one identifies nothing.
class IdentifierKeys {
public:
    std::string_view of(const Asset& asset);
    std::string_view of(const Album& album);

private:
    std::string_view upper(std::string_view identifier);

    std::deque<std::string> made_; ///< Those that are not stored as they are used.
};

} // namespace vantorel
