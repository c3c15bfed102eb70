#include "journals/JournalValue.h"

#include "base/Text.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vantorel {

std::optional<Identifier> identifierOf(std::string_view bytes)
{
    Identifier identifier{};
    if (bytes.size() != identifier.size()) {
        return std::nullopt;
    }
    std::ranges::copy(bytes, identifier.begin());
    return identifier;
}

std::string textOf(const Identifier& identifier)
{
    return uuidText({identifier.data(), identifier.size()}).value_or(std::string());
}

std::string JournalValue::text() const
{
    return list_ != nullptr ? list_->string(object_).value_or(std::string()) : std::string();
}

std::optional<std::int64_t> JournalValue::integer() const
{
    if (list_ == nullptr) {
        return std::nullopt;
    }
    if (const auto number = list_->integer(object_)) {
        return number;
    }
    const auto yes = list_->boolean(object_);
    return yes ? std::optional<std::int64_t>(*yes ? 1 : 0) : std::nullopt;
}

std::optional<std::int32_t> JournalValue::code() const
{
    using Limits = std::numeric_limits<std::int32_t>;
    const auto number = integer();
    if (!number) {
        return std::nullopt;
    }
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(*number, Limits::min(), Limits::max()));
}

std::optional<double> JournalValue::real() const
{
    return list_ != nullptr ? list_->real(object_) : std::nullopt;
}

bool JournalValue::flag() const
{
    return list_ != nullptr && list_->boolean(object_).value_or(list_->real(object_).value_or(0) != 0);
}

LibraryDate JournalValue::date() const
{
    if (list_ == nullptr) {
        return {};
    }
    // A property list's own date is set whatever it says; a bare number follows the database's rules.
    if (const auto seconds = list_->date(object_)) {
        return libraryDateKnownSet(*seconds);
    }
    return libraryDate(list_->real(object_));
}

std::string JournalValue::bytes(std::size_t atMost) const
{
    const auto found = list_ != nullptr ? list_->data(object_) : std::nullopt;
    return found && found->size() <= atMost ? std::string(*found) : std::string();
}

IdentifierList JournalValue::identifiers() const
{
    const auto found = list_ != nullptr ? list_->data(object_) : std::nullopt;
    return found ? IdentifierList(*found) : IdentifierList();
}

std::optional<Identifier> JournalValue::identifier() const
{
    const auto found = list_ != nullptr ? list_->data(object_) : std::nullopt;
    return found ? identifierOf(*found) : std::nullopt;
}

std::vector<JournalValue> JournalValue::elements(std::size_t atMost) const
{
    std::vector<JournalValue> found;
    if (list_ != nullptr && atMost > 0) {
        list_->visitElements(object_, [&](BinaryPlist::Object element) {
            found.emplace_back(*list_, element);
            return found.size() < atMost;
        });
    }
    return found;
}

void JournalValue::visitEntries(
    const std::function<bool(std::string_view key, const JournalValue&)>& visit) const
{
    if (list_ != nullptr) {
        list_->visitEntries(object_, [&](std::string_view key, BinaryPlist::Object value) {
            return visit(key, JournalValue(*list_, value));
        });
    }
}

} // namespace vantorel
