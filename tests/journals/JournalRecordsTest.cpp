#include "JournalFixture.h"

#include "base/Digest.h"
#include "journals/JournalRecords.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace vantorel {
namespace {

struct Walked {
    std::vector<std::string> records{};
    std::vector<std::size_t> positions{};
    JournalWalk walk{};
};

/// Each record as "type identifier payload-sum", without its place.
Walked walked(std::string_view bytes, JournalNames names = JournalNames::identifiers)
{
    Walked result;
    result.walk = walkJournal(bytes, names, nullptr, [&result](const JournalRecord& record) {
        const bool isNumber = record.identifier.size() != 16;
        std::string line = fmt::format("{} {}", record.type,
            isNumber ? std::string(record.identifier)
                     : std::to_string(static_cast<unsigned char>(record.identifier.back())));
        line += record.payload.empty() ? "" : fmt::format(" +{}", record.payload.size());
        record.visitCleared([&line](std::string_view key) { line += fmt::format(" -{}", key); });
        result.records.push_back(line);
        result.positions.push_back(record.position);
        return true;
    });
    return result;
}

std::string bytesOf(std::initializer_list<int> values)
{
    std::string bytes;
    for (const int value : values) {
        bytes += static_cast<char>(value);
    }
    return bytes;
}

std::string varint(std::uint64_t number)
{
    std::string bytes;
    for (; number >= 0x80; number >>= 7U) {
        bytes += static_cast<char>((number & 0x7FU) | 0x80U);
    }
    return bytes + static_cast<char>(number);
}

const std::string identifier = bytesOf({0x12, 16}) + idBytes(7);

std::string numbered(int field, std::uint64_t value)
{
    return varint(static_cast<unsigned>(field) << 3U) + varint(value);
}

/// A record of any header, with the right CRC-16 unless told otherwise.
std::string framed(const std::string& header, const std::string& payload = {}, int sumChange = 0)
{
    const unsigned sum = crc16Arc(header) ^ static_cast<unsigned>(sumChange);
    return bytesOf({0x40, static_cast<int>(sum >> 8U), static_cast<int>(sum & 0xFFU), 0,
               static_cast<int>(header.size())})
        + header + payload;
}

std::string withPayload(const std::string& payload, std::uint64_t length, std::uint64_t crc)
{
    return framed(identifier + numbered(5, length) + numbered(6, crc), payload);
}

TEST(JournalRecordWalk, takesEachFormAndNothingElse)
{
    struct Row {
        const char* what;
        std::string bytes;
        std::vector<std::string> records;
    };
    const std::string text = "any bytes @ at all";
    const std::uint64_t sum = crc32(text);
    const std::string good = withPayload(text, text.size(), sum);
    const std::string unknownFields =
        bytesOf({0x79, 1, 2, 3, 4, 5, 6, 7, 8, 0x7D, 1, 2, 3, 4, 0x82, 0x01, 2, 9, 9});
    const std::vector<Row> rows{
        {"payload", good, {"0 7 +18"}},
        {"payload with a wrong header sum", framed(identifier + numbered(5, 18) + numbered(6, sum), text, 1),
            {"0 7 +18"}},
        {"payload, its sum in more than 32 bits", withPayload(text, 18, sum | 0xABULL << 32U), {"0 7 +18"}},
        {"payload with a wrong sum", withPayload(text, 18, sum ^ 1U), {}},
        {"payload past the end", withPayload(text, 19, sum), {}},
        {"payload of a negative length", withPayload(text, ~std::uint64_t{0}, sum), {}},
        {"payload without a sum", framed(identifier + numbered(5, 18), text), {}},
        {"unknown fields of every wire type",
            framed(unknownFields + identifier + numbered(5, 18) + numbered(6, sum), text), {"0 7 +18"}},
        {"a group", framed(bytesOf({0x7B}) + identifier + numbered(5, 18) + numbered(6, sum), text), {}},
        {"identifier of 15 bytes",
            framed(bytesOf({0x12, 15}) + idBytes(7).substr(1) + numbered(5, 18) + numbered(6, sum), text),
            {}},
        {"no identifier", framed(numbered(5, 18) + numbered(6, sum), text), {}},
        {"a field past the end", framed(identifier + bytesOf({0x3A, 9, 'a'})), {}},
        {"a number of 11 bytes",
            framed(identifier + bytesOf({8, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 1})
                    + numbered(5, 18) + numbered(6, sum),
                text),
            {}},
        {"header of no length", bytesOf({0x40, 0, 0, 0, 0}), {}},
        {"header past the end", good.substr(0, 20), {}},
        {"removal", removed(7), {"2 7"}},
        {"removal with a wrong header sum", framed(numbered(1, 2) + identifier, {}, 0x100), {}},
        {"removal that clears", framed(numbered(1, 2) + identifier + bytesOf({0x3A, 1, 'k'})), {}},
        {"clearing", cleared(7, {"title", "keywords"}), {"1 7 -title -keywords"}},
        {"change of nothing", framed(numbered(1, 1) + identifier), {}},
        {"whole without payload", framed(numbered(1, 0) + identifier), {}},
        {"removal with a length of 0", framed(numbered(1, 2) + identifier + numbered(5, 0)), {"2 7"}},
        {"nothing, rightly summed", withPayload("", 0, 0), {}},
        {"nothing, wrongly summed", withPayload("", 0, 5), {}},
        {"two and rubbish between", good + "@@rubbish" + removed(7), {"0 7 +18", "2 7"}},
        {"a record inside a payload", withPayload(removed(9), 25, crc32(removed(9))), {"0 7 +25"}},
        {"an unknown type", framed(numbered(1, 77) + identifier + numbered(5, 18) + numbered(6, sum), text),
            {"77 7 +18"}},
    };
    for (const Row& row : rows) {
        const Walked found = walked(row.bytes);
        EXPECT_EQ(found.records, row.records) << row.what;
        const bool isWhole = !row.records.empty() && row.bytes.find("rubbish") == std::string::npos;
        const bool saysNothing = std::string_view(row.what) == "nothing, rightly summed";
        EXPECT_EQ(found.walk.lostBytes == 0, isWhole || saysNothing) << row.what;
    }
}

TEST(JournalRecordWalk, namesMigrationsByNumbers)
{
    const std::string bytes = sample::journalBytes(
        {.identifier = "12", .isNumbered = true, .payload = Dictionary{{"modelVersion", 19320}}});
    EXPECT_EQ(walked(bytes, JournalNames::numbers).records.size(), 1U);
    EXPECT_EQ(walked(bytes).records.size(), 0U);
    EXPECT_EQ(walked(removed(1), JournalNames::numbers).records.size(), 0U);
}

/// A few records of each form.
const std::vector<std::string>& smallFile()
{
    static const std::vector<std::string> records{
        wholeRecord(1, photo({{"title", "One @ two"}})),
        changed(2, {{"favorite", 1}}),
        cleared(3, {"keywords"}),
        removed(4),
        changed(5, {{"title", "x"}}, {"keywords", "description"}),
        wholeRecord(6, photo({{"description", "end"}})),
    };
    return records;
}

std::string joinedRecords()
{
    std::string bytes;
    for (const std::string& record : smallFile()) {
        bytes += record;
    }
    return bytes;
}

/// The indexes of the records that do not touch the stretch.
std::vector<std::size_t> intact(std::size_t begin, std::size_t end)
{
    std::vector<std::size_t> indexes;
    std::size_t position = 0;
    for (std::size_t i = 0; i < smallFile().size(); ++i) {
        const std::size_t next = position + smallFile()[i].size();
        if (next <= begin || position >= end) {
            indexes.push_back(i);
        }
        position = next;
    }
    return indexes;
}

/// What was hit is gone, or stands at its own place, altered; all else is found.
void expectIntact(const Walked& all, const Walked& found, std::size_t begin, std::size_t end)
{
    for (const std::size_t i : intact(begin, end)) {
        const auto place = std::ranges::find(found.positions, all.positions[i]);
        ASSERT_NE(place, found.positions.end()) << "bytes from " << begin;
        EXPECT_EQ(found.records[static_cast<std::size_t>(place - found.positions.begin())], all.records[i]);
    }
    for (const std::size_t position : found.positions) {
        EXPECT_NE(std::ranges::find(all.positions, position), all.positions.end()) << "bytes from " << begin;
    }
}

TEST(JournalRecordWalk, keepsEveryIntactRecordBehindAFlippedByte)
{
    const std::string bytes = joinedRecords();
    const Walked all = walked(bytes);
    ASSERT_EQ(all.records.size(), smallFile().size());
    ASSERT_EQ(all.walk, JournalWalk{});
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        for (const int flip : {0x01, 0x10, 0x80, 0xFF}) {
            std::string damaged = bytes;
            damaged[at] = static_cast<char>(damaged[at] ^ flip);
            const Walked found = walked(damaged);
            expectIntact(all, walked(damaged), at, at + 1);
        }
    }
}

TEST(JournalRecordWalk, losesOnlyWhatACutOrAZeroedStretchTakes)
{
    const std::string bytes = joinedRecords();
    const Walked all = walked(bytes);
    const auto expected = [&](const std::vector<std::size_t>& indexes) {
        std::vector<std::string> records;
        for (const std::size_t i : indexes) {
            records.push_back(all.records[i]);
        }
        return records;
    };
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        EXPECT_EQ(walked(std::string_view(bytes).substr(0, at)).records, expected(intact(at, bytes.size())))
            << "cut at " << at;
        EXPECT_EQ(walked(std::string_view(bytes).substr(at)).records, expected(intact(0, at)))
            << "begun at " << at;
        std::string zeroed = bytes;
        const std::size_t length = std::min<std::size_t>(16, bytes.size() - at);
        std::fill_n(zeroed.begin() + static_cast<std::ptrdiff_t>(at), length, '\0');
        expectIntact(all, walked(zeroed), at, at + length);
    }
}

TEST(JournalRecordWalk, countsWhatIsInNoRecord)
{
    const std::string bytes = removed(1) + "12345" + cleared(2, {"title"}) + "@";
    EXPECT_EQ(walked(bytes).walk.lostBytes, 6);
    EXPECT_EQ(walked("").walk.lostBytes, 0);
    EXPECT_EQ(walked(std::string(10'000, '@')).walk.lostBytes, 10'000);
    const auto unusable =
        walkJournal(removed(1), JournalNames::identifiers, nullptr, [](const auto&) { return false; });
    EXPECT_EQ(unusable.lostBytes, 25);
}

TEST(JournalRecordWalk, findsRecordsAmongHeadersThatAllClaimTheWholeFile)
{
    // Summed up one by one, their payloads would be gigabytes.
    constexpr int count = 20'000;
    const std::size_t each = withPayload("", 500'000, 0xFFFFFFFF).size();
    std::string bytes;
    for (int i = 0; i < count; ++i) {
        bytes += withPayload("", (count - static_cast<std::uint64_t>(i)) * each - each, 0xFFFFFFFF);
        if (i % 4000 == 3999) {
            bytes += wholeRecord(i / 4000, photo());
        }
    }
    const Walked found = walked(bytes);
    EXPECT_EQ(found.records.size(), 5U);
    EXPECT_EQ(
        found.walk.lostBytes, static_cast<std::int64_t>(bytes.size() - 5 * wholeRecord(1, photo()).size()));
}

TEST(JournalRecordWalk, stopsWhenItIsCancelled)
{
    std::string bytes;
    for (int i = 0; i < 1000; ++i) {
        bytes += removed(i % 200);
    }
    const auto token = std::make_shared<CancelToken>();
    int taken = 0;
    const JournalWalk walk = walkJournal(bytes, JournalNames::identifiers, token, [&](const JournalRecord&) {
        if (++taken == 10) {
            token->cancel();
        }
        return true;
    });
    EXPECT_TRUE(walk.cancelled);
    EXPECT_LE(taken, 4096 / 25 + 2);
    EXPECT_TRUE(walkJournal(std::string(9000, 'x'), JournalNames::identifiers, token, nullptr).cancelled);
}

} // namespace
} // namespace vantorel
