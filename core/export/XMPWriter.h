#pragma once

#include "database/model/Asset.h"

#include <string>
#include <vector>

namespace vantorel {

/// Makes the sidecar document of one saved photo: UTF-8 XML that photo managers read (XMP).
namespace XMPWriter {

struct Input {
    const Asset& asset;
    std::vector<std::string> albums{}; ///< The album paths in which the photo was saved.
    bool isSmallerCopy = false;
    bool peopleAsKeywords = true;
};

std::string document(const Input& input);

} // namespace XMPWriter

} // namespace vantorel
