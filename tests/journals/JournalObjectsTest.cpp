#include "JournalFixture.h"

#include "journals/JournalObjects.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace vantorel {
namespace {

using Records = std::vector<std::string>;

/// Object 1 after the records: "file title hidden keywords", "-" for none; empty when it does not exist.
std::string afterwards(const Records& records)
{
    std::string bytes;
    for (const std::string& record : records) {
        bytes += record;
    }
    JournalObjects<JournalAsset> objects;
    walkJournal(bytes, JournalNames::identifiers, nullptr,
        [&objects](const JournalRecord& record) { return objects.apply(record); });
    const auto place = objects.find(*identifierOf(idBytes(1)));
    if (!place) {
        return {};
    }
    const auto& [object, exists, hadWhole] = objects.at(*place);
    const auto shown = [](const std::string& text) { return text.empty() ? "-" : text; };
    return fmt::format("{} {} {} {}{}", shown(object.fileName), shown(object.title),
        object.isHidden ? "hidden" : "shown", object.keywords.count(), hadWhole ? "" : " partial");
}

TEST(JournalApplication, followsTheOrderOfTheRecords)
{
    const std::string first = wholeRecord(
        1, {{"filename", "a.jpeg"}, {"title", "A"}, {"hidden", true}, {"keywords", idList({5, 6})}});
    struct Row {
        const char* what;
        Records records;
        std::string expected;
    };
    const std::vector<Row> rows{
        {"a whole record", {first}, "a.jpeg A hidden 2"},
        {"a whole one replaces", {first, wholeRecord(1, {{"filename", "b.jpeg"}})}, "b.jpeg - shown 0"},
        {"a change merges", {first, changed(1, {{"title", "B"}})}, "a.jpeg B hidden 2"},
        {"a change clears too", {first, changed(1, {{"title", "B"}}, {"keywords"})}, "a.jpeg B hidden 0"},
        {"a clearing", {first, cleared(1, {"title", "hidden", "hdrGain"})}, "a.jpeg - shown 2"},
        {"a removal", {first, removed(1)}, ""},
        {"a removal, then a change", {first, removed(1), changed(1, {{"title", "B"}})},
            "- B shown 0 partial"},
        {"a removal, then a whole one", {first, removed(1), wholeRecord(1, {{"filename", "b.jpeg"}})},
            "b.jpeg - shown 0"},
        {"a removal of another", {first, removed(2)}, "a.jpeg A hidden 2"},
        {"a whole one that lacks what all have merges", {first, wholeRecord(1, {{"title", "B"}})},
            "a.jpeg B hidden 2"},
        {"an empty dictionary", {first, changed(1, {})}, "a.jpeg A hidden 2"},
        {"an empty dictionary that clears", {first, changed(1, {}, {"title"})}, "a.jpeg - hidden 2"},
        {"an empty dictionary of an unknown one", {changed(1, {})}, ""},
        {"a clearing of an unknown one", {cleared(1, {"title"})}, ""},
        {"a change of an unknown one", {changed(1, {{"filename", "b.jpeg"}})}, "b.jpeg - shown 0 partial"},
        {"twice the same", {first, changed(1, {{"title", "B"}}), first, changed(1, {{"title", "B"}})},
            "a.jpeg B hidden 2"},
        {"an empty title", {first, changed(1, {{"title", ""}})}, "a.jpeg - hidden 2"},
        {"a title that is a number", {first, changed(1, {{"title", 5}})}, "a.jpeg - hidden 2"},
        {"yes as a number", {wholeRecord(1, {{"filename", "a.jpeg"}, {"hidden", 1}})}, "a.jpeg - hidden 0"},
        {"yes as a real number", {wholeRecord(1, {{"filename", "a.jpeg"}, {"hidden", 0.5}})},
            "a.jpeg - hidden 0"},
        {"no as a number", {first, changed(1, {{"hidden", 0}})}, "a.jpeg A shown 2"},
        {"a cut list",
            {wholeRecord(1, {{"filename", "a"}, {"keywords", PlistValue::Data{idBytes(5) + "abc"}}})},
            "a - shown 1"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(afterwards(row.records), row.expected) << row.what;
    }
}

TEST(JournalApplication, takesNoRecordWhosePayloadIsNoObject)
{
    JournalObjects<JournalAsset> objects;
    const std::string title = sample::binaryPlist("a string");
    for (const std::string& payload : {std::string("bplist00"), title, std::string("<plist/>")}) {
        EXPECT_FALSE(
            objects.apply({.type = JournalRecord::whole, .identifier = idBytes(1), .payload = payload}));
    }
    EXPECT_EQ(objects.size(), 0U);
}

TEST(JournalApplication, boundsWhatAListMayCost)
{
    // 2,000 entries, of which real photos have ten; a writer that means harm would let them share one.
    PlistValue::Array many;
    for (int i = 0; i < 2'000; ++i) {
        many.emplace_back(Dictionary{
            {"subType", 17}, {"version", 0}, {"recipeID", 0}, {"bookmarkPath", std::string(100, 'p')}});
    }
    const std::string payload = sample::binaryPlist(photo({{"resources", std::move(many)}}));
    JournalObjects<JournalAsset> objects;
    const std::string name = idBytes(1);
    ASSERT_TRUE(objects.apply({.type = JournalRecord::whole, .identifier = name, .payload = payload}));
    EXPECT_EQ(objects.at(0).object.resources.bookmarks.size(), 4U);
    EXPECT_TRUE(objects.at(0).object.resources.hasPartner);
}

TEST(IdentifierPlaces, areGivenInOrderAndFoundAgain)
{
    IdentifierIndex index;
    constexpr int count = 3000;
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i < count; ++i) {
            EXPECT_EQ(index.findOrAdd(*identifierOf(idBytes(i))), static_cast<std::size_t>(i));
        }
    }
    EXPECT_EQ(index.size(), static_cast<std::size_t>(count));
    EXPECT_EQ(index.find(*identifierOf(idBytes(count))), std::nullopt);
    EXPECT_EQ(index.find(*identifierOf(idBytes(0))), 0U);
}

} // namespace
} // namespace vantorel
