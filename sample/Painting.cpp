#include "sample/Painting.h"

#include <cmath>

namespace vantorel::sample {

namespace skies {
const Sky dawn{
    {0.38F, 0.52F, 0.76F}, {0.90F, 0.74F, 0.70F}, {1.0F, 0.88F, 0.70F}, {1.0F, 0.95F, 0.82F}, 0.85F};
const Sky noon{
    {0.16F, 0.40F, 0.76F}, {0.45F, 0.68F, 0.92F}, {0.82F, 0.91F, 0.97F}, {1.0F, 1.0F, 0.94F}, 1.0F};
const Sky golden{
    {0.34F, 0.48F, 0.70F}, {0.86F, 0.74F, 0.58F}, {1.0F, 0.85F, 0.56F}, {1.0F, 0.93F, 0.70F}, 0.9F};
const Sky dusk{
    {0.14F, 0.15F, 0.36F}, {0.66F, 0.33F, 0.44F}, {1.0F, 0.62F, 0.32F}, {1.0F, 0.78F, 0.45F}, 0.55F};
const Sky overcast{
    {0.54F, 0.60F, 0.67F}, {0.70F, 0.74F, 0.79F}, {0.86F, 0.88F, 0.89F}, {1.0F, 1.0F, 1.0F}, 0.8F};
const Sky night{
    {0.02F, 0.03F, 0.10F}, {0.05F, 0.08F, 0.20F}, {0.15F, 0.19F, 0.34F}, {0.96F, 0.95F, 0.86F}, 0.22F, true};
} // namespace skies

float softStep(float low, float high, float value)
{
    const float t = std::clamp((value - low) / (high - low), 0.0F, 1.0F);
    return t * t * (3 - 2 * t);
}

namespace {

/// Like std::floor and std::lerp, which are exact in every corner and too slow for each point of a picture.
std::int32_t wholeBelow(float value)
{
    const auto whole = static_cast<std::int32_t>(value);
    return static_cast<float>(whole) > value ? whole - 1 : whole;
}

float between(float first, float second, float share) { return first + (second - first) * share; }

/// 0 to 1 for a corner of the noise's grid.
float cornerValue(std::uint32_t seed, std::uint32_t x, std::uint32_t y)
{
    std::uint32_t value = seed + x * 0x27d4eb2dU + y * 0x9e3779b1U;
    value = (value ^ (value >> 15U)) * 0x85ebca6bU;
    value = (value ^ (value >> 13U)) * 0xc2b2ae35U;
    return static_cast<float>(value >> 8U) * 0x1p-24F;
}

} // namespace

float Noise::at(float x, float y) const
{
    const std::int32_t column = wholeBelow(x);
    const std::int32_t row = wholeBelow(y);
    const float alongX = x - static_cast<float>(column);
    const float alongY = y - static_cast<float>(row);
    const float across = alongX * alongX * (3 - 2 * alongX);
    const float down = alongY * alongY * (3 - 2 * alongY);
    const auto left = static_cast<std::uint32_t>(column);
    const auto top = static_cast<std::uint32_t>(row);
    const float upper = between(cornerValue(seed_, left, top), cornerValue(seed_, left + 1, top), across);
    const float lower =
        between(cornerValue(seed_, left, top + 1), cornerValue(seed_, left + 1, top + 1), across);
    return between(upper, lower, down);
}

float Noise::layered(float x, float y, int layers) const
{
    float sum = 0;
    float weight = 0.5F;
    float all = 0;
    for (int i = 0; i < layers; ++i) {
        sum += weight * at(x + static_cast<float>(i) * 17.3F, y + static_cast<float>(i) * 9.1F);
        all += weight;
        weight *= 0.5F;
        x *= 2.03F;
        y *= 2.03F;
    }
    return sum / all;
}

Painter::Painter(Picture& picture, std::uint64_t seed)
    : picture_(picture)
    , random_(seed)
    , seed_(seed)
    , right_(static_cast<float>(picture.width()) / static_cast<float>(picture.height()))
    , point_(1.0F / static_cast<float>(picture.height()))
{
}

int Painter::column(float x) const
{
    return static_cast<int>(std::clamp(x / point_, -1.0F, static_cast<float>(picture_.width())));
}

int Painter::row(float y) const
{
    return static_cast<int>(std::clamp(y / point_, -1.0F, static_cast<float>(picture_.height())));
}

template <typename Cover>
void Painter::cover(Spot topLeft, Spot bottomRight, Cover paint)
{
    const int lastColumn = std::min(picture_.width() - 1, column(bottomRight.x) + 1);
    const int lastRow = std::min(picture_.height() - 1, row(bottomRight.y) + 1);
    for (int y = std::max(0, row(topLeft.y) - 1); y <= lastRow; ++y) {
        for (int x = std::max(0, column(topLeft.x) - 1); x <= lastColumn; ++x) {
            paint(
                x, y, Spot{(static_cast<float>(x) + 0.5F) * point_, (static_cast<float>(y) + 0.5F) * point_});
        }
    }
}

void Painter::sky(const Sky& sky, float horizon)
{
    everywhere([&](float, float y, Colour) {
        const float height = std::clamp(y / horizon, 0.0F, 1.0F);
        return height < 0.55F ? mixed(sky.zenith, sky.middle, softStep(0, 0.55F, height))
                              : mixed(sky.middle, sky.horizon, softStep(0.55F, 1, height));
    });
}

void Painter::stars(int count, float horizon)
{
    for (int i = 0; i < count; ++i) {
        const Spot spot{
            static_cast<float>(random_.unit()) * right_, static_cast<float>(random_.unit()) * horizon};
        const auto light = static_cast<float>(random_.between(0.15, 0.9));
        disc(spot, static_cast<float>(random_.between(0.0008, 0.0022)), {1, 1, 0.95F}, light, 0.002F);
    }
}

void Painter::clouds(const Sky& sky, float horizon, float amount)
{
    const Noise noise(mixedSeed(seed_, 1));
    const auto drift = static_cast<float>(random_.between(0, 50));
    const Colour lit = mixed(sky.sun, Colour{1, 1, 1}, 0.5F);
    const Colour shaded = mixed(sky.middle, scaledBy(sky.horizon, 0.75F), 0.6F);
    everywhere([&](float x, float y, Colour under) {
        if (y > horizon) {
            return under;
        }
        // Farther clouds are smaller and lie flatter above the horizon.
        const float depth = 0.25F + (horizon - y) * 1.6F;
        const float u = x / depth * 0.9F + drift;
        const float v = 1.1F / depth;
        const float density = noise.layered(u, v * 2.2F, 5);
        const float share = softStep(1 - amount * 0.62F, 1 - amount * 0.62F + 0.22F, density + 0.12F);
        if (share <= 0) {
            return under;
        }
        const float above = noise.layered(u + 0.06F, v * 2.2F - 0.22F, 4);
        const Colour cloud = mixed(lit, shaded, std::clamp((above - 0.35F) * 1.5F, 0.0F, 1.0F));
        return mixed(under, cloud, share * 0.9F * softStep(0, 0.12F, horizon - y));
    });
}

void Painter::sun(const Sky& sky, Spot centre, float radius)
{
    everywhere([&](float x, float y, Colour under) {
        const float dx = (x - centre.x) / radius;
        const float dy = (y - centre.y) / radius;
        const float glow = 1.0F / (1.0F + (dx * dx + dy * dy) * (sky.isNight ? 0.9F : 0.28F));
        return mixed(under, sky.sun, std::min(0.9F, glow * (sky.isNight ? 0.35F : 0.7F)));
    });
    disc(centre, radius, sky.sun, 1, radius * 0.08F);
    if (sky.isNight) {
        disc({centre.x - radius * 0.3F, centre.y - radius * 0.2F}, radius * 0.22F, scaledBy(sky.sun, 0.86F),
            0.6F, radius * 0.1F);
        disc({centre.x + radius * 0.25F, centre.y + radius * 0.3F}, radius * 0.3F, scaledBy(sky.sun, 0.88F),
            0.5F, radius * 0.12F);
    }
}

void Painter::ellipse(
    Spot centre, float width, float height, float turn, Colour colour, float share, float blur)
{
    const float cosine = std::cos(turn);
    const float sine = std::sin(turn);
    const float reach = std::max(width, height) + blur + point_;
    const float least = std::max(std::min(width, height), point_ * 0.5F);
    const float soft = std::max(point_, blur);
    cover({centre.x - reach, centre.y - reach}, {centre.x + reach, centre.y + reach},
        [&](int x, int y, Spot spot) {
            const float dx = spot.x - centre.x;
            const float dy = spot.y - centre.y;
            const float along = (dx * cosine + dy * sine) / std::max(width, point_ * 0.5F);
            const float beside = (dy * cosine - dx * sine) / std::max(height, point_ * 0.5F);
            const float outside = (std::sqrt(along * along + beside * beside) - 1) * least;
            picture_.lay(x, y, colour, share * std::clamp(0.5F - outside / soft, 0.0F, 1.0F));
        });
}

void Painter::box(Spot topLeft, Spot bottomRight, Colour colour, float share)
{
    cover(topLeft, bottomRight, [&](int x, int y, Spot spot) {
        const float inside = std::min(std::min(spot.x - topLeft.x, bottomRight.x - spot.x),
            std::min(spot.y - topLeft.y, bottomRight.y - spot.y));
        picture_.lay(x, y, colour, share * std::clamp(inside / point_ + 0.5F, 0.0F, 1.0F));
    });
}

void Painter::figure(const std::vector<Spot>& corners, Colour colour, float share)
{
    Spot topLeft{1e9F, 1e9F};
    Spot bottomRight{-1e9F, -1e9F};
    for (const Spot& corner : corners) {
        topLeft = {std::min(topLeft.x, corner.x), std::min(topLeft.y, corner.y)};
        bottomRight = {std::max(bottomRight.x, corner.x), std::max(bottomRight.y, corner.y)};
    }
    const auto isInside = [&](float px, float py) {
        bool inside = false;
        for (std::size_t i = 0, k = corners.size() - 1; i < corners.size(); k = i++) {
            const Spot& a = corners[i];
            const Spot& b = corners[k];
            if ((a.y > py) != (b.y > py) && px < (b.x - a.x) * (py - a.y) / (b.y - a.y) + a.x) {
                inside = !inside;
            }
        }
        return inside;
    };
    cover(topLeft, bottomRight, [&](int x, int y, Spot spot) {
        int hits = 0;
        for (const float dx : {-0.25F, 0.25F}) {
            for (const float dy : {-0.25F, 0.25F}) {
                hits += isInside(spot.x + dx * point_, spot.y + dy * point_) ? 1 : 0;
            }
        }
        picture_.lay(x, y, colour, share * static_cast<float>(hits) * 0.25F);
    });
}

void Painter::stroke(Spot from, Spot to, float width, Colour colour, float share)
{
    const float length = std::max(std::hypot(to.x - from.x, to.y - from.y), 1e-6F);
    const Spot along{(to.x - from.x) / length, (to.y - from.y) / length};
    const float half = std::max(width / 2, point_ * 0.5F);
    cover({std::min(from.x, to.x) - half, std::min(from.y, to.y) - half},
        {std::max(from.x, to.x) + half, std::max(from.y, to.y) + half}, [&](int x, int y, Spot spot) {
            const float dx = spot.x - from.x;
            const float dy = spot.y - from.y;
            const float at = std::clamp(dx * along.x + dy * along.y, 0.0F, length);
            const float asideX = dx - along.x * at;
            const float asideY = dy - along.y * at;
            const float away = std::sqrt(asideX * asideX + asideY * asideY);
            picture_.lay(x, y, colour, share * std::clamp((half - away) / point_ + 0.5F, 0.0F, 1.0F));
        });
}

void Painter::reflect(float horizon, Colour tint, float share, float ripples)
{
    const Picture above = picture_;
    const Noise waves(mixedSeed(seed_, 3));
    for (int y = std::max(0, row(horizon)); y < picture_.height(); ++y) {
        // The first row may begin above the horizon: by up to half a point, a good deal of a tiny picture.
        const float down = std::max(0.0F, (static_cast<float>(y) + 0.5F) * point_ - horizon);
        for (int x = 0; x < picture_.width(); ++x) {
            const float across = static_cast<float>(x) * point_;
            const float wave =
                waves.layered(across * 5 / (0.2F + down), 40 * std::sqrt(down + 0.01F), 3) - 0.5F;
            const float from = horizon - down * 0.9F + wave * ripples * (0.1F + down);
            const float aside = across + wave * ripples * 0.3F * down;
            const int sourceX = std::clamp(column(aside), 0, picture_.width() - 1);
            const int sourceY = std::clamp(row(from), 0, picture_.height() - 1);
            const Colour mirrored = scaledBy(above.at(sourceX, sourceY), 0.88F + wave * 0.25F);
            picture_.at(x, y) = mixed(mirrored, tint, std::clamp(share + down * 0.35F, 0.0F, 1.0F));
        }
    }
}

void Painter::finish(float contrast)
{
    const Noise grain(mixedSeed(seed_, 2));
    everywhere([&](float x, float y, Colour colour) {
        const float dx = (x - right_ / 2) / right_;
        const float dy = y - 0.5F;
        const float corner = 1 - 0.35F * (dx * dx + dy * dy);
        const float speck = (grain.at(x * 420, y * 420) - 0.5F) * 0.018F;
        const auto developed = [&](float light) {
            const float lit = std::clamp(light * corner, 0.0F, 1.0F);
            return between(lit, softStep(0, 1, lit), contrast) + speck;
        };
        return Colour{developed(colour.red), developed(colour.green), developed(colour.blue)};
    });
}

} // namespace vantorel::sample
