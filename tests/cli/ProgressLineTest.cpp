#include "cli/ProgressLine.h"

#include <gtest/gtest.h>

namespace vantorel::cli {
namespace {

TEST(ProgressWords, sayTimeAsPeopleDo)
{
    const std::pair<double, std::string> rows[] = {
        {0.2, "about 5 seconds left"},
        {22, "about 20 seconds left"},
        {49.9, "about 50 seconds left"},
        {55, "about a minute left"},
        {150, "about 3 minutes left"},
        {5'300, "about 88 minutes left"},
        {9'000, "about 3 hours left"},
    };
    for (const auto& [seconds, text] : rows) {
        EXPECT_EQ(timeLeft(Seconds(seconds)), text) << seconds;
    }
}

TEST(ProgressWords, fillTheBarByShare)
{
    EXPECT_EQ(bar(0, 10, 4), "░░░░");
    EXPECT_EQ(bar(5, 10, 4), "▓▓░░");
    EXPECT_EQ(bar(11, 10, 4), "▓▓▓▓");
    EXPECT_EQ(bar(1, 0, 2), "░░");
}

} // namespace
} // namespace vantorel::cli
