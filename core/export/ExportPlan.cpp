#include "export/ExportPlan.h"

#include <algorithm>
#include <limits>

namespace vantorel {

namespace {

constexpr auto most = std::numeric_limits<std::int64_t>::max();

std::int64_t roundedUp(std::int64_t size, std::int64_t block)
{
    const auto blocks = size / block + (size % block > 0 ? 1 : 0);
    return blocks > most / block ? most : blocks * block;
}

} // namespace

std::int64_t sumOfSizes(std::int64_t a, std::int64_t b)
{
    a = std::max<std::int64_t>(a, 0);
    b = std::max<std::int64_t>(b, 0);
    return a > most - b ? most : a + b;
}

std::int64_t sizeEstimate(const ExportPlan& plan)
{
    std::int64_t sum = 0;
    for (const auto& item : plan.items) {
        for (const auto& file : item.files) {
            sum = sumOfSizes(sum, file.size);
        }
    }
    return sum;
}

std::int64_t neededBytes(const PlannedItem& item, std::uint32_t blockSize)
{
    const std::int64_t block = blockSize == 0 ? 4096 : blockSize;
    auto sum = block; // the sidecar, which rarely takes more
    for (const auto& file : item.files) {
        sum = sumOfSizes(sum, roundedUp(std::max<std::int64_t>(file.size, 0), block));
    }
    return sum;
}

std::int64_t neededBytes(const ExportPlan& plan, std::uint32_t blockSize)
{
    std::int64_t sum = 0;
    for (const auto& item : plan.items) {
        sum = sumOfSizes(sum, neededBytes(item, blockSize));
    }
    return sum;
}

} // namespace vantorel
