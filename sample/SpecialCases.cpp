#include "sample/SpecialCases.h"

#include "sample/Random.h"

#include "base/Text.h"

#include <array>
#include <string>

namespace vantorel::sample {

namespace {

enum Purpose : std::uint64_t { whichCase = 701 };

using Change = void (*)(SampleItem&);

void isVideo(SampleItem& item, const char* extension, const char* name)
{
    item.kind = SampleItem::Kind::video;
    item.extension = extension;
    item.originalFileName = name;
    item.people.clear();
}

void isReferenced(SampleItem& item, const char* volume, const char* path)
{
    item.isReferenced = true;
    item.referencedVolume = volume;
    item.referencedRelativePath = path;
    item.originalFileName = std::string(path).substr(std::string(path).rfind('/') + 1);
}

void isShared(SampleItem& item)
{
    item.isSharedAlbumItem = true;
    item.timeZoneOffset.reset(); // Shared items come without it.
    item.isFavorite = false;
    item.isHidden = false;
}

/// One of each kind, the more telling ones first: a small library has those. 40 in all.
constexpr std::array<Change, 40> cases{
    [](SampleItem& item) { item.isLivePhoto = true; },
    [](SampleItem& item) { isVideo(item, "mov", "IMG_2093.MOV"); },
    [](SampleItem& item) { item.hasEdits = true; },
    [](SampleItem& item) {
        item.isFavorite = true;
        item.caption = "Three things about this day:\nthe fog,\nthe ducks & the <very> long lunch.";
    },
    [](SampleItem& item) { item.isHidden = true; },
    [](SampleItem& item) { item.isTrashed = true; },
    [](SampleItem& item) {
        item.extension = "png";
        item.originalFileName = "Screenshot 2023-08-11 at 19.04.55.png";
    },
    [](SampleItem& item) { item.hasRawPartner = true; },
    [](SampleItem& item) { item.isOnlyInCloud = true; },
    [](SampleItem& item) { item.original = FileState::missing; },
    [](SampleItem& item) { isShared(item); },
    [](SampleItem& item) { isReferenced(item, "Attic Drive", "Pictures/Scans/Ilse 1974 ferry.jpg"); },
    [](SampleItem& item) { item.original = FileState::empty; },
    [](SampleItem& item) { item.original = FileState::otherSize; },
    [](SampleItem& item) {
        item.isLivePhoto = true;
        item.partnerIsMissing = true;
    },
    [](SampleItem& item) { isVideo(item, "mp4", "clip from Barnaby.mp4"); },
    [](SampleItem& item) {
        item.extension = "dng";
        item.originalFileName = "L1004477.DNG";
    },
    [](SampleItem& item) {
        item.rawDateCreated = 123'456'789'012'345.0; // Set by hand once, to a year that never comes.
        item.originalFileName = "far future.jpg";
    },
    [](SampleItem& item) {
        item.rawDateCreated = -63'114'076'800.0; // The year 1.
        item.originalFileName = "before everything.jpg";
    },
    [](SampleItem& item) {
        item.timeZoneOffset = 20'700; // Three quarters of an hour.
        item.isPortrait = true;
        item.originalFileName = "CON.jpg";
    },
    [](SampleItem& item) {
        item.hasRawPartner = true;
        item.partnerIsMissing = true;
    },
    [](SampleItem& item) {
        isVideo(item, "mov", "IMG_3310.MOV");
        item.isOnlyInCloud = true;
    },
    [](SampleItem& item) {
        item.isOnlyInCloud = true;
        item.hasSmallerCopies = false;
    },
    [](SampleItem& item) {
        item.original = FileState::missing;
        item.hasSmallerCopies = false;
    },
    [](SampleItem& item) {
        isShared(item);
        isVideo(item, "mp4", "from Zoë.mp4");
    },
    [](SampleItem& item) {
        isVideo(item, "mov", "IMG_3311.MOV");
        item.hasEdits = true;
    },
    [](SampleItem& item) { item.originalFileName = "Larkhaven 1/2: the pier.jpg"; },
    [](SampleItem& item) { item.originalFileName = "Harbour.JPG"; },
    [](SampleItem& item) {
        item.originalFileName = "harbour.jpg";
        item.isUnpickedBurstFrame = true;
    },
    [](SampleItem& item) { item.originalFileName = "Caf\u00e9 Zo\u00eb.jpg"; },
    [](SampleItem& item) { item.originalFileName = "Cafe\u0301 Zoe\u0308.jpg"; },
    [](SampleItem& item) {
        item.originalFileName = "\U0001F3D4\uFE0F up! \U0001F469\u200D\U0001F469\u200D\U0001F467.jpg";
        item.title = "\U0001F3D4\uFE0F";
        item.keywords = {0, 16};
    },
    [](SampleItem& item) {
        item.originalFileName =
            "The one where everybody is finally looking into the camera except Odran who has "
            "turned to see whether the kettle, which has been on since a quarter past "
            "four, is boiling over at last, and it is, as the next picture shows in full "
            "and painful detail.jpg";
    },
    [](SampleItem& item) {
        item.width = 1500;
        item.height = 420;
        item.isPortrait = false;
        item.originalFileName = "panorama from the tower.jpeg";
    },
    [](SampleItem& item) {
        isReferenced(item, "Attic Drive", "Camera/R0001.jpg");
        item.hasRawPartner = true;
    },
    [](SampleItem& item) {
        isReferenced(item, "Attic Drive", "Camera/Live/IMG_0815.jpeg");
        item.isLivePhoto = true;
    },
    [](SampleItem& item) {
        item.original = FileState::empty;
        item.hasSmallerCopies = false;
    },
    [](SampleItem& item) {
        item.isLivePhoto = true;
        item.hasEdits = true;
        item.isFavorite = true;
    },
    [](SampleItem& item) {
        item.people = {7, 8, 5}; // Two of one name, and one who was merged.
        item.latitude.reset();
        item.longitude.reset();
    },
    [](SampleItem& item) {
        item.dateModified.reset();
        item.timeZoneOffset.reset();
        item.originalFileName = "no dots, no date";
        item.isTrashed = true;
        item.isHidden = true;
    },
};

/// What happens now and then in a library of any size, beyond the first of each kind.
void sprinkle(SampleItem& item, Random& random)
{
    const double roll = random.unit();
    auto upTo = [&, limit = 0.0](double share) mutable { return roll < (limit += share); };
    if (upTo(0.06)) {
        item.isLivePhoto = true;
    } else if (upTo(0.05)) {
        isVideo(item, random.chance(0.5) ? "mov" : "mp4", "");
    } else if (upTo(0.05)) {
        item.hasEdits = true;
    } else if (upTo(0.02)) {
        item.isHidden = true;
    } else if (upTo(0.02)) {
        item.isTrashed = true;
    } else if (upTo(0.02)) {
        item.hasRawPartner = true;
    } else if (upTo(0.03)) {
        item.isOnlyInCloud = true;
    } else if (upTo(0.03)) {
        item.extension = "png";
        item.originalFileName.clear();
    } else if (upTo(0.004)) {
        item.original = FileState::missing;
    } else if (upTo(0.002)) {
        item.original = FileState::empty;
    } else if (upTo(0.002)) {
        item.original = FileState::otherSize;
    } else if (upTo(0.01)) {
        isShared(item);
    }
}

} // namespace

void addSpecialCases(SamplePlan& plan, std::uint64_t seed, bool everyKind)
{
    // Spread over the whole library, so that each album has something.
    const std::size_t count = plan.items.size();
    const std::size_t used = everyKind ? cases.size() : std::min(cases.size(), count / 2);
    std::vector<bool> isTaken(count, false);
    for (std::size_t i = 0; i < used; ++i) {
        const std::size_t index = i * count / used;
        cases[i](plan.items[index]);
        isTaken[index] = true;
    }
    for (std::size_t i = 0; i < count; ++i) {
        if (!isTaken[i]) {
            Random random(mixedSeed(seed, whichCase, i));
            sprinkle(plan.items[i], random);
        }
    }
}

} // namespace vantorel::sample
