#include "journals/JournalReader.h"

#include "base/Text.h"
#include "journals/JournalAlbums.h"
#include "journals/JournalAssets.h"
#include "journals/JournalObjects.h"
#include "journals/JournalRecords.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include <fmt/format.h>

namespace vantorel {

namespace {

using Failure = JournalReader::Failure;
using State = JournalFile::State;
using Loss = DamageReport::Loss;

constexpr std::string_view method = "the change journals";
constexpr std::string_view noPeople =
    "People names are not read from journals. Photos only writes them there for people you named, and that "
    "has not been tested yet.";

constexpr EnumNames<Failure, 6> failureReasons{{
    {Failure::noJournals, ""},
    {Failure::unreadable, "the file with the photo records could not be read"},
    {Failure::damaged, "the photo records in them are damaged"},
    {Failure::refused, "macOS refused access to them, or they lead outside the library"},
    {Failure::notAnswering, ""},
    {Failure::cancelled, ""},
}};
static_assert(inEnumOrder(failureReasons));

/// What is named when a library has no journal of a kind, and which details are then not to be had.
struct Gap {
    JournalKind kind;
    std::string_view name;
    std::optional<SchemaSummary::Feature> feature;
    std::optional<Asset::LostDetail> detail;
};
constexpr std::array gaps{
    Gap{JournalKind::album, "albums", SchemaSummary::Feature::albums, Asset::LostDetail::albums},
    Gap{JournalKind::folder, "folders", SchemaSummary::Feature::folders, std::nullopt},
    Gap{JournalKind::smart, "smart albums", std::nullopt, std::nullopt},
    Gap{JournalKind::keyword, "keywords", SchemaSummary::Feature::keywords, Asset::LostDetail::keywords},
};

/// "albums, folders and keywords".
std::string enumerated(const std::vector<std::string>& names)
{
    if (names.size() < 2) {
        return names.empty() ? std::string() : names.front();
    }
    return joined({names.begin(), names.end() - 1}, ", ") + " and " + names.back();
}

/// One read of one library's journals.
class JournalRead {
public:
    explicit JournalRead(const JournalReader::Request& request)
        : cancel_(request.cancel)
        , files_({.library = request.library,
              .clock = request.clock,
              .stallLimit = request.stallLimit,
              .cancel = request.cancel,
              .onSilence = request.onSilence,
              .onBytes = request.onBytes})
    {
    }

    std::expected<JournalReader::ReadResult, Failure> read()
    {
        files_.look();
        if (isCancelled(cancel_)) {
            return std::unexpected(Failure::cancelled);
        }
        apply(JournalKind::asset, assets_);
        assetBytesLost_ = result_.counts.lostBytes;
        if (const auto failure = failureWithoutPhotos(); failure && assets_.size() == 0) {
            return std::unexpected(isCancelled(cancel_) ? Failure::cancelled : *failure);
        }
        apply(JournalKind::volume, volumes_);
        apply(JournalKind::keyword, keywords_);
        apply(JournalKind::album, collections_.albums);
        apply(JournalKind::folder, collections_.folders);
        apply(JournalKind::smart, collections_.smart);
        apply(JournalKind::project, collections_.projects);
        readMigrations();
        if (isCancelled(cancel_)) {
            return std::unexpected(Failure::cancelled);
        }
        makeAssets();
        if (made_.assets.empty()) {
            if (const auto failure = failureWithoutPhotos()) {
                return std::unexpected(*failure);
            }
        }
        makeAlbums();
        describe();
        return std::move(result_);
    }

private:
    /// Calls `take` with each record of a kind in the order of application.
    void walk(JournalKind kind, const std::function<bool(const JournalRecord&)>& take)
    {
        const JournalNames names =
            kind == JournalKind::migration ? JournalNames::numbers : JournalNames::identifiers;
        for (const JournalPart part : {JournalPart::snapshot, JournalPart::change}) {
            if (isCancelled(cancel_) || files_.file(kind, part).state != State::given) {
                continue;
            }
            // One file after the other: each is let go of before the next is read.
            const std::string bytes = files_.read(kind, part);
            result_.counts.lostBytes += walkJournal(bytes, names, cancel_, take).lostBytes;
        }
    }

    template <typename Object>
    void apply(JournalKind kind, JournalObjects<Object>& objects)
    {
        walk(kind, [&objects](const JournalRecord& record) { return objects.apply(record); });
    }

    /// Each migration names the version that it led to; the one with the highest number is the library's.
    void readMigrations()
    {
        std::optional<std::uint64_t> highest;
        std::optional<std::int64_t> version;
        walk(JournalKind::migration, [&](const JournalRecord& record) {
            const auto list = BinaryPlist::open(record.payload);
            if (!list || !list->isDictionary(list->top())) {
                return record.payload.empty();
            }
            const auto number = parseInteger<std::uint64_t>(record.identifier);
            const auto model = list->value(list->top(), "modelVersion");
            const auto value = model ? list->integer(*model) : std::nullopt;
            if (number && value && (!highest || *number >= *highest)) {
                highest = number;
                version = value;
            }
            return true;
        });
        result_.schema = summaryOfModel(version);
    }

    /// Why there is no photo; none where that is right: all were removed.
    std::optional<Failure> failureWithoutPhotos() const
    {
        const std::array asset{files_.file(JournalKind::asset, JournalPart::snapshot),
            files_.file(JournalKind::asset, JournalPart::change)};
        const auto any = [&asset](State state) {
            return std::ranges::any_of(
                asset, [state](const JournalFile& file) { return file.state == state; });
        };
        if (any(State::notAnswering)) {
            return Failure::notAnswering;
        }
        if (any(State::refused)) {
            return Failure::refused;
        }
        if (any(State::unreadable)) {
            return Failure::unreadable;
        }
        if (!any(State::given)) {
            return Failure::noJournals;
        }
        const bool isDamaged = assetBytesLost_ > 0 || result_.counts.photosWithoutLocation > 0;
        return isDamaged ? std::optional(Failure::damaged) : std::nullopt;
    }

    bool isMissing(JournalKind kind) const
    {
        return files_.file(kind, JournalPart::snapshot).state == State::missing
            && files_.file(kind, JournalPart::change).state == State::missing;
    }

    bool hasTrouble(JournalKind kind) const
    {
        return files_.file(kind, JournalPart::snapshot).isTrouble()
            || files_.file(kind, JournalPart::change).isTrouble();
    }

    /// Neither file was there or could be read.
    bool gaveNothing(JournalKind kind) const
    {
        const auto gave = [](const JournalFile& file) {
            return file.state == State::given || file.state == State::empty;
        };
        return !gave(files_.file(kind, JournalPart::snapshot))
            && !gave(files_.file(kind, JournalPart::change));
    }

    void makeAssets()
    {
        made_ = assetsOf(assets_,
            {.keywords = keywords_,
                .volumes = volumes_,
                .keywordsAreThere = !isMissing(JournalKind::keyword)});
        result_.counts.photosWithoutLocation = made_.withoutLocation;
        result_.counts.lostKeywordLinks = made_.lostKeywordLinks;
        result_.counts.itemsWithRejectedDate = made_.itemsWithRejectedDate;
    }

    void makeAlbums()
    {
        constexpr std::array kinds{
            JournalKind::album, JournalKind::folder, JournalKind::smart, JournalKind::project};
        collections_.foldersAreThere = !gaveNothing(JournalKind::folder);
        collections_.allAreThere = std::ranges::none_of(
            kinds, [this](JournalKind kind) { return isMissing(kind) || hasTrouble(kind); });
        JournalAlbumsResult made = albumsOf(collections_, assets_, made_);
        result_.assets = std::move(made_.assets);
        result_.albums = std::move(made.albums);
        result_.counts.damagedAlbums = made.damaged;
        result_.counts.albumsWithoutFolder = made.withoutFolder;
        result_.counts.lostAlbumEntries = made.lostEntries;
    }

    void describe()
    {
        for (const auto& [kind, name] : journalKindNames) {
            for (const JournalPart part : {JournalPart::snapshot, JournalPart::change}) {
                result_.counts.unreadFiles += files_.file(kind, part).isTrouble() ? 1 : 0;
            }
        }
        DamageReport& damage = result_.damage;
        damage.severity = DamageReport::Severity::fromJournals;
        damage.method = method;
        damage.diskDidNotAnswer = files_.anyDidNotAnswer();
        addGaps();
        addLosses();
        addNotes();
    }

    void addGaps()
    {
        std::vector<std::string> missing;
        const auto lacks = [this](SchemaSummary::Feature feature) {
            result_.schema.unavailable.push_back(feature);
        };
        for (const Gap& gap : gaps) {
            if (isMissing(gap.kind)) {
                missing.emplace_back(gap.name);
            }
            if (!gaveNothing(gap.kind)) {
                continue;
            }
            if (gap.feature) {
                lacks(*gap.feature);
            }
            if (gap.detail) {
                markEverywhere(*gap.detail);
            }
        }
        lacks(SchemaSummary::Feature::people);
        std::ranges::sort(result_.schema.unavailable);
        if (!missing.empty()) {
            result_.notes.push_back(fmt::format(
                "This copy has no journal for {}, so they could not be read from it.", enumerated(missing)));
        }
    }

    void markEverywhere(Asset::LostDetail detail)
    {
        for (Asset& asset : result_.assets) {
            // Members of a project are still known.
            if (detail != Asset::LostDetail::albums || asset.albumPKs.empty()) {
                asset.lostDetails.insert(detail);
            }
        }
    }

    void addLosses()
    {
        const JournalReader::Counts& counts = result_.counts;
        const auto add = [this](Loss::Kind kind, std::int64_t count) {
            if (count > 0) {
                result_.damage.losses.push_back(makeLoss(kind, count));
            }
        };
        add(Loss::Kind::albumEntriesWithoutPhoto, counts.lostAlbumEntries);
        add(Loss::Kind::keywordLinksWithoutKeyword, counts.lostKeywordLinks);
        add(Loss::Kind::albumsWithoutParent, counts.albumsWithoutFolder);
        add(Loss::Kind::journalBytesLost, counts.lostBytes);
        add(Loss::Kind::journalPartsUnread, counts.unreadFiles);
    }

    void addNotes()
    {
        const JournalReader::Counts& counts = result_.counts;
        const auto add = [this](std::int64_t count, std::string_view text) {
            if (count > 0) {
                result_.notes.push_back(grouped(count) + std::string(text));
            }
        };
        add(counts.photosWithoutLocation,
            " photo records in the journals had no usable file location and were left out.");
        add(counts.damagedAlbums, " album records in the journals were damaged and left out.");
        add(counts.itemsWithRejectedDate,
            " items have a date in the library that cannot be right, so they are treated as having no date.");
        if (auto untested = untestedVersionNote(result_.schema); untested && result_.schema.modelVersion) {
            result_.notes.push_back(std::move(*untested));
        }
        result_.notes.emplace_back(noPeople);
        result_.notes.emplace_back(journalsTestedVersions);
    }

    SharedCancelToken cancel_;
    JournalFiles files_;
    JournalObjects<JournalAsset> assets_;
    JournalObjects<JournalVolume> volumes_;
    JournalObjects<JournalKeyword> keywords_;
    CollectionRecords collections_;
    JournalAssetsResult made_;
    JournalReader::ReadResult result_;
    std::int64_t assetBytesLost_ = 0;
};

} // namespace

std::expected<JournalReader::ReadResult, JournalReader::Failure> JournalReader::read(const Request& request)
{
    return JournalRead(request).read();
}

std::optional<std::string_view> journalFailureReason(JournalReader::Failure failure)
{
    const std::string_view reason = nameIn(failureReasons, failure);
    return reason.empty() ? std::nullopt : std::optional(reason);
}

} // namespace vantorel
