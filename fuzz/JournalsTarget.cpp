// Change journals. The first byte says how the rest is read: 0 as the bytes of a journal file; else as a
// list of records, of which a file is made whose checksums and lengths are right, so that headers and
// payloads are reached.

#include "FuzzTarget.h"

#include "base/Digest.h"
#include "base/Text.h"
#include "journals/JournalAlbums.h"
#include "journals/JournalAssets.h"
#include "journals/JournalObjects.h"
#include "journals/JournalRecords.h"

#include <set>

namespace vantorel::fuzz {

namespace {

void appendVarint(std::string& out, std::uint64_t number)
{
    for (; number >= 0x80; number >>= 7U) {
        out += static_cast<char>((number & 0x7FU) | 0x80U);
    }
    out += static_cast<char>(number);
}

/// A record: flags, 1 byte for its type, a size and bytes of the identifier, a size and the payload, a size
/// and any other fields of the header.
std::string record(InputReader& input)
{
    const auto flags = input.byte();
    std::string header;
    header += '\x08';
    appendVarint(header, input.byte());
    const auto identifier = input.bytes(input.byte() % 24U);
    header += (flags & 1U) != 0 ? '\x1a' : '\x12';
    appendVarint(header, identifier.size());
    header += identifier;
    const auto payload = input.bytes(static_cast<std::size_t>(input.number(2)));
    if (!payload.empty()) {
        header += '\x28';
        appendVarint(header, payload.size());
        header += '\x30';
        appendVarint(header, crc32(payload) + (flags >> 7U));
    }
    header += input.bytes(input.byte());
    header.resize(std::min<std::size_t>(header.size(), 0xFF));
    const auto check = crc16Arc(header);
    std::string out("@");
    out += static_cast<char>(check >> 8U);
    out += static_cast<char>(check & 0xFFU);
    out += '\0';
    out += static_cast<char>(header.size());
    return out.append(header).append(payload);
}

template <typename Object>
JournalObjects<Object> objectsOf(std::string_view file)
{
    JournalObjects<Object> objects;
    std::size_t end = 0;
    const auto walk = walkJournal(file, JournalNames::identifiers, {}, [&](const JournalRecord& found) {
        require(found.position >= end && found.position < file.size(), "records come in order");
        end = found.position + 1;
        require(found.payload.size() <= file.size() && found.header.size() <= 0xFF, "views into the file");
        return objects.apply(found);
    });
    require(walk.lostBytes >= 0 && walk.lostBytes <= static_cast<std::int64_t>(file.size()),
        "no more is lost than there is");
    require(!walk.cancelled, "nobody cancelled");
    return objects;
}

void readAll(std::string_view file)
{
    walkJournal(file, JournalNames::numbers, {}, [](const JournalRecord& found) {
        found.visitCleared([](std::string_view) { });
        return true;
    });
    auto assets = objectsOf<JournalAsset>(file);
    CollectionRecords collections;
    collections.albums = objectsOf<JournalAlbum>(file);
    collections.folders = objectsOf<JournalAlbum>(file);
    collections.smart = objectsOf<JournalAlbum>(file);
    collections.projects = objectsOf<JournalAlbum>(file);
    const auto keywords = objectsOf<JournalKeyword>(file);
    const auto volumes = objectsOf<JournalVolume>(file);
    auto made = assetsOf(assets, {.keywords = keywords, .volumes = volumes});
    const auto albums = albumsOf(collections, assets, made);

    std::set<std::int64_t> keys;
    for (const auto& asset : made.assets) {
        require(asset.pk > (keys.empty() ? 0 : *keys.rbegin()), "keys ascend");
        keys.insert(asset.pk);
        require(!asset.fileName.empty() && isValidUtf8(asset.title.value_or("")), "a photo has a file");
        require(!asset.fileName.contains('/') && asset.fileName != "..", "a name leads nowhere else");
        for (const auto& keyword : asset.keywords) {
            require(isValidUtf8(keyword) && !keyword.empty(), "texts are UTF-8");
        }
    }
    std::set<std::int64_t> before;
    for (const auto& album : albums.albums) {
        require(before.insert(album.pk).second, "each album has a key of its own");
        require(!album.parentPK || before.contains(*album.parentPK), "folders come before what they hold");
        for (const auto pk : album.assetPKs) {
            require(keys.contains(pk), "an album lists photos that there are");
        }
    }
}

} // namespace

void runTarget(std::string_view input)
{
    InputReader reader(input);
    if (reader.byte() == 0) {
        readAll(reader.rest());
        return;
    }
    std::string file;
    while (!reader.isAtEnd()) {
        file += record(reader);
    }
    readAll(file);
}

} // namespace vantorel::fuzz
