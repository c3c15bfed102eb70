#pragma once

#include "journals/JournalRecords.h"
#include "journals/JournalValue.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel {

/// One photo or video as the records so far describe it: what is wanted of its keys, nothing else, since
/// there can be a million. What is absent is none or empty.
struct JournalAsset {
    struct Bookmark {
        bool isOriginal = false;
        std::string path{}; ///< Relative to the volume.
        std::optional<Identifier> volume{};

        bool operator==(const Bookmark&) const = default;
    };
    /// What the entries of its files say.
    struct Resources {
        std::string fingerprint{}; ///< Of the original.
        std::optional<std::int32_t> localAvailability{};
        std::optional<std::int32_t> remoteAvailability{};
        bool hasPartner = false;
        std::vector<Bookmark> bookmarks{}; ///< Of files outside the library.

        bool operator==(const Resources&) const = default;
    };

    std::string directory{}, fileName{}, originalFileName{};
    std::string title{}, caption{};
    std::string originalHash{}; ///< Bytes.
    IdentifierList keywords{};
    LibraryDate dateCreated{}, dateAdded{}, dateModified{};
    std::optional<double> latitude{}, longitude{};
    std::optional<std::int64_t> originalFileSize{};
    std::optional<std::int32_t> timeZoneOffset{};
    std::optional<std::int32_t> kind{}, kindSubtype{}, savedAssetType{};
    std::optional<std::int32_t> hasAdjustments{}, adjustmentsState{};
    std::optional<std::int32_t> localAvailability{}, remoteAvailability{};
    bool isFavorite = false, isHidden = false, isTrashed = false;
    Resources resources{};

    /// The key that every whole record has.
    static constexpr std::string_view certainKey = "filename";
    /// Sets what stands under a key; no value clears it. Keys that are not wanted do nothing.
    void set(std::string_view key, const JournalValue& value);
};

/// One album, folder, smart album or project.
struct JournalAlbum {
    std::string title{};
    std::optional<std::int32_t> kind{};
    bool isTrashed = false;
    IdentifierList assets{};
    IdentifierList children{};

    static constexpr std::string_view certainKey = "kind";
    void set(std::string_view key, const JournalValue& value);
};

struct JournalKeyword {
    std::string title{};

    static constexpr std::string_view certainKey = "title";
    void set(std::string_view key, const JournalValue& value);
};

struct JournalVolume {
    std::string name{};

    static constexpr std::string_view certainKey = "name";
    void set(std::string_view key, const JournalValue& value);
};

/// Which place an identifier has. The order in which identifiers come and what they are does not matter for
/// the time that it takes, also where they were chosen to harm.
class IdentifierIndex {
public:
    IdentifierIndex();

    std::optional<std::size_t> find(const Identifier& identifier) const;
    /// The place of the identifier, a new one behind all others if it has none.
    std::size_t findOrAdd(const Identifier& identifier);

    std::size_t size() const { return identifiers_.size(); }
    const Identifier& at(std::size_t place) const { return identifiers_[place]; }

private:
    std::size_t slotOf(const Identifier& identifier) const;
    void grow();

    std::vector<Identifier> identifiers_;
    std::vector<std::uint32_t> slots_; ///< Place + 1; 0: free. Their number is a power of 2.
    std::uint64_t seed_ = 0;
};

/// What is done with a payload.
enum class PayloadUse {
    unusable, ///< It is no property list of an object.
    nothing,  ///< It says nothing.
    merged,
    replaced,
};
/// A whole object that lacks what every whole one has is merged, so that a damaged header cannot wipe an
/// object.
PayloadUse useOf(const std::optional<BinaryPlist>& list, std::uint64_t type, std::string_view certainKey);

/// The objects of one kind, as the records applied so far leave them.
template <typename Object>
class JournalObjects {
public:
    struct Entry {
        Object object{};
        bool exists = false;
        bool hadWhole = false; ///< Not merely put together from changes.
    };

    /// Whether the record could be used.
    bool apply(const JournalRecord& record)
    {
        const auto identifier = identifierOf(record.identifier);
        if (!identifier) {
            return false;
        }
        return record.payload.empty() ? applyWithoutPayload(record, *identifier) : merge(record, *identifier);
    }

    std::size_t size() const { return entries_.size(); }
    const Identifier& identifierAt(std::size_t place) const { return index_.at(place); }
    Entry& at(std::size_t place) { return entries_[place]; }
    const Entry& at(std::size_t place) const { return entries_[place]; }
    /// Of an object that exists.
    std::optional<std::size_t> find(const Identifier& identifier) const
    {
        const auto place = index_.find(identifier);
        return place && entries_[*place].exists ? place : std::nullopt;
    }

private:
    bool applyWithoutPayload(const JournalRecord& record, const Identifier& identifier)
    {
        const auto place = find(identifier);
        if (!place) {
            return true; // a removal of what is not known is normal
        }
        if (record.type == JournalRecord::removal && record.payload.empty()) {
            entries_[*place] = Entry{};
        } else {
            clear(entries_[*place].object, record);
        }
        return true;
    }

    bool merge(const JournalRecord& record, const Identifier& identifier)
    {
        const auto list = BinaryPlist::open(record.payload);
        const PayloadUse use = useOf(list, record.type, Object::certainKey);
        if (use == PayloadUse::unusable) {
            return false;
        }
        if (use == PayloadUse::nothing) {
            return applyWithoutPayload(record, identifier);
        }
        const std::size_t place = index_.findOrAdd(identifier);
        if (place == entries_.size()) {
            entries_.emplace_back();
        }
        Entry& entry = entries_[place];
        if (use == PayloadUse::replaced) {
            entry = Entry{};
        }
        entry.exists = true;
        entry.hadWhole |= use == PayloadUse::replaced;
        list->visitEntries(list->top(), [&](std::string_view key, BinaryPlist::Object value) {
            entry.object.set(key, JournalValue(*list, value));
            return true;
        });
        clear(entry.object, record);
        return true;
    }

    static void clear(Object& object, const JournalRecord& record)
    {
        record.visitCleared([&object](std::string_view key) { object.set(key, JournalValue()); });
    }

    IdentifierIndex index_;
    std::vector<Entry> entries_; ///< By the place of the identifier.
};

} // namespace vantorel
