#include "sample/Random.h"

namespace vantorel::sample {

namespace {

std::uint64_t scrambled(std::uint64_t value)
{
    value = (value ^ (value >> 30U)) * 0xbf58476d1ce4e5b9U;
    value = (value ^ (value >> 27U)) * 0x94d049bb133111ebU;
    return value ^ (value >> 31U);
}

} // namespace

std::uint64_t Random::next()
{
    state_ += 0x9e3779b97f4a7c15U;
    return scrambled(state_);
}

std::size_t Random::below(std::size_t count) { return static_cast<std::size_t>(next() % count); }

double Random::unit() { return static_cast<double>(next() >> 11U) * 0x1p-53; }

double Random::between(double low, double high) { return low + (high - low) * unit(); }

std::uint64_t mixedSeed(std::uint64_t seed, std::uint64_t purpose, std::uint64_t index)
{
    return scrambled(
        scrambled(scrambled(seed + 0x9e3779b97f4a7c15U) ^ (purpose * 0xd6e8feb86659fd93U)) + index);
}

std::string drawnUuid(Random& random)
{
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(36);
    std::uint64_t bits = 0;
    for (int digit = 0; digit < 32; ++digit) {
        if (digit % 16 == 0) {
            bits = random.next();
        }
        if (digit == 8 || digit == 12 || digit == 16 || digit == 20) {
            text += '-';
        }
        unsigned value = static_cast<unsigned>(bits & 15U);
        bits >>= 4U;
        if (digit == 12) {
            value = 4;
        } else if (digit == 16) {
            value = 8U | (value & 3U);
        }
        text += digits[value];
    }
    return text;
}

std::string drawnBytes(Random& random, std::size_t count)
{
    std::string bytes(count, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(random.next() & 0xffU);
    }
    return bytes;
}

} // namespace vantorel::sample
