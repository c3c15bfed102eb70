#pragma once

#include "compare/LibraryComparer.h"

#include <initializer_list>
#include <string>
#include <vector>

namespace vantorel {

/// A scan result built by hand: items with whole originals, keys in the order of adding.
struct CompareFixture {
    LibraryScanResult scan{};

    Asset& item(const std::string& uuid);
    Album& album(const std::string& title, std::initializer_list<std::int64_t> items = {});
    Album& folder(const std::string& title);
    OriginalEntry& original(std::int64_t pk) { return scan.originals.entries.at(pk); }
};

LibraryComparison compared(const CompareFixture& here, const CompareFixture& there);

/// A comparison without what is empty, on lines: "missing 1 3", "changed 2-5 caption,date",
/// "album 1-4 renamed Roma moved Trips/Italy missing 2 only 1".
std::string described(const LibraryComparison& comparison);

/// What must hold of any two libraries: every item and album is counted once on each side.
void expectWholeCounts(
    const LibraryScanResult& here, const LibraryScanResult& there, const LibraryComparison& comparison);

} // namespace vantorel
