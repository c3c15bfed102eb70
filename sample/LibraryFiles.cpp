#include "sample/LibraryFiles.h"

#include "sample/PlistWriter.h"
#include "sample/Random.h"

#include "base/Date.h"

#include <fmt/format.h>

#include <chrono>

namespace vantorel::sample {

namespace {

/// ext4 allows 65,000 names for one file.
constexpr std::size_t mostLinks = 60'000;

constexpr double mediumShare = 0.75;
constexpr double smallShare = 0.4;
constexpr double thumbnailShare = 0.15;

std::string emptyEnvelope()
{
    return xmlPlist(
        {{"adjustmentBaseVersion", xmlInteger(0)}, {"adjustmentEditorBundleID", xmlText("Photos")},
            {"adjustmentFormatIdentifier", xmlText("com.apple.photo")},
            {"adjustmentFormatVersion", xmlText("1.5")}});
}

} // namespace

LibraryFiles::LibraryFiles(
    const SamplePlan& plan, const WriteOptions& options, const LibraryRows& rows, FileWriter& files)
    : plan_(plan)
    , options_(options)
    , rows_(rows)
    , files_(files)
{
}

std::int64_t LibraryFiles::modified(std::size_t index) const
{
    // The file is as old as the photo, where its date can be right.
    const auto date = libraryDate(rows_.items[index].created).date;
    return date ? std::chrono::floor<std::chrono::seconds>(*date).time_since_epoch().count() : libraryTime;
}

DiskPath LibraryFiles::cloudSharing() const
{
    return options_.generation <= 7 ? DiskPath("resources/cloudsharing") : DiskPath("scopes/cloudsharing");
}

template <typename Make>
void LibraryFiles::writeContent(const DiskPath& path, std::size_t index, const std::string& key, Make make)
{
    if (!options_.hardLinkedFiles) {
        files_.write(path, make(), modified(index));
        return;
    }
    Written& known = written_[key];
    if (known.path.empty() || known.links >= mostLinks) {
        files_.write(path, make(), libraryTime);
        known = {.path = path};
    } else {
        files_.link(known.path, path);
        ++known.links;
    }
}

FileFacts LibraryFiles::write(std::size_t index)
{
    const SampleItem& item = plan_.items[index];
    ItemMedia media(plan_, rows_, options_, index);
    if (item.isSharedAlbumItem) {
        writeSharedFiles(index, media);
        return {};
    }
    FileFacts facts;
    if (const auto known = facts_.find(media.key()); known != facts_.end()) {
        facts = known->second;
        writeOriginal(index, media, {});
    } else {
        const std::string original = media.original();
        facts = factsOf(original);
        if (options_.hardLinkedFiles) {
            facts_.emplace(media.key(), facts);
        }
        writeOriginal(index, media, original);
    }
    writePartners(index, media);
    if (item.hasSmallerCopies) {
        writeSmallerCopies(index, media);
    }
    if (item.hasEdits) {
        writeEdit(index, media);
    }
    return facts;
}

void LibraryFiles::writeOriginal(std::size_t index, ItemMedia& media, const std::string& original)
{
    const SampleItem& item = plan_.items[index];
    const ItemRow& row = rows_.items[index];
    if (item.isOnlyInCloud || item.isReferenced) {
        return; // Referenced files lie elsewhere: that is for others to write.
    }
    const DiskPath path = DiskPath("originals") / row.directory / row.fileName;
    const auto content = [&] { return original.empty() ? media.original() : original; };
    switch (item.original) {
    case FileState::present:
        writeContent(path, index, "original " + media.key(), content);
        break;
    case FileState::empty:
        files_.write(path, "", modified(index));
        break;
    case FileState::otherSize:
        files_.write(path, content() + std::string(16 + index % 300, '\0'), modified(index));
        break;
    case FileState::missing:
        break;
    }
}

void LibraryFiles::writePartners(std::size_t index, ItemMedia& media)
{
    const SampleItem& item = plan_.items[index];
    const ItemRow& row = rows_.items[index];
    const DiskPath folder = DiskPath("originals") / row.uuid.substr(0, 1);
    const bool isHere = !item.isOnlyInCloud && !item.isReferenced && !item.partnerIsMissing;
    if (item.isLivePhoto && isHere) {
        // The identifier differs from item to item, so there is no sharing.
        files_.write(folder / (row.uuid + "_3." + videoPartnerExtension()), media.pairedVideo(row.uuid),
            modified(index));
    }
    if (item.hasRawPartner && isHere) {
        const std::string extension = rawPartnerExtension(index);
        writeContent(folder / fmt::format("{}_4.{}", row.uuid, extension), index,
            fmt::format("raw {} {}", extension, media.key()), [&] { return media.raw(extension); });
    }
    if (item.hasEdits && isHere && index % 4 == 1) {
        files_.write(folder / (row.uuid + "_5.aae"), emptyEnvelope(), modified(index));
    }
}

void LibraryFiles::writeSharedFiles(std::size_t index, ItemMedia& media)
{
    const ItemRow& row = rows_.items[index];
    const DiskPath folder = cloudSharing() / "data" / row.directory;
    if (plan_.items[index].kind == SampleItem::Kind::video) {
        files_.write(folder / (row.uuid + ".poster.JPG"), media.unedited(mediumShare), modified(index));
        files_.write(folder / (row.uuid + ".medium.MP4"), media.original(), modified(index));
    } else {
        files_.write(folder / row.fileName, media.unedited(mediumShare), modified(index));
    }
    files_.write(cloudSharing() / "resources/derivatives/masters" / row.uuid.substr(0, 1)
            / (row.uuid + "_4_5005_c.jpeg"),
        media.unedited(smallShare), modified(index));
}

void LibraryFiles::writeSmallerCopies(std::size_t index, ItemMedia& media)
{
    const SampleItem& item = plan_.items[index];
    const ItemRow& row = rows_.items[index];
    const DiskPath derivatives("resources/derivatives");
    const std::string letter = row.uuid.substr(0, 1);
    const std::string shown = fmt::format("{}{}", item.hasEdits ? "edited " : "", media.key());
    writeContent(derivatives / "masters" / letter / (row.uuid + "_4_5005_c.jpeg"), index, "small " + shown,
        [&] { return media.asShown(smallShare); });
    if (options_.hardLinkedFiles) {
        return; // One copy each is enough where there are very many.
    }
    files_.write(
        derivatives / letter / (row.uuid + "_1_105_c.jpeg"), media.asShown(mediumShare), modified(index));
    if (item.kind == SampleItem::Kind::video) {
        files_.write(derivatives / letter / (row.uuid + "_1_102_o.jpeg"), media.unedited(mediumShare),
            modified(index));
        files_.write(
            derivatives / letter / (row.uuid + ".THM"), media.unedited(thumbnailShare), modified(index));
    }
    if (item.hasRawPartner) {
        files_.write(
            derivatives / letter / (row.uuid + "_1_100_o.jpeg"), media.unedited(1.0), modified(index));
    }
}

void LibraryFiles::writeEdit(std::size_t index, ItemMedia& media)
{
    const ItemRow& row = rows_.items[index];
    const DiskPath folder = DiskPath("resources/renders") / row.uuid.substr(0, 1);
    if (plan_.items[index].kind == SampleItem::Kind::video) {
        files_.write(folder / (row.uuid + "_2_0_a.mov"), media.editedFilm(), modified(index));
    } else {
        writeContent(folder / (row.uuid + "_1_201_a.jpeg"), index, "edit " + media.key(),
            [&] { return media.edited(); });
    }
    files_.write(folder / (row.uuid + ".plist"), emptyEnvelope(), modified(index));
}

void LibraryFiles::writeStrays()
{
    for (std::size_t i = 0; i < plan_.strayFiles.size(); ++i) {
        const std::string& name = plan_.strayFiles[i];
        const Picture picture =
            drawnScene(i + 3, mixedSeed(options_.seed, 501, i), plan_.pictureWidth, plan_.pictureHeight);
        files_.write(DiskPath("originals") / name,
            name.ends_with(".png") ? pngFile(picture) : jpegFile(picture, 85), libraryTime);
    }
}

void LibraryFiles::writeFurniture()
{
    files_.write("database/DataModelVersion.plist",
        xmlPlist({{"LibrarySchemaVersion", xmlInteger(5001)}, {"MetaSchemaVersion", xmlInteger(3)}}),
        libraryTime);
    files_.write("database/protection", "", libraryTime);
    files_.write("resources/derivatives/thumbs/thumbnailConfiguration", "", libraryTime);
    files_.makeFolder("originals");
    files_.makeFolder("resources/renders");
    files_.makeFolder("resources/journals");
    files_.makeFolder("external");
    files_.makeFolder("internal");
    files_.makeFolder("private");
    files_.makeFolder("scopes");
}

} // namespace vantorel::sample
