#include "export/UnfinishedExport.h"

#include "support/ScriptedCalls.h"
#include "support/TemporaryFolder.h"

#include <cerrno>
#include <limits>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace vantorel {
namespace {

const std::string digest(64, 'd');

TEST(State, isWrittenAndReadBack)
{
    ExportState state{.planID = "abc",
        .library = "My \"Library\"",
        .options = {.includeHidden = false,
            .includeTrashed = true,
            .albumPKs = std::set<std::int64_t>{
                std::numeric_limits<std::int64_t>::min(), 7, std::numeric_limits<std::int64_t>::max()}}};
    const auto text = stateText(state);
    EXPECT_EQ(text,
        "{\"planID\":\"abc\",\"library\":\"My \\\"Library\\\"\",\"version\":1,\"options\":{\"albumPKs\":"
        "[-9223372036854775808,7,9223372036854775807],\"includeHidden\":false,\"includeOutsideFiles\":false,"
        "\"includeRecoveredFiles\":true,\"includeSmallerCopies\":true,\"includeTrashed\":true,"
        "\"includeUnfiled\":true,\"peopleAsKeywords\":true}}\n");
    EXPECT_EQ(parseState(text), state);
    state.options.albumPKs.reset();
    EXPECT_EQ(parseState(stateText(state)), state);
    state.options.albumPKs.emplace();
    EXPECT_EQ(parseState(stateText(state)), state);
    for (std::size_t cut = 0; cut + 1 < text.size(); ++cut) { // it may lack its line feed, but nothing else
        EXPECT_EQ(parseState(std::string_view(text).substr(0, cut)), std::nullopt) << cut;
    }
}

TEST(State, isRefusedWhereAMemberIsMissingOrOfAnotherType)
{
    const auto good = nlohmann::json::parse(stateText({.planID = "abc", .library = "L"}));
    ASSERT_TRUE(parseState(good.dump()));
    for (const auto& path : {"/planID", "/library", "/version", "/options", "/options/includeHidden",
             "/options/includeTrashed", "/options/includeSmallerCopies", "/options/includeUnfiled",
             "/options/includeRecoveredFiles", "/options/peopleAsKeywords", "/options/includeOutsideFiles"}) {
        for (const auto& wrong : {nlohmann::json(), nlohmann::json(2), nlohmann::json(-1),
                 nlohmann::json(1.0), nlohmann::json::array(), nlohmann::json::object()}) {
            auto changed = good;
            changed[nlohmann::json::json_pointer(path)] = wrong;
            EXPECT_EQ(parseState(changed.dump()), std::nullopt) << path << " " << wrong;
        }
        EXPECT_EQ(parseState(good.patch({{{"op", "remove"}, {"path", path}}}).dump()), std::nullopt) << path;
    }
    for (const auto* albums : {"1", "\"1\"", "[1.5]", "[\"1\"]", "[null]", "[9223372036854775808]", "{}"}) {
        auto changed = good;
        changed["options"]["albumPKs"] = nlohmann::json::parse(albums);
        EXPECT_EQ(parseState(changed.dump()), std::nullopt) << albums;
    }
    auto noAlbums = good;
    noAlbums["options"]["albumPKs"] = nullptr;
    EXPECT_TRUE(parseState(noAlbums.dump()));
    EXPECT_EQ(parseState(std::string(200'000, '[')), std::nullopt);
    EXPECT_EQ(parseState("[" + good.dump() + "]"), std::nullopt);
}

JournalEntry entryOf(const std::string& key, const std::string& path)
{
    return {
        .key = key, .files = {{path, 10, digest}, {"Albums/b.mov", 0, digest}}, .sidecar = "Albums/a.xmp"};
}

TEST(Journal, isWrittenLineByLineAndReadBack)
{
    const auto first = entryOf("Albums/a\n\".jpg", "Albums/a (2).jpg");
    const auto second = entryOf("Albums/\u00E9.jpg", "Albums/\u00E9.jpg");
    EXPECT_EQ(journalLine({.key = "k\n", .files = {{"p", 1, digest}}, .sidecar = "s"}),
        "{\"key\":\"k\\n\",\"files\":[{\"path\":\"p\",\"size\":1,\"sha256\":\"" + digest
            + "\"}],\"sidecar\":\"s\"}\n");
    auto later = first;
    later.files[0].size = 11;
    // An item that was saved again counts as it was saved last.
    EXPECT_EQ(parseJournal(journalLine(first) + journalLine(second) + journalLine(later)),
        (std::vector{later, second}));
    EXPECT_EQ(parseJournal(""), std::vector<JournalEntry>{});
}

TEST(Journal, losesOnlyWhatIsTornOrDoesNotFit)
{
    const auto good = entryOf("k", "Albums/a.jpg");
    const auto kept = entryOf("kept", "Albums/a.jpg");
    const auto line = nlohmann::json::parse(journalLine(good));
    const auto rest = [&](const std::string& damaged) {
        return parseJournal(damaged + "\n" + journalLine(kept));
    };
    ASSERT_EQ(rest(line.dump()), (std::vector{good, kept}));
    const auto huge = nlohmann::json(std::uint64_t{1} << 63U);
    for (const auto& [path, wrong] : std::vector<std::pair<const char*, nlohmann::json>>{{"/key", 1},
             {"/key", ""}, {"/files", nlohmann::json::object()}, {"/files", nlohmann::json::array()},
             {"/files/0", "a"}, {"/files/1/path", ""}, {"/files/1/path", "../a"}, {"/files/1/path", "/etc/a"},
             {"/files/1/path", "a//b"}, {"/files/1/path", "a/"}, {"/files/1/path", "./a"},
             {"/files/1/path", "a/.."}, {"/files/1/path", std::string("a\0b", 3)}, {"/files/1/path", 7},
             {"/files/1/size", -1}, {"/files/1/size", 1.5}, {"/files/1/size", "1"}, {"/files/1/size", huge},
             {"/files/1/sha256", "d"}, {"/files/1/sha256", std::string(64, 'D')}, {"/sidecar", nullptr},
             {"/sidecar", "../a.xmp"}, {"/sidecar", ""}}) {
        auto changed = line;
        changed[nlohmann::json::json_pointer(path)] = wrong;
        EXPECT_EQ(rest(changed.dump()), std::vector{kept}) << path << " " << wrong;
    }
    for (const auto* path :
        {"/key", "/files", "/sidecar", "/files/0/path", "/files/0/size", "/files/0/sha256"}) {
        EXPECT_EQ(rest(line.patch({{{"op", "remove"}, {"path", path}}}).dump()), std::vector{kept}) << path;
    }
    EXPECT_EQ(rest(""), std::vector{kept});
    EXPECT_EQ(rest(std::string("\0\0\0", 3)), std::vector{kept});
    EXPECT_EQ(rest(line.dump() + line.dump()), std::vector{kept}); // a torn line that was written on
    EXPECT_EQ(rest(std::string(200'000, '[')), std::vector{kept});
    auto more = line; // members of later versions are passed over
    more["more"] = nlohmann::json::parse(R"([{"\\\"[[[[[[[[[[": [1, "\"{{{{{{{{{{"]}])");
    EXPECT_EQ(rest(more.dump()), (std::vector{good, kept}));
    more["more"] = nlohmann::json::parse(std::string(8, '[') + std::string(8, ']')); // too deep
    EXPECT_EQ(rest(more.dump()), std::vector{kept});
    auto longLine = line;
    longLine["more"] = std::string(2'000'000, 'x');
    EXPECT_EQ(rest(longLine.dump()), std::vector{kept});

    const auto text = journalLine(kept) + journalLine(good);
    for (auto cut = journalLine(kept).size(); cut < text.size(); ++cut) {
        const bool isWhole = cut + 1 == text.size();
        EXPECT_EQ(parseJournal(text.substr(0, cut)), isWhole ? (std::vector{kept, good}) : std::vector{kept})
            << cut;
    }
}

class FindUnfinished : public testing::Test {
protected:
    void make(const std::string& name, const std::string& state, std::int64_t modified = 0)
    {
        place.write(name + "/.vantorel/state.json", state);
        calls->on("status", (place / name).native()).changeStatus([modified](FileStatus& status) {
            status.modified = std::chrono::sys_seconds(std::chrono::seconds(modified));
        });
    }
    auto find(const std::string& planID = "none", const std::string& library = "L") const
    {
        return findUnfinishedExport(*Root::open(calls, place.path()).value(), library, planID);
    }
    static std::string state(const std::string& planID, const std::string& library = "L")
    {
        return stateText({.planID = planID, .library = library, .options = {.includeTrashed = true}});
    }
    UnfinishedExport expected(const std::string& name, const std::string& planID) const
    {
        return {.folder = place / name, .planID = planID, .options = {.includeTrashed = true}};
    }

    TemporaryFolder place;
    std::shared_ptr<ScriptedCalls> calls = std::make_shared<ScriptedCalls>();
};

TEST_F(FindUnfinished, takesTheFolderOfThePlanElseTheNewest)
{
    EXPECT_EQ(find().value(), std::nullopt);
    make("a (incomplete)", state("a"), 100);
    make("b (incomplete)", state("b"), 300);
    make("c (incomplete)", state("c"), 200);
    make("new (incomplete)", state("new", "Other library"), 900);
    make("finished", state("finished"), 900);
    make("damaged (incomplete)", "{", 900);
    make("later (incomplete)", R"({"planID":"x","library":"L","version":2,"options":{}})", 900);
    make("large (incomplete)", std::string(bookkeeping::mostStateBytes + 1, ' '), 900);
    place.makeFolder("empty (incomplete)");
    place.write("file (incomplete)", "");
    place.makeLink("link (incomplete)", place / "c (incomplete)");
    EXPECT_EQ(find().value(), expected("b (incomplete)", "b"));
    EXPECT_EQ(find("a").value(), expected("a (incomplete)", "a"));
    EXPECT_EQ(find("new").value(), expected("b (incomplete)", "b"));
    calls->fail("open", "*b (incomplete)*", EACCES);
    EXPECT_EQ(find().value(), expected("c (incomplete)", "c"));
}

TEST_F(FindUnfinished, comparesNamesAsTheStateHoldsThem)
{
    make("bad (incomplete)", state("a", "bad\xFF"));
    EXPECT_EQ(find("a", "bad\xFF").value(), expected("bad (incomplete)", "a"));
}

TEST_F(FindUnfinished, tellsAFailureFromAPlaceWithoutOne)
{
    make("a (incomplete)", state("a"));
    const auto rule = calls->on("nextEntry").nth(2).fail(EIO);
    const auto found = find();
    EXPECT_GT(rule.hits(), 0U);
    ASSERT_FALSE(found);
    EXPECT_EQ(found.error(), (FS::ListFailure{FS::ListFailure::Kind::unavailable, EIO}));
}

TEST(NoteOfAnUnfinishedExport, saysWhetherItIsContinued)
{
    const UnfinishedExport found{.folder = "/Volumes/Old/L export (incomplete)", .planID = "a"};
    EXPECT_EQ(unfinishedNote(found, {.id = "a"}, {.includeUnfiled = false}),
        "Continues the unfinished export in \"L export (incomplete)\".");
    EXPECT_EQ(unfinishedNote(found, {.id = "b"}, {}),
        "These choices differ from the unfinished export in \"L export (incomplete)\", so a new folder will "
        "be made.");
    auto outside = found;
    outside.options.includeOutsideFiles = true;
    EXPECT_EQ(unfinishedNote(outside, {.id = "b"}, {}),
        "The unfinished export in \"L export (incomplete)\" also saved files stored outside this library. To "
        "continue "
        "it, tick that here. Otherwise a new folder will be made.");
    EXPECT_EQ(unfinishedNote(outside, {.id = "b"}, outside.options),
        "These choices differ from the unfinished export in \"L export (incomplete)\", so a new folder will "
        "be made.");
}

TEST(ReadMeOfAnUnfinishedExport, saysWhatToDo)
{
    const std::string again =
        "In Vantorel, scan the library, run the export again with the same choices, and choose "
        "the folder that contains this one. ";
    const std::string stopped =
        "\"F\" has not finished. Run the export again in Vantorel with the same choices, and "
        "choose the folder that contains this one.\n";
    EXPECT_EQ(readMeAtStart("F"),
        "\"F\" has not finished. What is here is not all of it.\n" + again
            + "It continues where it stopped.\n");
    EXPECT_EQ(readMeWhenStopped("F", {}), stopped + again + "Only what is left is tried.\n");
    EXPECT_EQ(readMeWhenStopped("F", {.scanReachedEverything = false, .notRead = 1234}),
        stopped
            + "In Vantorel, scan the library again and run the export again with the same choices. If the "
              "scan reaches "
              "more, the export starts a new folder, and this one can then be deleted.\n"
              "1,234 items could not be read or checked on the disk. Everything else is here, and \"Vantorel "
              "report "
              "(not finished).csv\" names each of them and why.\n");
}

} // namespace
} // namespace vantorel
