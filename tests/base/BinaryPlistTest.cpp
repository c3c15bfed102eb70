#include "base/BinaryPlist.h"
#include "base/Digest.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vantorel {
namespace {

/// A list put together by hand: the objects as bytes, references of one byte, offsets of two.
std::string plist(const std::vector<std::string>& objects, std::size_t top = 0)
{
    std::string bytes = "bplist00";
    std::vector<std::size_t> offsets;
    for (const auto& object : objects) {
        offsets.push_back(bytes.size());
        bytes += object;
    }
    const std::size_t table = bytes.size();
    for (const std::size_t offset : offsets) {
        bytes += static_cast<char>(offset >> 8U);
        bytes += static_cast<char>(offset & 255U);
    }
    bytes += std::string(6, '\0') + '\x02' + '\x01';
    for (const std::size_t number : {objects.size(), top, table}) {
        for (int shift = 56; shift >= 0; shift -= 8) {
            bytes += static_cast<char>(static_cast<std::uint64_t>(number) >> shift & 255U);
        }
    }
    return bytes;
}

std::string bytesOf(std::initializer_list<int> values)
{
    std::string text;
    for (const int value : values) {
        text += static_cast<char>(value);
    }
    return text;
}

TEST(BinaryPlistReader, readsEveryTypeThatAJournalHolds)
{
    const std::string bytes = plist({
        bytesOf({0xD3, 1, 2, 3, 4, 5, 6}), // dictionary of three
        "\x51"
        "a",
        "\x51"
        "b",
        "\x51"
        "c",
        bytesOf({0xA9, 7, 8, 9, 10, 11, 12, 13, 14, 15}),
        bytesOf({0x62, 0xD8, 0x3C, 0xDF, 0x05}), // UTF-16 pair
        bytesOf({0x09}),
        bytesOf({0x10, 200}),
        bytesOf({0x11, 0x01, 0x00}),
        bytesOf({0x13, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE}),
        bytesOf({0x22, 0x3F, 0x80, 0, 0}),
        bytesOf({0x23, 0x3F, 0xF8, 0, 0, 0, 0, 0, 0}),
        bytesOf({0x33, 0xC0, 0x00, 0, 0, 0, 0, 0, 0}),
        bytesOf({0x4F, 0x10, 3, 1, 2, 3}),
        bytesOf({0x61, 0xD8, 0x00}), // lone surrogate
        bytesOf({0x08}),
    });
    const auto list = BinaryPlist::open(bytes);
    ASSERT_TRUE(list);
    ASSERT_TRUE(list->isDictionary(list->top()));
    const auto array = list->elements(list->value(list->top(), "a").value());
    ASSERT_TRUE(array);
    ASSERT_EQ(array->size(), 9U);
    const auto& e = *array;
    EXPECT_EQ(list->integer(e[0]), 200);
    EXPECT_EQ(list->integer(e[1]), 256);
    EXPECT_EQ(list->integer(e[2]), -2);
    EXPECT_EQ(list->real(e[3]), 1.0);
    EXPECT_EQ(list->real(e[4]), 1.5);
    EXPECT_EQ(list->date(e[5]), -2.0);
    EXPECT_EQ(list->data(e[6]), "\x01\x02\x03");
    EXPECT_EQ(list->string(e[7]), "\xEF\xBF\xBD");
    EXPECT_EQ(list->boolean(e[8]), false);
    EXPECT_EQ(list->boolean(e[0]), true);
    EXPECT_EQ(list->string(list->value(list->top(), "b").value()), "\xF0\x9F\x8C\x85");
    EXPECT_EQ(list->boolean(list->value(list->top(), "c").value()), true);
    EXPECT_FALSE(list->value(list->top(), "d"));
    EXPECT_EQ(list->string(e[0]), std::nullopt);
    const auto entries = list->entries(list->top());
    ASSERT_TRUE(entries);
    EXPECT_EQ(entries->back().key, "c");
}

TEST(BinaryPlistReader, refusesClaimsThatCannotBeTrue)
{
    const std::string rows[] = {
        plist({bytesOf({0xDF, 0x13, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF})}), // 2^63 pairs
        plist({bytesOf({0x5F, 0x12, 0x00, 0x10, 0x00, 0x00})}),                         // a megabyte of text
        plist({bytesOf({0x4F, 0x4F})}),                        // the count is no integer
        plist({bytesOf({0x1F})}), plist({bytesOf({0x80, 1})}), // keyed archives' references are not read
    };
    for (const auto& bytes : rows) {
        const auto list = BinaryPlist::open(bytes);
        ASSERT_TRUE(list);
        EXPECT_FALSE(list->entries(list->top()));
        EXPECT_FALSE(list->string(list->top()));
        EXPECT_FALSE(list->data(list->top()));
        EXPECT_FALSE(list->integer(list->top()));
    }
    // An array that holds itself is one array, not an endless one.
    const std::string loop = plist({bytesOf({0xA2, 0, 0})});
    EXPECT_EQ(BinaryPlist::open(loop)->elements({0})->size(), 2U);
}

TEST(BinaryPlistReader, visitsPairsAndElementsUntilToldToStop)
{
    const std::string bytes = plist({bytesOf({0xD3, 1, 2, 3, 4, 4, 5}),
        "\x51"
        "a",
        bytesOf({0x61, 0x00, 0xE9}), // a key that is not ASCII is passed over
        "\x51"
        "b",
        bytesOf({0x10, 7}), bytesOf({0xA3, 4, 9, 4})});
    const auto list = BinaryPlist::open(bytes);
    ASSERT_TRUE(list);
    std::vector<std::string> keys;
    const auto visit = [&](std::size_t most) {
        return [&keys, most](std::string_view key, BinaryPlist::Object) {
            keys.emplace_back(key);
            return keys.size() < most;
        };
    };
    EXPECT_TRUE(list->visitEntries(list->top(), visit(9)));
    EXPECT_EQ(keys, (std::vector<std::string>{"a", "b"}));
    keys.clear();
    EXPECT_TRUE(list->visitEntries(list->top(), visit(1)));
    EXPECT_EQ(keys, std::vector<std::string>{"a"});
    EXPECT_FALSE(list->visitEntries({5}, visit(9)));

    std::vector<std::int64_t> numbers;
    const auto take = [&](BinaryPlist::Object element) {
        numbers.push_back(list->integer(element).value_or(-1)); // one element points nowhere
        return numbers.size() < 3;
    };
    EXPECT_TRUE(list->visitElements({5}, take));
    EXPECT_EQ(numbers, (std::vector<std::int64_t>{7, -1, 7}));
    EXPECT_FALSE(list->visitElements(list->top(), take));
}

TEST(BinaryPlistReader, survivesEveryFlippedAndMissingByte)
{
    const std::string whole = plist({bytesOf({0xD1, 1, 2}),
        "\x53"
        "key",
        bytesOf({0xA2, 3, 4}), bytesOf({0x10, 7}), bytesOf({0x62, 0x00, 0x41, 0x00, 0x42})});
    const auto walk = [](std::string_view bytes) {
        const auto list = BinaryPlist::open(bytes);
        if (!list) {
            return std::string();
        }
        const auto array = list->value(list->top(), "key");
        std::string found;
        for (const auto& element : array ? list->elements(*array).value_or(std::vector<BinaryPlist::Object>{})
                                         : std::vector<BinaryPlist::Object>{}) {
            found += list->string(element).value_or(std::to_string(list->integer(element).value_or(0)));
        }
        return found;
    };
    ASSERT_EQ(walk(whole), "7AB");
    for (std::size_t i = 0; i < whole.size(); ++i) {
        for (const int flip : {0x01, 0x80, 0xFF}) {
            std::string damaged = whole;
            damaged[i] = static_cast<char>(damaged[i] ^ flip);
            walk(damaged); // the sanitizers judge
        }
        EXPECT_EQ(walk(std::string_view(whole).substr(0, i)), "");
    }
}

TEST(Digests, matchTheirPublishedExamples)
{
    EXPECT_EQ(sha256("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    Sha256 parts;
    parts.add("a");
    parts.add("");
    parts.add("bc");
    EXPECT_EQ(parts.finish(), sha256("abc"));
    EXPECT_EQ(crc32("123456789"), 0xCBF43926U);
    EXPECT_EQ(crc32(""), 0U);
    EXPECT_EQ(crc16Arc("123456789"), 0xBB3DU);
}

} // namespace
} // namespace vantorel
