#include "disk/InParallel.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <vector>

namespace vantorel {
namespace {

TEST(InParallel, doesEachOnceAndIsDoneAtItsEnd)
{
    for (const std::size_t count : {0U, 1U, 3U, 1'000U}) {
        std::vector<std::atomic<int>> done(count);
        inParallel(count, [&](std::size_t i) { ++done[i]; });
        for (const auto& times : done) {
            EXPECT_EQ(times, 1);
        }
    }
}

TEST(InParallel, throwsOnceAndBeginsNothingMore)
{
    std::atomic<std::size_t> begun = 0;
    EXPECT_THROW(inParallel(100'000,
                     [&](std::size_t) {
                         ++begun;
                         throw std::runtime_error("no");
                     }),
        std::runtime_error);
    EXPECT_LT(begun, 100U);
}

} // namespace
} // namespace vantorel
