#include "SampleFixture.h"

#include "base/BinaryPlist.h"
#include "base/Text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <map>
#include <optional>
#include <set>

namespace vantorel::sample {

namespace {

using Log = DatabaseQuestions::Log;

/// A second reading of the record format, apart from the writer's and the reader's, that forgives nothing.
struct Record {
    std::uint64_t type = 0;
    std::string identifier{};
    std::string payload{};
    std::vector<std::string> cleared{};
};

class Walker {
public:
    explicit Walker(std::string bytes)
        : bytes_(std::move(bytes))
    {
    }

    std::vector<Record> records()
    {
        std::vector<Record> found;
        while (at_ < bytes_.size() && !testing::Test::HasFatalFailure()) {
            found.push_back(record());
        }
        EXPECT_EQ(at_, bytes_.size()) << "Every byte belongs to a record.";
        return found;
    }

private:
    Record record()
    {
        EXPECT_EQ(bytes_[at_], '@');
        EXPECT_EQ(bytes_.at(at_ + 3), '\0');
        const std::size_t length = byte(at_ + 4);
        const std::string header = bytes_.substr(at_ + 5, length);
        EXPECT_EQ(crc16(header), byte(at_ + 1) * 256U + byte(at_ + 2));
        at_ += 5 + length;
        Record found;
        std::map<std::uint64_t, std::uint64_t> numbers;
        for (std::size_t in = 0; in < header.size();) {
            const std::uint64_t key = varint(header, in);
            if ((key & 7U) == 0) {
                numbers[key >> 3U] = varint(header, in);
                continue;
            }
            const std::uint64_t size = varint(header, in);
            const std::string content = header.substr(in, size);
            in += size;
            if (key >> 3U == 7) {
                found.cleared.push_back(content);
            } else {
                found.identifier = content;
            }
        }
        EXPECT_TRUE(numbers.contains(1));
        found.type = numbers[1];
        if (numbers.contains(5)) {
            found.payload = bytes_.substr(at_, numbers[5]);
            at_ += numbers[5];
            const auto* start = reinterpret_cast<const unsigned char*>(found.payload.data());
            EXPECT_EQ(::crc32(0, start, static_cast<unsigned>(found.payload.size())), numbers[6]);
        } else {
            EXPECT_FALSE(numbers.contains(6));
        }
        return found;
    }

    std::size_t byte(std::size_t at) const { return static_cast<unsigned char>(bytes_.at(at)); }

    static std::uint64_t varint(const std::string& in, std::size_t& at)
    {
        std::uint64_t number = 0;
        for (unsigned shift = 0;; shift += 7) {
            const auto part = static_cast<unsigned char>(in.at(at++));
            number |= static_cast<std::uint64_t>(part & 0x7fU) << shift;
            if (part < 0x80) {
                return number;
            }
        }
    }

    static std::size_t crc16(const std::string& bytes)
    {
        unsigned value = 0;
        for (const char c : bytes) {
            value ^= static_cast<unsigned char>(c);
            for (int bit = 0; bit < 8; ++bit) {
                value = (value & 1U) != 0 ? (value >> 1U) ^ 0xA001U : value >> 1U;
            }
        }
        return value;
    }

    std::string bytes_;
    std::size_t at_ = 0;
};

std::vector<Record> journal(const SampleFixture& sample, const std::string& name)
{
    return Walker(sample.folder.read("Sample.photoslibrary/resources/journals/" + name + ".plj")).records();
}

/// An object's keys with their values' texts.
using Object = std::map<std::string, std::string>;

std::string text(const BinaryPlist& list, BinaryPlist::Object object)
{
    if (const auto data = list.data(object)) {
        return hex(*data);
    }
    if (const auto string = list.string(object)) {
        return *string;
    }
    if (const auto integer = list.integer(object)) {
        return std::to_string(*integer);
    }
    if (const auto boolean = list.boolean(object)) {
        return *boolean ? "1" : "0";
    }
    return "?";
}

/// The objects of a kind after both files were applied, by identifier.
std::map<std::string, Object> replayed(const SampleFixture& sample, const std::string& kind)
{
    std::map<std::string, Object> objects;
    for (const char* part : {"-snapshot", "-change"}) {
        for (const Record& record : journal(sample, kind + part)) {
            if (record.type == 2) {
                objects.erase(record.identifier);
                continue;
            }
            Object& object = objects[record.identifier];
            if (record.type == 0) {
                object.clear();
            }
            if (const auto list = BinaryPlist::open(record.payload)) {
                const auto entries = list->entries(list->top());
                for (const auto& [key, value] : entries.value()) {
                    object[key] = text(*list, value);
                }
            } else {
                EXPECT_EQ(record.payload, "");
            }
            for (const std::string& key : record.cleared) {
                object.erase(key);
            }
        }
    }
    return objects;
}

std::string shown(const Object& object, std::initializer_list<const char*> keys)
{
    std::string line;
    for (const char* key : keys) {
        const auto found = object.find(key);
        line += (line.empty() ? "" : "|") + (found == object.end() ? "NULL" : found->second);
    }
    return line;
}

class SampleJournals : public testing::TestWithParam<int> { };

TEST_P(SampleJournals, replayToWhatTheDatabaseHolds)
{
    const SampleFixture sample({.generation = GetParam(), .seed = 3});
    const DatabaseQuestions database(sample, Log::used);
    const std::string assets = GetParam() == 5 ? "ZGENERICASSET" : "ZASSET";

    std::vector<std::string> items;
    for (const auto& [identifier, object] : replayed(sample, "Asset")) {
        items.push_back(uuidText(identifier).value_or("?") + "|"
            + shown(object,
                {"directory", "filename", "originalFilename", "originalFilesize", "title", "description",
                    "favorite", "hidden", "inTrash", "kind", "savedAssetType"}));
    }
    EXPECT_EQ(items,
        database.rows("SELECT a.ZUUID, ZDIRECTORY, ZFILENAME, ZORIGINALFILENAME, ZORIGINALFILESIZE, ZTITLE, "
                      "ZLONGDESCRIPTION, ZFAVORITE, ZHIDDEN, ZTRASHEDSTATE, ZKIND, ZSAVEDASSETTYPE FROM "
            + assets
            + " a JOIN ZADDITIONALASSETATTRIBUTES b ON b.ZASSET = a.Z_PK LEFT JOIN ZASSETDESCRIPTION d ON "
              "d.ZASSETATTRIBUTES = b.Z_PK WHERE ZSAVEDASSETTYPE <> 4 ORDER BY a.ZUUID"));

    std::vector<std::string> collections;
    for (const char* kind : {"Album", "Folder", "FetchingAlbum", "ProjectAlbum"}) {
        for (const auto& [identifier, object] : replayed(sample, kind)) {
            collections.push_back(
                uuidText(identifier).value_or("?") + "|" + shown(object, {"kind", "title", "inTrash"}));
        }
    }
    std::ranges::sort(collections);
    EXPECT_EQ(collections,
        database.rows(
            "SELECT ZUUID, ZKIND, ZTITLE, ZTRASHEDSTATE FROM ZGENERICALBUM WHERE ZKIND IN (2, 1507, 1508, "
            "3998, 3999, 4000) ORDER BY ZUUID"));

    std::vector<std::string> keywords;
    for (const auto& [identifier, object] : replayed(sample, "Keyword")) {
        keywords.push_back(uuidText(identifier).value_or("?") + "|" + shown(object, {"title"}));
    }
    EXPECT_EQ(keywords, database.rows("SELECT ZUUID, ZTITLE FROM ZKEYWORD ORDER BY ZUUID"));
}

TEST_P(SampleJournals, holdEveryFormOfRecord)
{
    const SampleFixture sample({.generation = GetParam(), .seed = 3});
    std::set<std::string> forms;
    for (const char* kind : {"Asset", "Album", "Folder", "Keyword", "FetchingAlbum", "ImportSession",
             "Person", "DetectedFace", "FileSystemVolume", "ProjectAlbum"}) {
        std::set<std::string> known;
        for (const Record& record : journal(sample, std::string(kind) + "-snapshot")) {
            EXPECT_EQ(record.type, 0U) << kind;
            EXPECT_EQ(record.identifier.size(), 16U) << kind;
            EXPECT_TRUE(known.insert(record.identifier).second) << "Each object stands once in a snapshot.";
        }
        for (const Record& record : journal(sample, std::string(kind) + "-change")) {
            const bool isKnown = known.contains(record.identifier);
            const char* form = record.type == 2 ? (isKnown ? "removal" : "removal of nothing")
                : record.type == 0              ? (isKnown ? "whole again" : "whole")
                : record.payload.empty()        ? "clear"
                : record.cleared.empty()        ? "change"
                                                : "change and clear";
            forms.insert(form);
        }
    }
    EXPECT_EQ(forms,
        (std::set<std::string>{
            "change", "change and clear", "clear", "removal", "removal of nothing", "whole", "whole again"}));
}

TEST_P(SampleJournals, tellTheModelFromGeneration6On)
{
    const SampleFixture sample({.generation = GetParam()});
    if (GetParam() == 5) {
        EXPECT_FALSE(
            sample.folder.has("Sample.photoslibrary/resources/journals/MigrationHistory-change.plj"));
        return;
    }
    const auto last = journal(sample, "MigrationHistory-change").back();
    EXPECT_EQ(last.identifier, std::to_string(GetParam() - 5));
    const auto list = BinaryPlist::open(last.payload).value();
    EXPECT_EQ(list.integer(list.value(list.top(), "modelVersion").value()), modelVersion(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Generations, SampleJournals, testing::Values(5, 6, 9, 10, 12));

TEST(SampleWithoutJournals, hasAnEmptyFolder)
{
    const SampleFixture sample({.withJournals = false});
    EXPECT_EQ(sample.folder.tree("Sample.photoslibrary/resources/journals"),
        (std::map<std::string, std::string>{}));
}

} // namespace

} // namespace vantorel::sample
