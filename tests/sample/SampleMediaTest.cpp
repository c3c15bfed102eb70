#include "sample/ItemMedia.h"
#include "sample/MediaFiles.h"
#include "sample/Picture.h"
#include "sample/PlistWriter.h"

#include "base/BinaryPlist.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include <jpeglib.h>
#include <png.h>

namespace vantorel::sample {

namespace {

struct Decoded {
    int width = 0;
    int height = 0;
    std::vector<unsigned char> pixels{};
};

Decoded decodedJpeg(const std::string& file)
{
    jpeg_decompress_struct state{};
    jpeg_error_mgr errors{};
    state.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&state);
    jpeg_mem_src(
        &state, reinterpret_cast<const unsigned char*>(file.data()), static_cast<unsigned long>(file.size()));
    jpeg_read_header(&state, TRUE);
    jpeg_start_decompress(&state);
    Decoded picture{
        .width = static_cast<int>(state.output_width), .height = static_cast<int>(state.output_height)};
    const std::size_t stride = state.output_width * 3UL;
    picture.pixels.resize(stride * state.output_height);
    while (state.output_scanline < state.output_height) {
        unsigned char* row = picture.pixels.data() + state.output_scanline * stride;
        jpeg_read_scanlines(&state, &row, 1);
    }
    EXPECT_EQ(errors.num_warnings, 0);
    jpeg_finish_decompress(&state);
    jpeg_destroy_decompress(&state);
    return picture;
}

Decoded decodedPng(const std::string& file)
{
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    EXPECT_NE(png_image_begin_read_from_memory(&image, file.data(), file.size()), 0);
    image.format = PNG_FORMAT_RGB;
    Decoded picture{.width = static_cast<int>(image.width), .height = static_cast<int>(image.height)};
    picture.pixels.resize(PNG_IMAGE_SIZE(image));
    EXPECT_NE(png_image_finish_read(&image, nullptr, picture.pixels.data(), 0, nullptr), 0);
    return picture;
}

std::string bytesOf(const Decoded& picture) { return {picture.pixels.begin(), picture.pixels.end()}; }

double difference(const std::string& first, const std::string& second)
{
    double sum = 0;
    for (std::size_t i = 0; i < first.size(); ++i) {
        sum += std::abs(static_cast<unsigned char>(first[i]) - static_cast<unsigned char>(second[i]));
    }
    return sum / static_cast<double>(first.size());
}

std::uint32_t bigEndian(const std::string& bytes, std::size_t at)
{
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        number = (number << 8U) | static_cast<unsigned char>(bytes.at(at + i));
    }
    return number;
}

/// Position of an atom's content by its path, "moov/trak/mdia"; none is 0.
std::size_t atom(const std::string& file, const std::vector<std::string>& path)
{
    std::size_t at = 0;
    std::size_t end = file.size();
    for (const std::string& name : path) {
        while (at < end && file.compare(at + 4, 4, name) != 0) {
            at += bigEndian(file, at);
        }
        if (at >= end) {
            return 0;
        }
        end = at + bigEndian(file, at);
        at += 8;
    }
    return at;
}

TEST(SamplePictures, decodeToWhatWasDrawn)
{
    for (std::size_t kind = 0; kind < sceneKinds; ++kind) {
        const Picture picture = drawnScene(kind, 4, 60, 45);
        const std::string drawn = pixelBytes(picture);
        const Decoded png = decodedPng(pngFile(picture));
        EXPECT_EQ(std::pair(png.width, png.height), std::pair(60, 45));
        EXPECT_TRUE(bytesOf(png) == drawn) << "PNG of scene " << kind;
        const Decoded jpeg = decodedJpeg(jpegFile(picture, 90));
        EXPECT_EQ(std::pair(jpeg.width, jpeg.height), std::pair(60, 45));
        EXPECT_LT(difference(bytesOf(jpeg), drawn), 12) << "JPEG of scene " << kind;
    }
}

TEST(SamplePictures, differByKindAndSeedAndEditAndStayTheSameInEverySize)
{
    std::set<std::string> seen;
    for (std::size_t kind = 0; kind < sceneKinds; ++kind) {
        for (const std::uint64_t seed : {1U, 2U}) {
            const Picture picture = drawnScene(kind, seed, 80, 60);
            EXPECT_TRUE(seen.insert(pixelBytes(picture)).second) << kind;
            EXPECT_EQ(pixelBytes(picture), pixelBytes(drawnScene(kind, seed, 80, 60))) << kind;
            const Picture edited = editedPicture(picture, seed);
            const std::string plain = pixelBytes(smallerPicture(picture, edited.width()));
            EXPECT_GT(difference(plain, pixelBytes(edited)), 3) << "The edit of " << kind << " can be seen.";
            const std::string large = pixelBytes(smallerPicture(drawnScene(kind, seed, 160, 120), 80));
            EXPECT_LT(difference(large, pixelBytes(picture)), 22) << kind;
        }
    }
}

TEST(SamplePictures, canBeOnePointLarge)
{
    for (std::size_t kind = 0; kind < sceneKinds; ++kind) {
        const Picture picture = drawnScene(kind, 1, 1, 1);
        EXPECT_EQ(decodedJpeg(jpegFile(smallerPicture(editedPicture(picture, 1), 1), 80)).width, 1);
        EXPECT_EQ(drawnScene(kind, 1, 300, 7).width(), 300);
    }
}

TEST(SampleMovies, sayWhereTheirPicturesAre)
{
    std::vector<std::string> pictures;
    for (std::uint64_t i = 0; i < 3; ++i) {
        pictures.push_back(jpegFile(drawnScene(i, i, 32, 24), 80));
    }
    for (const bool isMp4 : {false, true}) {
        const std::string file =
            movieFile({.width = 32, .height = 24, .isMp4 = isMp4, .contentIdentifier = "ID-1"}, pictures);
        EXPECT_EQ(file.substr(4, 8), isMp4 ? "ftypmp42" : "ftypqt  ");
        EXPECT_EQ(bigEndian(file, 0) + bigEndian(file, bigEndian(file, 0))
                + bigEndian(file, bigEndian(file, 0) + bigEndian(file, bigEndian(file, 0))),
            file.size())
            << "The file is three atoms.";
        const std::size_t offsets = atom(file, {"moov", "trak", "mdia", "minf", "stbl", "stco"});
        const std::size_t sizes = atom(file, {"moov", "trak", "mdia", "minf", "stbl", "stsz"});
        ASSERT_NE(offsets, 0U);
        ASSERT_NE(sizes, 0U);
        ASSERT_EQ(bigEndian(file, offsets + 4), pictures.size());
        for (std::size_t i = 0; i < pictures.size(); ++i) {
            EXPECT_EQ(file.substr(bigEndian(file, offsets + 8 + 4 * i), bigEndian(file, sizes + 12 + 4 * i)),
                pictures[i]);
        }
        EXPECT_NE(atom(file, {"moov", "meta"}), 0U);
    }
}

TEST(SampleFingerprints, areThoseOfPhotos)
{
    // SHA-1 of the two salts' names, each with a zero byte, and "abc", behind a byte 1; worked out elsewhere.
    EXPECT_EQ(factsOf("abc").size, 3);
    EXPECT_EQ(factsOf("abc").fingerprint, "AYnnoj1r4lMYTs3JP/g7mjGaDCgO");
}

TEST(SamplePlists, readBack)
{
    const std::string longText(300, 'x');
    const PlistValue::Dictionary dictionary{{"yes", true}, {"small", 7}, {"wide", 300}, {"long", 70'000},
        {"huge", std::int64_t{5'000'000'000}}, {"below", -1}, {"real", 2.5},
        {"date", PlistValue::Date{-63'114'076'800.0}}, {"data", PlistValue::Data{std::string("a\0b", 3)}},
        {"text", "plain"}, {"umlaut", "Zo\u00eb \U0001F3D4"}, {"longText", longText},
        {"list", PlistValue::Array{1, "two", PlistValue::Array{}}}};
    const std::string bytes = binaryPlist(dictionary);
    const auto list = BinaryPlist::open(bytes);
    ASSERT_TRUE(list);
    const auto at = [&](const char* key) { return list->value(list->top(), key).value(); };
    EXPECT_EQ(list->boolean(at("yes")), true);
    EXPECT_EQ(list->integer(at("small")), 7);
    EXPECT_EQ(list->integer(at("wide")), 300);
    EXPECT_EQ(list->integer(at("long")), 70'000);
    EXPECT_EQ(list->integer(at("huge")), 5'000'000'000);
    EXPECT_EQ(list->integer(at("below")), -1);
    EXPECT_EQ(list->real(at("real")), 2.5);
    EXPECT_EQ(list->date(at("date")), -63'114'076'800.0);
    EXPECT_EQ(list->data(at("data")), std::string_view("a\0b", 3));
    EXPECT_EQ(list->string(at("text")), "plain");
    EXPECT_EQ(list->string(at("umlaut")), "Zo\u00eb \U0001F3D4");
    EXPECT_EQ(list->string(at("longText")), longText);
    const auto elements = list->elements(at("list"));
    ASSERT_EQ(elements.value().size(), 3U);
    EXPECT_EQ(list->string(elements.value()[1]), "two");
}

} // namespace

} // namespace vantorel::sample
