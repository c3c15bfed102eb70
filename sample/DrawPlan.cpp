#include "sample/SamplePlan.h"

#include "sample/DrawnAlbums.h"
#include "sample/Names.h"
#include "sample/Random.h"
#include "sample/SpecialCases.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>

namespace vantorel::sample {

namespace {

using namespace std::chrono_literals;

enum Purpose : std::uint64_t { trips = 601, itemDetails = 602, strays = 603 };

/// From how many items on the pictures are tiny: thousands of real ones would take minutes and gigabytes.
constexpr std::size_t manyItems = 5'000;
constexpr std::size_t fewestForSpecialCases = 40;

constexpr Date beginning = std::chrono::sys_days{std::chrono::year{2011} / 5 / 14} + 9h;

Trip drawnTrip(Random& random, Date after, std::size_t firstItem)
{
    const std::size_t place = random.below(names::places.size());
    Trip trip{.place = place, .firstItem = firstItem, .itemCount = 5 + random.below(16)};
    trip.start =
        after + std::chrono::hours(24 * (10 + random.below(120))) + std::chrono::hours(random.below(9));
    trip.title = fmt::format(
        "{} {}", names::occasions[random.below(names::occasions.size())], names::places[place].name);
    return trip;
}

SampleItem drawnItem(const Trip& trip, std::size_t index, std::uint64_t seed)
{
    Random random(mixedSeed(seed, itemDetails, index));
    const names::Place& place = names::places[trip.place];
    SampleItem item;
    const auto minutes = static_cast<std::int64_t>(37 * (index - trip.firstItem) + random.below(30));
    item.dateCreated =
        trip.start + std::chrono::minutes(minutes) + std::chrono::milliseconds(random.below(60'000));
    item.dateAdded = trip.start + std::chrono::hours(24 * 5) + std::chrono::seconds(index % 3000);
    if (random.chance(0.8)) {
        item.dateModified = *item.dateAdded + std::chrono::hours(random.below(9000));
    }
    item.timeZoneOffset = place.offset;
    if (random.chance(0.75)) {
        item.latitude = std::round((place.latitude + random.between(-0.02, 0.02)) * 1e6) / 1e6;
        item.longitude = std::round((place.longitude + random.between(-0.02, 0.02)) * 1e6) / 1e6;
    }
    if (random.chance(0.25)) {
        item.caption = names::captions[random.below(names::captions.size())];
    }
    if (random.chance(0.3)) {
        item.title = names::titles[random.below(names::titles.size())];
    } else if (random.chance(0.05)) {
        item.title = ""; // A title that was taken away again.
    }
    while (item.keywords.size() < 4 && random.chance(0.35)) {
        const std::size_t keyword = random.below(names::keywords.size());
        if (std::ranges::find(item.keywords, keyword) == item.keywords.end()) {
            item.keywords.push_back(keyword);
        }
    }
    while (item.people.size() < 3 && random.chance(0.3)) {
        const std::size_t person = random.below(names::people.size());
        if (names::people[person].mergedInto < 0
            && std::ranges::find(item.people, person) == item.people.end()) {
            item.people.push_back(person);
        }
    }
    item.isFavorite = random.chance(0.08);
    item.isPortrait = random.chance(0.2);
    item.originalFileName = fmt::format("IMG_{:04}.JPG", (index * 7 + seed) % 9000 + 1000);
    return item;
}

void addNames(SamplePlan& plan)
{
    plan.keywords.assign(names::keywords.begin(), names::keywords.end());
    for (const names::Person& person : names::people) {
        SamplePerson drawn{
            .fullName = std::string(person.fullName), .displayName = std::string(person.displayName)};
        if (person.mergedInto >= 0) {
            drawn.mergedInto = static_cast<std::size_t>(person.mergedInto);
        }
        plan.people.push_back(std::move(drawn));
    }
}

} // namespace

SamplePlan drawPlan(std::size_t assets, std::uint64_t seed)
{
    SamplePlan plan;
    if (assets > manyItems) {
        plan.pictureWidth = 32;
        plan.pictureHeight = 24;
    }
    addNames(plan);
    Random random(mixedSeed(seed, trips));
    std::vector<Trip> drawn;
    Date last = beginning;
    for (std::size_t first = 0; first < assets;) {
        Trip trip = drawnTrip(random, last, first);
        trip.itemCount = std::min(trip.itemCount, assets - first);
        for (std::size_t i = 0; i < trip.itemCount; ++i) {
            plan.items.push_back(drawnItem(trip, first + i, seed));
        }
        last = trip.start;
        // A long life with a camera ends, too: beyond it the years begin again.
        if (last > beginning + std::chrono::hours(24 * 365 * 13)) {
            last = beginning + std::chrono::hours(24 * random.below(300));
        }
        first += trip.itemCount;
        drawn.push_back(std::move(trip));
    }
    addSpecialCases(plan, seed, assets >= fewestForSpecialCases);
    addAlbums(plan, drawn, seed);
    if (assets >= fewestForSpecialCases) {
        Random forNames(mixedSeed(seed, strays));
        for (const char* extension : {"jpeg", "png"}) {
            const std::string uuid = drawnUuid(forNames);
            plan.strayFiles.push_back(fmt::format("{}/{}.{}", uuid[0], uuid, extension));
        }
    }
    return plan;
}

} // namespace vantorel::sample
