#pragma once

#include "sample/Picture.h"
#include "sample/Random.h"

#include <cstdint>
#include <utility>
#include <vector>

namespace vantorel::sample {

/// Smooth noise from a seed, 0 to 1, one hill or valley a unit.
class Noise {
public:
    explicit Noise(std::uint64_t seed)
        : seed_(static_cast<std::uint32_t>(seed ^ (seed >> 32U)))
    {
    }

    float at(float x, float y) const;
    /// Several sizes on top of each other: clouds, rock, waves.
    float layered(float x, float y, int layers) const;

private:
    std::uint32_t seed_;
};

/// 0 below `low`, 1 above `high`, soft in between.
float softStep(float low, float high, float value);

/// The light of a time of day.
struct Sky {
    Colour zenith;
    Colour middle;
    Colour horizon;
    Colour sun;
    float brightness = 1; ///< Of what the sky shines on.
    bool isNight = false;
};

namespace skies {
extern const Sky dawn;
extern const Sky noon;
extern const Sky golden;
extern const Sky dusk;
extern const Sky overcast;
extern const Sky night;
} // namespace skies

struct Spot {
    float x = 0;
    float y = 0;
};

/// A value that depends on x alone, worked out once for each column of a `Painter::below`.
template <typename Function>
class PerColumn {
public:
    explicit PerColumn(Function function)
        : function_(std::move(function))
    {
    }

    float operator()(float x)
    {
        if (x != x_) {
            x_ = x;
            value_ = function_(x);
        }
        return value_;
    }

private:
    Function function_;
    float x_ = -1;
    float value_ = 0;
};

/// Draws on a picture in units of its height: y runs from 0 (top) to 1, x from 0 to `right`. Edges are as
/// soft as one point of the picture, so that a scene looks the same in every size.
class Painter {
public:
    Painter(Picture& picture, std::uint64_t seed);

    float right() const { return right_; }
    Random& random() { return random_; }
    std::uint64_t seed() const { return seed_; }

    void sky(const Sky& sky, float horizon);
    void stars(int count, float horizon);
    void clouds(const Sky& sky, float horizon, float amount);
    void sun(const Sky& sky, Spot centre, float radius);
    /// All below a line, column by column: `line` gives y for x, `colour` the colour at a point. What is to
    /// be covered afterwards can be left out from `bottom` on.
    template <typename Line, typename Shade>
    void below(const Line& line, Shade&& colour, float bottom = 1);
    void ellipse(
        Spot centre, float width, float height, float turn, Colour colour, float share = 1, float blur = 0);
    void disc(Spot centre, float radius, Colour colour, float share = 1, float blur = 0)
    {
        ellipse(centre, radius, radius, 0, colour, share, blur);
    }
    void box(Spot topLeft, Spot bottomRight, Colour colour, float share = 1);
    /// A figure with corners, inside by the even-odd rule.
    void figure(const std::vector<Spot>& corners, Colour colour, float share = 1);
    void stroke(Spot from, Spot to, float width, Colour colour, float share = 1);
    /// Everything: what `change` makes of each point's colour.
    template <typename Change>
    void everywhere(Change change);
    /// Water below the horizon: what is above it, upside down, darker and rippled.
    void reflect(float horizon, Colour tint, float share, float ripples);
    /// A darker edge, a little grain, and the contrast of a photograph.
    void finish(float contrast);

private:
    template <typename Cover>
    void cover(Spot topLeft, Spot bottomRight, Cover share);
    int column(float x) const;
    int row(float y) const;

    Picture& picture_;
    Random random_;
    std::uint64_t seed_;
    float right_;
    float point_; ///< Height of one point.
};

template <typename Line, typename Shade>
void Painter::below(const Line& line, Shade&& colour, float bottom)
{
    for (int x = 0; x < picture_.width(); ++x) {
        const float across = (static_cast<float>(x) + 0.5F) * point_;
        const float edge = line(across);
        const int last = std::min(picture_.height() - 1, row(bottom) + 1);
        for (int y = std::max(0, row(edge) - 1); y <= last; ++y) {
            const float down = (static_cast<float>(y) + 0.5F) * point_;
            picture_.lay(x, y, colour(across, down), std::clamp((down - edge) / point_ + 0.5F, 0.0F, 1.0F));
        }
    }
}

template <typename Change>
void Painter::everywhere(Change change)
{
    for (int y = 0; y < picture_.height(); ++y) {
        for (int x = 0; x < picture_.width(); ++x) {
            Colour& point = picture_.at(x, y);
            point = change(
                (static_cast<float>(x) + 0.5F) * point_, (static_cast<float>(y) + 0.5F) * point_, point);
        }
    }
}

} // namespace vantorel::sample
