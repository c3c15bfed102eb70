#pragma once

#include "sample/DatabaseWriter.h"
#include "sample/PlistWriter.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace vantorel::sample {

/// The payloads of journal records: an object with all its keys, those without a value left out.

/// The payload version that Photos of a generation gives to items.
std::int64_t assetPayloadVersion(int generation);
/// The one before it, which older records of the same library bear; the same where there was none.
std::int64_t earlierPayloadVersion(int generation);
PlistValue::Dictionary assetPayload(const LibraryContent& content, std::size_t index, std::int64_t version);
/// Albums, smart albums and projects. `members` are the items that it holds.
PlistValue::Dictionary albumPayload(
    const LibraryContent& content, const AlbumRow& album, std::span<const AlbumRow::Member> members);
PlistValue::Dictionary folderPayload(
    const LibraryContent& content, const AlbumRow& folder, std::size_t children);
PlistValue::Dictionary importPayload(const LibraryContent& content, std::size_t session);
PlistValue::Dictionary personPayload(const LibraryContent& content, const PersonRow& person);
PlistValue::Dictionary facePayload(const LibraryContent& content, const FaceRow& face);

/// The journalled children of a folder, in their order: identifiers, 16 bytes each.
std::vector<std::string> journalledChildren(const LibraryContent& content, const AlbumRow& folder);
/// 0 and 1 in the older payload versions, false and true in the newer ones.
PlistValue flagValue(bool yes, std::int64_t version);

} // namespace vantorel::sample
