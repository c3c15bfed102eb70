#include "sample/Picture.h"
#include "sample/Random.h"

#include <cmath>

namespace vantorel::sample {

namespace {

Picture cropped(const Picture& picture, float share)
{
    const int width = std::max(1, static_cast<int>(static_cast<float>(picture.width()) * share));
    const int height = std::max(1, static_cast<int>(static_cast<float>(picture.height()) * share));
    const int left = (picture.width() - width) / 2;
    const int top = (picture.height() - height) / 3;
    Picture part(width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            part.at(x, y) = picture.at(left + x, top + y);
        }
    }
    return part;
}

float brightness(Colour colour) { return 0.299F * colour.red + 0.587F * colour.green + 0.114F * colour.blue; }

} // namespace

Picture editedPicture(const Picture& picture, std::uint64_t seed)
{
    Random random(seed);
    const std::size_t manner = random.below(3);
    Picture result = manner == 0 ? cropped(picture, 0.8F) : picture;
    const auto width = static_cast<float>(result.width());
    const auto height = static_cast<float>(result.height());
    for (int y = 0; y < result.height(); ++y) {
        for (int x = 0; x < result.width(); ++x) {
            Colour& point = result.at(x, y);
            const float grey = brightness(point);
            const float fromCentreX = (static_cast<float>(x) / width - 0.5F) * 2;
            const float fromCentreY = (static_cast<float>(y) / height - 0.5F) * 2;
            const float corner = 1 - 0.28F * (fromCentreX * fromCentreX + fromCentreY * fromCentreY);
            if (manner == 0) {
                const float contrast = std::clamp((grey - 0.5F) * 1.3F + 0.5F, 0.0F, 1.0F);
                point = {contrast, contrast, contrast};
            } else if (manner == 1) {
                point = {point.red * 1.12F + 0.04F, point.green * 1.02F, point.blue * 0.82F};
            } else {
                point = mixed(
                    point, Colour{grey * 1.05F + 0.05F, grey * 0.92F + 0.04F, grey * 0.72F + 0.03F}, 0.8F);
            }
            point = scaledBy(point, corner);
        }
    }
    return result;
}

Picture smallerPicture(const Picture& picture, int longSide)
{
    const int longest = std::max(picture.width(), picture.height());
    if (longest <= longSide) {
        return picture;
    }
    const auto shrunk = [&](int side) { return std::max(1, side * longSide / longest); };
    Picture small(shrunk(picture.width()), shrunk(picture.height()));
    for (int y = 0; y < small.height(); ++y) {
        const int top = y * picture.height() / small.height();
        const int bottom = std::max(top + 1, (y + 1) * picture.height() / small.height());
        for (int x = 0; x < small.width(); ++x) {
            const int left = x * picture.width() / small.width();
            const int right = std::max(left + 1, (x + 1) * picture.width() / small.width());
            Colour sum;
            for (int inY = top; inY < bottom; ++inY) {
                for (int inX = left; inX < right; ++inX) {
                    const Colour& point = picture.at(inX, inY);
                    sum = {sum.red + point.red, sum.green + point.green, sum.blue + point.blue};
                }
            }
            small.at(x, y) = scaledBy(sum, 1.0F / static_cast<float>((bottom - top) * (right - left)));
        }
    }
    return small;
}

} // namespace vantorel::sample
