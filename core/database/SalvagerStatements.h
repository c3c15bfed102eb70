#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace vantorel {

/// Cuts SQL text that comes in pieces into its statements. A semicolon ends one, but not in quotes and
/// comments; a trigger ends with the "END;" that follows a semicolon. Lines that begin with a dot where a
/// statement could begin are the tool's own and are dropped. What is left without its semicolon at the end is
/// no statement: the text was cut there.
class SalvagerStatements {
public:
    /// Longer statements are passed over, never kept.
    explicit SalvagerStatements(std::size_t mostBytes)
        : mostBytes_(mostBytes)
    {
    }

    /// Hands on each statement that is complete, its semicolon included; the text is valid during the call.
    /// False from the handler ends it, and is the answer.
    bool feed(std::string_view text, const std::function<bool(std::string_view)>& handler);
    std::int64_t passedOver() const { return passedOver_; }

private:
    enum class Place { plain, dash, slash, quoted, lineComment, blockComment, commentStar, dotLine };
    enum class Kind { unknown, create, trigger, other };
    enum class TriggerTail { body, semicolon, end };

    void noteToken();
    void noteWord();
    void plain(char c);
    bool endsStatement();
    void keep(std::string_view part);
    void startAnew();
    std::size_t lengthOfRun(std::string_view text) const;

    std::size_t mostBytes_;
    std::int64_t passedOver_ = 0;

    std::string statement_{};
    bool isTooLong_ = false;
    bool hasBegun_ = false;

    Place place_ = Place::plain;
    char quote_ = '\0'; ///< The character that ends the quoted part.
    Kind kind_ = Kind::unknown;
    TriggerTail tail_ = TriggerTail::body;
    std::string word_{}; ///< The word being read, lower case; no keyword is longer than what is kept.
};

} // namespace vantorel
