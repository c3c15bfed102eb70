// A whole database through schema resolution and reading. Either the bytes of the file, with those of its
// log behind the mark, or SQL that makes it: definitions that no honest program would have left.

#include "FuzzTarget.h"
#include "Scratch.h"

#include "SeedTexts.h"
#include "SnapshotChecks.h"
#include "database/DatabaseReading.h"
#include "database/WriteAheadLog.h"
#include "database/model/ReadError.h"

#include <sqlite3.h>

#include <tuple>

namespace vantorel::fuzz {

namespace {

constexpr std::string_view magic = "SQLite format 3";

/// Without a way to any other file and with an end to every statement.
void make(const std::filesystem::path& file, std::string sql)
{
    sqlite3* database = nullptr;
    if (sqlite3_open(file.c_str(), &database) == SQLITE_OK) {
        sqlite3_limit(database, SQLITE_LIMIT_ATTACHED, 0); // VACUUM INTO attaches, too
        sqlite3_limit(database, SQLITE_LIMIT_LENGTH, 1 << 20);
        sqlite3_exec(database,
            "PRAGMA page_size = 1024; PRAGMA max_page_count = 1000; "
            "PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF",
            nullptr, nullptr, nullptr);
        sqlite3_set_authorizer(
            database,
            [](void*, int action, const char*, const char*, const char*, const char*) {
                return action == SQLITE_PRAGMA ? SQLITE_DENY : SQLITE_OK;
            },
            nullptr);
        int steps = 0;
        sqlite3_progress_handler(
            database, 1'000, [](void* count) { return ++*static_cast<int*>(count) > 200 ? 1 : 0; }, &steps);
        sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr);
    }
    sqlite3_close(database);
}

void read(const ScratchFolder& folder, SchemaChecks checks, bool isRebuilt)
{
    const DatabaseSource source{.calls = realSystemCalls(),
        .clock = steppingClock(),
        .cancel = {},
        .stallLimit = Seconds(1e9),
        .progress = std::make_shared<ReadProgress>(ScanProgressCallback()),
        .file = folder / "Photos.sqlite",
        .isRebuilt = isRebuilt};
    try {
        if (const auto reading = readDatabase(source, checks)) {
            checkSnapshot(reading->snapshot);
            std::ignore = lossesOf(reading->context);
            std::ignore = notesOf(reading->context);
        }
    } catch (const ReadError& error) {
        require(!error.message().empty(), "a failure has a sentence");
    }
}

} // namespace

void runTarget(std::string_view input)
{
    static const ScratchFolder folder;
    folder.clear();
    if (input.starts_with(magic)) {
        const auto mark = input.find(databaseLogMark);
        folder.write("Photos.sqlite", input.substr(0, mark));
        if (mark != std::string_view::npos) {
            folder.write("Photos.sqlite-wal", input.substr(mark + databaseLogMark.size()));
            if (const auto root = Root::open(realSystemCalls(), folder.path())) {
                if (const auto check = checkWriteAheadLog(**root, "Photos.sqlite-wal")) {
                    require(check->committedFrames <= check->goodFrames, "commits are frames");
                }
            }
        }
    } else {
        make(folder / "Photos.sqlite", std::string(input));
    }
    read(folder, SchemaChecks::strict, false);
    read(folder, SchemaChecks::lenient, true);
}

} // namespace vantorel::fuzz
