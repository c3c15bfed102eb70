#include "hostile/HostileFixture.h"

#include "base/Digest.h"
#include "cli/RunProgram.h"

#include <fmt/format.h>

#include <fstream>

namespace vantorel {
namespace {

using Place = HostilePlace;

const std::filesystem::path database = "database/Photos.sqlite";
const std::filesystem::path log = "database/Photos.sqlite-wal";
const std::filesystem::path assetJournal = "resources/journals/Asset-snapshot.plj";

HostileCase linked(const char* name, const std::filesystem::path& what, int saved)
{
    return {name,
        [what](const Place& place) {
            place.moveOut(what);
            return true;
        },
        saved};
}

/// The same for each kind of file that is none.
std::vector<HostileCase> oddFiles(const char* const (&names)[3], std::filesystem::path what, int saved)
{
    return {{names[0],
                [what](const Place& place) {
                    place.makePipe(what);
                    return true;
                },
                saved},
        {names[1],
            [what](const Place& place) {
                place.makeSocket(what);
                return true;
            },
            saved},
        {names[2], [what](const Place& place) { return place.makeDevice(what); }, saved}};
}

/// A record that is right but for its payload.
std::string journalRecord(const std::string& payload, std::uint64_t claimedBytes)
{
    std::string header("\x08\x00\x12\x10"
                       "0123456789abcdef\x28",
        21);
    for (; claimedBytes >= 0x80; claimedBytes >>= 7U) {
        header += static_cast<char>((claimedBytes & 0x7FU) | 0x80U);
    }
    header += static_cast<char>(claimedBytes);
    header += '\x30';
    for (auto check = std::uint64_t{crc32(payload)};; check >>= 7U) {
        header += static_cast<char>((check & 0x7FU) | (check >= 0x80 ? 0x80U : 0U));
        if (check < 0x80) {
            break;
        }
    }
    const auto check = crc16Arc(header);
    return fmt::format("@{}{}{}{}", static_cast<char>(check >> 8U), static_cast<char>(check & 0xFFU), '\0',
               static_cast<char>(header.size()))
        + header + payload;
}

/// Every array holds the next, or twice the next: one value at the bottom, 2 to the power of `levels` times.
std::string nestedList(std::size_t levels, int times)
{
    std::string list = "bplist00";
    std::string offsets;
    const auto number = [](std::size_t value, int bytes) {
        std::string text;
        for (int shift = (bytes - 1) * 8; shift >= 0; shift -= 8) {
            text += static_cast<char>((value >> static_cast<unsigned>(shift)) & 0xFFU);
        }
        return text;
    };
    for (std::size_t i = 0; i < levels; ++i) {
        offsets += number(list.size(), 4);
        if (i == 0) { // the top is what a record is
            list += "\xd1" + number(levels, 4) + number(1, 4);
        } else {
            list += static_cast<char>(0xA0 + times);
            for (int each = 0; each < times; ++each) {
                list += number(std::min(i + 1, levels - 1), 4);
            }
        }
    }
    offsets += number(list.size(), 4);
    list += "\x58keywords"; // the key, an ASCII text of eight characters
    const auto table = list.size();
    return list + offsets + std::string(6, '\0') + '\x04' + '\x04' + number(levels + 1, 8) + number(0, 8)
        + number(table, 8);
}

HostileCase journals(const char* name, const std::function<std::string()>& bytes)
{
    return {name,
        [bytes](const Place& place) {
            place.remove("database");
            place.folder.write("Trip.photoslibrary" / assetJournal, bytes());
            return true;
        },
        0};
}

std::vector<HostileCase> cases()
{
    std::vector<HostileCase> all{
        linked("originalsAreElsewhere", "originals", 0),
        linked("aFolderOfOriginalsIsElsewhere", Place::original(1).parent_path(), 5),
        linked("anOriginalIsElsewhere", Place::original(1), 5),
        linked("smallerCopiesAreElsewhere", "resources/derivatives", 6),
        linked("journalsAreElsewhere", "resources/journals", 6),
        linked("theDatabaseIsElsewhere", database, 0),
        {"alsoTheJournalsAreElsewhereAndThereIsNoDatabase",
            [](const Place& place) {
                place.remove("database");
                place.moveOut("resources/journals");
                return true;
            },
            0},
        {"theOriginalsLeadIntoThemselves",
            [](const Place& place) {
                std::filesystem::create_directory_symlink(
                    place.library / "originals", place.library / "originals/A/again");
                return true;
            }},
        {"foldersAreNestedLongerThanAnyPath",
            [](const Place& place) {
                const auto home = std::filesystem::current_path();
                std::filesystem::current_path(place.library / "originals/A");
                const std::string name(200, 'n');
                for (int i = 0; i < 300; ++i) {
                    std::filesystem::create_directory(name);
                    std::filesystem::current_path(name);
                }
                std::filesystem::current_path(home);
                return true;
            }},
        {"namesOnTheDiskAreMadeForATerminal",
            [](const Place& place) {
                for (const char* name : {"\x1b]0;pwned\x07.jpeg", "a\nVantorel: all is well.jpeg",
                         "\xff\xfe.jpeg", "\xe2\x80\xaegpj.exe", "=cmd|' /C calc'!A0.jpeg", "\x1b[2J"}) {
                    place.folder.write(std::filesystem::path("Trip.photoslibrary/originals/A") / name, "x");
                }
                // Their records lost, they are all saved.
                place.run("DELETE FROM ZASSET WHERE Z_PK > 4; UPDATE Z_PRIMARYKEY SET Z_MAX = 9 WHERE Z_NAME "
                          "= 'Asset'");
                return true;
            },
            4},
        {"fiveThousandNamesAreInOneFolder",
            [](const Place& place) {
                const auto first = place.folder.write("Trip.photoslibrary/originals/A/linked", "x");
                for (int i = 0; i < 5'000; ++i) {
                    std::filesystem::create_hard_link(first,
                        place.library / fmt::format("originals/A/{:08}-0000-4000-8000-000000000000.jpeg", i));
                }
                return true;
            }},
        {"theDatabaseClaimsFourThousandMillionPages",
            [](const Place& place) {
                std::fstream file(place.library / database, std::ios::in | std::ios::out | std::ios::binary);
                file.seekp(28);
                file.write("\xff\xff\xff\xff", 4);
                return true;
            },
            0},
        {"theLogClaimsPagesThatNobodyHas",
            [](const Place& place) {
                std::string bytes("\x37\x7f\x06\x82\x00\x2d\xe2\x18\x00\x00\x10\x00", 12);
                bytes += std::string(20, '\x01');
                for (int i = 0; i < 50; ++i) {
                    bytes += "\xff\xff\xff\xff\xff\xff\xff\xff" + std::string(16 + 4'096, '\x01');
                }
                place.folder.write("Trip.photoslibrary" / log, bytes);
                return true;
            }},
        journals("aJournalClaimsFourGigabytes",
            [] { return journalRecord("bplist00", 4'294'967'295) + std::string(50'000, '\x40'); }),
        journals("aJournalIsAHundredThousandListsDeep",
            [] {
                const auto list = nestedList(100'000, 1);
                return journalRecord(list, list.size());
            }),
        journals("aJournalSharesWhatItHoldsAMillionMillionTimes",
            [] {
                const auto list = nestedList(40, 2);
                return journalRecord(list, list.size());
            }),
    };
    for (auto& odd : oddFiles(
             {"anOriginalIsAPipe", "anOriginalIsASocket", "anOriginalIsADevice"}, Place::original(2), 5)) {
        all.push_back(std::move(odd));
    }
    for (auto& odd : oddFiles({"theOriginalsAreAPipe", "theOriginalsAreASocket", "theOriginalsAreADevice"},
             "originals", 1)) { // one has a smaller copy
        all.push_back(std::move(odd));
    }
    for (auto& odd :
        oddFiles({"aFolderOfOriginalsIsAPipe", "aFolderOfOriginalsIsASocket", "aFolderOfOriginalsIsADevice"},
            Place::original(1).parent_path(), 5)) {
        all.push_back(std::move(odd));
    }
    for (auto& odd : oddFiles({"smallerCopiesAreAPipe", "smallerCopiesAreASocket", "smallerCopiesAreADevice"},
             "resources/derivatives", 6)) {
        all.push_back(std::move(odd));
    }
    for (auto& odd : oddFiles({"theJournalsAreAPipe", "theJournalsAreASocket", "theJournalsAreADevice"},
             "resources/journals", 6)) {
        all.push_back(std::move(odd));
    }
    for (auto& odd :
        oddFiles({"theDatabaseIsAPipe", "theDatabaseIsASocket", "theDatabaseIsADevice"}, database, 0)) {
        all.push_back(std::move(odd));
    }
    for (auto& odd : oddFiles({"theLogIsAPipe", "theLogIsASocket", "theLogIsADevice"}, log, 6)) {
        all.push_back(std::move(odd));
    }
    for (auto& odd :
        oddFiles({"aJournalIsAPipe", "aJournalIsASocket", "aJournalIsADevice"}, assetJournal, 0)) {
        const auto harm = odd.harm;
        odd.harm = [harm](const Place& place) {
            place.remove("database");
            return harm(place);
        };
        all.push_back(std::move(odd));
    }
    return all;
}

class HostileFiles : public HostileLibraries { };

TEST_P(HostileFiles, areNotFollowedAndEndWithAResultOrASentence)
{
    const HostilePlace place;
    if (!GetParam().harm(place)) {
        GTEST_SKIP() << "such a file cannot be made here";
    }
    expectToEndWell(place);
}

INSTANTIATE_TEST_SUITE_P(All, HostileFiles, testing::ValuesIn(cases()),
    [](const auto& row) { return std::string(row.param.name); });

} // namespace
} // namespace vantorel
