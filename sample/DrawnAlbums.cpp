#include "sample/DrawnAlbums.h"

#include "sample/Random.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <utility>

namespace vantorel::sample {

namespace {

enum Purpose : std::uint64_t { albumDraw = 801 };

constexpr std::size_t tripsPerFolder = 25;
constexpr std::size_t mostInSelection = 200;

class AlbumDrawer {
public:
    AlbumDrawer(SamplePlan& plan, const std::vector<Trip>& trips, std::uint64_t seed)
        : plan_(plan)
        , trips_(trips)
        , random_(mixedSeed(seed, albumDraw))
    {
    }

    void draw();

private:
    std::size_t add(SampleAlbum album)
    {
        plan_.albums.push_back(std::move(album));
        return plan_.albums.size() - 1;
    }
    void addTrips();
    void addSelections();
    void addAwkwardNames();
    void addOtherKinds();
    /// Some items that are shown in albums, in an order of their own.
    std::vector<std::size_t> drawnItems(std::size_t count);
    bool isInAlbums(std::size_t item) const { return !plan_.items[item].isSharedAlbumItem; }

    SamplePlan& plan_;
    const std::vector<Trip>& trips_;
    Random random_;
};

void AlbumDrawer::draw()
{
    addTrips();
    addSelections();
    addAwkwardNames();
    addOtherKinds();
}

void AlbumDrawer::addTrips()
{
    const std::size_t travels = add({.title = "Travels", .kind = SampleAlbum::Kind::folder});
    std::optional<std::size_t> folder;
    for (std::size_t i = 0; i < trips_.size(); ++i) {
        const Trip& trip = trips_[i];
        if (i % tripsPerFolder == 0) {
            folder = add({.title = std::string("Part ") + std::to_string(i / tripsPerFolder + 1),
                .kind = SampleAlbum::Kind::folder,
                .parent = travels});
        }
        SampleAlbum album{.title = trip.title, .parent = i % 3 == 0 ? folder : std::optional(travels)};
        for (std::size_t k = 0; k < trip.itemCount; ++k) {
            // A trip keeps nearly all that was taken; a few photos are in no album.
            const std::size_t item = trip.firstItem + k;
            if (isInAlbums(item) && (k % 9 != 8)) {
                album.items.push_back(item);
            }
        }
        if (i % 4 == 1) {
            std::ranges::reverse(album.items); // Newest first, put so by hand.
        }
        add(std::move(album));
    }
}

std::vector<std::size_t> AlbumDrawer::drawnItems(std::size_t count)
{
    std::vector<std::size_t> items;
    for (std::size_t tries = 0; tries < 4 * count && items.size() < count && !plan_.items.empty(); ++tries) {
        const std::size_t item = random_.below(plan_.items.size());
        if (isInAlbums(item) && std::ranges::find(items, item) == items.end()) {
            items.push_back(item);
        }
    }
    return items;
}

void AlbumDrawer::addSelections()
{
    const std::size_t some = std::clamp<std::size_t>(plan_.items.size() / 6, 3, mostInSelection);
    add({.title = "For the kitchen wall", .items = drawnItems(some)});
    const std::size_t family = add({.title = "Family", .kind = SampleAlbum::Kind::folder});
    const std::size_t ilse =
        add({.title = "Grandma Ilse", .kind = SampleAlbum::Kind::folder, .parent = family});
    const std::size_t letters =
        add({.title = "Letters & scans", .kind = SampleAlbum::Kind::folder, .parent = ilse});
    add({.title = "1974", .parent = letters, .items = drawnItems(4)});
    add({.title = "Pippa grows up", .parent = family, .items = drawnItems(some)});
    add({.title = "To be printed", .parent = family});
    add({.title = "An empty folder", .kind = SampleAlbum::Kind::folder});
    add({.title = "Picked by Odran", .isTrashed = true, .items = drawnItems(3)});
    add({.title = "Old order", .kind = SampleAlbum::Kind::folder, .isTrashed = true});
}

void AlbumDrawer::addAwkwardNames()
{
    const std::size_t folder = add({.title = "Names: 1/2", .kind = SampleAlbum::Kind::folder});
    static constexpr std::array<std::string_view, 12> titles{"2019/07: Port Ysolde", "CON", "...",
        "  spaces  ", "Best of", "best OF", "Caf\u00e9", "Cafe\u0301",
        "\U0001F3D6\uFE0F \U0001F468\u200D\U0001F469\u200D\U0001F467", "ends with a dot.",
        "<what> \"is\" this? *|\\", ""};
    for (const std::string_view title : titles) {
        add({.title = std::string(title), .parent = folder, .items = drawnItems(2)});
    }
    std::string longTitle;
    while (longTitle.size() < 300) {
        longTitle += "and then we went on to the next village, ";
    }
    add({.title = longTitle, .parent = folder, .items = drawnItems(2)});
    add({.title = "Twice", .items = drawnItems(2)});
    add({.title = "Twice", .items = drawnItems(2)});
}

void AlbumDrawer::addOtherKinds()
{
    add({.title = "Favourites with Pippa", .kind = SampleAlbum::Kind::smart});
    add({.title = "Taken at night", .kind = SampleAlbum::Kind::smart, .isTrashed = true});
    SampleAlbum shared{.title = "Sailing friends", .kind = SampleAlbum::Kind::shared};
    for (std::size_t i = 0; i < plan_.items.size(); ++i) {
        if (plan_.items[i].isSharedAlbumItem) {
            shared.items.push_back(i);
        }
    }
    if (!shared.items.empty()) {
        add(std::move(shared));
    }
    add({.title = "Calendar", .kind = SampleAlbum::Kind::project, .items = drawnItems(12)});
}

} // namespace

void addAlbums(SamplePlan& plan, const std::vector<Trip>& trips, std::uint64_t seed)
{
    if (!plan.items.empty()) {
        AlbumDrawer(plan, trips, seed).draw();
    }
}

} // namespace vantorel::sample
