#include "base/Text.h"

#include "base/Date.h"
#include "base/Unicode.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace vantorel {
namespace {

TEST(ByteSizes, areWrittenForPeopleWithoutALocale)
{
    const std::pair<std::int64_t, std::string> rows[] = {
        {-5, "Zero KB"},
        {0, "Zero KB"},
        {512, "512 bytes"},
        {999, "999 bytes"},
        {1'000, "1 KB"},
        {12'345, "12 KB"},
        {999'499, "999 KB"},
        {999'500, "1.0 MB"},
        {3'449'999, "3.4 MB"},
        {3'450'000, "3.5 MB"},
        {999'949'999, "999.9 MB"},
        {999'950'000, "1.00 GB"},
        {1'254'999'999, "1.25 GB"},
        {999'995'000'000, "1.00 TB"},
        {2'000'000'000'000, "2.00 TB"},
        {std::numeric_limits<std::int64_t>::max(), "9223372.04 TB"},
    };
    for (const auto& [bytes, text] : rows) {
        EXPECT_EQ(byteSize(bytes), text) << bytes;
    }
}

TEST(Counts, areGrouped)
{
    EXPECT_EQ(grouped(0), "0");
    EXPECT_EQ(grouped(999), "999");
    EXPECT_EQ(grouped(1'000), "1,000");
    EXPECT_EQ(grouped(-1'234'567), "-1,234,567");
}

TEST(Utf8, isRepairedOncePerMaximalInvalidPart)
{
    const std::string replaced = "\xEF\xBF\xBD";
    const std::pair<std::string, std::string> rows[] = {
        {"plain", "plain"},
        {"\xC3\xA9t\xC3\xA9", "\xC3\xA9t\xC3\xA9"},
        {"a\xFF"
         "b",
            "a" + replaced + "b"},
        {"\xE2\x82", replaced},                           // cut sequence
        {"\xC0\xAF", replaced + replaced},                // overlong
        {"\xED\xA0\x80", replaced + replaced + replaced}, // surrogate
        {std::string("a\0b", 3), std::string("a\0b", 3)},
    };
    for (const auto& [bytes, text] : rows) {
        EXPECT_EQ(repairedUtf8(bytes), text);
        EXPECT_EQ(isValidUtf8(bytes), bytes == text);
    }
}

TEST(DisplayText, showsWhatWouldControlATerminal)
{
    EXPECT_EQ(displayText("a\x1b[31mred\nline\tend\x7f"), "a\\x1b[31mred\\nline\\tend\\x7f");
    EXPECT_EQ(displayText("\xE2\x80\xAE"
                          "gpj.exe\xC2\x9B"),
        "\\u202egpj.exe\\u009b");
    EXPECT_EQ(displayText("\xC3\x89t\xC3\xA9 \xF0\x9F\x8C\x85"), "\xC3\x89t\xC3\xA9 \xF0\x9F\x8C\x85");
}

TEST(Identifiers, areRecognisedAndWritten)
{
    EXPECT_TRUE(isUuid("00000000-0000-4000-8000-0123456789aF"));
    for (const auto* text :
        {"", "00000000-0000-4000-8000-0123456789a", "00000000-0000-4000-8000-0123456789ag",
            "000000000000-4000-8000-0123456789abcd", "00000000-0000-4000-8000-0123456789abc"}) {
        EXPECT_FALSE(isUuid(text)) << text;
    }
    EXPECT_EQ(
        uuidText(std::string_view("\x01\x23\x45\x67\x89\xab\xcd\xef\x00\x01\x02\x03\x04\x05\x06\x07", 16)),
        "01234567-89AB-CDEF-0001-020304050607");
    EXPECT_EQ(uuidText("short"), std::nullopt);
    const std::string fresh = randomUuid();
    EXPECT_TRUE(isUuid(fresh));
    EXPECT_EQ(fresh[14], '4');
    EXPECT_NE(fresh, randomUuid());
}

TEST(Encodings, matchTheirPublishedExamples)
{
    EXPECT_EQ(base64(""), "");
    EXPECT_EQ(base64("f"), "Zg==");
    EXPECT_EQ(base64("fo"), "Zm8=");
    EXPECT_EQ(base64("foo"), "Zm9v");
    EXPECT_EQ(base64("\xff\xfe"), "//4=");
    EXPECT_EQ(hex(std::string_view("\x00\xa5\xff", 3)), "00a5ff");
}

TEST(Integers, areTakenWholeOrNotAtAll)
{
    EXPECT_EQ(parseInteger<int>("-12"), -12);
    EXPECT_EQ(parseInteger<std::uint64_t>("18446744073709551615"), std::numeric_limits<std::uint64_t>::max());
    for (const auto* text : {"", " 1", "1 ", "+1", "1x", "99999999999"}) {
        EXPECT_EQ(parseInteger<int>(text), std::nullopt) << text;
    }
}

TEST(Unicode, foldsNamesThatADiskTakesAsOne)
{
    const std::string composedName = "\xC3\x89t\xC3\xA9"; // É t é
    const std::string decomposedName = "E\xCC\x81te\xCC\x81";
    EXPECT_EQ(composed(decomposedName), composedName);
    EXPECT_EQ(decomposed(composedName), decomposedName);
    EXPECT_EQ(caseFoldedComposed(decomposedName), caseFoldedComposed("\xC3\x89T\xC3\x89"));
    EXPECT_NE(caseFoldedComposed(composedName), caseFoldedComposed("ete"));
    EXPECT_EQ(caseAndWidthFolded("\xEF\xBC\xA1\xEF\xBD\x81"), "aa"); // full-width A a
    EXPECT_EQ(caseAndWidthFolded("\xEF\xBD\xB6"), "\xE3\x82\xAB");   // half-width ka
    EXPECT_NE(caseAndWidthFolded("\xC3\xA9"), "e");                  // diacritics stay
    EXPECT_EQ(upperCase("con\xC3\xA9"), "CON\xC3\x89");
    EXPECT_EQ(lowerCase("IMG_\xC3\x89.JPG"), "img_\xC3\xA9.jpg");
    EXPECT_TRUE(isSameText(composedName, decomposedName));
    EXPECT_TRUE(isSameText("K", "\xE2\x84\xAA")); // the sign of Kelvin is composed to the letter
    EXPECT_FALSE(isSameText("a", "A"));
}

TEST(Unicode, cutsBetweenWholeCharacters)
{
    const std::string family = "\xF0\x9F\x91\xA9\xE2\x80\x8D\xF0\x9F\x91\xA7"; // one cluster of 11 bytes
    EXPECT_EQ(prefixOfWholeCharacters("ab" + family, 12), "ab");
    EXPECT_EQ(prefixOfWholeCharacters("ab" + family, 13), "ab" + family);
    EXPECT_EQ(prefixOfWholeCharacters("e\xCC\x81"
                                      "e\xCC\x81",
                  5),
        "e\xCC\x81");
    EXPECT_EQ(prefixOfWholeCharacters("\xC3\xA9", 1), "");
    EXPECT_EQ(
        prefixOfWholeCharacters("abc\xC3\xA9", 4), "abc"); // a limit inside a character takes only that one
    EXPECT_EQ(prefixOfWholeCharacters("abc", 2), "ab");
    EXPECT_TRUE(isUnassigned(0xFFFF));
    EXPECT_TRUE(isUnassigned(0xFDD0));
    EXPECT_FALSE(isUnassigned('a'));
    EXPECT_FALSE(isUnassigned(0xE000)); // private use is kept
}

TEST(LibraryDates, areJudgedByTheirRange)
{
    struct Row {
        std::optional<double> stored;
        std::string text; // "" : none, "-" : rejected
    };
    const Row rows[] = {
        {std::nullopt, ""},
        {0.0, ""},
        {std::nan(""), ""},
        {std::numeric_limits<double>::infinity(), ""},
        {1.0, "2001-01-01T00:00:01.000Z"},
        {-978'307'200.0, "1970-01-01T00:00:00.000Z"},
        {-978'307'201.0, "-"},
        {3'187'296'000.0, "2102-01-02T00:00:00.000Z"},
        {3'187'296'001.0, "-"},
        {-1'000'000'000.0, "-"},
        {123'456'789'012'345.0, "2001-01-02T10:17:36.789Z"}, // nanoseconds
        {1.7e18, "2054-11-14T22:13:20.000Z"},
        {-63'114'076'800.0, "-"},
        {694'268'123.25, "2023-01-01T12:15:23.250Z"},
    };
    for (const auto& row : rows) {
        const LibraryDate date = libraryDate(row.stored);
        EXPECT_EQ(date.date     ? isoMilliseconds(*date.date)
                : date.rejected ? "-"
                                : "",
            row.text)
            << row.stored.value_or(0);
    }
    EXPECT_EQ(isoMilliseconds(*libraryDateKnownSet(0).date), "2001-01-01T00:00:00.000Z");
    EXPECT_DOUBLE_EQ(secondsSince2001(*libraryDate(694'268'123.25).date), 694'268'123.25);
}

TEST(SidecarDates, carryTheirOffsetWhenItIsKnown)
{
    using namespace std::chrono;
    const Date date =
        sys_days(year(2023) / 12 / 31) + hours(22) + minutes(30) + seconds(5) + microseconds(999'999);
    EXPECT_EQ(sidecarDate(date, std::nullopt), "2023-12-31T22:30:05");
    EXPECT_EQ(sidecarDate(date, 7'200), "2024-01-01T00:30:05+02:00");
    EXPECT_EQ(sidecarDate(date, -12'600), "2023-12-31T19:00:05-03:30");
    EXPECT_EQ(sidecarDate(date, 0), "2023-12-31T22:30:05+00:00");
    EXPECT_EQ(sidecarDate(date, 64'801), "2023-12-31T22:30:05");
    EXPECT_EQ(sidecarDate(Date(seconds(100'000'000'001)), std::nullopt), std::nullopt);
    EXPECT_EQ(sidecarDate(Date(sys_days(year(29) / 2 / 3)), std::nullopt), "0029-02-03T00:00:00");
    EXPECT_EQ(gregorianYear(date, std::nullopt), 2023);
    EXPECT_EQ(gregorianYear(date, 7'200), 2024);
}

} // namespace
} // namespace vantorel
