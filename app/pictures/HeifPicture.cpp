#include "app/pictures/HeifPicture.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <vector>

#include <QtGui/qcolorspace.h>

#include <libheif/heif.h>

namespace vantorel {

namespace {

template <auto Free>
struct FreedHeif {
    template <typename T>
    void operator()(T* handle) const
    {
        Free(handle);
    }
};
using HeifContext = std::unique_ptr<heif_context, FreedHeif<heif_context_free>>;
using HeifHandle = std::unique_ptr<heif_image_handle, FreedHeif<heif_image_handle_release>>;
using HeifImage = std::unique_ptr<heif_image, FreedHeif<heif_image_release>>;
using HeifOptions = std::unique_ptr<heif_decoding_options, FreedHeif<heif_decoding_options_free>>;

bool isGood(const heif_error& error) { return error.code == heif_error_Ok; }

void setLimits(heif_context& context)
{
#if LIBHEIF_HAVE_VERSION(1, 19, 0)
    if (auto* limits = heif_context_get_security_limits(&context)) {
        limits->max_image_size_pixels = static_cast<std::uint64_t>(mostPicturePixels);
        limits->max_number_of_tiles = 4096;
        limits->max_memory_block_size = static_cast<std::uint64_t>(mostPicturePixels) * 4;
    }
#else
    // Of each side. The pixels are looked at before the decoding begins.
    heif_context_set_maximum_image_size_limit(&context, mostPictureSide);
#endif
    // Pictures are decoded side by side already.
    heif_context_set_max_decoding_threads(&context, 0);
}

QSize sizeOf(const heif_image_handle& handle)
{
    return {heif_image_handle_get_width(&handle), heif_image_handle_get_height(&handle)};
}

/// The thumbnail that shows the same as the main picture and is large enough; none without such a one.
HeifHandle thumbnailOf(const heif_image_handle& main, int side)
{
    std::array<heif_item_id, 8> ids{};
    const int count =
        heif_image_handle_get_list_of_thumbnail_IDs(&main, ids.data(), static_cast<int>(ids.size()));
    const QSize whole = sizeOf(main);
    for (int i = 0; i < std::min(count, static_cast<int>(ids.size())); ++i) {
        heif_image_handle* raw = nullptr;
        if (!isGood(heif_image_handle_get_thumbnail(&main, ids[static_cast<std::size_t>(i)], &raw)) || !raw) {
            continue;
        }
        HeifHandle handle(raw);
        const QSize size = sizeOf(*handle);
        // One that lies on its side was not turned as the main picture is.
        const double difference = static_cast<double>(size.width()) * whole.height()
            - static_cast<double>(size.height()) * whole.width();
        const bool isAlike = std::abs(difference) < 0.03 * static_cast<double>(size.width()) * whole.height();
        if (isAlike && std::max(size.width(), size.height()) >= side && isPictureSize(size)) {
            return handle;
        }
    }
    return nullptr;
}

void setColours(QImage& image, const heif_image_handle& handle)
{
    constexpr std::size_t mostProfileBytes = 1 << 20;
    const auto bytes = heif_image_handle_get_raw_color_profile_size(&handle);
    const auto kind = heif_image_handle_get_color_profile_type(&handle);
    const bool isIcc = kind == heif_color_profile_type_rICC || kind == heif_color_profile_type_prof;
    if (!isIcc || bytes == 0 || bytes > mostProfileBytes) {
        return;
    }
    QByteArray profile(static_cast<qsizetype>(bytes), Qt::Uninitialized);
    if (isGood(heif_image_handle_get_raw_color_profile(&handle, profile.data()))) {
        image.setColorSpace(QColorSpace::fromIccProfile(profile));
    }
}

} // namespace

bool canDecodeHeif()
{
    static const bool can = heif_have_decoder_for_format(heif_compression_HEVC) != 0;
    return can;
}

DecodedPicture decodeHeif(std::string_view bytes, int side)
{
    const HeifContext context(heif_context_alloc());
    if (!context) {
        return std::unexpected(DecodeFailure::damaged);
    }
    setLimits(*context);
    if (!isGood(
            heif_context_read_from_memory_without_copy(context.get(), bytes.data(), bytes.size(), nullptr))) {
        return std::unexpected(DecodeFailure::damaged);
    }
    heif_image_handle* raw = nullptr;
    if (!isGood(heif_context_get_primary_image_handle(context.get(), &raw)) || !raw) {
        return std::unexpected(DecodeFailure::damaged);
    }
    HeifHandle handle(raw);
    if (!isPictureSize(sizeOf(*handle))) {
        return std::unexpected(DecodeFailure::tooLarge);
    }
    if (auto small = thumbnailOf(*handle, side)) {
        handle = std::move(small);
    }
    const auto turn = turnForLargePicture(sizeOf(*handle));
    const HeifOptions options(heif_decoding_options_alloc());
    if (!options) {
        return std::unexpected(DecodeFailure::damaged);
    }
    options->convert_hdr_to_8bit = 1;
    heif_image* decoded = nullptr;
    if (!isGood(heif_decode_image(
            handle.get(), &decoded, heif_colorspace_RGB, heif_chroma_interleaved_RGB, options.get()))
        || !decoded) {
        return std::unexpected(DecodeFailure::damaged);
    }
    const HeifImage image(decoded);
    int stride = 0;
    const auto* plane = heif_image_get_plane_readonly(image.get(), heif_channel_interleaved, &stride);
    const QSize size(heif_image_get_width(image.get(), heif_channel_interleaved),
        heif_image_get_height(image.get(), heif_channel_interleaved));
    if (!plane || !isPictureSize(size) || stride < size.width() * 3) {
        return std::unexpected(DecodeFailure::damaged);
    }
    const QImage seen(plane, size.width(), size.height(), stride, QImage::Format_RGB888);
    auto fitted = seen.scaled(fittedSize(size, side), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    if (fitted.isNull()) {
        return std::unexpected(DecodeFailure::damaged);
    }
    fitted.detach(); // the pixels of a picture that fits already are still libheif's
    setColours(fitted, *handle);
    return fitted;
}

} // namespace vantorel
