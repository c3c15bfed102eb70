#pragma once

#include "sample/SamplePlan.h"

#include <cstdint>

namespace vantorel::sample {

/// Turns some of the plan's plain photos into what is not plain: pairs, videos, edits, items without their
/// file, awkward names and dates. With `everyKind` at least one of each kind, for which 40 items are enough.
void addSpecialCases(SamplePlan& plan, std::uint64_t seed, bool everyKind);

} // namespace vantorel::sample
