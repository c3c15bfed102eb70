#pragma once

#include "base/Date.h"

#include <charconv>
#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vantorel::cli {

/// JSON that is appended to a text as it goes, for lists of a million elements, where a tree of values for
/// each costs more than all the rest. No blanks, no line breaks; bytes that are no UTF-8 become U+FFFD.
inline void appendJson(std::string& out, std::same_as<bool> auto value) { out += value ? "true" : "false"; }

template <std::integral Integer>
    requires(!std::same_as<Integer, bool>)
void appendJson(std::string& out, Integer value)
{
    char digits[24]; // NOLINT(modernize-avoid-c-arrays): filled by to_chars, longer than any 64-bit number
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    out.append(digits, end);
}

void appendJson(std::string& out, double value);
void appendJson(std::string& out, std::string_view text);
void appendJson(std::string& out, Date date);
template <typename T>
void appendJson(std::string& out, const std::vector<T>& values);

template <typename T>
void appendJson(std::string& out, const std::optional<T>& value)
{
    if (value) {
        appendJson(out, *value);
    } else {
        out += "null";
    }
}

/// The elements as `append` writes them.
template <typename Range, typename Append>
void appendJsonList(std::string& out, const Range& range, Append append)
{
    out += '[';
    bool first = true;
    for (const auto& element : range) {
        if (!std::exchange(first, false)) {
            out += ',';
        }
        append(out, element);
    }
    out += ']';
}

template <typename T>
void appendJson(std::string& out, const std::vector<T>& values)
{
    appendJsonList(out, values, [](std::string& to, const T& value) { appendJson(to, value); });
}

/// One object, from its brace to the closing one at `end`. Keys are names of this program's own: they hold
/// nothing that would have to be escaped.
class JsonObject {
public:
    explicit JsonObject(std::string& out)
        : out_(out)
    {
        out_ += '{';
    }

    template <typename T>
    JsonObject& with(std::string_view key, const T& value)
    {
        appendJson(valueOf(key), value);
        return *this;
    }
    /// The value is what `append` writes.
    template <typename Append>
    JsonObject& withWritten(std::string_view key, Append append)
    {
        append(valueOf(key));
        return *this;
    }
    void end() { out_ += '}'; }

private:
    std::string& valueOf(std::string_view key)
    {
        if (!std::exchange(first_, false)) {
            out_ += ',';
        }
        out_ += '"';
        out_ += key;
        out_ += "\":";
        return out_;
    }

    std::string& out_;
    bool first_ = true;
};

} // namespace vantorel::cli
