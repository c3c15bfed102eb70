#include "cli/JsonAppend.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdint>
#include <random>

namespace vantorel::cli {
namespace {

template <typename T>
std::string text(const T& value)
{
    std::string out;
    appendJson(out, value);
    return out;
}

/// Every byte, letters of all lengths, and sequences that are cut off, read back as the library of the same
/// purpose writes and reads them.
TEST(JsonAppend, writesAnyBytesAsTextThatReadsBack)
{
    using nlohmann::json;
    const unsigned seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    for (int round = 0; round < 2'000; ++round) {
        std::string bytes;
        for (auto left = random() % 12; left > 0; --left) {
            static const std::string pieces[] = {
                "a", "\"", "\\", "\n", "\x01", "\x7F", "é", "漢", "😀", "\xC3", "\xED\xA0\x80"};
            bytes += random() % 3 == 0 ? std::string(1, static_cast<char>(random() % 256))
                                       : pieces[random() % std::size(pieces)];
        }
        const std::string written = text(std::string_view(bytes));
        const auto back = json::parse(written).get<std::string>(); // throws for what is no JSON
        const std::string expected = json(bytes).dump(-1, ' ', false, json::error_handler_t::replace);
        if (json::parse(expected).get<std::string>() == bytes) { // it was UTF-8
            EXPECT_EQ(written, expected);
        } else {
            EXPECT_NE(back.find("\xEF\xBF\xBD"), std::string::npos);
        }
    }
}

TEST(JsonAppend, writesNumbersAbsenceAndNesting)
{
    EXPECT_EQ(text(std::int64_t{-9'223'372'036'854'775'807 - 1}), "-9223372036854775808");
    EXPECT_EQ(text(46.5), "46.5");
    EXPECT_EQ(text(7.0), "7.0");
    EXPECT_EQ(text(std::optional<bool>(true)), "true");
    EXPECT_EQ(text(std::optional<std::string>()), "null");
    EXPECT_EQ(text(Date(std::chrono::milliseconds(1'001))), "\"1970-01-01T00:00:01.001Z\"");
    std::string out;
    JsonObject(out)
        .with("list", std::vector<std::string>{"a", "b"})
        .withWritten("inner", [](std::string& to) { JsonObject(to).end(); })
        .end();
    EXPECT_EQ(out, R"({"list":["a","b"],"inner":{}})");
}

} // namespace
} // namespace vantorel::cli
