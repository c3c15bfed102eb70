#include "hostile/HostileFixture.h"

#include "cli/RunProgram.h"
#include "sample/SampleLibrary.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <sqlite3.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <stdexcept>

#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace vantorel {

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

constexpr std::string_view secretWord = "SECRET-OUTSIDE-";

/// More than an unharmed library takes; the sanitizer keeps what was freed.
constexpr std::int64_t moreMemory = isSanitized ? 900'000'000 : 200'000'000;

/// What would show that something was changed; nothing is opened (a pipe would never answer).
std::map<std::string, std::string> stateOf(const fs::path& folder)
{
    std::map<std::string, std::string> state;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        struct stat found{};
        if (lstat(entry.path().c_str(), &found) == 0) {
            state[entry.path()] = fmt::format(
                "{} {} {}.{}", found.st_mode, found.st_size, found.st_mtim.tv_sec, found.st_mtim.tv_nsec);
        }
    }
    return state;
}

bool isFitForATerminal(const std::string& text)
{
    return std::ranges::none_of(
        text, [](char c) { return (static_cast<unsigned char>(c) < 0x20 && c != '\n') || c == 0x7F; });
}

/// What an export may never hold.
void expectNothingFromOutside(const fs::path& exported)
{
    for (const auto& entry : fs::recursive_directory_iterator(exported)) {
        const auto kind = entry.symlink_status().type();
        EXPECT_TRUE(kind == fs::file_type::regular || kind == fs::file_type::directory) << entry.path();
        if (kind == fs::file_type::regular) {
            std::ifstream stream(entry.path(), std::ios::binary);
            const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
            EXPECT_EQ(bytes.find(secretWord), std::string::npos) << entry.path();
        }
    }
}

/// Of an unharmed library.
std::int64_t usualMemory()
{
    static const std::int64_t most = [] {
        const HostilePlace place;
        place.folder.makeFolder("out");
        return runVantorel({"export", place.library, place.folder / "out"}).peakBytes;
    }();
    return most;
}

void expectSentence(const Ran& ran, std::int64_t moreBytes)
{
    EXPECT_TRUE(ran.status == 0 || ran.status == 1 || ran.status == 3) << ran.status << ran.errors;
    if (ran.status == 3) {
        EXPECT_GT(ran.errors.size(), 20U) << "no sentence";
    }
    EXPECT_TRUE(isFitForATerminal(ran.output + ran.errors)) << ran.output << ran.errors;
    EXPECT_LT(ran.peakBytes, usualMemory() + moreMemory + moreBytes);
}

} // namespace

HostilePlace::HostilePlace()
{
    sample::SamplePlan plan;
    plan.pictureWidth = 8;
    plan.pictureHeight = 8;
    for (int i = 0; i < photos; ++i) {
        sample::SampleItem item;
        item.uuid = original(i).stem();
        item.hasSmallerCopies = i == 0;
        plan.items.push_back(item);
    }
    plan.albums.push_back({.title = "Trip", .items = {0, 1, 2, 3, 4, 5}});
    plan.albums.push_back({.title = "Folder", .kind = sample::SampleAlbum::Kind::folder});
    plan.keywords = {"sea"};
    sample::writeLibrary(plan, {.withLog = false}, library);
    folder.write("outside/secret.jpeg", secret());
}

fs::path HostilePlace::original(int n)
{
    return fmt::format("originals/{0}/{0}0000000-0000-4000-8000-000000000001.jpeg", "ABCDEF"[n]);
}

std::string HostilePlace::secret(std::size_t size)
{
    std::string bytes;
    while (bytes.size() < size) {
        bytes += secretWord;
    }
    bytes.resize(size);
    return bytes;
}

void HostilePlace::run(const std::string& sql) const { runOn(library / "database/Photos.sqlite", sql); }

void HostilePlace::runOn(const fs::path& file, const std::string& sql)
{
    sqlite3* database = nullptr;
    sqlite3_open(file.c_str(), &database);
    sqlite3_db_config(database, SQLITE_DBCONFIG_DEFENSIVE, 0, static_cast<int*>(nullptr));
    char* message = nullptr;
    const int code =
        sqlite3_exec(database, ("PRAGMA synchronous = OFF;" + sql).c_str(), nullptr, nullptr, &message);
    const std::string trouble = message == nullptr ? "" : message;
    sqlite3_free(message);
    sqlite3_close(database);
    if (code != SQLITE_OK) {
        throw std::runtime_error("the harm could not be done: " + trouble);
    }
}

void HostilePlace::remove(const fs::path& relative) const { fs::remove_all(library / relative); }

void HostilePlace::moveOut(const fs::path& relative) const
{
    const auto place = outside / relative.filename();
    fs::rename(library / relative, place);
    const auto fill = [](const fs::path& file) {
        std::ofstream(file, std::ios::binary | std::ios::in | std::ios::out) << secret(fs::file_size(file));
    };
    if (fs::is_directory(place)) {
        for (const auto& entry : fs::recursive_directory_iterator(place)) {
            if (entry.is_regular_file() && entry.path().extension() == ".jpeg") {
                fill(entry.path());
            }
        }
    } else if (place.extension() == ".jpeg") {
        fill(place);
    }
    for (const auto& database : {place, place / "Photos.sqlite"}) {
        if (database.filename() == "Photos.sqlite" && fs::exists(database)) {
            runOn(database, fmt::format("UPDATE ZGENERICALBUM SET ZTITLE = '{}'", secretWord));
        }
    }
    fs::create_symlink(place, library / relative);
}

void HostilePlace::makePipe(const fs::path& relative) const
{
    remove(relative);
    if (mkfifo((library / relative).c_str(), 0644) != 0) {
        throw std::runtime_error("no pipe");
    }
}

void HostilePlace::makeSocket(const fs::path& relative) const
{
    remove(relative);
    if (mknod((library / relative).c_str(), S_IFSOCK | 0644, 0) != 0) {
        throw std::runtime_error("no socket");
    }
}

bool HostilePlace::makeDevice(const fs::path& relative) const
{
    remove(relative);
    return mknod((library / relative).c_str(), S_IFCHR | 0666, makedev(1, 5)) == 0;
}

void HostileLibraries::expectToEndWell(const HostilePlace& place) const
{
    place.folder.makeFolder("out");
    const auto libraryBefore = stateOf(place.library);
    const auto outsideBefore = stateOf(place.outside);

    const Ran scan = runVantorel({"scan", "--list", "--stall-limit", GetParam().stallLimit, place.library});
    expectSentence(scan, GetParam().moreBytes);
    std::vector<std::string> arguments{
        "export", "--stall-limit", GetParam().stallLimit, place.library, place.folder / "out"};
    if (GetParam().course == HostileCase::Course::planned) {
        arguments.insert(arguments.begin() + 1, "--dry-run");
    }
    const Ran save = runVantorel(arguments);
    expectSentence(save, GetParam().moreBytes);
    EXPECT_EQ(stateOf(place.library), libraryBefore);
    EXPECT_EQ(stateOf(place.outside), outsideBefore);
    expectNothingFromOutside(place.folder / "out");

    std::set<std::string> saved;
    for (const auto& entry : fs::recursive_directory_iterator(place.folder / "out")) {
        if (entry.path().extension() == ".xmp") {
            saved.insert(entry.path());
        }
    }
    EXPECT_GE(saved.size(), static_cast<std::size_t>(GetParam().saved))
        << scan.output << save.output << save.errors;
    std::vector<fs::path> besideExport;
    for (const auto& entry : fs::directory_iterator(place.folder.path())) {
        besideExport.push_back(entry.path().filename());
    }
    std::ranges::sort(besideExport);
    EXPECT_EQ(besideExport, (std::vector<fs::path>{"Trip.photoslibrary", "out", "outside"}));
    if (fs::exists(place.folder / "out/Trip export")) {
        const Ran verified = runVantorel({"verify", place.folder / "out/Trip export"});
        EXPECT_EQ(verified.status, 0) << verified.output;
        EXPECT_TRUE(isFitForATerminal(verified.output + verified.errors));
    }
}

} // namespace vantorel
