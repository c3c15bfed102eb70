#pragma once

#include <cstddef>
#include <cstdint>
#include <source_location>
#include <string>
#include <string_view>
#include <vector>

/// What every fuzz target is made of: one function from any bytes, which ends the process where something
/// does not hold that must hold for every input. The same function is run by the fuzzer (FuzzerMain.cpp) and
/// by the ordinary tests on the inputs that are kept (ReplayMain.cpp).
namespace vantorel::fuzz {

/// Defined once in every target.
void runTarget(std::string_view input);

/// Ends the process with the place where it was asked.
void require(bool holds, const char* what, std::source_location place = std::source_location::current());

/// Takes values off the front of an input; what is missing reads as 0 or as empty.
class InputReader {
public:
    explicit InputReader(std::string_view input)
        : rest_(input)
    {
    }

    bool isAtEnd() const { return rest_.empty(); }
    std::uint8_t byte();
    /// Little-endian.
    std::uint64_t number(std::size_t bytes);
    bool flag() { return (byte() & 1U) != 0; }
    std::string_view bytes(std::size_t count);
    /// Up to the next byte FF, which stands nowhere in UTF-8, or the end.
    std::string text();
    std::string_view rest() const { return rest_; }

private:
    std::string_view rest_;
};

/// The counterpart, for inputs to begin with.
class InputWriter {
public:
    InputWriter& number(std::uint64_t value, std::size_t bytes = 1);
    InputWriter& bytes(std::string_view content);
    InputWriter& text(std::string_view content);
    const std::string& input() const { return input_; }

private:
    std::string input_;
};

} // namespace vantorel::fuzz
