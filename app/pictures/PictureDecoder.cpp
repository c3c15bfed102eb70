#include "app/pictures/PictureDecoder.h"

#include "app/pictures/HeifPicture.h"

#include <algorithm>
#include <array>
#include <utility>

#include <QtCore/qbuffer.h>
#include <QtCore/qbytearray.h>
#include <QtGui/qcolorspace.h>
#include <QtGui/qimagereader.h>

namespace vantorel {

namespace {

using namespace std::string_view_literals;

/// A progressive JPEG has some ten passes. Each costs as much as the whole picture, so that a small file with
/// thousands would keep a processor busy for hours.
constexpr int mostJpegScans = 100;

/// In ISO base media files ("ftyp", then four bytes of brand): still pictures coded with HEVC.
constexpr std::array heifBrands{
    "heic"sv, "heix"sv, "heim"sv, "heis"sv, "hevc"sv, "hevx"sv, "mif1"sv, "msf1"sv};

const char* qtName(PictureFormat format)
{
    switch (format) {
    case PictureFormat::jpeg:
        return "jpeg";
    case PictureFormat::png:
        return "png";
    case PictureFormat::gif:
        return "gif";
    case PictureFormat::tiff:
        return "tiff";
    case PictureFormat::webp:
        return "webp";
    case PictureFormat::heif:
        return ""; // not Qt's
    }
    std::unreachable();
}

/// A JPEG is a row of segments: 0xFF, a kind, and mostly two bytes of length (big endian, they count
/// themselves) and data. After a "start of scan" (0xDA) come coded pixels up to the next 0xFF that neither 0
/// nor a restart mark (0xD0 to 0xD7) follows. Whatever stands between segments is passed over, as decoders
/// do. Behind the end (0xD9) some cameras append a film.
bool hasTooManyScans(std::string_view jpeg)
{
    const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(jpeg[at]); };
    int scans = 0;
    std::size_t at = 2;
    while ((at = jpeg.find('\xff', at)) != std::string_view::npos && at + 3 < jpeg.size()) {
        const unsigned kind = byte(at + 1);
        const bool isBare = kind == 0 || kind == 0xff || kind == 1 || (kind >= 0xd0 && kind <= 0xd8);
        if (kind == 0xd9) {
            break;
        }
        scans += kind == 0xda ? 1 : 0;
        if (scans > mostJpegScans) {
            return true;
        }
        at += kind == 0xff ? 1 : isBare ? 2 : 2 + std::max(2U, byte(at + 2) * 256U + byte(at + 3));
    }
    return false;
}

DecodedPicture decodeWithQt(std::string_view bytes, PictureFormat format, int side)
{
    const auto data = QByteArray::fromRawData(bytes.data(), static_cast<qsizetype>(bytes.size()));
    QBuffer buffer;
    buffer.setData(data);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer, qtName(format));
    reader.setAutoDetectImageFormat(false);
    reader.setAutoTransform(true);
    const QSize size = reader.size();
    if (!size.isValid()) {
        return std::unexpected(DecodeFailure::damaged);
    }
    if (!isPictureSize(size)) {
        return std::unexpected(DecodeFailure::tooLarge);
    }
    if (format == PictureFormat::jpeg && hasTooManyScans(bytes)) {
        return std::unexpected(DecodeFailure::damaged);
    }
    const auto turn = turnForLargePicture(size);
    const QSize fitted = fittedSize(size, side);
    if (fitted != size) {
        reader.setScaledSize(fitted);
    }
    QImage image = reader.read();
    if (image.isNull()) {
        return std::unexpected(DecodeFailure::damaged);
    }
    // Not every reader scales.
    if (const QSize inside = fittedSize(image.size(), side); inside != image.size()) {
        image = image.scaled(inside, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    }
    return image;
}

/// Ready to be painted: no conversion is left to the main thread.
QImage forPainting(QImage image)
{
    if (image.colorSpace().isValid() && image.colorSpace() != QColorSpace(QColorSpace::SRgb)) {
        image.convertToColorSpace(QColorSpace::SRgb);
    }
    image.setColorSpace({});
    image = std::move(image).convertToFormat(
        image.hasAlphaChannel() ? QImage::Format_ARGB32_Premultiplied : QImage::Format_RGB32);
    image.setDevicePixelRatio(1);
    for (const auto& key : image.textKeys()) {
        image.setText(key, {}); // comments can be many times as large as the pixels
    }
    return image;
}

} // namespace

std::optional<PictureFormat> pictureFormat(std::string_view beginning)
{
    if (beginning.starts_with("\xff\xd8\xff")) {
        return PictureFormat::jpeg;
    }
    if (beginning.starts_with("\x89PNG\r\n\x1a\n")) {
        return PictureFormat::png;
    }
    if (beginning.starts_with("GIF87a") || beginning.starts_with("GIF89a")) {
        return PictureFormat::gif;
    }
    // A CR2 is a TIFF with this mark; its first picture is no preview of the right size.
    if ((beginning.starts_with("II*\0"sv) || beginning.starts_with("MM\0*"sv))
        && beginning.substr(0, 10).find("CR") == std::string_view::npos) {
        return PictureFormat::tiff;
    }
    if (beginning.starts_with("RIFF") && beginning.substr(0, 12).ends_with("WEBP")) {
        return PictureFormat::webp;
    }
    if (beginning.size() >= 12 && beginning.substr(4, 4) == "ftyp"
        && std::ranges::find(heifBrands, beginning.substr(8, 4)) != heifBrands.end()) {
        return PictureFormat::heif;
    }
    return std::nullopt;
}

bool isDecodable(std::string_view beginning)
{
    static const auto qtFormats = QImageReader::supportedImageFormats();
    const auto format = pictureFormat(beginning);
    return format && (*format == PictureFormat::heif ? canDecodeHeif() : qtFormats.contains(qtName(*format)));
}

DecodedPicture decodePicture(std::string_view bytes, int side)
{
    const auto format = pictureFormat(bytes);
    if (!format || side < 1) {
        return std::unexpected(DecodeFailure::notAPicture);
    }
    auto image =
        *format == PictureFormat::heif ? decodeHeif(bytes, side) : decodeWithQt(bytes, *format, side);
    if (!image) {
        return image;
    }
    auto ready = forPainting(*std::move(image));
    if (ready.isNull()) {
        return std::unexpected(DecodeFailure::damaged);
    }
    return ready;
}

bool isPictureSize(QSize size)
{
    return size.width() > 0 && size.height() > 0 && size.width() <= mostPictureSide
        && size.height() <= mostPictureSide
        && static_cast<std::int64_t>(size.width()) * size.height() <= mostPicturePixels;
}

QSize fittedSize(QSize size, int side)
{
    if (size.width() <= side && size.height() <= side) {
        return size;
    }
    return size.scaled(side, side, Qt::KeepAspectRatio).expandedTo({1, 1});
}

std::unique_lock<std::mutex> turnForLargePicture(QSize size)
{
    constexpr std::int64_t large = 16'000'000;
    static std::mutex one;
    return static_cast<std::int64_t>(size.width()) * size.height() > large ? std::unique_lock(one)
                                                                           : std::unique_lock<std::mutex>();
}

} // namespace vantorel
