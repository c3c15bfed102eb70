#include "cli/JsonAppend.h"

#include "base/Text.h"

#include <nlohmann/json.hpp>

#include <array>

namespace vantorel::cli {

namespace {

constexpr std::string_view hexDigits = "0123456789abcdef";

/// Not ASCII: valid UTF-8 stands for itself.
constexpr char notAscii = '?';

/// What stands for the character in a JSON text; 0 where it stands for itself.
constexpr std::array<char, 256> makeEscapes()
{
    std::array<char, 256> escapes{};
    for (std::size_t i = 0; i < 0x20; ++i) {
        escapes[i] = 'u';
    }
    for (std::size_t i = 0x80; i < escapes.size(); ++i) {
        escapes[i] = notAscii;
    }
    escapes['\b'] = 'b';
    escapes['\t'] = 't';
    escapes['\n'] = 'n';
    escapes['\f'] = 'f';
    escapes['\r'] = 'r';
    escapes['"'] = '"';
    escapes['\\'] = '\\';
    return escapes;
}
constexpr auto escapes = makeEscapes();

} // namespace

void appendJson(std::string& out, double value) { out += nlohmann::json(value).dump(); }

void appendJson(std::string& out, Date date) { appendJson(out, std::string_view(isoMilliseconds(date))); }

void appendJson(std::string& out, std::string_view text)
{
    const std::size_t begin = out.size();
    bool isChecked = false; // ASCII needs no check, and most texts are
    out += '"';
    std::size_t written = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const char escape = escapes[byte];
        if (escape == 0) {
            continue;
        }
        if (escape == notAscii) {
            if (!isChecked && !isValidUtf8(text)) {
                out.resize(begin);
                return appendJson(out, std::string_view(repairedUtf8(text)));
            }
            isChecked = true;
            continue;
        }
        out += text.substr(written, i - written);
        written = i + 1;
        out += '\\';
        out += escape;
        if (escape == 'u') {
            out += "00";
            out += hexDigits[byte >> 4U];
            out += hexDigits[byte & 15U];
        }
    }
    out += text.substr(written);
    out += '"';
}

} // namespace vantorel::cli
