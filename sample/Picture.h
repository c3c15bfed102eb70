#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vantorel::sample {

/// Light of one point, 0 to 1 in each part.
struct Colour {
    float red = 0;
    float green = 0;
    float blue = 0;
};

inline Colour mixed(Colour a, Colour b, float share)
{
    return {a.red + (b.red - a.red) * share, a.green + (b.green - a.green) * share,
        a.blue + (b.blue - a.blue) * share};
}
inline Colour scaledBy(Colour colour, float factor)
{
    return {colour.red * factor, colour.green * factor, colour.blue * factor};
}

/// A picture in memory while it is drawn.
class Picture {
public:
    Picture(int width, int height)
        : width_(width)
        , height_(height)
        , points_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height))
    {
    }

    int width() const { return width_; }
    int height() const { return height_; }
    Colour& at(int x, int y) { return points_[index(x, y)]; }
    const Colour& at(int x, int y) const { return points_[index(x, y)]; }
    /// Lays a colour over what is there; `share` 1 hides it. Points outside are ignored.
    void lay(int x, int y, Colour colour, float share)
    {
        if (x >= 0 && y >= 0 && x < width_ && y < height_ && share > 0) {
            Colour& point = at(x, y);
            point = mixed(point, colour, std::min(share, 1.0F));
        }
    }

private:
    std::size_t index(int x, int y) const
    {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) + static_cast<std::size_t>(x);
    }

    int width_;
    int height_;
    std::vector<Colour> points_;
};

/// How many kinds of scenes there are: landscapes, towns by night, flowers, people at the sea, ...
extern const std::size_t sceneKinds;
/// A scene of a kind (counted around: any number will do). The same seed gives the same scene in every size.
Picture drawnScene(std::size_t kind, std::uint64_t seed, int width, int height);
/// What somebody made of it in the darkroom: cropped and black and white, warm, or faded.
Picture editedPicture(const Picture& picture, std::uint64_t seed);
/// Made smaller, so that it fits the long side.
Picture smallerPicture(const Picture& picture, int longSide);

/// Three bytes a point, row by row.
std::string pixelBytes(const Picture& picture);
std::string jpegFile(const Picture& picture, int quality);
std::string pngFile(const Picture& picture);

} // namespace vantorel::sample
