#pragma once

#include "sample/SamplePlan.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vantorel::sample {

/// Some days in one place; its photos are neighbours in the library.
struct Trip {
    std::size_t place = 0;
    std::size_t firstItem = 0;
    std::size_t itemCount = 0;
    Date start{};
    std::string title{};
};

/// Albums of every kind in nested folders, with the names that people give and file systems dislike.
void addAlbums(SamplePlan& plan, const std::vector<Trip>& trips, std::uint64_t seed);

} // namespace vantorel::sample
