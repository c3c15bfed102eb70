#include "sample/SceneParts.h"

#include <array>

namespace vantorel::sample {

namespace {

constexpr Colour lamp{1.0F, 0.84F, 0.50F};

/// A row of houses along the water; `lit` is how many of the windows have light.
void paintRow(Painter& painter, const Sky& sky, float foot, float tallest, Colour wall, double lit)
{
    for (float x = -0.05F; x < painter.right();) {
        const auto width = static_cast<float>(painter.random().between(0.06, 0.15));
        const auto height =
            tallest * static_cast<float>(0.35 + 0.65 * std::pow(painter.random().unit(), 1.6));
        const Colour house = scaledBy(wall, static_cast<float>(painter.random().between(0.8, 1.2)));
        painter.box({x, foot - height}, {x + width, foot}, house);
        painter.box({x + width * 0.7F, foot - height}, {x + width, foot}, scaledBy(house, 0.82F), 0.7F);
        const std::size_t roof = painter.random().below(4);
        if (roof == 0) {
            painter.figure({{x, foot - height}, {x + width / 2, foot - height - width * 0.7F},
                               {x + width, foot - height}},
                scaledBy(house, 0.85F));
        } else if (roof == 1) {
            painter.box({x + width * 0.3F, foot - height - 0.03F}, {x + width * 0.7F, foot - height},
                scaledBy(house, 0.9F));
        } else if (roof == 2) {
            painter.stroke({x + width / 2, foot - height}, {x + width / 2, foot - height - 0.06F}, 0.004F,
                scaledBy(house, 0.8F));
        }
        const float step = 0.021F;
        for (float y = foot - height + step; y < foot - step; y += step) {
            for (float across = x + step * 0.6F; across + step * 0.6F < x + width; across += step * 0.8F) {
                const bool isLit = painter.random().chance(lit);
                const Colour glass = isLit
                    ? scaledBy(mixed(lamp, Colour{0.85F, 0.92F, 1.0F},
                                   static_cast<float>(painter.random().between(0, 0.5))),
                          static_cast<float>(painter.random().between(0.7, 1.0)))
                    : mixed(scaledBy(house, 0.75F), sky.middle, sky.isNight ? 0.05F : 0.35F);
                painter.box(
                    {across, y}, {across + step * 0.42F, y + step * 0.52F}, glass, isLit ? 1.0F : 0.8F);
            }
        }
        x += width + static_cast<float>(painter.random().between(-0.01, 0.02));
    }
}

} // namespace

void paintSkylineAtNight(Painter& painter)
{
    const bool isDusk = painter.random().chance(0.35);
    const Sky& sky = isDusk ? skies::dusk : skies::night;
    const auto shore = static_cast<float>(painter.random().between(0.60, 0.70));
    painter.sky(sky, shore);
    if (!isDusk) {
        painter.stars(120, shore * 0.6F);
        painter.sun(sky,
            {static_cast<float>(painter.random().between(0.12, 0.88)) * painter.right(),
                static_cast<float>(painter.random().between(0.10, 0.24))},
            0.04F);
    } else {
        painter.clouds(sky, shore, 0.5F);
    }
    painter.everywhere([&](float, float y, Colour under) { // The town lights the haze above it.
        return y < shore ? mixed(under, Colour{0.62F, 0.42F, 0.30F}, std::exp((y - shore) * 9) * 0.4F)
                         : under;
    });
    paintRow(painter, sky, shore, 0.34F, mixed(Colour{0.10F, 0.11F, 0.18F}, sky.middle, 0.35F), 0.18);
    paintRow(painter, sky, shore, 0.24F, {0.07F, 0.07F, 0.12F}, 0.34);
    painter.reflect(shore, {0.02F, 0.03F, 0.08F}, 0.18F, 0.8F);
    for (float x = 0.06F; x < painter.right(); x += 0.19F) {
        painter.stroke({x, shore + 0.012F}, {x, shore - 0.03F}, 0.003F, {0.15F, 0.14F, 0.16F});
        painter.disc({x, shore - 0.032F}, 0.006F, {1.0F, 0.93F, 0.75F}, 1, 0.004F);
        painter.disc({x, shore - 0.032F}, 0.03F, lamp, 0.45F, 0.05F);
        painter.ellipse({x, shore + 0.10F}, 0.006F, 0.09F, 0, lamp, 0.35F, 0.02F);
    }
    painter.stroke({0, shore + 0.004F}, {painter.right(), shore + 0.004F}, 0.010F, {0.05F, 0.05F, 0.08F});
    painter.finish(0.25F);
}

void paintSkylineByDay(Painter& painter)
{
    static constexpr std::array<const Sky*, 3> choices{&skies::noon, &skies::dawn, &skies::golden};
    const Sky& sky = *choices[painter.random().below(choices.size())];
    painter.sky(sky, 0.66F);
    painter.clouds(sky, 0.66F, static_cast<float>(painter.random().between(0.4, 0.8)));
    static constexpr std::array<Colour, 3> walls{
        {{0.72F, 0.62F, 0.52F}, {0.60F, 0.64F, 0.70F}, {0.76F, 0.55F, 0.42F}}};
    const Colour wall = walls[painter.random().below(walls.size())];
    paintRow(painter, sky, 0.68F, 0.40F, mixed(wall, sky.horizon, 0.6F), 0.02);
    paintRow(painter, sky, 0.70F, 0.30F, mixed(wall, sky.horizon, 0.3F), 0.02);
    paintRow(painter, sky, 0.72F, 0.19F, wall, 0.03);
    painter.reflect(0.72F, {0.20F, 0.34F, 0.42F}, 0.20F, 0.7F);
    painter.box({0, 0.712F}, {painter.right(), 0.728F}, {0.52F, 0.50F, 0.47F});
    for (int i = 0; i < 12; ++i) {
        const float x = static_cast<float>(painter.random().unit()) * painter.right();
        paintRoundTree(painter, {x, 0.718F}, static_cast<float>(painter.random().between(0.06, 0.10)),
            {0.24F, 0.42F, 0.18F});
    }
    if (painter.random().chance(0.6)) {
        paintSailingBoat(painter,
            {static_cast<float>(painter.random().between(0.2, 0.8)) * painter.right(), 0.86F}, 0.2F,
            {0.86F, 0.86F, 0.84F}, {0.97F, 0.96F, 0.93F});
    }
    paintBirds(painter, static_cast<int>(painter.random().below(7)), 0.3F);
    painter.finish(0.3F);
}

namespace {

void paintFlower(Painter& painter, Spot centre, float radius, Colour petal, float blur)
{
    const std::size_t petals = 5 + painter.random().below(8);
    const auto turn = static_cast<float>(painter.random().between(0, 1));
    for (std::size_t pass = 0; pass < 2; ++pass) {
        for (std::size_t i = 0; i < petals; ++i) {
            const float angle = turn
                + (static_cast<float>(i) + 0.5F * static_cast<float>(pass)) * 6.2832F
                    / static_cast<float>(petals);
            const float length = radius * (pass == 0 ? 0.52F : 0.42F);
            const Spot middle{
                centre.x + std::cos(angle) * radius * 0.52F, centre.y + std::sin(angle) * radius * 0.52F};
            const float light = static_cast<float>(painter.random().between(0.86, 1.04))
                + (pass == 0 ? -0.08F : 0.06F) - std::sin(angle) * 0.06F;
            painter.ellipse(middle, length, radius * 0.24F, angle, scaledBy(petal, light), 0.96F, blur);
            painter.stroke(centre,
                {centre.x + std::cos(angle) * radius * 0.85F, centre.y + std::sin(angle) * radius * 0.85F},
                radius * 0.02F, scaledBy(petal, 0.72F), blur > 0.01F ? 0 : 0.35F);
        }
    }
    painter.disc(centre, radius * 0.26F, {0.90F, 0.68F, 0.14F}, 1, blur);
    painter.disc({centre.x - radius * 0.06F, centre.y - radius * 0.06F}, radius * 0.15F,
        {0.98F, 0.84F, 0.36F}, 0.8F, std::max(blur, radius * 0.1F));
}

} // namespace

void paintFlowers(Painter& painter)
{
    const Noise leaves(mixedSeed(painter.seed(), 6));
    const Colour light{0.66F, 0.80F, 0.40F};
    const Colour dark{0.10F, 0.26F, 0.12F};
    painter.everywhere([&](float x, float y, Colour) {
        const float blurred = leaves.layered(x * 2.6F, y * 2.6F, 2);
        return mixed(mixed(dark, light, softStep(0.2F, 0.8F, blurred)), Colour{0.95F, 0.95F, 0.80F},
            std::clamp(0.45F - y, 0.0F, 0.4F));
    });
    static constexpr std::array<Colour, 6> petals{{{0.92F, 0.32F, 0.42F}, {0.96F, 0.92F, 0.90F},
        {0.62F, 0.42F, 0.82F}, {0.98F, 0.72F, 0.28F}, {0.94F, 0.52F, 0.70F}, {0.42F, 0.52F, 0.90F}}};
    const std::size_t first = painter.random().below(petals.size());
    for (int i = 0; i < 34; ++i) { // Far ones are discs of light.
        painter.disc({static_cast<float>(painter.random().unit()) * painter.right(),
                         static_cast<float>(painter.random().between(0.05, 0.95))},
            static_cast<float>(painter.random().between(0.015, 0.05)),
            petals[(first + painter.random().below(2)) % petals.size()],
            static_cast<float>(painter.random().between(0.25, 0.5)), 0.012F);
    }
    const std::size_t flowers = 3 + painter.random().below(6);
    for (std::size_t i = 0; i < flowers; ++i) {
        const float near = static_cast<float>(i + 1) / static_cast<float>(flowers);
        const float blur = (1 - near) * 0.022F;
        const Spot centre{static_cast<float>(painter.random().between(0.1, 0.9)) * painter.right(),
            static_cast<float>(painter.random().between(0.22, 0.72))};
        const float radius = 0.06F + near * 0.11F;
        const auto bend = static_cast<float>(painter.random().between(-0.12, 0.12));
        painter.stroke(centre, {centre.x + bend * 0.4F, centre.y + 0.3F}, 0.006F + near * 0.008F,
            scaledBy({0.26F, 0.46F, 0.18F}, 0.8F + 0.3F * near));
        painter.stroke({centre.x + bend * 0.4F, centre.y + 0.3F}, {centre.x + bend, 1.05F},
            0.008F + near * 0.010F, scaledBy({0.24F, 0.44F, 0.16F}, 0.8F + 0.3F * near));
        painter.ellipse({centre.x + bend * 0.4F + radius * 0.6F, centre.y + 0.30F}, radius * 0.7F,
            radius * 0.2F, -0.6F, scaledBy({0.28F, 0.52F, 0.20F}, 0.7F + 0.35F * near), 1, blur);
        paintFlower(
            painter, centre, radius, petals[(first + painter.random().below(2)) % petals.size()], blur);
    }
    painter.finish(0.35F);
}

void paintPeople(Painter& painter)
{
    const Sky& sky = painter.random().chance(0.5) ? skies::dusk : skies::golden;
    painter.sky(sky, 0.78F);
    painter.clouds(sky, 0.78F, static_cast<float>(painter.random().between(0.3, 0.6)));
    const float sunX = static_cast<float>(painter.random().between(0.25, 0.75)) * painter.right();
    painter.sun(sky, {sunX, static_cast<float>(painter.random().between(0.45, 0.62))}, 0.07F);
    const Colour dark{0.06F, 0.05F, 0.07F};
    const Ridge far(mixedSeed(painter.seed(), 6), 0.76F, 0.07F, 1.3F, 4);
    painter.below(far, [&](float, float) { return mixed(dark, sky.middle, 0.5F); });
    const Ridge ground(mixedSeed(painter.seed(), 7), 0.86F, 0.05F, 0.8F, 2);
    painter.below(ground, [&](float, float y) {
        return mixed(mixed(dark, sky.horizon, 0.12F), dark, std::clamp((y - 0.84F) * 6, 0.0F, 1.0F));
    });
    const std::size_t people = 2 + painter.random().below(4);
    const float left = painter.right() * 0.5F - static_cast<float>(people) * 0.075F
        + static_cast<float>(painter.random().between(-0.2, 0.2));
    for (std::size_t i = 0; i < people; ++i) {
        const float x =
            left + static_cast<float>(i) * 0.15F + static_cast<float>(painter.random().between(-0.02, 0.02));
        const bool isChild = i % 3 == 2 || (people > 3 && i == 1);
        paintPerson(painter, {x, ground(x) + 0.01F},
            isChild ? 0.20F : static_cast<float>(painter.random().between(0.29, 0.34)), dark);
    }
    if (painter.random().chance(0.5)) {
        const float x = left - 0.14F;
        paintDog(painter, {x, ground(x) + 0.008F}, 0.075F, dark);
    }
    if (painter.random().chance(0.35)) {
        const Spot kite{painter.right() * 0.82F, 0.16F};
        painter.stroke({left + 0.05F, ground(left) - 0.26F}, kite, 0.0018F, dark, 0.7F);
        painter.figure({{kite.x, kite.y - 0.05F}, {kite.x + 0.035F, kite.y}, {kite.x, kite.y + 0.06F},
                           {kite.x - 0.035F, kite.y}},
            {0.80F, 0.22F, 0.20F});
    }
    for (int i = 0; i < 160; ++i) { // Grass along the edge of the hill.
        const float x = static_cast<float>(painter.random().unit()) * painter.right();
        const float foot = ground(x) + 0.012F;
        painter.stroke({x, foot},
            {x + static_cast<float>(painter.random().between(-0.01, 0.01)),
                foot - static_cast<float>(painter.random().between(0.012, 0.035))},
            0.0022F, dark);
    }
    painter.finish(0.35F);
}

void paintLights(Painter& painter)
{
    static constexpr std::array<Colour, 4> nights{
        {{0.05F, 0.04F, 0.10F}, {0.10F, 0.04F, 0.05F}, {0.03F, 0.08F, 0.10F}, {0.08F, 0.06F, 0.03F}}};
    const Colour night = nights[painter.random().below(nights.size())];
    painter.everywhere([&](float, float y, Colour) { return mixed(night, scaledBy(night, 2.4F), y); });
    static constexpr std::array<Colour, 6> lights{{{1.0F, 0.82F, 0.46F}, {1.0F, 0.56F, 0.34F},
        {0.96F, 0.34F, 0.40F}, {0.46F, 0.70F, 1.0F}, {0.56F, 0.92F, 0.66F}, {1.0F, 0.93F, 0.78F}}};
    for (int i = 0; i < 70; ++i) {
        const Spot spot{static_cast<float>(painter.random().unit()) * painter.right(),
            static_cast<float>(painter.random().between(0.02, 0.78))};
        const auto radius = static_cast<float>(painter.random().between(0.02, 0.075));
        const Colour colour = lights[painter.random().below(lights.size())];
        const auto share = static_cast<float>(painter.random().between(0.18, 0.5));
        painter.disc(spot, radius, colour, share, 0.006F);
        painter.disc(spot, radius * 0.88F, scaledBy(colour, 0.8F), share * 0.4F, 0.006F);
    }
    // A table with a candle and a cup in front of it all.
    const Noise wood(mixedSeed(painter.seed(), 6));
    painter.below([](float) { return 0.78F; },
        [&](float x, float y) {
            const float grain = wood.layered(x * 3, y * 46, 4);
            return scaledBy(mixed(Colour{0.34F, 0.20F, 0.12F}, Colour{0.52F, 0.33F, 0.20F}, grain),
                1.05F - (y - 0.78F) * 1.4F);
        });
    const float x = static_cast<float>(painter.random().between(0.3, 0.45)) * painter.right();
    painter.disc({x, 0.50F}, 0.34F, {1.0F, 0.66F, 0.30F}, 0.22F, 0.34F);
    painter.box({x - 0.045F, 0.60F}, {x + 0.045F, 0.86F}, {0.93F, 0.88F, 0.78F});
    painter.box({x + 0.015F, 0.60F}, {x + 0.045F, 0.86F}, {0.78F, 0.70F, 0.58F}, 0.6F);
    painter.ellipse({x, 0.60F}, 0.045F, 0.010F, 0, {1.0F, 0.92F, 0.70F});
    painter.stroke({x, 0.60F}, {x, 0.575F}, 0.004F, {0.2F, 0.15F, 0.1F});
    painter.ellipse({x, 0.545F}, 0.013F, 0.038F, 0, {1.0F, 0.72F, 0.25F}, 1, 0.01F);
    painter.ellipse({x, 0.555F}, 0.007F, 0.022F, 0, {1.0F, 0.95F, 0.75F}, 1, 0.008F);
    const float cup = x + 0.30F;
    static constexpr std::array<Colour, 3> cups{
        {{0.82F, 0.84F, 0.86F}, {0.30F, 0.46F, 0.56F}, {0.76F, 0.36F, 0.28F}}};
    const Colour china = cups[painter.random().below(cups.size())];
    painter.ellipse({cup, 0.885F}, 0.15F, 0.022F, 0, scaledBy(china, 0.85F));
    painter.ellipse({cup + 0.10F, 0.79F}, 0.045F, 0.040F, 0, scaledBy(china, 0.8F));
    painter.ellipse({cup + 0.10F, 0.79F}, 0.027F, 0.024F, 0, {0.30F, 0.18F, 0.11F});
    painter.figure(
        {{cup - 0.095F, 0.73F}, {cup + 0.095F, 0.73F}, {cup + 0.065F, 0.87F}, {cup - 0.065F, 0.87F}}, china);
    painter.figure(
        {{cup - 0.095F, 0.73F}, {cup - 0.05F, 0.73F}, {cup - 0.035F, 0.87F}, {cup - 0.065F, 0.87F}},
        mixed(china, Colour{1.0F, 0.80F, 0.50F}, 0.5F), 0.6F);
    painter.ellipse({cup, 0.73F}, 0.095F, 0.018F, 0, scaledBy(china, 0.9F));
    painter.ellipse({cup, 0.732F}, 0.083F, 0.014F, 0, {0.30F, 0.17F, 0.09F});
    for (int i = 0; i < 14; ++i) {
        const float up = static_cast<float>(i) / 14;
        painter.disc({cup + std::sin(up * 7) * 0.02F, 0.70F - up * 0.16F}, 0.014F + up * 0.02F, {1, 1, 1},
            0.07F * (1 - up), 0.03F);
    }
    painter.finish(0.3F);
}

} // namespace vantorel::sample
