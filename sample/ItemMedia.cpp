#include "sample/ItemMedia.h"

#include "sample/MediaFiles.h"
#include "sample/Random.h"

#include "base/Text.h"

#include <fmt/format.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <vector>

namespace vantorel::sample {

namespace {

enum Purpose : std::uint64_t { sceneSeed = 101, editSeed = 102 };

/// How many different pictures a library has whose files are hard links.
constexpr std::size_t differentPictures = 400;
/// From one item to the next: neighbours differ, and all kinds have their turn.
constexpr std::size_t sceneStep = 7;
constexpr int quality = 88;
constexpr int filmPictures = 6;

Picture shifted(const Picture& picture, int by)
{
    Picture moved(picture.width(), picture.height());
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            moved.at(x, y) = picture.at(std::min(x + by, picture.width() - 1), y);
        }
    }
    return moved;
}

} // namespace

ItemMedia::ItemMedia(
    const SamplePlan& plan, const LibraryRows& rows, const WriteOptions& options, std::size_t index)
    : item_(plan.items.at(index))
    , width_(rows.items.at(index).width)
    , height_(rows.items.at(index).height)
{
    if (width_ <= 0 || height_ <= 0 || width_ > 20'000 || height_ > 20'000) {
        throw std::runtime_error(
            fmt::format("A picture of {} by {} points cannot be drawn.", width_, height_));
    }
    const std::size_t drawn = options.hardLinkedFiles ? index % differentPictures : index;
    seed_ = mixedSeed(options.seed, sceneSeed, drawn);
    kind_ = drawn * sceneStep + static_cast<std::size_t>(options.seed % sceneKinds);
    key_ =
        fmt::format("{} {} {} {} {}", drawn, item_.extension, static_cast<int>(item_.kind), width_, height_);
}

const Picture& ItemMedia::scene()
{
    if (!scene_) {
        scene_ = drawnScene(kind_, seed_, width_, height_);
    }
    return *scene_;
}

int ItemMedia::longSide(double share) const
{
    return std::max(1, static_cast<int>(static_cast<double>(std::max(width_, height_)) * share));
}

std::string ItemMedia::original()
{
    if (item_.kind == SampleItem::Kind::video) {
        return film(scene(), item_.extension != "mov", {});
    }
    if (item_.extension == "png") {
        return pngFile(scene());
    }
    if (item_.extension == "dng" || item_.extension == "cr2" || item_.extension == "tiff"
        || item_.extension == "tif") {
        return rawFile(scene(), item_.extension);
    }
    return jpegFile(scene(), quality);
}

std::string ItemMedia::film(const Picture& first, bool isMp4, const std::string& identifier)
{
    std::vector<std::string> pictures;
    for (int i = 0; i < filmPictures; ++i) {
        pictures.push_back(jpegFile(shifted(first, i * first.width() / 60), quality));
    }
    return movieFile(
        {.width = first.width(), .height = first.height(), .isMp4 = isMp4, .contentIdentifier = identifier},
        pictures);
}

std::string ItemMedia::pairedVideo(const std::string& identifier)
{
    return film(smallerPicture(scene(), longSide(0.5)), false, identifier);
}

std::string ItemMedia::raw(const std::string& extension)
{
    return rawFile(smallerPicture(scene(), longSide(0.5)), extension);
}

std::string ItemMedia::edited()
{
    return jpegFile(editedPicture(scene(), mixedSeed(seed_, editSeed)), quality);
}

std::string ItemMedia::editedFilm()
{
    return film(editedPicture(scene(), mixedSeed(seed_, editSeed)), false, {});
}

std::string ItemMedia::asShown(double share)
{
    if (!item_.hasEdits) {
        return unedited(share);
    }
    return jpegFile(
        smallerPicture(editedPicture(scene(), mixedSeed(seed_, editSeed)), longSide(share)), quality);
}

std::string ItemMedia::unedited(double share)
{
    return jpegFile(smallerPicture(scene(), longSide(share)), quality);
}

FileFacts factsOf(const std::string& original)
{
    // The hash has its salts' names, each with a zero byte, before the content; a byte 1 leads the digest.
    std::string salted("com.apple.XattrObjectSalt");
    salted += '\0';
    salted += "com.apple.DataObjectSalt";
    salted += '\0';
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned size = 0;
    EVP_MD_CTX* context = EVP_MD_CTX_new();
    const bool done = context != nullptr && EVP_DigestInit_ex(context, EVP_sha1(), nullptr) == 1
        && EVP_DigestUpdate(context, salted.data(), salted.size()) == 1
        && EVP_DigestUpdate(context, original.data(), original.size()) == 1
        && EVP_DigestFinal_ex(context, digest.data(), &size) == 1;
    EVP_MD_CTX_free(context);
    if (!done) {
        throw std::runtime_error("A file's fingerprint could not be made.");
    }
    return {.size = static_cast<std::int64_t>(original.size()),
        .fingerprint = base64("\1" + std::string(reinterpret_cast<const char*>(digest.data()), size))};
}

} // namespace vantorel::sample
