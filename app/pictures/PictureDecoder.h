#pragma once

#include <cstdint>
#include <expected>
#include <mutex>
#include <optional>
#include <string_view>

#include <QtCore/qsize.h>
#include <QtGui/qimage.h>

namespace vantorel {

enum class PictureFormat { jpeg, png, gif, tiff, webp, heif };
enum class DecodeFailure { notAPicture, tooLarge, damaged };
using DecodedPicture = std::expected<QImage, DecodeFailure>;

/// What a file is by its first bytes; its name says nothing. None: no picture that is decoded here (also a
/// RAW or a film).
std::optional<PictureFormat> pictureFormat(std::string_view beginning);
/// A format for which this system has a decoder.
bool isDecodable(std::string_view beginning);

/// Decodes the bytes of a file to at most `side` pixels along the long side, upright and in sRGB. The bytes
/// may be hostile: their format is that of their content, the size in their header is looked at before memory
/// is taken. Any thread; blocks for as long as the decoding takes.
DecodedPicture decodePicture(std::string_view bytes, int side);

// For decoders:

inline constexpr std::int64_t mostPicturePixels = 64'000'000;
/// A JPEG cannot be larger; a panorama hardly is.
inline constexpr int mostPictureSide = 65'535;
bool isPictureSize(QSize size);
/// Fitted into a square, never enlarged, never empty.
QSize fittedSize(QSize size, int side);
/// Pictures that take much memory are decoded one at a time: to be held while that is done. Empty for small
/// ones.
std::unique_lock<std::mutex> turnForLargePicture(QSize size);

} // namespace vantorel
