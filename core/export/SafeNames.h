#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace vantorel {

/// Names that every common disk format takes. Pure functions.
namespace SafeNames {

inline constexpr std::size_t mostBytes = 180; ///< Of a cleaned name, in UTF-8.

/// A safe name, or the fallback where nothing is left. The fallback is used as it is.
std::string clean(std::string_view name, std::string_view fallback);

/// Two names are the same on a disk that ignores case or Unicode form when their keys are equal.
std::string comparisonKey(std::string_view name);

struct StemAndExtension {
    std::string stem{};      ///< Not cleaned yet.
    std::string extension{}; ///< Cleaned, with ".dat" appended where its type is not known: "xyz.dat".
    bool addedDat = false;

    bool operator==(const StemAndExtension&) const = default;
};

/// Splits a file's recorded name, given the name of the file that is really there. An extension is what
/// stands behind the last dot, unless nothing stands before that dot or a space or slash behind it ("Mr.
/// Smith").
StemAndExtension split(std::string_view recordedName, std::string_view diskName);
/// The extension under which a companion file is saved (from its name on disk): lower case and cleaned,
/// ".dat" appended where its type is not known and `addedDat` set.
StemAndExtension companionExtension(std::string_view diskName);

/// One of the photo and video extensions, in lower case.
bool isKnownExtension(std::string_view lowerCase);

} // namespace SafeNames

/// Hands out unique folder names inside one parent folder.
class FolderNames {
public:
    std::string allocate(const std::string& cleaned);
    /// Marks a name as given without asking whether it is free (names found on the disk).
    void reserve(std::string_view name);

private:
    std::unordered_set<std::string> used_;
    std::unordered_map<std::string, std::int64_t> next_;
};

/// Hands out unique file names inside one destination folder; reserves each photo's sidecar with it.
class NameAllocator {
public:
    struct Names {
        std::string stem{};
        std::string main{};    ///< stem + "." + extension
        std::string sidecar{}; ///< stem + ".xmp"
        std::vector<std::string> companions{};

        bool operator==(const Names&) const = default;
    };

    Names allocate(const std::string& stem, const std::string& extension,
        const std::vector<std::string>& companionExtensions);
    void reserve(std::string_view name);

private:
    std::int64_t freeNumber(const std::string& stemKey, const std::string& mainKey);

    std::unordered_set<std::string> used_;
    std::unordered_map<std::string, std::int64_t> next_;
    std::unordered_map<std::string, std::int64_t>
        sidecarsTakenBelow_; ///< By the key of a stem: all smaller numbers have their sidecar taken.
};

} // namespace vantorel
