#include "sample/Picture.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>

#include <jpeglib.h>
#include <png.h>

namespace vantorel::sample {

namespace {

unsigned char byteOf(float light)
{
    return static_cast<unsigned char>(std::clamp(light, 0.0F, 1.0F) * 255.0F + 0.5F);
}

/// libjpeg ends the process on an error, unless this is in the way. Its C frames hold nothing of ours.
[[noreturn]] void throwJpegError(j_common_ptr state)
{
    char text[JMSG_LENGTH_MAX];
    state->err->format_message(state, text);
    throw std::runtime_error(std::string("A picture could not be encoded: ") + text + ".");
}

void appendPngBytes(png_structp state, png_bytep bytes, std::size_t count)
{
    static_cast<std::string*>(png_get_io_ptr(state))->append(reinterpret_cast<const char*>(bytes), count);
}

[[noreturn]] void throwPngError(png_structp, png_const_charp text)
{
    throw std::runtime_error(std::string("A picture could not be encoded: ") + text + ".");
}

} // namespace

std::string pixelBytes(const Picture& picture)
{
    std::string bytes;
    bytes.reserve(static_cast<std::size_t>(picture.width()) * static_cast<std::size_t>(picture.height()) * 3);
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            const Colour& colour = picture.at(x, y);
            bytes += static_cast<char>(byteOf(colour.red));
            bytes += static_cast<char>(byteOf(colour.green));
            bytes += static_cast<char>(byteOf(colour.blue));
        }
    }
    return bytes;
}

std::string jpegFile(const Picture& picture, int quality)
{
    std::string pixels = pixelBytes(picture);
    jpeg_error_mgr errors{};
    jpeg_compress_struct state{};
    state.err = jpeg_std_error(&errors);
    errors.error_exit = throwJpegError;
    jpeg_create_compress(&state);
    unsigned char* memory = nullptr;
    unsigned long size = 0;
    const auto freeAll = [&](jpeg_compress_struct* compress) {
        jpeg_destroy_compress(compress);
        std::free(memory);
    };
    const std::unique_ptr<jpeg_compress_struct, decltype(freeAll)> guard(&state, freeAll);
    jpeg_mem_dest(&state, &memory, &size);
    state.image_width = static_cast<JDIMENSION>(picture.width());
    state.image_height = static_cast<JDIMENSION>(picture.height());
    state.input_components = 3;
    state.in_color_space = JCS_RGB;
    jpeg_set_defaults(&state);
    // The slow method is exact: it gives the same bytes with and without vector instructions.
    state.dct_method = JDCT_ISLOW;
    jpeg_set_quality(&state, quality, TRUE);
    jpeg_start_compress(&state, TRUE);
    const std::size_t stride = static_cast<std::size_t>(picture.width()) * 3;
    while (state.next_scanline < state.image_height) {
        auto* row = reinterpret_cast<JSAMPROW>(pixels.data() + state.next_scanline * stride);
        jpeg_write_scanlines(&state, &row, 1);
    }
    jpeg_finish_compress(&state);
    return {reinterpret_cast<const char*>(memory), size};
}

std::string pngFile(const Picture& picture)
{
    std::string pixels = pixelBytes(picture);
    std::string file;
    png_structp state = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, throwPngError, nullptr);
    if (state == nullptr) {
        throw std::runtime_error("A picture could not be encoded: no memory.");
    }
    png_infop info = png_create_info_struct(state);
    const auto freeAll = [&](png_struct* write) { png_destroy_write_struct(&write, &info); };
    const std::unique_ptr<png_struct, decltype(freeAll)> guard(state, freeAll);
    png_set_write_fn(state, &file, appendPngBytes, nullptr);
    png_set_IHDR(state, info, static_cast<png_uint_32>(picture.width()),
        static_cast<png_uint_32>(picture.height()), 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
        PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(state, info);
    const std::size_t stride = static_cast<std::size_t>(picture.width()) * 3;
    for (std::size_t y = 0; y < static_cast<std::size_t>(picture.height()); ++y) {
        png_write_row(state, reinterpret_cast<png_const_bytep>(pixels.data() + y * stride));
    }
    png_write_end(state, info);
    return file;
}

} // namespace vantorel::sample
