#include "sample/SceneParts.h"

#include <array>

namespace vantorel::sample {

namespace {

const Sky& drawnDaylight(Painter& painter)
{
    static constexpr std::array<const Sky*, 5> choices{
        &skies::noon, &skies::dawn, &skies::golden, &skies::noon, &skies::overcast};
    return *choices[painter.random().below(choices.size())];
}

/// Mountains behind each other, each paler than the one before it, with snow on the high ones.
void paintRanges(Painter& painter, const Sky& sky, float horizon, float height, int count)
{
    for (int range = 0; range < count; ++range) {
        const float near = static_cast<float>(range + 1) / static_cast<float>(count);
        const Ridge ridge(mixedSeed(painter.seed(), 20, static_cast<std::uint64_t>(range)),
            horizon - height * 0.25F * (1 - near), height * (1.1F - 0.45F * near), 1.3F + near * 1.2F, 6);
        const Noise rock(mixedSeed(painter.seed(), 30, static_cast<std::uint64_t>(range)));
        const Colour stone =
            mixed(sky.middle, scaledBy(Colour{0.30F, 0.32F, 0.38F}, sky.brightness), 0.30F + near * 0.6F);
        const float snowLine = horizon - height * (0.62F - 0.1F * near);
        PerColumn slope([&](float x) { return ridge(x + 0.012F) - ridge(x - 0.012F); });
        PerColumn edge([&](float x) { return ridge(x); });
        const auto shade = [&](float x, float y) {
            const float face = rock.layered(x * 9 + y * 5, y * 13 - x * 3, 4);
            const float light =
                0.75F + face * 0.5F + std::clamp(slope(x) * 9, -0.22F, 0.22F) / (1 + (y - edge(x)) * 60);
            const float snow = softStep(-0.04F, 0.05F, snowLine - y + (face - 0.5F) * 0.22F);
            const Colour white = mixed(Colour{0.95F, 0.96F, 1.0F}, sky.sun, 0.25F);
            return scaledBy(
                mixed(stone, scaledBy(white, 0.55F + 0.5F * sky.brightness), snow * (0.35F + 0.55F * near)),
                light);
        };
        painter.below(ridge, shade, horizon + 0.22F);          // Farther down is what stands before it.
        painter.everywhere([&](float, float y, Colour under) { // Haze in the valleys.
            const float haze = softStep(horizon - height * 0.35F, horizon, y) * (1 - near) * 0.45F;
            return y < horizon + 0.02F ? mixed(under, sky.horizon, haze) : under;
        });
    }
}

void paintConifers(Painter& painter, const Ridge& ground, int count, float height, Colour colour)
{
    for (int i = 0; i < count; ++i) {
        const float x = (static_cast<float>(i) + static_cast<float>(painter.random().unit()))
            / static_cast<float>(count) * painter.right();
        const float size = height * static_cast<float>(painter.random().between(0.55, 1.15));
        paintConifer(painter, {x, ground(x) + size * 0.06F}, size,
            scaledBy(colour, static_cast<float>(painter.random().between(0.8, 1.2))));
    }
}

/// A meadow or snow, darker towards the viewer, with tufts.
auto groundShade(std::uint64_t seed, Colour far, Colour near, float top)
{
    return [noise = Noise(seed), far, near, top](float x, float y) {
        const float depth = std::clamp((y - top) / (1.02F - top), 0.0F, 1.0F);
        const float nearness = 0.22F + depth;
        const float tuft = noise.layered((x - 0.7F) / nearness * 9, 30 / nearness, 4);
        return scaledBy(mixed(far, near, depth), 0.80F + tuft * 0.40F);
    };
}

} // namespace

void paintMountains(Painter& painter)
{
    const Sky& sky = drawnDaylight(painter);
    const auto horizon = static_cast<float>(painter.random().between(0.62, 0.72));
    painter.sky(sky, horizon);
    if (&sky != &skies::overcast && painter.random().chance(0.6)) {
        painter.sun(sky,
            {static_cast<float>(painter.random().between(0.15, 0.85)) * painter.right(), horizon * 0.35F},
            0.028F);
    }
    painter.clouds(sky, horizon, static_cast<float>(painter.random().between(0.45, 0.85)));
    paintRanges(painter, sky, horizon, static_cast<float>(painter.random().between(0.36, 0.5)), 3);
    const Ridge meadow(mixedSeed(painter.seed(), 6), 0.80F, 0.10F, 1.0F, 3);
    const Colour grass = scaledBy({0.33F, 0.48F, 0.20F}, 0.55F + 0.5F * sky.brightness);
    paintConifers(painter, Ridge(mixedSeed(painter.seed(), 7), 0.76F, 0.05F, 1.4F, 3), 34, 0.10F,
        scaledBy({0.10F, 0.22F, 0.15F}, 0.6F + sky.brightness * 0.5F));
    painter.below(meadow,
        groundShade(
            mixedSeed(painter.seed(), 8), mixed(grass, sky.horizon, 0.25F), scaledBy(grass, 0.7F), 0.74F));
    paintConifers(
        painter, meadow, static_cast<int>(5 + painter.random().below(6)), 0.24F, {0.07F, 0.17F, 0.11F});
    painter.finish(0.35F);
}

void paintLake(Painter& painter)
{
    static constexpr std::array<const Sky*, 4> choices{
        &skies::dawn, &skies::noon, &skies::golden, &skies::dusk};
    const Sky& sky = *choices[painter.random().below(choices.size())];
    const auto shore = static_cast<float>(painter.random().between(0.52, 0.60));
    painter.sky(sky, shore);
    if (painter.random().chance(0.5)) {
        painter.sun(sky,
            {static_cast<float>(painter.random().between(0.2, 0.8)) * painter.right(), shore * 0.55F}, 0.03F);
    }
    painter.clouds(sky, shore, static_cast<float>(painter.random().between(0.35, 0.75)));
    paintRanges(painter, sky, shore, static_cast<float>(painter.random().between(0.28, 0.4)), 3);
    paintConifers(painter, Ridge(mixedSeed(painter.seed(), 7), shore, 0.012F, 2.0F, 3), 46, 0.085F,
        scaledBy({0.10F, 0.20F, 0.14F}, 0.45F + sky.brightness * 0.6F));
    painter.reflect(shore, mixed(sky.zenith, Colour{0.05F, 0.14F, 0.20F}, 0.5F), 0.10F, 0.35F);
    if (painter.random().chance(0.6)) {
        paintSailingBoat(painter,
            {static_cast<float>(painter.random().between(0.3, 0.7)) * painter.right(), 0.70F}, 0.14F,
            {0.45F, 0.20F, 0.16F}, {0.96F, 0.94F, 0.90F});
    } else {
        // A jetty.
        const auto x = static_cast<float>(painter.random().between(0.25, 0.6)) * painter.right();
        painter.figure(
            {{x + 0.10F, 0.70F}, {x + 0.14F, 0.70F}, {x + 0.36F, 1.0F}, {x, 1.0F}}, {0.36F, 0.27F, 0.20F});
        for (int plank = 0; plank < 14; ++plank) {
            const float near = std::pow(static_cast<float>(plank) / 14, 1.6F);
            const float down = 0.70F + 0.30F * near;
            painter.stroke({std::lerp(x + 0.10F, x, near), down},
                {std::lerp(x + 0.14F, x + 0.36F, near), down}, 0.001F + 0.003F * near, {0.20F, 0.14F, 0.10F},
                0.45F);
        }
    }
    painter.finish(0.35F);
}

void paintHills(Painter& painter)
{
    const Sky& sky = drawnDaylight(painter);
    painter.sky(sky, 0.6F);
    painter.clouds(sky, 0.6F, static_cast<float>(painter.random().between(0.4, 0.8)));
    const float green = 0.5F + 0.5F * sky.brightness;
    for (int hill = 0; hill < 5; ++hill) {
        const float near = static_cast<float>(hill) / 4;
        const Ridge ridge(mixedSeed(painter.seed(), 40, static_cast<std::uint64_t>(hill)),
            0.56F + near * 0.30F, 0.10F, 0.9F + near * 0.3F, 3);
        static constexpr std::array<Colour, 5> fields{{{0.42F, 0.56F, 0.24F}, {0.62F, 0.62F, 0.26F},
            {0.30F, 0.50F, 0.22F}, {0.72F, 0.66F, 0.34F}, {0.36F, 0.54F, 0.20F}}};
        const Colour field = fields[painter.random().below(fields.size())];
        const Colour far = mixed(scaledBy(field, green), sky.horizon, 0.5F * (1 - near));
        painter.below(ridge,
            groundShade(mixedSeed(painter.seed(), 50, static_cast<std::uint64_t>(hill)), far,
                scaledBy(far, 0.75F), ridge.base() - 0.1F));
        const std::size_t trees = 2 + painter.random().below(5);
        for (std::size_t tree = 0; tree < trees && hill < 4; ++tree) {
            const float x = static_cast<float>(painter.random().unit()) * painter.right();
            const float size =
                (0.035F + near * 0.12F) * static_cast<float>(painter.random().between(0.8, 1.3));
            paintRoundTree(painter, {x, ridge(x) + size * 0.1F}, size,
                mixed(scaledBy({0.20F, 0.36F, 0.14F}, green), sky.horizon, 0.4F * (1 - near)));
        }
        if (hill == 2 && painter.random().chance(0.7)) {
            const float x = static_cast<float>(painter.random().between(0.2, 0.8)) * painter.right();
            paintHouse(
                painter, {x, ridge(x) + 0.015F}, 0.085F, {0.93F, 0.90F, 0.83F}, {0.62F, 0.27F, 0.20F}, false);
        }
    }
    if (painter.random().chance(0.4)) {
        const std::size_t balloons = 1 + painter.random().below(3);
        for (std::size_t i = 0; i < balloons; ++i) {
            static constexpr std::array<Colour, 4> cloths{
                {{0.86F, 0.25F, 0.20F}, {0.96F, 0.75F, 0.20F}, {0.20F, 0.45F, 0.70F}, {0.55F, 0.25F, 0.55F}}};
            paintBalloon(painter,
                {static_cast<float>(painter.random().between(0.1, 0.9)) * painter.right(),
                    static_cast<float>(painter.random().between(0.12, 0.36))},
                static_cast<float>(painter.random().between(0.035, 0.085)),
                cloths[painter.random().below(cloths.size())], {0.96F, 0.92F, 0.85F});
        }
    } else {
        paintBirds(painter, static_cast<int>(3 + painter.random().below(7)), 0.35F);
    }
    painter.finish(0.35F);
}

void paintWinter(Painter& painter)
{
    static constexpr std::array<const Sky*, 3> choices{&skies::dusk, &skies::overcast, &skies::dawn};
    const Sky& sky = *choices[painter.random().below(choices.size())];
    painter.sky(sky, 0.62F);
    paintRanges(painter, sky, 0.62F, 0.3F, 2);
    const Colour snow =
        mixed(scaledBy({0.93F, 0.95F, 1.0F}, 0.55F + 0.45F * sky.brightness), sky.middle, 0.15F);
    const Ridge far(mixedSeed(painter.seed(), 6), 0.66F, 0.08F, 1.1F, 3);
    painter.below(far, groundShade(mixedSeed(painter.seed(), 7), mixed(snow, sky.horizon, 0.3F), snow, 0.6F));
    paintConifers(painter, far, 26, 0.13F, mixed(Colour{0.10F, 0.18F, 0.16F}, snow, 0.25F));
    const Ridge near(mixedSeed(painter.seed(), 8), 0.80F, 0.09F, 0.8F, 2);
    painter.below(
        near, groundShade(mixedSeed(painter.seed(), 9), snow, mixed(snow, sky.zenith, 0.25F), 0.74F));
    const float x = static_cast<float>(painter.random().between(0.25, 0.75)) * painter.right();
    paintHouse(painter, {x, near(x) + 0.05F}, 0.26F, {0.48F, 0.33F, 0.24F},
        mixed(snow, Colour{1, 1, 1}, 0.3F), &sky != &skies::overcast);
    for (int i = 0; i < 4; ++i) {
        const float beside =
            x + (i % 2 == 0 ? -1.0F : 1.0F) * static_cast<float>(painter.random().between(0.2, 0.55));
        paintConifer(painter, {beside, near(beside) + 0.06F},
            static_cast<float>(painter.random().between(0.22, 0.38)),
            mixed(Colour{0.07F, 0.16F, 0.13F}, snow, 0.12F));
    }
    for (int flake = 0; flake < 260; ++flake) {
        painter.disc({static_cast<float>(painter.random().unit()) * painter.right(),
                         static_cast<float>(painter.random().unit())},
            static_cast<float>(painter.random().between(0.001, 0.005)), {1, 1, 1},
            static_cast<float>(painter.random().between(0.3, 0.8)), 0.003F);
    }
    painter.finish(0.25F);
}

void paintNorthernLights(Painter& painter)
{
    painter.sky(skies::night, 0.75F);
    painter.stars(300, 0.72F);
    const Noise folds(mixedSeed(painter.seed(), 6));
    const bool isViolet = painter.random().chance(0.4);
    const Colour low{0.20F, 0.95F, 0.55F};
    const Colour high = isViolet ? Colour{0.60F, 0.25F, 0.75F} : Colour{0.15F, 0.60F, 0.70F};
    painter.everywhere([&](float x, float y, Colour under) {
        Colour lit = under;
        for (int veil = 0; veil < 3; ++veil) {
            const auto offset = static_cast<float>(veil);
            const float edge =
                0.50F - offset * 0.09F - 0.22F * (folds.layered(x * 1.3F + offset * 9, offset, 3) - 0.5F) * 2;
            const float up = edge - y;
            const float rays = folds.layered(x * 22 + offset * 31, y * 0.8F, 3);
            const float light = up > 0 ? std::exp(-up * 5.2F) * (0.25F + rays * 0.95F) : std::exp(up * 40);
            lit = mixed(lit, mixed(low, high, std::clamp(up * 3.4F, 0.0F, 1.0F)),
                std::clamp(light * 0.62F, 0.0F, 0.9F));
        }
        return lit;
    });
    const Ridge ridge(mixedSeed(painter.seed(), 8), 0.76F, 0.14F, 1.6F, 6);
    painter.below(ridge, [](float, float) { return Colour{0.02F, 0.03F, 0.05F}; });
    if (painter.random().chance(0.6)) {
        painter.reflect(0.80F, {0.01F, 0.03F, 0.06F}, 0.15F, 0.25F);
    }
    paintConifers(
        painter, Ridge(mixedSeed(painter.seed(), 9), 0.98F, 0.03F, 1.0F, 2), 9, 0.26F, {0.01F, 0.02F, 0.03F});
    painter.finish(0.2F);
}

void paintDesert(Painter& painter)
{
    static constexpr std::array<const Sky*, 3> choices{&skies::golden, &skies::dusk, &skies::noon};
    const Sky& sky = *choices[painter.random().below(choices.size())];
    painter.sky(sky, 0.58F);
    painter.sun(sky,
        {static_cast<float>(painter.random().between(0.2, 0.8)) * painter.right(),
            static_cast<float>(painter.random().between(0.22, 0.42))},
        0.045F);
    for (int dune = 0; dune < 4; ++dune) {
        const float near = static_cast<float>(dune) / 3;
        const Ridge ridge(mixedSeed(painter.seed(), 60, static_cast<std::uint64_t>(dune)),
            0.58F + near * 0.24F, 0.11F, 0.8F + near * 0.4F, 2);
        const Noise ripples(mixedSeed(painter.seed(), 70, static_cast<std::uint64_t>(dune)));
        const Colour sand = mixed(sky.horizon,
            scaledBy({0.86F, 0.58F, 0.32F}, 0.55F + 0.45F * sky.brightness), 0.35F + near * 0.6F);
        PerColumn slope([&](float x) { return ridge(x + 0.02F) - ridge(x - 0.02F); });
        PerColumn edge([&](float x) { return ridge(x); });
        painter.below(ridge, [&](float x, float y) {
            const float side = std::clamp(slope(x) * 7, -0.28F, 0.28F);
            const float ripple =
                std::sin((y + 0.35F * x + ripples.layered(x * 3, y * 3, 2) * 0.12F) * (420 - near * 220))
                * 0.03F * near;
            return scaledBy(sand, 0.92F - side + ripple - 0.25F * (y - edge(x)));
        });
    }
    const float x = static_cast<float>(painter.random().between(0.2, 0.8)) * painter.right();
    const Colour dark{0.16F, 0.10F, 0.08F};
    if (painter.random().chance(0.5)) {
        for (int i = 0; i < 4; ++i) { // A few people far away, one behind the other.
            paintPerson(painter, {x + static_cast<float>(i) * 0.035F, 0.715F}, 0.06F, dark);
        }
    } else {
        painter.stroke({x, 0.80F}, {x + 0.01F, 0.64F}, 0.016F, dark); // A lone tree with a flat crown.
        painter.ellipse({x + 0.01F, 0.62F}, 0.13F, 0.030F, 0, {0.20F, 0.22F, 0.10F});
        painter.ellipse({x - 0.04F, 0.60F}, 0.08F, 0.022F, 0, {0.24F, 0.26F, 0.12F});
    }
    painter.finish(0.35F);
}

void paintForest(Painter& painter)
{
    const Noise leaves(mixedSeed(painter.seed(), 6));
    const bool isAutumn = painter.random().chance(0.35);
    const Colour light = isAutumn ? Colour{0.98F, 0.78F, 0.36F} : Colour{0.78F, 0.90F, 0.48F};
    const Colour dark = isAutumn ? Colour{0.42F, 0.18F, 0.07F} : Colour{0.07F, 0.20F, 0.09F};
    const float glowX = static_cast<float>(painter.random().between(0.3, 0.7)) * painter.right();
    painter.everywhere([&](float x, float y, Colour) {
        const float glow = std::exp(-((x - glowX) * (x - glowX) * 3.2F + (y - 0.42F) * (y - 0.42F) * 5));
        const float leaf = leaves.layered(x * 9, y * 9, 5);
        return mixed(mixed(dark, light, std::clamp(leaf * 0.9F - 0.15F, 0.0F, 1.0F)),
            Colour{1.0F, 0.98F, 0.82F}, glow * 0.75F);
    });
    const Colour floor = isAutumn ? Colour{0.55F, 0.30F, 0.12F} : Colour{0.22F, 0.30F, 0.12F};
    const Ridge ground(mixedSeed(painter.seed(), 7), 0.76F, 0.03F, 1.5F, 3);
    painter.below(ground,
        groundShade(mixedSeed(painter.seed(), 8), mixed(floor, light, 0.3F), scaledBy(floor, 0.6F), 0.72F));
    const Noise edges(mixedSeed(painter.seed(), 9));
    const auto bend = static_cast<float>(painter.random().between(-0.25, 0.25));
    painter.everywhere([&](float x, float y, Colour under) { // A path, with leaves at its edges.
        if (y < ground(x)) {
            return under;
        }
        const float depth = std::clamp((y - 0.74F) / 0.26F, 0.0F, 1.0F);
        const float middle = glowX + bend * depth * depth + 0.05F * std::sin(depth * 5);
        const float half =
            0.015F + 0.16F * depth + (edges.layered(x * 24, y * 40, 3) - 0.5F) * (0.03F + 0.12F * depth);
        const float share = 1 - softStep(half * 0.8F, half * 1.15F, std::abs(x - middle));
        const Colour earth = scaledBy(mixed(floor, Colour{0.72F, 0.62F, 0.45F}, 0.75F), 1.1F - 0.35F * depth);
        return mixed(under, scaledBy(earth, 0.85F + edges.layered(x * 50, y * 90, 2) * 0.3F), share);
    });
    for (int depth = 0; depth < 3; ++depth) {
        const float near = static_cast<float>(depth) / 2;
        const int trunks = 11 - 4 * depth;
        for (int i = 0; i < trunks; ++i) {
            const float x = static_cast<float>(painter.random().unit()) * painter.right();
            if (std::abs(x - glowX) < 0.06F + near * 0.14F) {
                continue; // The path stays free.
            }
            const float width =
                (0.014F + near * 0.05F) * static_cast<float>(painter.random().between(0.7, 1.3));
            const Colour bark =
                mixed(mixed(light, dark, 0.55F), Colour{0.10F, 0.08F, 0.06F}, 0.35F + near * 0.5F);
            const float foot = ground(x) + 0.02F + near * 0.16F;
            const auto lean = static_cast<float>(painter.random().between(-0.03, 0.03));
            painter.figure({{x - width / 2 + lean, -0.02F}, {x + width / 2 + lean, -0.02F},
                               {x + width * 0.75F, foot}, {x - width * 0.75F, foot}},
                bark);
            painter.figure({{x - width / 2 + lean, -0.02F}, {x - width * 0.2F + lean, -0.02F},
                               {x - width * 0.3F, foot}, {x - width * 0.75F, foot}},
                mixed(bark, light, 0.35F), 0.5F);
        }
    }
    for (int leaf = 0; leaf < 420; ++leaf) { // Twigs that hang into the picture, and ferns at its foot.
        const bool isAbove = leaf % 3 != 0;
        const float x = static_cast<float>(painter.random().unit()) * painter.right();
        const float depth = static_cast<float>(std::pow(painter.random().unit(), 2.2));
        const float aside = std::min(1.0F, std::abs(x - glowX) * 1.6F);
        const Spot spot{x, isAbove ? depth * 0.30F * (0.35F + aside) : 1.0F - depth * 0.12F * aside};
        const auto shade = static_cast<float>(painter.random().between(0.1, 0.8));
        painter.ellipse(spot, 0.022F, 0.008F, static_cast<float>(painter.random().between(0, 3.1)),
            mixed(scaledBy(dark, 0.8F), light, isAbove ? shade : shade * 0.5F), 0.9F);
    }
    painter.finish(0.4F);
}

void paintAutumnRoad(Painter& painter)
{
    const Sky& sky = painter.random().chance(0.5) ? skies::golden : skies::overcast;
    painter.sky(sky, 0.55F);
    painter.clouds(sky, 0.55F, 0.5F);
    const Ridge hills(mixedSeed(painter.seed(), 6), 0.52F, 0.07F, 1.2F, 3);
    painter.below(hills, [&](float, float) { return mixed(Colour{0.45F, 0.42F, 0.30F}, sky.horizon, 0.5F); });
    const Colour meadow{0.56F, 0.50F, 0.22F};
    painter.below([](float) { return 0.55F; },
        groundShade(
            mixedSeed(painter.seed(), 7), mixed(meadow, sky.horizon, 0.35F), scaledBy(meadow, 0.8F), 0.55F));
    const float far = static_cast<float>(painter.random().between(0.4, 0.6)) * painter.right();
    const float middle = painter.right() / 2;
    painter.figure(
        {{far - 0.006F, 0.55F}, {far + 0.006F, 0.55F}, {middle + 0.40F, 1.0F}, {middle - 0.40F, 1.0F}},
        {0.42F, 0.40F, 0.40F});
    for (int dash = 0; dash < 9; ++dash) {
        const auto along = [&](float part) { return std::pow(part, 2.2F); };
        const float from = along(static_cast<float>(dash) / 9);
        const float to = along((static_cast<float>(dash) + 0.5F) / 9);
        const auto at = [&](float depth) {
            return Spot{std::lerp(far, middle, depth), std::lerp(0.55F, 1.0F, depth)};
        };
        painter.stroke(at(from), at(to), 0.002F + from * 0.016F, {0.92F, 0.90F, 0.80F}, 0.9F);
    }
    static constexpr std::array<Colour, 4> crowns{
        {{0.86F, 0.44F, 0.12F}, {0.92F, 0.66F, 0.18F}, {0.72F, 0.24F, 0.10F}, {0.62F, 0.56F, 0.16F}}};
    for (int row = 8; row >= 0; --row) {
        const float depth = std::pow(1 - static_cast<float>(row) / 9, 2.2F);
        for (const float side : {-1.0F, 1.0F}) {
            const Spot foot{std::lerp(far, middle, depth) + side * (0.02F + depth * 0.62F),
                std::lerp(0.555F, 1.0F, depth)};
            paintRoundTree(painter, foot, 0.07F + depth * 0.85F,
                mixed(crowns[painter.random().below(crowns.size())], sky.horizon, 0.4F * (1 - depth)));
        }
    }
    painter.finish(0.35F);
}

} // namespace vantorel::sample
