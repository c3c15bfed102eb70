#pragma once

#include <string_view>

namespace vantorel {

/// Whether a text is a well-formed XML document in UTF-8: one root element, tags that match, quoted
/// attributes that differ, characters and references that XML allows. A document type declaration counts as
/// not well-formed: a sidecar has none, and what it could define is not expanded here. Bounded by the text's
/// length and a depth of 256 elements.
bool isWellFormedXml(std::string_view text);

} // namespace vantorel
