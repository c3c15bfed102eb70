#pragma once

#include "base/BinaryPlist.h"
#include "base/Date.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel {

/// The name of an object: the 16 bytes of its UUID.
using Identifier = std::array<char, 16>;

/// None unless there are 16 bytes.
std::optional<Identifier> identifierOf(std::string_view bytes);
/// "8-4-4-4-12", upper case.
std::string textOf(const Identifier& identifier);

/// Many identifiers, one after the other, as journals hold them: 16 bytes each and nothing between.
class IdentifierList {
public:
    IdentifierList() = default;
    /// What is left behind the last whole one is passed over.
    explicit IdentifierList(std::string_view bytes)
        : bytes_(bytes.substr(0, bytes.size() / size * size))
    {
    }

    std::size_t count() const { return bytes_.size() / size; }
    Identifier at(std::size_t index) const
    {
        return *identifierOf(std::string_view(bytes_).substr(index * size, size));
    }

private:
    static constexpr std::size_t size = std::tuple_size_v<Identifier>;
    std::string bytes_;
};

/// The value under a key of a journal's payload, or none. The same key holds other types of value with other
/// writers, so each question takes what can be meant; what cannot is none.
class JournalValue {
public:
    JournalValue() = default;
    JournalValue(const BinaryPlist& list, BinaryPlist::Object object)
        : list_(&list)
        , object_(object)
    {
    }

    std::string text() const; ///< Empty: none.
    std::optional<std::int64_t> integer() const;
    /// The same for numbers that stand for a choice: what does not fit becomes the greatest or least that
    /// does.
    std::optional<std::int32_t> code() const;
    std::optional<double> real() const;
    bool flag() const; ///< True, or any number other than 0.
    LibraryDate date() const;
    std::string bytes(std::size_t atMost) const; ///< Empty: none, or too many.
    IdentifierList identifiers() const;
    std::optional<Identifier> identifier() const;

    /// The first elements of an array.
    std::vector<JournalValue> elements(std::size_t atMost) const;
    /// Calls `visit` with each key and value of a dictionary until it answers false.
    void visitEntries(const std::function<bool(std::string_view key, const JournalValue&)>& visit) const;

private:
    const BinaryPlist* list_ = nullptr;
    BinaryPlist::Object object_{};
};

} // namespace vantorel
