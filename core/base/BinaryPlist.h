#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace vantorel {

/// A bounded reader of binary property lists ("bplist00") from a library, which may be made to harm: depth,
/// object count and total work are limited, shared references are not expanded, and only what is asked for is
/// decoded. A view: the bytes must outlive it. Nothing is allocated but what is returned.
///
/// Layout: 8 bytes magic, objects, offset table, 32 bytes trailer (6 unused, offset size, reference size,
/// then three 8-byte big-endian numbers: object count, index of the top object, position of the offset
/// table).
class BinaryPlist {
public:
    /// The object at an index of the offset table; only meaningful for the list it came from.
    struct Object {
        std::uint64_t index = 0;
    };
    struct Entry {
        std::string key;
        Object value;
    };

    /// None when the trailer, the offset table or the top object cannot be right.
    static std::optional<BinaryPlist> open(std::string_view bytes);

    Object top() const { return {top_}; }

    std::optional<std::int64_t> integer(
        Object object) const;                         ///< Integers of 1, 2, 4 and 8 bytes, and 16 that fit.
    std::optional<double> real(Object object) const;  ///< Reals, and integers as numbers.
    std::optional<bool> boolean(Object object) const; ///< true/false, or an integer other than 0.
    std::optional<double> date(Object object) const;  ///< Seconds since 2001-01-01 UTC, unjudged.
    std::optional<std::string> string(
        Object object) const; ///< ASCII or UTF-16BE as UTF-8, lone surrogates repaired.
    std::optional<std::string_view> data(Object object) const;

    bool isDictionary(Object object) const;
    /// The value under a key of a dictionary; none when it is no dictionary or lacks the key. First hit wins.
    std::optional<Object> value(Object dictionary, std::string_view key) const;
    /// The keys and values of a dictionary, in file order; none when it is not one or claims more than is
    /// there.
    std::optional<std::vector<Entry>> entries(Object dictionary) const;
    /// The elements of an array.
    std::optional<std::vector<Object>> elements(Object array) const;
    /// The same pairs and elements one by one, nothing copied, until `visit` answers false: for lists of
    /// which little is wanted, and for callers that bound their work. Keys that are not ASCII are passed
    /// over. False when it is no dictionary, no array.
    bool visitEntries(
        Object dictionary, const std::function<bool(std::string_view key, Object value)>& visit) const;
    bool visitElements(Object array, const std::function<bool(Object)>& visit) const;

private:
    struct Head;
    std::optional<Head> head(Object object) const;
    std::optional<std::uint64_t> bigEndian(std::uint64_t position, std::size_t size) const;

    std::string_view bytes_;
    std::uint64_t top_ = 0;
    std::uint64_t count_ = 0;
    std::uint64_t table_ = 0;
    std::size_t offsetSize_ = 0;
    std::size_t referenceSize_ = 0;
};

} // namespace vantorel
