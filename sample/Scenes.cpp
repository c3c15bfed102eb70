#include "sample/Picture.h"
#include "sample/Random.h"

#include <cmath>

namespace vantorel::sample {

Picture drawnScene(std::uint64_t seed, int width, int height)
{
    Random random(seed);
    const Colour zenith{static_cast<float>(random.unit()), static_cast<float>(random.unit()), 0.8F};
    const Colour horizon{0.95F, 0.8F, static_cast<float>(random.unit())};
    const Colour ground{0.1F, static_cast<float>(random.between(0.2, 0.5)), 0.15F};
    const double phase = random.between(0, 6);
    Picture picture(width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const double across = static_cast<double>(x) / width;
            const double down = static_cast<double>(y) / height;
            const double hill =
                0.6 + 0.08 * std::sin(across * 5 + phase) + 0.03 * std::sin(across * 13 + phase * 2);
            picture.at(x, y) = down < hill ? mixed(zenith, horizon, static_cast<float>(down / hill))
                                           : scaledBy(ground, static_cast<float>(1.6 - down));
        }
    }
    return picture;
}

} // namespace vantorel::sample
