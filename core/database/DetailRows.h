#pragma once

#include "database/DatabaseSteps.h"
#include "database/ReadState.h"

#include <vector>

namespace vantorel {

/// Which attributes row points at which caption, to notice captions that are lost.
struct CaptionLinks {
    KeyIndex captions{};               ///< From the row id of a description to a position below.
    std::vector<std::size_t> assets{}; ///< Positions in the snapshot's assets.
    std::vector<bool> found{};
};

/// Reads original file names, sizes, titles, fingerprints and time zones, one row for each asset.
void readAttributeRows(ReadState& state, CaptionLinks& links, const DatabaseSteps::Worker& worker);
/// Reads captions.
void readDescriptionRows(ReadState& state, CaptionLinks& links, const DatabaseSteps::Worker& worker);
/// Counts and marks photos whose row of attributes is lost.
void settleDetails(ReadState& state);
/// Counts and marks photos whose caption is lost.
void settleCaptions(ReadState& state, const CaptionLinks& links);

} // namespace vantorel
