#include "app/pictures/PictureDecoder.h"
#include "app/pictures/PictureCache.h"
#include "tests/app/TestPictures.h"

#include <gmock/gmock.h>

#include <QtCore/qbuffer.h>
#include <QtCore/qloggingcategory.h>
#include <QtGui/qimagewriter.h>

namespace vantorel {
namespace {

DecodeFailure failure(std::string_view bytes)
{
    const auto picture = decodePicture(bytes, 100);
    EXPECT_FALSE(picture.has_value());
    return picture ? DecodeFailure::notAPicture : picture.error();
}

std::string pngChecksum(std::string_view chunk)
{
    std::uint32_t sum = ~0U;
    for (const char byte : chunk) {
        sum ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; ++bit) {
            sum = (sum >> 1) ^ ((sum & 1) != 0 ? 0xedb88320U : 0U);
        }
    }
    sum = ~sum;
    std::string bytes;
    for (const int shift : {24, 16, 8, 0}) {
        bytes += static_cast<char>(sum >> shift);
    }
    return bytes;
}

TEST(PictureDecoder, goesByTheContentAndFitsTheSquare)
{
    for (const auto* format : {"jpeg", "png"}) {
        const auto bytes = pictureBytes(300, 200, format);
        EXPECT_TRUE(isDecodable(bytes));
        EXPECT_EQ(decodePicture(bytes, 90).value().size(), QSize(90, 60)) << format;
        EXPECT_EQ(decodePicture(bytes, 1000).value().size(), QSize(300, 200)) << "never enlarged";
    }
    EXPECT_EQ(decodePicture(pictureBytes(900, 1, "png"), 90).value().size(), QSize(90, 1));
    for (const std::string_view other : {"II*\0\x10\0\0\0CR\x02",
             "\0\0\0\x14"
             "ftypqt  ",
             "%PDF-1.4"}) {
        EXPECT_FALSE(isDecodable(other));
        EXPECT_EQ(failure(other), DecodeFailure::notAPicture);
    }
}

TEST(PictureDecoder, turnsPicturesUpright)
{
    QImage image(40, 20, QImage::Format_RGB32);
    image.fill(Qt::red);
    QBuffer buffer;
    QImageWriter writer(&buffer, "jpeg");
    writer.setTransformation(QImageIOHandler::TransformationRotate90);
    ASSERT_TRUE(writer.write(image));
    const auto bytes = buffer.data().toStdString();
    EXPECT_EQ(decodePicture(bytes, 10).value().size(), QSize(5, 10));
}

TEST(PictureDecoder, takesNoMemoryForSizesThatNobodyHas)
{
    // A PNG of 60,000 times 60,000 pixels: the size stands at byte 16, its checksum at 29.
    auto png = pictureBytes(8, 8, "png");
    const std::string size("\0\0\xea\x60\0\0\xea\x60", 8);
    png.replace(16, 8, size);
    const auto sum = pngChecksum(png.substr(12, 17));
    png.replace(29, 4, sum);
    EXPECT_EQ(failure(png), DecodeFailure::tooLarge);

    // A JPEG's frame header: 0xFFC0, length, precision, height, width.
    auto jpeg = pictureBytes(8, 8, "jpeg");
    const auto frame = jpeg.find("\xff\xc0");
    ASSERT_NE(frame, std::string::npos);
    jpeg.replace(frame + 5, 4, "\xea\x60\xea\x60");
    EXPECT_EQ(failure(jpeg), DecodeFailure::tooLarge);

    // Passes over the same pixels without end, before the end mark.
    auto passes = pictureBytes(8, 8, "jpeg");
    const auto scan = passes.find("\xff\xda");
    const auto pass = passes.substr(scan, passes.size() - 2 - scan);
    for (int i = 0; i < 200; ++i) {
        passes.insert(passes.size() - 2, pass);
    }
    EXPECT_EQ(failure(passes), DecodeFailure::damaged);
}

TEST(PictureDecoder, survivesWhateverIsInAFile)
{
    std::vector<std::string> seeds{pictureBytes(40, 30, "jpeg"), pictureBytes(40, 30, "png"),
        std::string("\0\0\0\x18"
                    "ftypheic\0\0\0\0mif1heic\0\0\0\x10meta\0\0\0\0\0\0\0\0",
            40)};
    QLoggingCategory::setFilterRules("qt.gui.imageio*=false");
    std::uint32_t random = 7;
    for (const auto& seed : seeds) {
        for (std::size_t cut = 0; cut < seed.size(); cut += 1 + seed.size() / 100) {
            std::ignore = decodePicture(seed.substr(0, cut), 20);
        }
        for (int i = 0; i < 300; ++i) {
            auto bytes = seed;
            for (int flips = 0; flips < 3; ++flips) {
                random = random * 1'664'525U + 1'013'904'223U;
                bytes[random / 7 % bytes.size()] ^= static_cast<char>(1U << (random >> 29));
            }
            if (const auto picture = decodePicture(bytes, 20)) {
                ASSERT_LE(std::max(picture->width(), picture->height()), 20);
                ASSERT_GE(std::min(picture->width(), picture->height()), 1);
            }
        }
    }
    EXPECT_EQ(failure(seeds[2]), DecodeFailure::damaged) << "or libheif is missing in this build";
}

TEST(PictureCache, keepsToItsLimitButForWhatIsOnTheScreen)
{
    QImage image(10, 10, QImage::Format_RGB32); // 400 bytes
    image.fill(Qt::red);
    PictureCache cache(1000);
    cache.insert({.asset = 1, .side = 10, .image = image});
    cache.insert({.asset = 2, .side = 10, .image = image});
    EXPECT_NE(cache.find(1, 10), nullptr);
    cache.insert({.asset = 3, .side = 10, .image = image});
    EXPECT_FALSE(cache.contains(2, 10)) << "it was looked at longest ago";
    EXPECT_TRUE(cache.contains(1, 10));
    EXPECT_EQ(cache.bytes(), 800U);
    EXPECT_EQ(cache.nearest(1, 20), cache.find(1, 10));
    EXPECT_EQ(cache.find(1, 20), nullptr);

    cache.pin({PictureCache::keyOf(1, 10), PictureCache::keyOf(3, 10)});
    cache.insert({.asset = 4, .side = 10, .image = image});
    cache.insert({.asset = 5, .side = 10, .image = image});
    EXPECT_TRUE(cache.contains(1, 10));
    EXPECT_TRUE(cache.contains(3, 10));
    EXPECT_TRUE(cache.contains(5, 10)) << "somebody waits for it";
    EXPECT_FALSE(cache.contains(4, 10));
    cache.pin({});
    EXPECT_LE(cache.bytes(), 1000U);
}

} // namespace
} // namespace vantorel
