#include "sample/SceneParts.h"

#include <array>

namespace vantorel::sample {

void paintSunsetAtSea(Painter& painter)
{
    const Sky& sky = painter.random().chance(0.6) ? skies::dusk : skies::golden;
    const auto horizon = static_cast<float>(painter.random().between(0.5, 0.62));
    painter.sky(sky, horizon);
    painter.clouds(sky, horizon, static_cast<float>(painter.random().between(0.35, 0.7)));
    const float sunX = static_cast<float>(painter.random().between(0.25, 0.75)) * painter.right();
    painter.sun(sky, {sunX, horizon - static_cast<float>(painter.random().between(0.02, 0.16))}, 0.055F);
    const Colour dark{0.07F, 0.06F, 0.10F};
    if (painter.random().chance(0.5)) { // A headland, whose foot the sea covers.
        const Ridge cliff(mixedSeed(painter.seed(), 6), horizon + 0.03F, 0.2F, 1.2F, 5);
        const bool isLeft = painter.random().chance(0.5);
        painter.below(
            [&](float x) {
                const float inland = isLeft ? 1 - x / painter.right() : x / painter.right();
                return cliff(x) + 0.25F * (1 - softStep(0.45F, 0.9F, inland));
            },
            [&](float, float) { return mixed(dark, sky.middle, 0.3F); });
    }
    paintSea(painter, sky, horizon, 1.0F, scaledBy(sky.zenith, 0.8F), mixed(sky.zenith, sky.middle, 0.5F));
    paintGlitter(painter, sky, sunX, horizon, 1.0F);
    const std::size_t boats = painter.random().below(3);
    for (std::size_t i = 0; i < boats; ++i) {
        const auto down = static_cast<float>(painter.random().between(0.015, 0.09));
        paintSailingBoat(painter,
            {static_cast<float>(painter.random().between(0.1, 0.9)) * painter.right(), horizon + down},
            0.06F + down * 1.3F, dark, mixed(dark, sky.horizon, 0.25F));
    }
    paintBirds(painter, static_cast<int>(painter.random().below(6)), horizon * 0.7F);
    painter.finish(0.35F);
}

namespace {

void paintParasol(Painter& painter, Spot foot, float height)
{
    static constexpr std::array<Colour, 4> cloths{
        {{0.88F, 0.25F, 0.22F}, {0.20F, 0.50F, 0.72F}, {0.96F, 0.74F, 0.22F}, {0.25F, 0.60F, 0.45F}}};
    const Colour cloth = cloths[painter.random().below(cloths.size())];
    painter.ellipse({foot.x + height * 0.35F, foot.y + height * 0.02F}, height * 0.5F, height * 0.06F, 0,
        {0.45F, 0.34F, 0.22F}, 0.45F, height * 0.05F);
    painter.stroke(foot, {foot.x, foot.y - height}, height * 0.03F, {0.95F, 0.95F, 0.92F});
    std::vector<Spot> dome;
    for (int i = 0; i <= 16; ++i) {
        const float angle = 3.14159F * static_cast<float>(i) / 16;
        dome.push_back({foot.x - std::cos(angle) * height * 0.6F,
            foot.y - height * 0.72F - std::sin(angle) * height * 0.36F});
    }
    painter.figure(dome, cloth);
    for (const int part : {3, 8, 13}) {
        const auto at = static_cast<std::size_t>(part);
        painter.figure({dome[at - 1], dome[at], dome[at + 1],
                           {foot.x + (dome[at].x - foot.x) * 0.95F, foot.y - height * 0.72F},
                           {foot.x + (dome[at].x - foot.x) * 0.6F, foot.y - height * 0.72F}},
            {0.97F, 0.96F, 0.92F}, 0.9F);
    }
    painter.box({foot.x + height * 0.15F, foot.y - height * 0.02F},
        {foot.x + height * 0.75F, foot.y + height * 0.06F}, scaledBy(cloth, 0.9F));
}

void paintPalm(Painter& painter, Spot foot, float height)
{
    const Colour bark{0.42F, 0.31F, 0.20F};
    Spot at = foot;
    const float bend = static_cast<float>(painter.random().between(-0.35, 0.35)) * height;
    for (int part = 1; part <= 12; ++part) {
        const float up = static_cast<float>(part) / 12;
        const Spot next{foot.x + bend * up * up, foot.y - height * up};
        painter.stroke(
            at, next, height * (0.055F - 0.022F * up), scaledBy(bark, part % 2 == 0 ? 1.0F : 0.85F));
        at = next;
    }
    for (int leaf = 0; leaf < 11; ++leaf) {
        const float angle =
            static_cast<float>(leaf) * 0.571F + static_cast<float>(painter.random().between(-0.1, 0.1));
        Spot from = at;
        for (int part = 1; part <= 8; ++part) {
            const float out = static_cast<float>(part) / 8 * height * 0.45F;
            const float droop = out * out / height * 1.6F;
            const Spot to{
                at.x + std::cos(angle) * out, at.y - std::sin(angle) * out * 0.55F + droop - height * 0.05F};
            painter.stroke(from, to, height * (0.045F - 0.004F * static_cast<float>(part)),
                scaledBy({0.16F, 0.42F, 0.18F}, static_cast<float>(painter.random().between(0.8, 1.25))));
            from = to;
        }
    }
}

} // namespace

void paintBeach(Painter& painter)
{
    const Sky& sky = painter.random().chance(0.7) ? skies::noon : skies::golden;
    painter.sky(sky, 0.42F);
    painter.clouds(sky, 0.42F, static_cast<float>(painter.random().between(0.35, 0.6)));
    if (painter.random().chance(0.5)) {
        const Ridge island(mixedSeed(painter.seed(), 6), 0.425F, 0.06F, 1.6F, 4);
        painter.below([&](float x) { return std::min(0.425F, island(x) + 0.035F); },
            [&](float, float) { return mixed(Colour{0.30F, 0.42F, 0.45F}, sky.horizon, 0.4F); });
    }
    paintSea(painter, sky, 0.42F, 0.74F, {0.05F, 0.34F, 0.55F}, {0.35F, 0.76F, 0.76F});
    PerColumn waterline(Ridge(mixedSeed(painter.seed(), 7), 0.69F, 0.05F, 1.1F, 3));
    const Noise grains(mixedSeed(painter.seed(), 8));
    const Colour sand = scaledBy({0.93F, 0.82F, 0.62F}, 0.7F + 0.3F * sky.brightness);
    painter.below([&](float x) { return waterline(x) - 0.018F; },
        [&](float x, float y) {
            const float beyond = y - waterline(x);
            if (beyond < 0.012F) {
                const float foam = softStep(0.40F, 0.62F, grains.layered(x * 30, y * 60, 3));
                return mixed(Colour{0.62F, 0.86F, 0.84F}, Colour{1, 1, 1}, 0.45F + foam * 0.55F);
            }
            const float wet = 1 - softStep(0.012F, 0.07F, beyond);
            const float dune = grains.layered(x * 7, y * 18, 4);
            const Colour dry =
                scaledBy(sand, 0.86F + dune * 0.24F + (grains.at(x * 300, y * 300) - 0.5F) * 0.05F);
            return mixed(dry, Colour{0.55F, 0.47F, 0.36F}, wet * 0.75F);
        });
    const std::size_t parasols = 1 + painter.random().below(4);
    for (std::size_t i = 0; i < parasols; ++i) {
        const auto down = static_cast<float>(painter.random().between(0.82, 0.95));
        paintParasol(painter,
            {static_cast<float>(painter.random().between(0.08, 0.9)) * painter.right(), down},
            0.10F + (down - 0.8F) * 0.7F);
    }
    const std::size_t people = painter.random().below(5);
    for (std::size_t i = 0; i < people; ++i) {
        static constexpr std::array<Colour, 4> clothes{
            {{0.55F, 0.20F, 0.20F}, {0.16F, 0.26F, 0.42F}, {0.36F, 0.24F, 0.16F}, {0.20F, 0.40F, 0.36F}}};
        paintPerson(painter,
            {static_cast<float>(painter.random().between(0.08, 0.92)) * painter.right(),
                static_cast<float>(painter.random().between(0.74, 0.82))},
            static_cast<float>(painter.random().between(0.07, 0.10)),
            clothes[painter.random().below(clothes.size())]);
    }
    if (painter.random().chance(0.55)) {
        paintPalm(painter,
            {painter.random().chance(0.5) ? painter.right() * 0.1F : painter.right() * 0.9F, 0.98F}, 0.72F);
    }
    painter.finish(0.3F);
}

void paintLighthouse(Painter& painter)
{
    static constexpr std::array<const Sky*, 4> choices{
        &skies::noon, &skies::dusk, &skies::golden, &skies::overcast};
    const Sky& sky = *choices[painter.random().below(choices.size())];
    painter.sky(sky, 0.6F);
    painter.clouds(sky, 0.6F, static_cast<float>(painter.random().between(0.5, 0.9)));
    paintSea(painter, sky, 0.6F, 1.0F, scaledBy({0.10F, 0.28F, 0.42F}, 0.4F + 0.6F * sky.brightness),
        scaledBy({0.22F, 0.42F, 0.50F}, 0.4F + 0.6F * sky.brightness));
    const bool isLeft = painter.random().chance(0.5);
    const Ridge rock(mixedSeed(painter.seed(), 6), 0.66F, 0.10F, 2.2F, 6);
    const Noise stone(mixedSeed(painter.seed(), 7));
    PerColumn coast([&](float x) {
        const float inland = isLeft ? 1 - x / painter.right() : x / painter.right();
        return inland < 0.42F ? 2.0F : rock(x) + 0.34F * (1 - softStep(0.42F, 0.62F, inland));
    });
    painter.below([&](float x) { return coast(x); },
        [&](float x, float y) {
            const float face = stone.layered(x * 11, y * 11, 5);
            const float top = 1 - softStep(0.0F, 0.035F, y - coast(x));
            const Colour cliff =
                scaledBy({0.45F, 0.40F, 0.35F}, (0.45F + 0.6F * sky.brightness) * (0.6F + face * 0.75F));
            return mixed(cliff, scaledBy({0.36F, 0.48F, 0.20F}, 0.4F + 0.6F * sky.brightness), top);
        });
    const float x = painter.right() * (isLeft ? 0.24F : 0.76F);
    const float foot = rock(x) + 0.015F;
    const float height = 0.36F;
    const float light = 0.45F + 0.55F * sky.brightness;
    for (int band = 0; band < 6; ++band) {
        const float low = static_cast<float>(band) / 6;
        const float up = static_cast<float>(band + 1) / 6;
        const auto half = [](float part) { return 0.042F - 0.018F * part; };
        const Colour paint =
            scaledBy(band % 2 == 0 ? Colour{0.95F, 0.94F, 0.90F} : Colour{0.80F, 0.18F, 0.16F}, light);
        painter.figure({{x - half(low), foot - height * low}, {x + half(low), foot - height * low},
                           {x + half(up), foot - height * up}, {x - half(up), foot - height * up}},
            paint);
        painter.figure({{x + half(low) * 0.35F, foot - height * low}, {x + half(low), foot - height * low},
                           {x + half(up), foot - height * up}, {x + half(up) * 0.35F, foot - height * up}},
            scaledBy(paint, 0.7F), 0.6F);
    }
    painter.box({x - 0.032F, foot - height - 0.008F}, {x + 0.032F, foot - height}, {0.18F, 0.18F, 0.20F});
    painter.box(
        {x - 0.017F, foot - height - 0.045F}, {x + 0.017F, foot - height - 0.008F}, {1.0F, 0.92F, 0.62F});
    painter.figure({{x - 0.024F, foot - height - 0.045F}, {x, foot - height - 0.08F},
                       {x + 0.024F, foot - height - 0.045F}},
        scaledBy({0.70F, 0.16F, 0.15F}, light));
    if (sky.brightness < 0.7F) {
        const float far = isLeft ? 1.0F : -1.0F;
        painter.figure({{x, foot - height - 0.03F}, {x + far * 1.4F, foot - height - 0.16F},
                           {x + far * 1.4F, foot - height + 0.04F}},
            {1.0F, 0.93F, 0.66F}, 0.28F);
        painter.disc({x, foot - height - 0.027F}, 0.05F, {1.0F, 0.95F, 0.75F}, 0.7F, 0.08F);
    }
    paintHouse(painter, {x + (isLeft ? -0.11F : 0.11F), foot + 0.005F}, 0.11F,
        scaledBy({0.94F, 0.92F, 0.88F}, light), scaledBy({0.45F, 0.25F, 0.20F}, light),
        sky.brightness < 0.7F);
    paintBirds(painter, static_cast<int>(2 + painter.random().below(6)), 0.4F);
    painter.finish(0.35F);
}

} // namespace vantorel::sample
