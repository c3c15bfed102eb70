#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace vantorel::sample {

/// Numbers from a seed that are the same on every platform (the distributions of the standard library are
/// not).
class Random {
public:
    explicit Random(std::uint64_t seed)
        : state_(seed)
    {
    }

    std::uint64_t next();
    /// 0 to `count` - 1; `count` is at least 1.
    std::size_t below(std::size_t count);
    /// 0 to 1, without 1.
    double unit();
    double between(double low, double high);
    bool chance(double probability) { return unit() < probability; }
    template <typename T, std::size_t extent>
    const T& oneOf(std::span<T, extent> values)
    {
        return values[below(values.size())];
    }

private:
    std::uint64_t state_;
};

/// A seed of its own for each purpose and index, so that one more item changes nothing about the others.
std::uint64_t mixedSeed(std::uint64_t seed, std::uint64_t purpose, std::uint64_t index = 0);

/// Upper-case text of a version 4 UUID.
std::string drawnUuid(Random& random);
std::string drawnBytes(Random& random, std::size_t count);

} // namespace vantorel::sample
