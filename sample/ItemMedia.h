#pragma once

#include "sample/LibraryRows.h"
#include "sample/Picture.h"

#include <cstdint>
#include <optional>
#include <string>

namespace vantorel::sample {

/// What the library records about an original's content.
struct FileFacts {
    std::int64_t size = 0;
    std::string fingerprint{};
};

/// The contents of an item's files, made when they are asked for.
class ItemMedia {
public:
    ItemMedia(
        const SamplePlan& plan, const LibraryRows& rows, const WriteOptions& options, std::size_t index);

    /// Two items of one library with the same key have the same contents.
    const std::string& key() const { return key_; }

    std::string original();
    std::string pairedVideo(const std::string& identifier);
    std::string raw(const std::string& extension);
    /// The edit in full size.
    std::string edited();
    std::string editedFilm();
    /// The picture as Photos shows it (with the edit), fitted to the share of the original's long side.
    std::string asShown(double share);
    /// The unedited picture, or a film's first one.
    std::string unedited(double share);

private:
    const Picture& scene();
    int longSide(double share) const;
    static std::string film(const Picture& first, bool isMp4, const std::string& identifier);

    const SampleItem& item_;
    std::uint64_t seed_ = 0;
    std::size_t kind_ = 0;
    int width_;
    int height_;
    std::string key_;
    std::optional<Picture> scene_;
};

FileFacts factsOf(const std::string& original);

} // namespace vantorel::sample
