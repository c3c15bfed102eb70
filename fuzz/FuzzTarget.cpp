#include "FuzzTarget.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace vantorel::fuzz {

void require(bool holds, const char* what, std::source_location place)
{
    if (!holds) {
        std::fprintf(stderr, "%s:%u: does not hold: %s\n", place.file_name(), place.line(), what);
        std::abort();
    }
}

std::uint8_t InputReader::byte() { return static_cast<std::uint8_t>(number(1)); }

std::uint64_t InputReader::number(std::size_t count)
{
    std::uint64_t value = 0;
    unsigned shift = 0;
    for (const char c : bytes(count)) {
        value |= std::uint64_t{static_cast<unsigned char>(c)} << shift;
        shift += 8;
    }
    return value;
}

std::string_view InputReader::bytes(std::size_t count)
{
    const auto taken = rest_.substr(0, std::min(count, rest_.size()));
    rest_.remove_prefix(taken.size());
    return taken;
}

std::string InputReader::text()
{
    const auto end = rest_.find('\xFF');
    std::string taken(rest_.substr(0, end));
    rest_.remove_prefix(end == std::string_view::npos ? rest_.size() : end + 1);
    return taken;
}

InputWriter& InputWriter::number(std::uint64_t value, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i) {
        input_ += static_cast<char>(value & 0xFFU);
        value >>= 8U;
    }
    return *this;
}

InputWriter& InputWriter::bytes(std::string_view content)
{
    input_ += content;
    return *this;
}

InputWriter& InputWriter::text(std::string_view content)
{
    input_ += content;
    input_ += '\xFF';
    return *this;
}

} // namespace vantorel::fuzz
