#pragma once

#include "sample/SampleLibrary.h"
#include "support/TemporaryFolder.h"

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace vantorel::sample {

/// A sample library in a scratch folder, with pictures so small that nobody waits for them.
class SampleFixture {
public:
    explicit SampleFixture(const WriteOptions& given = {}, std::size_t assets = 60)
        : SampleFixture(smallPlan(assets, given.seed), given)
    {
    }
    SampleFixture(SamplePlan given, const WriteOptions& chosen)
        : plan(std::move(given))
        , options(chosen)
    {
        writeLibrary(plan, options, library());
    }

    static SamplePlan smallPlan(std::size_t assets, std::uint64_t seed)
    {
        SamplePlan plan = drawPlan(assets, seed);
        plan.pictureWidth = 24;
        plan.pictureHeight = 18;
        return plan;
    }

    DiskPath library() const { return folder / "Sample.photoslibrary"; }

    TemporaryFolder folder{};
    SamplePlan plan;
    WriteOptions options;
};

/// A copy of a library's database for questions; asking the library's own would change its log.
class DatabaseQuestions {
public:
    enum class Log { used, leftOut };

    DatabaseQuestions(const SampleFixture& sample, Log log)
    {
        const std::string path = "Sample.photoslibrary/database/Photos.sqlite";
        const auto file = folder_.write("copy.sqlite", sample.folder.read(path));
        if (log == Log::used && sample.folder.has(path + "-wal")) {
            folder_.write("copy.sqlite-wal", sample.folder.read(path + "-wal"));
        }
        open("file:" + file.native() + (log == Log::used ? "" : "?immutable=1"),
            SQLITE_OPEN_URI | (log == Log::used ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY));
    }
    /// A copy that was made already, with its log.
    explicit DatabaseQuestions(const DiskPath& copy) { open(copy.native(), SQLITE_OPEN_READWRITE); }

    /// The rows, columns joined by "|"; an error as one row with its text.
    std::vector<std::string> rows(const std::string& sql) const
    {
        std::vector<std::string> found;
        const auto take = [](void* to, int count, char** values, char**) {
            std::string row;
            for (int i = 0; i < count; ++i) {
                row += (i == 0 ? "" : "|") + std::string(values[i] == nullptr ? "NULL" : values[i]);
            }
            static_cast<std::vector<std::string>*>(to)->push_back(row);
            return 0;
        };
        char* error = nullptr;
        if (sqlite3_exec(database_.get(), sql.c_str(), take, &found, &error) != SQLITE_OK) {
            found = {std::string("error: ") + (error == nullptr ? "?" : error)};
        }
        sqlite3_free(error);
        return found;
    }
    std::string one(const std::string& sql) const
    {
        const auto found = rows(sql);
        return found.size() == 1 ? found.front() : std::to_string(found.size()) + " rows";
    }

private:
    void open(const std::string& name, int flags)
    {
        sqlite3* opened = nullptr;
        sqlite3_open_v2(name.c_str(), &opened, flags, nullptr);
        database_.reset(opened);
    }

    struct Close {
        void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
    };
    TemporaryFolder folder_{};
    std::unique_ptr<sqlite3, Close> database_;
};

} // namespace vantorel::sample
