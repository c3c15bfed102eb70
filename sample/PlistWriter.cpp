#include "sample/PlistWriter.h"

#include "base/Date.h"

#include <fmt/format.h>

#include <bit>
#include <chrono>
#include <cstddef>

/// "bplist00", the objects, a table with each object's position, a trailer of 32 bytes. An object begins with
/// a byte whose upper half is its type and whose lower half its length, 15 meaning that an integer with the
/// length follows.
namespace vantorel::sample {

namespace {

void appendBigEndian(std::string& out, std::uint64_t number, unsigned size)
{
    for (unsigned i = size; i-- > 0;) {
        out += static_cast<char>((number >> (8 * i)) & 0xffU);
    }
}

unsigned sizeFor(std::uint64_t number)
{
    return number < 0x100 ? 1 : number < 0x10000 ? 2 : number < 0x100000000 ? 4 : 8;
}

std::string integerObject(std::int64_t number)
{
    std::string out;
    const unsigned size = number < 0 ? 8 : sizeFor(static_cast<std::uint64_t>(number));
    out += static_cast<char>(0x10U | static_cast<unsigned>(std::countr_zero(size)));
    appendBigEndian(out, static_cast<std::uint64_t>(number), size);
    return out;
}

std::string head(unsigned type, std::size_t length)
{
    std::string out;
    out += static_cast<char>((type << 4U) | (length < 15 ? static_cast<unsigned>(length) : 15U));
    if (length >= 15) {
        out += integerObject(static_cast<std::int64_t>(length));
    }
    return out;
}

/// UTF-8 that this program made itself, as UTF-16BE.
std::string utf16(std::string_view text)
{
    std::string out;
    for (std::size_t i = 0; i < text.size();) {
        const auto lead = static_cast<unsigned char>(text[i]);
        const std::size_t length = lead < 0x80 ? 1 : lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
        std::uint32_t scalar = length == 1 ? lead : lead & (0xffU >> (length + 1));
        for (std::size_t k = 1; k < length && i + k < text.size(); ++k) {
            scalar = (scalar << 6U) | (static_cast<unsigned char>(text[i + k]) & 0x3fU);
        }
        i += length;
        if (scalar >= 0x10000) {
            scalar -= 0x10000;
            appendBigEndian(out, 0xd800U + (scalar >> 10U), 2);
            scalar = 0xdc00U + (scalar & 0x3ffU);
        }
        appendBigEndian(out, scalar, 2);
    }
    return out;
}

std::string textObject(std::string_view text)
{
    for (const char c : text) {
        if (static_cast<unsigned char>(c) >= 0x80) {
            const std::string wide = utf16(text);
            return head(6, wide.size() / 2) + wide;
        }
    }
    return head(5, text.size()) + std::string(text);
}

std::string realObject(unsigned marker, double number)
{
    std::string out;
    out += static_cast<char>(marker);
    appendBigEndian(out, std::bit_cast<std::uint64_t>(number), 8);
    return out;
}

} // namespace

class PlistEncoder {
public:
    std::string encoded(const PlistValue& top)
    {
        count(top);
        referenceSize_ = sizeFor(total_);
        add(top);
        std::string out("bplist00");
        std::vector<std::uint64_t> positions;
        for (const std::string& object : objects_) {
            positions.push_back(out.size());
            out += object;
        }
        const std::uint64_t table = out.size();
        const unsigned offsetSize = sizeFor(table);
        for (const std::uint64_t position : positions) {
            appendBigEndian(out, position, offsetSize);
        }
        out += std::string(6, '\0');
        out += static_cast<char>(offsetSize);
        out += static_cast<char>(referenceSize_);
        appendBigEndian(out, objects_.size(), 8);
        appendBigEndian(out, 0, 8);
        appendBigEndian(out, table, 8);
        return out;
    }

private:
    void count(const PlistValue& value)
    {
        ++total_;
        if (const auto* array = std::get_if<PlistValue::Array>(&value.value_)) {
            for (const PlistValue& element : *array) {
                count(element);
            }
        } else if (const auto* dictionary = std::get_if<PlistValue::Dictionary>(&value.value_)) {
            total_ += dictionary->size();
            for (const auto& [name, element] : *dictionary) {
                count(element);
            }
        }
    }

    /// Adds the value and those in it; returns its index.
    std::uint64_t add(const PlistValue& value)
    {
        const std::uint64_t index = objects_.size();
        objects_.emplace_back();
        if (const auto* array = std::get_if<PlistValue::Array>(&value.value_)) {
            std::string object = head(0xa, array->size());
            for (const PlistValue& element : *array) {
                appendBigEndian(object, add(element), referenceSize_);
            }
            objects_[index] = std::move(object);
        } else if (const auto* dictionary = std::get_if<PlistValue::Dictionary>(&value.value_)) {
            std::string names = head(0xd, dictionary->size());
            std::string values;
            for (const auto& [name, element] : *dictionary) {
                appendBigEndian(names, objects_.size(), referenceSize_);
                objects_.push_back(textObject(name));
            }
            for (const auto& [name, element] : *dictionary) {
                appendBigEndian(values, add(element), referenceSize_);
            }
            objects_[index] = names + values;
        } else {
            objects_[index] = leaf(value);
        }
        return index;
    }

    static std::string leaf(const PlistValue& value)
    {
        if (const auto* yes = std::get_if<bool>(&value.value_)) {
            return *yes ? "\x09" : "\x08";
        }
        if (const auto* number = std::get_if<std::int64_t>(&value.value_)) {
            return integerObject(*number);
        }
        if (const auto* number = std::get_if<double>(&value.value_)) {
            return realObject(0x23, *number);
        }
        if (const auto* date = std::get_if<PlistValue::Date>(&value.value_)) {
            return realObject(0x33, date->secondsSince2001);
        }
        if (const auto* data = std::get_if<PlistValue::Data>(&value.value_)) {
            return head(4, data->bytes.size()) + data->bytes;
        }
        return textObject(std::get<std::string>(value.value_));
    }

    std::uint64_t total_ = 0;
    unsigned referenceSize_ = 1;
    std::vector<std::string> objects_;
};

std::string binaryPlist(const PlistValue& top) { return PlistEncoder().encoded(top); }

std::string xmlPlist(const std::vector<std::pair<std::string, std::string>>& keysAndElements)
{
    std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                      "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                      "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                      "<plist version=\"1.0\">\n<dict>\n";
    for (const auto& [key, element] : keysAndElements) {
        out += fmt::format("\t<key>{}</key>\n\t{}\n", key, element);
    }
    return out + "</dict>\n</plist>\n";
}

std::string xmlInteger(std::int64_t number) { return fmt::format("<integer>{}</integer>", number); }

std::string xmlDate(double secondsSince2001)
{
    const auto date = libraryDateKnownSet(secondsSince2001).date;
    const std::string text = date ? isoMilliseconds(*date) : std::string("2001-01-01T00:00:00.000Z");
    return fmt::format("<date>{}Z</date>", text.substr(0, 19));
}

std::string xmlText(std::string_view text)
{
    std::string out = "<string>";
    for (const char c : text) {
        out += c == '&' ? "&amp;" : c == '<' ? "&lt;" : std::string(1, c);
    }
    return out + "</string>";
}

} // namespace vantorel::sample
