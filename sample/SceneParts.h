#pragma once

#include "sample/Painting.h"

#include <cmath>

namespace vantorel::sample {

/// The line of hills or mountains: y for x.
class Ridge {
public:
    Ridge(std::uint64_t seed, float base, float height, float frequency, int layers = 5)
        : noise_(seed)
        , base_(base)
        , height_(height)
        , frequency_(frequency)
        , layers_(layers)
    {
    }

    float operator()(float x) const
    {
        return base_ - height_ * (noise_.layered(x * frequency_, 3.7F, layers_) * 2 - 0.7F);
    }
    float base() const { return base_; }
    float height() const { return height_; }

private:
    Noise noise_;
    float base_;
    float height_;
    float frequency_;
    int layers_;
};

void paintConifer(Painter& painter, Spot foot, float height, Colour colour);
void paintRoundTree(Painter& painter, Spot foot, float height, Colour crown);
/// A person seen against the light, the feet at `foot`.
void paintPerson(Painter& painter, Spot foot, float height, Colour colour);
void paintDog(Painter& painter, Spot foot, float height, Colour colour);
void paintSailingBoat(Painter& painter, Spot keel, float height, Colour hull, Colour sail);
void paintHouse(Painter& painter, Spot foot, float width, Colour wall, Colour roof, bool isLit);
void paintBalloon(Painter& painter, Spot centre, float radius, Colour first, Colour second);
void paintBirds(Painter& painter, int count, float lowest);
/// A band of sea from the horizon down, with waves.
void paintSea(Painter& painter, const Sky& sky, float horizon, float bottom, Colour deep, Colour shallow);
/// The light of a low sun on water.
void paintGlitter(Painter& painter, const Sky& sky, float sunX, float horizon, float bottom);

/// The scenes. Each is one of many that its painter's random numbers lead to.
void paintMountains(Painter& painter);
void paintLake(Painter& painter);
void paintHills(Painter& painter);
void paintWinter(Painter& painter);
void paintNorthernLights(Painter& painter);
void paintDesert(Painter& painter);
void paintForest(Painter& painter);
void paintAutumnRoad(Painter& painter);
void paintSunsetAtSea(Painter& painter);
void paintBeach(Painter& painter);
void paintLighthouse(Painter& painter);
void paintSkylineAtNight(Painter& painter);
void paintSkylineByDay(Painter& painter);
void paintFlowers(Painter& painter);
void paintPeople(Painter& painter);
void paintLights(Painter& painter);

} // namespace vantorel::sample
