#pragma once

#include "database/model/Asset.h"
#include "disk/FS.h"

#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace vantorel {

/// The entries of one listed folder, found by name, by name but for case and Unicode form, and by the
/// identifier with which names begin. Remembers which of them some asset has claimed.
class FolderIndex {
public:
    /// `entries` as a listing gives them: sorted by name (bytes).
    explicit FolderIndex(std::vector<FS::Entry> entries);

    /// The main file of an asset: by its name, else by its name folded, else by its identifier. A link may
    /// come out (`special`); folders, names with a part digit and what systems leave never do.
    const FS::Entry* mainFile(const Asset& asset);
    /// The entries whose names begin with the identifier (in any case), in the order of names.
    std::vector<const FS::Entry*> withIdentifier(std::string_view identifier) const;

    void claim(const FS::Entry& entry);
    bool isClaimed(const FS::Entry& entry) const;
    const std::vector<FS::Entry>& entries() const { return entries_; }

private:
    /// The 32 digits of an identifier as a number: told apart and put in order at once, in either case.
    struct Identifier {
        std::uint64_t high = 0;
        std::uint64_t low = 0;
        auto operator<=>(const Identifier&) const = default;
    };
    using Keyed = std::pair<Identifier, std::uint32_t>;

    const FS::Entry* byName(std::string_view name) const;
    const FS::Entry* byLowerName(std::string_view name);
    const FS::Entry* byUUID(const Asset& asset) const;
    std::size_t positionOf(const FS::Entry& entry) const;
    /// None for what is no identifier.
    static std::optional<Identifier> identifierOf(std::string_view text);
    std::span<const Keyed> keyed(const Identifier& identifier) const;

    std::vector<FS::Entry> entries_;
    std::vector<bool> claimed_;
    std::vector<Keyed> identifiers_;                            ///< Sorted.
    std::unordered_map<std::string, std::uint32_t> lowerNames_; ///< Filled when first asked for.
    bool hasLowerNames_ = false;
};

} // namespace vantorel
