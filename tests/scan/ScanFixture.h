#pragma once

#include "scan/OriginalsInspector.h"
#include "support/ManualClock.h"
#include "support/ScriptedCalls.h"
#include "support/TemporaryFolder.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace vantorel {

/// An identifier that begins with the letter: "A0000000-0000-4000-8000-000000000001".
std::string idOf(char letter, int number);

/// An entry on one line: its status, reason, file with companions, and flags.
std::string described(const OriginalEntry& entry);
std::map<std::int64_t, std::string> described(const OriginalsReport& report);
/// "uuid in directory: main:size + companion:size".
std::vector<std::string> described(const std::vector<OriginalsReport::UnknownFile>& files);

/// A library built by hand on a real disk, disturbed calls, and a clock that stands still.
struct ScanFixture {
    TemporaryFolder disk{};
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    std::shared_ptr<ScriptedCalls> calls = std::make_shared<ScriptedCalls>(clock);
    SharedCancelToken cancel = std::make_shared<CancelToken>();
    LibrarySnapshot snapshot{.libraryURL = disk.makeFolder("My.photoslibrary")};
    std::vector<ScanProgress> progress{};
    std::vector<std::string> listed{}; ///< Relative to the library.
    std::function<void(const std::string&)> onListing{};
    Seconds limit{90};

    /// A photo whose original is "originals/<letter>/<identifier>.jpeg". Its key is `number`.
    Asset& add(char letter, int number, std::optional<std::int64_t> size = std::nullopt);
    /// A file of the library with that many bytes; "{}" in the path stands for the identifier.
    void file(const std::string& path, std::size_t bytes = 5, const std::string& identifier = {});

    OriginalsReport inspect();
};

} // namespace vantorel
