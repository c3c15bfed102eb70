#pragma once

#include "scan/LibraryScanner.h"

#include <cstddef>

namespace vantorel {

/// What a scan of a whole library of so many photos gives, made up in memory: names as cameras give them, a
/// part outside ASCII, a third in albums. The same count gives the same result.
LibraryScanResult scanOfMany(std::size_t count);

} // namespace vantorel
