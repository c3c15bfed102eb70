#pragma once

#include "database/model/Asset.h"
#include "disk/FS.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel {

/// The smaller copies that Photos keeps of an asset, named "<identifier>_<a>_<b>_<v>.<ext>": a is the kind of
/// copy (1, 4: a picture, 2: a video), b its recipe, v which version it shows (o: the original, p: before the
/// last edit, a: the edit, c: as shown now). They lie in a folder named after the identifier's first letter.
namespace SmallerCopies {

inline constexpr std::array<std::string_view, 3> folders{
    "resources/derivatives", "resources/derivatives/masters", "resources/renders"};

struct Copy {
    std::string path{}; ///< Relative to the library package.
    std::int64_t size = 0;
    bool isVideo = false;

    bool operator==(const Copy&) const = default;
};

/// How well a file serves in place of the original: 0 is best. Unedited before edited, larger before smaller.
/// None: it shows nothing of the asset (a database file, edit instructions, a video beside a photo).
std::optional<int> rank(std::string_view name, Asset::Kind kind);

/// The better of what is known so far and an entry of a folder of copies; of equal ranks the larger file.
class Choice {
public:
    explicit Choice(Asset::Kind kind)
        : kind_(kind)
    {
    }
    void consider(std::string_view folder, const FS::Entry& entry);
    const std::optional<Copy>& best() const { return best_; }

private:
    Asset::Kind kind_;
    std::optional<Copy> best_{};
    int bestRank_ = 0;
};

} // namespace SmallerCopies

} // namespace vantorel
