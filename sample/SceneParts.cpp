#include "sample/SceneParts.h"

namespace vantorel::sample {

void paintConifer(Painter& painter, Spot foot, float height, Colour colour)
{
    const float width = height * static_cast<float>(painter.random().between(0.32, 0.44));
    painter.box({foot.x - height * 0.025F, foot.y - height * 0.30F}, {foot.x + height * 0.025F, foot.y},
        mixed(colour, Colour{0.16F, 0.11F, 0.08F}, 0.6F));
    for (int layer = 0; layer < 4; ++layer) {
        const float part = static_cast<float>(layer) / 4;
        const float top = foot.y - height * (1.0F - part * 0.62F);
        const float bottom = foot.y - height * (0.66F - part * 0.56F);
        const float half = width / 2 * (0.42F + part * 0.78F);
        const Colour shade = scaledBy(colour, 1.12F - part * 0.22F);
        painter.figure(
            {{foot.x, top}, {foot.x + half, bottom}, {foot.x + half * 0.4F, bottom - height * 0.02F},
                {foot.x, bottom + height * 0.015F}, {foot.x - half * 0.5F, bottom - height * 0.02F},
                {foot.x - half, bottom}},
            shade);
        painter.figure({{foot.x, top}, {foot.x + half, bottom}, {foot.x + half * 0.15F, bottom}},
            scaledBy(colour, 0.72F), 0.5F);
    }
}

void paintRoundTree(Painter& painter, Spot foot, float height, Colour crown)
{
    const Colour bark = mixed(crown, Colour{0.22F, 0.15F, 0.10F}, 0.8F);
    painter.stroke(foot, {foot.x, foot.y - height * 0.5F}, height * 0.07F, bark);
    painter.stroke({foot.x, foot.y - height * 0.35F}, {foot.x - height * 0.15F, foot.y - height * 0.6F},
        height * 0.035F, bark);
    // A tree that is near shows smaller leaves and more of them.
    const int leaves = 26 + static_cast<int>(height * 260);
    const float size = 0.125F / (1 + height * 1.6F);
    for (int leaf = 0; leaf < leaves; ++leaf) {
        const auto angle = static_cast<float>(painter.random().between(0, 6.283));
        const auto away = static_cast<float>(std::sqrt(painter.random().unit())) * 0.30F;
        const Spot spot{foot.x + std::cos(angle) * away * height * 1.05F,
            foot.y - height * (0.66F - std::sin(angle) * away)};
        // Lit from above left.
        const float light = 1.0F - std::sin(angle) * 0.25F - std::cos(angle) * 0.10F
            + static_cast<float>(painter.random().between(-0.12, 0.12));
        painter.disc(spot, height * size * static_cast<float>(painter.random().between(0.55, 1.05)),
            scaledBy(crown, light), 0.92F, height * size * 0.3F);
    }
}

void paintPerson(Painter& painter, Spot foot, float height, Colour colour)
{
    const auto lean = static_cast<float>(painter.random().between(-0.03, 0.03)) * height;
    const auto armsUp = painter.random().chance(0.25);
    const bool hasSkirt = painter.random().chance(0.4);
    const Spot hip{foot.x + lean, foot.y - height * 0.47F};
    const Spot shoulder{foot.x + lean * 1.5F, foot.y - height * 0.80F};
    painter.disc({shoulder.x, foot.y - height * 0.915F}, height * 0.075F, colour);
    painter.stroke({shoulder.x, foot.y - height * 0.85F}, shoulder, height * 0.06F, colour);
    painter.figure({{shoulder.x - height * 0.105F, shoulder.y}, {shoulder.x + height * 0.105F, shoulder.y},
                       {hip.x + height * 0.075F, hip.y}, {hip.x - height * 0.075F, hip.y}},
        colour);
    const float step = height * static_cast<float>(painter.random().between(0.03, 0.10));
    if (hasSkirt) {
        painter.figure({{hip.x - height * 0.07F, hip.y - height * 0.04F},
                           {hip.x + height * 0.07F, hip.y - height * 0.04F},
                           {hip.x + height * 0.14F, hip.y + height * 0.24F},
                           {hip.x - height * 0.14F, hip.y + height * 0.24F}},
            colour);
    }
    painter.stroke({hip.x - height * 0.03F, hip.y}, {foot.x - step, foot.y}, height * 0.075F, colour);
    painter.stroke({hip.x + height * 0.03F, hip.y}, {foot.x + step, foot.y}, height * 0.075F, colour);
    const float hand = armsUp ? -0.20F : 0.30F;
    const float reach = armsUp ? 0.20F : 0.15F;
    painter.stroke({shoulder.x - height * 0.09F, shoulder.y + height * 0.02F},
        {shoulder.x - height * reach, shoulder.y + height * hand}, height * 0.045F, colour);
    painter.stroke({shoulder.x + height * 0.09F, shoulder.y + height * 0.02F},
        {shoulder.x + height * reach,
            shoulder.y + height * (armsUp && painter.random().chance(0.5) ? 0.30F : hand)},
        height * 0.045F, colour);
}

void paintDog(Painter& painter, Spot foot, float height, Colour colour)
{
    const float back = foot.y - height * 0.75F;
    painter.ellipse({foot.x, back + height * 0.1F}, height * 0.62F, height * 0.24F, 0, colour);
    painter.disc({foot.x + height * 0.68F, back - height * 0.2F}, height * 0.22F, colour);
    painter.ellipse(
        {foot.x + height * 0.88F, back - height * 0.14F}, height * 0.16F, height * 0.09F, 0, colour);
    painter.stroke({foot.x - height * 0.55F, back}, {foot.x - height * 0.85F, back - height * 0.4F},
        height * 0.09F, colour);
    for (const float leg : {-0.45F, -0.25F, 0.3F, 0.5F}) {
        painter.stroke({foot.x + height * leg, back + height * 0.15F}, {foot.x + height * leg, foot.y},
            height * 0.11F, colour);
    }
}

void paintSailingBoat(Painter& painter, Spot keel, float height, Colour hull, Colour sail)
{
    const float deck = keel.y - height * 0.10F;
    const float length = height * 0.36F;
    painter.figure({{keel.x - length, deck}, {keel.x + length * 1.15F, deck},
                       {keel.x + length * 0.7F, keel.y}, {keel.x - length * 0.7F, keel.y}},
        hull);
    painter.stroke({keel.x, deck}, {keel.x, keel.y - height}, height * 0.018F, scaledBy(hull, 0.8F));
    painter.figure(
        {{keel.x + height * 0.02F, keel.y - height * 0.97F}, {keel.x + height * 0.02F, deck - height * 0.05F},
            {keel.x + length * 0.95F, deck - height * 0.05F}},
        sail);
    painter.figure(
        {{keel.x - height * 0.02F, keel.y - height * 0.90F}, {keel.x - height * 0.02F, deck - height * 0.05F},
            {keel.x - length * 0.85F, deck - height * 0.07F}},
        scaledBy(sail, 0.9F));
}

void paintHouse(Painter& painter, Spot foot, float width, Colour wall, Colour roof, bool isLit)
{
    const float height = width * 0.62F;
    painter.box({foot.x - width / 2, foot.y - height}, {foot.x + width / 2, foot.y}, wall);
    painter.box(
        {foot.x + width * 0.2F, foot.y - height}, {foot.x + width / 2, foot.y}, scaledBy(wall, 0.85F));
    painter.box({foot.x + width * 0.22F, foot.y - height * 1.75F}, {foot.x + width * 0.32F, foot.y - height},
        scaledBy(wall, 0.7F));
    painter.figure({{foot.x - width * 0.6F, foot.y - height * 0.95F}, {foot.x, foot.y - height * 1.65F},
                       {foot.x + width * 0.6F, foot.y - height * 0.95F}},
        roof);
    const Colour window = isLit ? Colour{1.0F, 0.83F, 0.45F} : Colour{0.35F, 0.42F, 0.50F};
    for (const float x : {-0.30F, 0.14F}) {
        painter.box({foot.x + width * x, foot.y - height * 0.70F},
            {foot.x + width * (x + 0.17F), foot.y - height * 0.38F}, window);
        painter.stroke({foot.x + width * (x + 0.085F), foot.y - height * 0.70F},
            {foot.x + width * (x + 0.085F), foot.y - height * 0.38F}, width * 0.012F, scaledBy(wall, 0.6F));
    }
    painter.box({foot.x - width * 0.08F, foot.y - height * 0.48F}, {foot.x + width * 0.07F, foot.y},
        scaledBy(roof, 0.8F));
    if (isLit) {
        painter.disc({foot.x, foot.y - height * 0.4F}, width * 0.9F, window, 0.14F, width * 0.8F);
    }
}

void paintBalloon(Painter& painter, Spot centre, float radius, Colour first, Colour second)
{
    painter.figure({{centre.x - radius * 0.72F, centre.y + radius * 0.7F},
                       {centre.x + radius * 0.72F, centre.y + radius * 0.7F},
                       {centre.x + radius * 0.2F, centre.y + radius * 1.5F},
                       {centre.x - radius * 0.2F, centre.y + radius * 1.5F}},
        scaledBy(first, 0.9F));
    painter.disc(centre, radius, first);
    for (const float part : {0.72F, 0.28F}) {
        painter.ellipse(centre, radius * part, radius * 0.995F, 0, part > 0.5F ? second : first);
    }
    painter.disc({centre.x - radius * 0.3F, centre.y - radius * 0.35F}, radius * 0.4F, {1, 1, 1}, 0.25F,
        radius * 0.5F);
    painter.box({centre.x - radius * 0.16F, centre.y + radius * 1.72F},
        {centre.x + radius * 0.16F, centre.y + radius * 1.95F}, {0.36F, 0.24F, 0.14F});
    painter.stroke({centre.x - radius * 0.15F, centre.y + radius * 1.5F},
        {centre.x - radius * 0.14F, centre.y + radius * 1.75F}, radius * 0.02F, {0.3F, 0.25F, 0.2F});
    painter.stroke({centre.x + radius * 0.15F, centre.y + radius * 1.5F},
        {centre.x + radius * 0.14F, centre.y + radius * 1.75F}, radius * 0.02F, {0.3F, 0.25F, 0.2F});
}

void paintBirds(Painter& painter, int count, float lowest)
{
    const auto middle = static_cast<float>(painter.random().between(0.2, 0.8)) * painter.right();
    for (int i = 0; i < count; ++i) {
        const Spot spot{middle + static_cast<float>(painter.random().between(-0.18, 0.18)),
            static_cast<float>(painter.random().between(0.08, lowest))};
        const auto size = static_cast<float>(painter.random().between(0.008, 0.018));
        const Colour colour{0.12F, 0.12F, 0.16F};
        painter.stroke({spot.x - size, spot.y - size * 0.5F}, spot, size * 0.16F, colour, 0.85F);
        painter.stroke(spot, {spot.x + size, spot.y - size * 0.6F}, size * 0.16F, colour, 0.85F);
    }
}

void paintSea(Painter& painter, const Sky& sky, float horizon, float bottom, Colour deep, Colour shallow)
{
    const Noise waves(mixedSeed(painter.seed(), 4));
    painter.below([horizon](float) { return horizon; },
        [&](float x, float y) {
            const float depth = std::clamp((y - horizon) / (bottom - horizon), 0.0F, 1.0F);
            const float far = 0.012F + depth * depth * 0.35F;
            const float wave = waves.layered(x / (0.15F + depth * 1.1F) * 3.0F, std::sqrt(depth) * 42, 4);
            Colour water =
                mixed(mixed(deep, sky.horizon, 0.35F * (1 - depth)), shallow, softStep(0.45F, 1, depth));
            water = mixed(water, sky.middle, 0.22F * (1 - depth));
            const float crest = softStep(0.56F, 0.75F, wave) * (0.25F + far);
            return mixed(scaledBy(water, 0.86F + wave * 0.28F), mixed(sky.horizon, Colour{1, 1, 1}, 0.4F),
                crest * 0.6F);
        });
}

void paintGlitter(Painter& painter, const Sky& sky, float sunX, float horizon, float bottom)
{
    const Noise noise(mixedSeed(painter.seed(), 5));
    painter.everywhere([&](float x, float y, Colour under) {
        if (y < horizon || y > bottom) {
            return under;
        }
        const float depth = (y - horizon) / (bottom - horizon);
        const float width = 0.035F + depth * 0.16F;
        const float near = std::exp(-(x - sunX) * (x - sunX) / (width * width));
        const float spark = noise.layered(x * (26 - depth * 14), std::sqrt(depth + 0.002F) * 70, 2);
        return mixed(under, sky.sun, std::clamp(near * softStep(0.42F, 0.62F, spark) * 0.95F, 0.0F, 1.0F));
    });
}

} // namespace vantorel::sample
