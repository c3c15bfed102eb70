#pragma once

#include "database/LibraryReader.h"
#include "disk/CancelToken.h"
#include "disk/DiskPatience.h"
#include "disk/SystemCalls.h"

#include <cstddef>
#include <expected>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel {

/// What a window wants to know of a library's files: the first one that shows an item.
struct PictureQuestion {
    DiskPath library{};
    std::vector<std::string> files{}; ///< Relative to the library, best first.
    std::size_t first = 0;            ///< Those before it were looked at already.
    /// Whether a file that begins with these bytes is worth reading whole. Called on a background thread.
    std::function<bool(std::string_view beginning)> isWanted{};
    SharedCancelToken cancel{};
    std::function<void(bool)> onSilence{}; ///< See `Patience`; a background thread.
};

/// Why there is no picture. `silent`, `diskGone` and `cancelled` say nothing about the item.
enum class PictureTrouble { noFile, refused, notAPicture, tooLarge, readError, diskGone, silent, cancelled };

struct PictureFile {
    std::size_t position = 0; ///< Among the files of the question.
    std::string bytes{};      ///< The whole file.
};
using PictureRead = std::expected<PictureFile, PictureTrouble>;
using PictureReader = std::function<PictureRead(const PictureQuestion&)>;

/// Larger files are not read: hardly any camera writes such a JPEG or HEIC, and it has to fit into memory.
inline constexpr std::size_t mostPictureBytes = 64 << 20;
/// A disk that sleeps needs some ten seconds to begin turning.
inline constexpr Seconds picturePatience{20.0};

/// Reads the first of the question's files that is an ordinary file with content here and is wanted. It never
/// follows a link out of the library and fetches nothing from a cloud. Blocks, guarded.
PictureRead readPicture(const CoreServices& services, const PictureQuestion& question);

} // namespace vantorel
