#include "bench/ScanOfMany.h"

#include <fmt/format.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <string_view>

namespace vantorel {

namespace {

constexpr std::size_t albumSize = 500;
constexpr std::array<std::string_view, 8> names{"IMG_{}.HEIC", "DSC0{}.JPG", "IMG_{}.MOV", "Été {}.jpeg",
    "PXL_{}.jpg", "Scan {}.png", "Größe {}.HEIC", "IMG_{} (1).HEIC"};

Asset assetOf(std::size_t number)
{
    Asset asset;
    asset.pk = static_cast<std::int64_t>(number) + 1;
    // Spread over the folders as random identifiers are.
    asset.uuid = fmt::format("{:08X}-0000-4000-8000-{:012X}", number * 2'654'435'761U & 0xFFFF'FFFFU, number);
    asset.directory = asset.uuid.substr(0, 1);
    asset.fileName = asset.uuid + ".jpeg";
    asset.originalFileName = fmt::format(fmt::runtime(names.at(number % names.size())), number % 10'000);
    asset.dateCreated = Date(std::chrono::seconds(1'200'000'000 + number * 613));
    asset.dateAdded = asset.dateCreated;
    asset.timeZoneOffset = 7'200;
    asset.originalFileSize = static_cast<std::int64_t>(2'000'000 + number % 5'000);
    asset.fingerprint = fmt::format("AX{:026X}", number);
    if (number % 3 == 0) {
        asset.caption = fmt::format("At the lake, day {}", number % 31);
        asset.keywords = {"Family", "Summer"};
        asset.latitude = 46.5 + static_cast<double>(number % 100) / 100;
        asset.longitude = 7.25;
    }
    return asset;
}

} // namespace

LibraryScanResult scanOfMany(std::size_t count)
{
    LibraryScanResult scan;
    scan.snapshot.name = "Many";
    scan.snapshot.assets.reserve(count);
    scan.originals.entries.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        const Asset& asset = scan.snapshot.assets.emplace_back(assetOf(i));
        scan.originals.entries[asset.pk] = {.status = OriginalEntry::Status::present,
            .file = ResolvedFile{.path = fmt::format("originals/{}/{}", asset.directory, asset.fileName),
                .size = *asset.originalFileSize}};
    }
    for (std::size_t first = 0; first < count; first += 3 * albumSize) {
        Album& album = scan.snapshot.albums.emplace_back();
        album.pk = static_cast<std::int64_t>(scan.snapshot.albums.size());
        album.uuid = fmt::format("{:08X}-1111-4000-8000-000000000000", first);
        album.title = fmt::format("Album {}", album.pk);
        for (std::size_t i = first; i < std::min(first + albumSize, count); ++i) {
            album.assetPKs.push_back(scan.snapshot.assets[i].pk);
            scan.snapshot.assets[i].albumPKs.push_back(album.pk);
        }
    }
    return scan;
}

} // namespace vantorel
