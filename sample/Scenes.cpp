#include "sample/SceneParts.h"

#include <array>

namespace vantorel::sample {

namespace {

using Scene = void (*)(Painter&);

constexpr std::array<Scene, 16> scenes{paintMountains, paintSunsetAtSea, paintFlowers, paintSkylineAtNight,
    paintBeach, paintHills, paintPeople, paintLake, paintWinter, paintLighthouse, paintForest,
    paintSkylineByDay, paintAutumnRoad, paintDesert, paintNorthernLights, paintLights};

} // namespace

const std::size_t sceneKinds = scenes.size();

Picture drawnScene(std::size_t kind, std::uint64_t seed, int width, int height)
{
    Picture picture(width, height);
    Painter painter(picture, seed);
    scenes[kind % scenes.size()](painter);
    return picture;
}

} // namespace vantorel::sample
