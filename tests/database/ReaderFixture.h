#pragma once

#include "DatabaseBuilder.h"
#include "database/DatabaseReading.h"
#include "database/LibraryReader.h"
#include "support/TemporaryFolder.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace vantorel {

/// A library of a few rows, in the layout of an older or a newer Photos: the tables that a reader needs, with
/// that generation's names and entity numbers. Its folder is "Trip.photoslibrary" in a scratch folder.
class ReaderFixture {
public:
    enum class Generation { older, newer };
    /// Column names and SQL literals.
    using Columns = std::map<std::string, std::string>;

    explicit ReaderFixture(Generation generation = Generation::newer);

    /// An asset with its row of attributes (100 + `pk`) and its original's resource.
    ReaderFixture& photo(std::int64_t pk, const Columns& columns = {}, const Columns& attributes = {},
        const Columns& resource = {});
    /// An asset's own row alone.
    ReaderFixture& assetRow(std::int64_t pk, const Columns& columns = {});
    ReaderFixture& attributesRow(std::int64_t pk, std::int64_t asset, const Columns& columns = {});
    ReaderFixture& resourceRow(std::int64_t asset, int subtype, const Columns& columns = {});
    ReaderFixture& caption(std::int64_t pk, std::int64_t attributes, const std::string& text);
    ReaderFixture& album(std::int64_t pk, const std::string& kind, const Columns& columns = {});
    ReaderFixture& entry(std::int64_t album, std::int64_t asset, const std::string& order);
    ReaderFixture& keyword(std::int64_t pk, const std::string& title);
    ReaderFixture& keywordLink(std::int64_t attributes, std::int64_t keyword);
    ReaderFixture& person(std::int64_t pk, const Columns& columns);
    ReaderFixture& face(const std::string& asset, const std::string& person, const Columns& columns = {});
    ReaderFixture& row(const std::string& table, const Columns& columns);
    ReaderFixture& run(const std::string& sql);

    /// The tables' names in this generation.
    std::string assets, albums, albumLinks, keywordLinks, faceAsset, facePerson;

    const TemporaryFolder& folder() const { return folder_; }
    DiskPath library() const { return folder_ / "Trip.photoslibrary"; }
    DiskPath database() const { return library() / "database/Photos.sqlite"; }

    /// Reads the database alone.
    std::expected<DatabaseReading, DatabaseTrouble> tryReading(SchemaChecks checks = SchemaChecks::strict);
    DatabaseReading reading(SchemaChecks checks = SchemaChecks::strict);
    LibrarySnapshot snapshot(SchemaChecks checks = SchemaChecks::strict) { return reading(checks).snapshot; }
    /// From now on rows go to the log beside the database.
    ReaderFixture& keepChangesInLog();
    /// No more rows: the files can be changed by hand. A log stays beside the database.
    void close();

private:
    TemporaryFolder folder_;
    std::unique_ptr<DatabaseBuilder> builder_;
    std::int64_t lastResource_ = 0;
    std::int64_t lastFace_ = 0;
};

/// Reads any folder as a library.
struct LibraryReading {
    std::shared_ptr<const SystemCalls> calls = realSystemCalls();
    std::shared_ptr<const Clock> clock = systemClock();
    SharedCancelToken cancel{};
    ScanProgressCallback progress{};
    Seconds stallTimeout = DiskPatience::scan;
    CopyHooks hooks{};
    TemporaryFolder scratch{};

    LibrarySnapshot of(const DiskPath& library) const;
};

std::string uuidOf(std::int64_t pk);
/// What `ReaderFixture::photo` with no columns of its own gives.
Asset plainPhoto(std::int64_t pk);
Album plainAlbum(std::int64_t pk, Album::Kind kind);
std::vector<std::string> sentences(const DamageReport& damage);
/// "kind: message" of what `work` throws, or "nothing".
std::string errorOf(const std::function<void()>& work);

} // namespace vantorel
