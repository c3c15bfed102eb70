// The inner parts of reading: rows, dates, names on the disk.

#include "base/Clock.h"
#include "base/Date.h"
#include "base/Unicode.h"
#include "bench/ScanOfMany.h"
#include "database/SQLiteReader.h"
#include "scan/FolderIndex.h"

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace vantorel {

namespace {

constexpr int rowCount = 20'000;

/// A small database that is removed with the object.
class Database {
public:
    Database()
    {
        sqlite3* made = nullptr;
        const std::string sql =
            "CREATE TABLE t(Z_PK INTEGER PRIMARY KEY, ZUUID VARCHAR, ZNAME VARCHAR, ZDATE TIMESTAMP, "
            "ZKIND INTEGER, ZLATITUDE FLOAT);"
            "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < "
            + std::to_string(rowCount)
            + ") INSERT INTO t SELECT i, printf('%08X-0000-4000-8000-%012X', i, i), 'IMG_' || i || '.HEIC', "
              "600000000.5 + i, i % 2, NULL FROM n;";
        const bool isMade = sqlite3_open(file().c_str(), &made) == SQLITE_OK
            && sqlite3_exec(made, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
        sqlite3_close(made);
        if (!isMade) {
            std::abort(); // a measurement without its data is none
        }
    }
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;
    ~Database() { std::filesystem::remove_all(folder_); }

    DiskPath file() const { return folder_ / "rows.sqlite"; }

private:
    static DiskPath makeFolder()
    {
        std::string name = (std::filesystem::temp_directory_path() / "vantorel-bench-XXXXXX").native();
        if (mkdtemp(name.data()) == nullptr) {
            std::abort();
        }
        return name;
    }

    DiskPath folder_ = makeFolder();
};

void readRows(benchmark::State& state)
{
    const Database database;
    SQLiteReader reader(realSystemCalls(), systemClock(), database.file());
    for (auto _ : state) {
        std::size_t bytes = 0;
        reader.forEachRow("SELECT Z_PK, ZUUID, ZNAME, ZDATE, ZKIND, ZLATITUDE FROM t ORDER BY Z_PK", {},
            [&](const SQLiteRow& row) {
                bytes += row.stringAt(1)->size() + row.stringAt(2)->size();
                benchmark::DoNotOptimize(libraryDate(row.realAt(3)));
                benchmark::DoNotOptimize(row.int64At(4));
                benchmark::DoNotOptimize(row.realAt(5));
            });
        benchmark::DoNotOptimize(bytes);
    }
    state.SetItemsProcessed(state.iterations() * rowCount);
}
BENCHMARK(readRows)->Unit(benchmark::kMillisecond);

void convertDate(benchmark::State& state)
{
    double seconds = 600'000'000.25;
    for (auto _ : state) {
        benchmark::DoNotOptimize(libraryDate(seconds += 1.5));
    }
}
BENCHMARK(convertDate);

void writeDate(benchmark::State& state)
{
    Date date(std::chrono::microseconds(1'700'000'000'123'456));
    for (auto _ : state) {
        benchmark::DoNotOptimize(isoMilliseconds(date += std::chrono::seconds(61)));
    }
}
BENCHMARK(writeDate);

void composeName(benchmark::State& state)
{
    const std::string name = state.range(0) == 0 ? "IMG_1234.HEIC"
                                                 : "Gro\xCC\x88\xC3\x9F"
                                                   "e 1234.HEIC";
    for (auto _ : state) {
        benchmark::DoNotOptimize(composed(name));
    }
}
BENCHMARK(composeName)->ArgName("beyondAscii")->Arg(0)->Arg(1);

/// Every photo of one folder to its file.
void matchFiles(benchmark::State& state)
{
    const auto scan = scanOfMany(static_cast<std::size_t>(state.range(0)));
    std::vector<FS::Entry> entries;
    for (const Asset& asset : scan.snapshot.assets) {
        entries.push_back(
            {.name = asset.fileName, .kind = FS::Kind::regular, .size = *asset.originalFileSize});
    }
    std::ranges::sort(entries, {}, &FS::Entry::name);
    for (auto _ : state) {
        FolderIndex index(entries);
        for (const Asset& asset : scan.snapshot.assets) {
            const FS::Entry* file = index.mainFile(asset);
            index.claim(*file);
        }
        benchmark::DoNotOptimize(index);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(matchFiles)->Arg(6'000)->Arg(60'000)->Unit(benchmark::kMillisecond);

} // namespace

} // namespace vantorel
