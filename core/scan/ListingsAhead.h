#pragma once

#include "base/Clock.h"
#include "discovery/volumes/VolumeWatch.h"
#include "disk/FS.h"
#include "disk/SystemCalls.h"

#include <memory>
#include <optional>
#include <string>

namespace vantorel {

/// Lists the folders of the originals ahead of the check, on a thread of its own: while the records are read
/// from the private copy of the database the library's disk has nothing else to do. One folder after the
/// other, in the order in which the check asks for them.
///
/// Only what came out whole is kept. About everything else nothing is said: whoever asks looks for himself,
/// with all the patience and all the rules that belong to it.
class ListingsAhead {
public:
    /// Begins. Without a thread there are no listings.
    ListingsAhead(const std::shared_ptr<const SystemCalls>& calls, std::shared_ptr<const Clock> clock,
        DiskPath library);
    ~ListingsAhead();
    ListingsAhead(const ListingsAhead&) = delete;
    ListingsAhead& operator=(const ListingsAhead&) = delete;

    struct Listing {
        FS::PartialList list{};
        /// Of the volume, from before the first listing.
        std::shared_ptr<const VolumeWatch> watch{};
    };
    /// The listing of a folder of the library ("originals/A"), once. Where there is none the thread is told
    /// to end, so that two do not read one disk at a time.
    std::optional<Listing> take(const std::string& relative);
    /// Ends after the call to the disk that runs just now. What is listed already stays.
    void stop();

private:
    struct State;
    std::shared_ptr<State> state_; ///< Shared with the thread, which may hang and outlive this.
};

} // namespace vantorel
