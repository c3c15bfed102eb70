#include "database/DatabaseReading.h"

#include "database/AlbumRows.h"
#include "database/AssetRows.h"
#include "database/DetailRows.h"
#include "database/KeywordRows.h"
#include "database/PeopleRows.h"
#include "database/ReadState.h"
#include "database/ResourceRows.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <map>
#include <memory>
#include <tuple>
#include <utility>

namespace vantorel {

namespace {

using Feature = SchemaSummary::Feature;

/// What each table holds, for people.
namespace purpose {
constexpr std::string_view assets = "Photos and videos";
constexpr std::string_view attributes = "Original file names and titles";
constexpr std::string_view descriptions = "Captions";
constexpr std::string_view albums = "Albums and folders";
constexpr std::string_view albumLinks = "Photos in albums";
constexpr std::string_view keywords = "Keywords";
constexpr std::string_view keywordLinks = "Keywords of photos";
constexpr std::string_view persons = "People names";
constexpr std::string_view faces = "People on photos";
constexpr std::string_view resources = "Files of photos";
constexpr std::string_view bookmarks = "Files outside the library";
constexpr std::string_view volumes = "Disks with files outside the library";
constexpr std::string_view cloudMasters = "Originals in iCloud";
} // namespace purpose

/// What the steps gather apart from the records themselves. Like `ReadState` it belongs to the workers, too.
struct Gathered {
    ReadState state;
    OutsidePlaces places;
    CaptionLinks captions;
    KeywordTitles keywords;
    PersonNames people;
    AlbumLinks albums;
};

class Reading {
public:
    Reading(const DatabaseSource& source, SchemaChecks checks)
        : steps_(source)
        , isRebuilt_(source.isRebuilt)
    {
        gathered_->state.context.checks = checks;
        gathered_->state.context.cancel = source.cancel;
    }

    std::expected<DatabaseReading, DatabaseTrouble> read(const WhileChecked& whileChecked)
    {
        if (steps_.open() == DatabaseSteps::End::damaged) {
            return std::unexpected(DatabaseTrouble{});
        }
        beginCheck();
        if (auto trouble = resolve()) {
            return std::unexpected(std::move(*trouble));
        }
        countRows();
        readAssets();
        readFiles();
        readDetails();
        readKeywords();
        readPeople();
        readAlbums();
        if (whileChecked && state().context.unreadable.empty()) {
            whileChecked(state().snapshot);
        }
        const bool isWhole = passesCheck();
        return finished(!isWhole);
    }

private:
    using Worker = DatabaseSteps::Worker;
    using RowsOf = void (*)(Gathered&, const Worker&);

    ReadState& state() { return gathered_->state; }
    const ResolvedSchema& schema() { return gathered_->state.schema; }
    bool has(Feature feature)
    {
        const auto& unavailable = schema().summary.unavailable;
        return std::ranges::find(unavailable, feature) == unavailable.end();
    }

    std::optional<DatabaseTrouble> resolve()
    {
        auto refused = std::make_shared<std::optional<std::string>>();
        const auto end = steps_.run("Photos.sqlite", 0, [all = gathered_, refused](const Worker& worker) {
            try {
                all->state.schema = resolveSchema(worker.reader, all->state.context.checks);
            } catch (const SchemaError& error) {
                *refused = error.reason();
            }
        });
        if (end == DatabaseSteps::End::damaged) {
            // Waited for all the same: what is done to the copy next must not happen under the check.
            std::ignore = passesCheck();
            return DatabaseTrouble{};
        }
        if (!*refused) {
            return std::nullopt;
        }
        // A broken page can hide a table or a column; only of a whole file it says that the layout is
        // another.
        if (!passesCheck()) {
            return DatabaseTrouble{};
        }
        return DatabaseTrouble{.kind = DatabaseTrouble::Kind::unknownLayout, .reason = **refused};
    }

    /// For the progress alone: a count that cannot be had is no trouble.
    void countRows()
    {
        auto counts = std::make_shared<std::map<std::string, std::int64_t>>();
        std::vector<std::string> tables{schema().assetTable};
        for (const auto& table : {schema().attributesTable, schema().descriptionTable, schema().albumTable,
                 schema().keywordTable, schema().personTable, schema().faceTable}) {
            if (table) {
                tables.push_back(*table);
            }
        }
        for (const auto& join : {schema().albumJoin, schema().keywordJoin}) {
            if (join) {
                tables.push_back(join->table);
            }
        }
        std::ignore = steps_.run("Photos.sqlite", 0, [counts, tables](const Worker& worker) {
            for (const std::string& table : tables) {
                (*counts)[table] =
                    worker.reader.count("SELECT count(*) AS n FROM " + quotedIdentifier(table));
            }
        });
        expected_ = *counts;
        if (schema().resourceTable) { // only its rows about originals are read: about one for each asset
            expected_[*schema().resourceTable] = expected_[schema().assetTable];
        }
        std::int64_t total = 0;
        for (const auto& [table, count] : expected_) {
            total += count;
        }
        steps_.expect(total);
    }

    void table(const std::string& name, std::string_view what, RowsOf rows)
    {
        const auto end = steps_.run(std::string(what), expected_[name],
            [all = gathered_, rows](const Worker& worker) { rows(*all, worker); });
        recordTable(state().context, name, what, highestIDOf(name), end == DatabaseSteps::End::damaged);
    }

    void table(const std::optional<std::string>& name, std::string_view what, RowsOf rows)
    {
        if (name) {
            table(*name, what, rows);
        }
    }

    /// None where only some of a table's rows are read, so that their number tells nothing.
    std::optional<std::int64_t> highestIDOf(const std::string& table)
    {
        const auto found = schema().highestIDs.find(table);
        if (found == schema().highestIDs.end() || table == schema().resourceTable) {
            return std::nullopt;
        }
        return found->second;
    }

    void readAssets()
    {
        table(schema().assetTable, purpose::assets,
            [](Gathered& all, const Worker& worker) { readAssetRows(all.state, worker); });
        indexAssets(state());
    }

    void readFiles()
    {
        table(schema().resourceTable, purpose::resources,
            [](Gathered& all, const Worker& worker) { readResourceRows(all.state, worker); });
        table(schema().bookmarkTable, purpose::bookmarks,
            [](Gathered& all, const Worker& worker) { readBookmarkRows(all.state, all.places, worker); });
        table(schema().volumeTable, purpose::volumes,
            [](Gathered& all, const Worker& worker) { readVolumeRows(all.state, all.places, worker); });
        if (lacksOriginalResource(state())) {
            table(schema().cloudMasterTable, purpose::cloudMasters,
                [](Gathered& all, const Worker& worker) { readCloudMasterRows(all.state, worker); });
        }
        settleLocations(state(), gathered_->places);
    }

    void readDetails()
    {
        if (!schema().attributesTable) {
            for (Asset& asset : state().snapshot.assets) {
                asset.lostDetails.insert(Asset::LostDetail::originalName);
            }
            return;
        }
        table(schema().attributesTable, purpose::attributes,
            [](Gathered& all, const Worker& worker) { readAttributeRows(all.state, all.captions, worker); });
        settleDetails(state());
        if (has(Feature::captions)) {
            table(schema().descriptionTable, purpose::descriptions, [](Gathered& all, const Worker& worker) {
                readDescriptionRows(all.state, all.captions, worker);
            });
            settleCaptions(state(), gathered_->captions);
        }
    }

    void readKeywords()
    {
        table(schema().keywordTable, purpose::keywords,
            [](Gathered& all, const Worker& worker) { readKeywordRows(all.state, all.keywords, worker); });
        if (has(Feature::keywords)) {
            table(
                schema().keywordJoin->table, purpose::keywordLinks, [](Gathered& all, const Worker& worker) {
                    readKeywordLinks(all.state, all.keywords, worker);
                });
            settleKeywords(state(), gathered_->keywords);
        }
        const auto& titles = gathered_->keywords.titles;
        noteLostLinks(LostLinks::keywords, Asset::LostDetail::keywords, !titles.empty(),
            schema().keywordJoin ? std::optional(schema().keywordJoin->table) : std::nullopt,
            schema().keywordJoin ? rowsOf(schema().keywordJoin->table) : 0);
    }

    void readPeople()
    {
        PersonNames& people = gathered_->people;
        table(schema().personTable, purpose::persons,
            [](Gathered& all, const Worker& worker) { readPersonRows(all.state, all.people, worker); });
        followMerges(people);
        if (has(Feature::people)) {
            table(schema().faceTable, purpose::faces,
                [](Gathered& all, const Worker& worker) { readFaceRows(all.state, all.people, worker); });
            settlePeople(state(), people);
        }
        const bool anyNamed =
            std::ranges::any_of(people.persons, [](const auto& entry) { return !entry.second.name.empty(); });
        noteLostLinks(LostLinks::people, Asset::LostDetail::people, anyNamed, schema().faceTable,
            people.facesWithPerson);
    }

    void readAlbums()
    {
        table(schema().albumTable, purpose::albums,
            [](Gathered& all, const Worker& worker) { readAlbumRows(all.state, all.albums, worker); });
        settleFolders(state(), gathered_->albums);
        if (schema().albumTable && schema().albumJoin) {
            table(schema().albumJoin->table, purpose::albumLinks,
                [](Gathered& all, const Worker& worker) { readAlbumLinks(all.state, all.albums, worker); });
            settleEntries(state(), gathered_->albums);
        }
        const bool anyAlbum = std::ranges::any_of(
            state().snapshot.albums, [](const Album& album) { return album.kind == Album::Kind::album; });
        noteLostLinks(LostLinks::albums, Asset::LostDetail::albums, anyAlbum,
            schema().albumJoin ? std::optional(schema().albumJoin->table) : std::nullopt,
            schema().albumJoin ? rowsOf(schema().albumJoin->table) : 0);
    }

    std::int64_t rowsOf(const std::string& table) { return state().context.counts[table].rowsRead; }

    /// Links that are all gone are a loss where their table gave an error, or in a rebuilt database. A table
    /// that was read may have albums that are all empty, keywords that nobody uses and people whose photos
    /// were deleted.
    void noteLostLinks(LostLinks links, Asset::LostDetail detail, bool anyOwner,
        const std::optional<std::string>& table, std::int64_t linksRead)
    {
        if (!state().lenient() || !anyOwner || linksRead > 0) {
            return;
        }
        const auto& unreadable = state().context.unreadable;
        if (!isRebuilt_ && table && std::ranges::find(unreadable, *table) == unreadable.end()) {
            return;
        }
        state().context.linksLost.push_back(links);
        for (Asset& asset : state().snapshot.assets) {
            asset.lostDetails.insert(detail);
        }
    }

    /// Begins SQLite's own check of the whole file, which reads it once more: beside the tables, on another
    /// processor where there is one.
    void beginCheck()
    {
        answer_ = std::make_shared<std::string>();
        steps_.beginBeside([answer = answer_](SQLiteReader& reader) {
            reader.forEachRow("PRAGMA quick_check(1)", {},
                [&answer](const SQLiteRow& row) { *answer = row.stringAt(0).value_or(std::string()); });
        });
    }

    /// Waits for its answer. A stop, a silent disk or a time limit throws.
    bool passesCheck()
    {
        return steps_.endBeside("Photos.sqlite") == DatabaseSteps::End::whole && *answer_ == "ok";
    }

    /// A kind of detail that this database cannot give is not an empty one.
    void markUnavailable()
    {
        constexpr std::array details{
            std::pair{Feature::albums, Asset::LostDetail::albums},
            std::pair{Feature::captions, Asset::LostDetail::caption},
            std::pair{Feature::keywords, Asset::LostDetail::keywords},
            std::pair{Feature::people, Asset::LostDetail::people},
            std::pair{Feature::dates, Asset::LostDetail::dates},
        };
        for (const auto& [feature, detail] : details) {
            if (!has(feature)) {
                for (Asset& asset : state().snapshot.assets) {
                    asset.lostDetails.insert(detail);
                }
            }
        }
    }

    DatabaseReading finished(bool failedCheck)
    {
        markUnavailable();
        LibrarySnapshot& snapshot = state().snapshot;
        snapshot.schema = schema().summary;
        snapshot.notes = schema().notes;
        std::ranges::move(notesOf(state().context), std::back_inserter(snapshot.notes));
        snapshot.damage.tables = state().context.losses;
        snapshot.damage.losses = lossesOf(state().context);
        return {.snapshot = std::move(snapshot),
            .context = std::move(state().context),
            .failedCheck = failedCheck};
    }

    DatabaseSteps steps_;
    bool isRebuilt_;
    std::shared_ptr<Gathered> gathered_ = std::make_shared<Gathered>();
    std::shared_ptr<std::string> answer_;          ///< Of the check, once that has ended.
    std::map<std::string, std::int64_t> expected_; ///< Rows by table, for the progress.
};

} // namespace

std::expected<DatabaseReading, DatabaseTrouble> readDatabase(
    const DatabaseSource& source, SchemaChecks checks, const WhileChecked& whileChecked)
{
    return Reading(source, checks).read(whileChecked);
}

} // namespace vantorel
