#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace vantorel::sample {

/// A value of a property list, as the journals and the store's metadata hold them.
class PlistValue {
public:
    struct Date {
        double secondsSince2001 = 0;
    };
    struct Data {
        std::string bytes{};
    };
    using Array = std::vector<PlistValue>;
    using Dictionary = std::vector<std::pair<std::string, PlistValue>>;

    PlistValue(bool yes)
        : value_(yes)
    {
    }
    PlistValue(int number)
        : value_(std::int64_t{number})
    {
    }
    PlistValue(std::int64_t number)
        : value_(number)
    {
    }
    PlistValue(double number)
        : value_(number)
    {
    }
    PlistValue(Date date)
        : value_(date)
    {
    }
    PlistValue(Data data)
        : value_(std::move(data))
    {
    }
    PlistValue(std::string text)
        : value_(std::move(text))
    {
    }
    PlistValue(const char* text)
        : value_(std::string(text))
    {
    }
    PlistValue(Array array)
        : value_(std::move(array))
    {
    }
    PlistValue(Dictionary dictionary)
        : value_(std::move(dictionary))
    {
    }

private:
    friend class PlistEncoder;
    std::variant<bool, std::int64_t, double, Date, Data, std::string, Array, Dictionary> value_;
};

/// The binary form ("bplist00").
std::string binaryPlist(const PlistValue& top);

/// The XML form of a dictionary of integers, texts and dates, for the small files that lie about in a
/// library.
std::string xmlPlist(const std::vector<std::pair<std::string, std::string>>& keysAndElements);
std::string xmlInteger(std::int64_t number);
std::string xmlDate(double secondsSince2001);
std::string xmlText(std::string_view text);

} // namespace vantorel::sample
