#include "cli/CompareSummary.h"

#include "base/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <unordered_map>
#include <vector>

namespace vantorel::cli {

namespace {

constexpr std::size_t mostEntries = 10;

std::int64_t usedAlbums(const LibrarySnapshot& snapshot)
{
    return std::ranges::count_if(snapshot.albums, [](const Album& album) {
        return !album.isTrashed && (album.kind == Album::Kind::album || album.kind == Album::Kind::folder);
    });
}

class CompareText {
public:
    CompareText(const ComparedLibraries& libraries, const LibraryComparison& comparison, ItemList list)
        : here_(libraries.source)
        , there_(libraries.other)
        , comparison_(comparison)
        , most_(list == ItemList::everyProblem ? std::string::npos : mostEntries)
    {
    }

    std::string text()
    {
        addHead();
        addNotes();
        addMissingItems();
        addMissingAlbums("Albums that are not there", comparison_.missingAlbumPKs);
        addMissingAlbums("Folders that are not there", comparison_.missingFolderPKs);
        addChangedItems();
        addChangedAlbums();
        addCounts();
        return std::move(text_);
    }

private:
    template <typename... Values>
    void add(fmt::format_string<Values...> format, Values&&... values)
    {
        fmt::format_to(std::back_inserter(text_), format, std::forward<Values>(values)...);
    }

    /// A heading with the number of entries, then the first of them.
    template <typename Entries, typename Line>
    void addList(std::string_view heading, const Entries& entries, const Line& line)
    {
        if (entries.empty()) {
            return;
        }
        add("\n{} ({})\n", heading, grouped(std::ssize(entries)));
        const std::size_t shown = std::min(entries.size(), most_);
        for (std::size_t i = 0; i < shown; ++i) {
            add("  {}\n", displayText(line(entries[i])));
        }
        if (entries.size() > shown) {
            add("  And {} more.\n", grouped(static_cast<std::int64_t>(entries.size() - shown)));
        }
    }

    void addLibrary(std::string_view which, const LibrarySnapshot& snapshot)
    {
        add("{}  {}\n", which, displayText(snapshot.libraryURL.native()));
        add("{:{}}  {}, {}\n", "", which.size(),
            counted(std::ssize(snapshot.assets), "photo or video", "photos and videos"),
            counted(usedAlbums(snapshot), "album or folder", "albums and folders"));
    }

    void addHead()
    {
        addLibrary("This library ", here_.snapshot);
        addLibrary("Compared with", there_.snapshot);
    }

    /// What limits the result: the cautions, and what only one of the two libraries could give.
    void addNotes()
    {
        std::vector<std::string> lines = comparison_.cautions;
        const auto addUnavailable = [&lines](std::string_view which, const LibrarySnapshot& snapshot) {
            for (const auto feature : snapshot.schema.unavailable) {
                const bool isSaid = feature == SchemaSummary::Feature::people
                    && snapshot.damage.severity == DamageReport::Severity::fromJournals;
                if (!isSaid) {
                    lines.push_back(fmt::format("{}: {}", which, unavailableSentence(feature)));
                }
            }
        };
        addUnavailable("This library", here_.snapshot);
        addUnavailable("The other library", there_.snapshot);
        if (!lines.empty()) {
            add("\nNotes\n");
            for (const auto& line : lines) {
                add("  {}\n", displayText(line));
            }
        }
    }

    void addMissingItems()
    {
        if (comparison_.missingAssetPKs.empty()) {
            return; // the index below would be for nothing
        }
        std::unordered_map<std::int64_t, const Asset*> byKey;
        for (const Asset& asset : here_.snapshot.assets) {
            byKey.emplace(asset.pk, &asset);
        }
        addList("Photos and videos that are not there", comparison_.missingAssetPKs, [&](std::int64_t key) {
            const Asset& asset = *byKey.at(key);
            std::string line = shownName(asset);
            const auto date =
                asset.dateCreated ? sidecarDate(*asset.dateCreated, asset.timeZoneOffset) : std::nullopt;
            if (date) {
                line += "  " + date->substr(0, date->find('T'));
            }
            const auto entry = here_.originals.entries.find(key);
            if (entry != here_.originals.entries.end() && !itemRow(asset, entry->second).isFine) {
                line += fmt::format("  {}", statusText(entry->second));
            }
            return line;
        });
    }

    void addMissingAlbums(std::string_view heading, const std::vector<std::int64_t>& keys)
    {
        std::unordered_map<std::int64_t, const Album*> byKey;
        for (const Album& album : here_.snapshot.albums) {
            byKey.emplace(album.pk, &album);
        }
        addList(heading, keys, [&](std::int64_t key) {
            const Album& album = *byKey.at(key);
            return album.kind == Album::Kind::folder
                ? shownTitle(album)
                : fmt::format(
                      "{}  {}", shownTitle(album), counted(std::ssize(album.assetPKs), "item", "items"));
        });
    }

    void addChangedItems()
    {
        addList("Photos and videos that differ", comparison_.changedAssets, [](const ChangedAsset& asset) {
            std::vector<std::string> labels;
            for (const auto change : asset.changes) {
                labels.emplace_back(changeLabel(change));
            }
            return asset.name + "  " + joined(labels, ", ");
        });
    }

    void addChangedAlbums()
    {
        addList("Albums and folders that differ", comparison_.changedAlbums,
            [](const ChangedAlbum& album) { return album.name + "  " + joined(changeLabels(album), ", "); });
    }

    void addCounts()
    {
        const bool isAllThere = comparison_.missingAssetPKs.empty() && comparison_.missingAlbumPKs.empty()
            && comparison_.missingFolderPKs.empty() && comparison_.changedAssets.empty()
            && comparison_.changedAlbums.empty();
        if (isAllThere) {
            add("\nAll that was read of this library is in the other one, without a difference.\n");
        }
        add("\nThe same in both: {}, {}\n", counted(comparison_.sameAssetCount, "item", "items"),
            counted(comparison_.sameAlbumCount, "album or folder", "albums and folders"));
        for (const auto& sentence : countSentences(comparison_)) {
            add("{}\n", sentence);
        }
    }

    const LibraryScanResult& here_;
    const LibraryScanResult& there_;
    const LibraryComparison& comparison_;
    std::size_t most_;
    std::string text_;
};

} // namespace

std::string compareSummary(
    const ComparedLibraries& libraries, const LibraryComparison& comparison, ItemList list)
{
    return CompareText(libraries, comparison, list).text();
}

} // namespace vantorel::cli
