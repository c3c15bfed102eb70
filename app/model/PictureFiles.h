#pragma once

#include "scan/OriginalsReport.h"

#include <string>
#include <vector>

namespace vantorel {

/// The files of a library that may show an item, best first for a picture of `side` pixels: the item as it
/// looks now before its unedited state, and of what is large enough the smallest. Most of them are not there;
/// looking at a fixed handful of names costs less than listing folders of many thousands of copies. Relative
/// to the library; never a file outside it.
std::vector<std::string> pictureFiles(const Asset& asset, const OriginalEntry& entry, int side);

} // namespace vantorel
