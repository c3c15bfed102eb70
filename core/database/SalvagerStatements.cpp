#include "database/SalvagerStatements.h"

#include <algorithm>

namespace vantorel {

namespace {

constexpr std::size_t longestKeyword = 9; // "temporary"

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f'; }

bool isWordCharacter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '$'
        || static_cast<unsigned char>(c) >= 0x80;
}

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

} // namespace

void SalvagerStatements::startAnew()
{
    statement_.clear();
    isTooLong_ = false;
    hasBegun_ = false;
    place_ = Place::plain;
    kind_ = Kind::unknown;
    tail_ = TriggerTail::body;
    word_.clear();
}

void SalvagerStatements::keep(std::string_view part)
{
    if (isTooLong_) {
        return;
    }
    if (part.size() > mostBytes_ - statement_.size()) {
        isTooLong_ = true;
        ++passedOver_;
        std::string().swap(statement_);
        return;
    }
    statement_ += part;
}

/// A token that is no word.
void SalvagerStatements::noteToken()
{
    noteWord();
    if (kind_ == Kind::unknown || kind_ == Kind::create) {
        kind_ = Kind::other;
    }
    tail_ = TriggerTail::body;
}

/// The word that has just ended, if any.
void SalvagerStatements::noteWord()
{
    if (word_.empty()) {
        return;
    }
    switch (kind_) {
    case Kind::unknown:
        kind_ = word_ == "create" ? Kind::create : Kind::other;
        break;
    case Kind::create:
        if (word_ != "temp" && word_ != "temporary") {
            kind_ = word_ == "trigger" ? Kind::trigger : Kind::other;
        }
        break;
    case Kind::trigger:
        tail_ = tail_ == TriggerTail::semicolon && word_ == "end" ? TriggerTail::end : TriggerTail::body;
        break;
    case Kind::other:
        break;
    }
    word_.clear();
}

/// What a semicolon means here.
bool SalvagerStatements::endsStatement()
{
    noteWord();
    if (kind_ != Kind::trigger || tail_ == TriggerTail::end) {
        return true;
    }
    tail_ = TriggerTail::semicolon;
    return false;
}

/// One character outside quotes and comments that is no semicolon.
void SalvagerStatements::plain(char c)
{
    switch (c) {
    case '\'':
    case '"':
    case '`':
        noteToken();
        quote_ = c;
        place_ = Place::quoted;
        return;
    case '[':
        noteToken();
        quote_ = ']';
        place_ = Place::quoted;
        return;
    case '-':
        place_ = Place::dash;
        return;
    case '/':
        place_ = Place::slash;
        return;
    default:
        break;
    }
    if (isWordCharacter(c)) {
        if (word_.size() <= longestKeyword) { // one more than any keyword: it is then none
            word_ += lower(c);
        }
    } else if (isBlank(c)) {
        noteWord();
    } else {
        noteToken();
    }
}

/// How much of the text can be taken at once, since nothing in it changes the place. Rows are mostly quoted.
std::size_t SalvagerStatements::lengthOfRun(std::string_view text) const
{
    const auto until = [&text](char c) { return std::min(text.find(c), text.size()); };
    switch (place_) {
    case Place::quoted:
        return until(quote_);
    case Place::lineComment:
    case Place::dotLine:
        return until('\n');
    case Place::blockComment:
        return until('*');
    case Place::plain:
    case Place::dash:
    case Place::slash:
    case Place::commentStar:
        return 0;
    }
    return 0;
}

bool SalvagerStatements::feed(std::string_view text, const std::function<bool(std::string_view)>& handler)
{
    std::size_t from = 0; // of what is not kept yet
    for (std::size_t i = 0; i < text.size(); ++i) {
        i += lengthOfRun(text.substr(i));
        if (i == text.size()) {
            break;
        }
        const char c = text[i];
        if (!hasBegun_) {
            if (place_ == Place::dotLine) { // its end: a run leads there
                place_ = Place::plain;
                from = i + 1;
                continue;
            }
            if (isBlank(c)) {
                from = i + 1;
                continue;
            }
            if (c == '.') {
                place_ = Place::dotLine;
                from = i + 1;
                continue;
            }
            hasBegun_ = true;
            from = i;
        }
        switch (place_) {
        case Place::quoted: // a doubled quotation mark ends the one and begins the next
            place_ = Place::plain;
            continue;
        case Place::lineComment:
        case Place::dotLine: // never within a statement
            place_ = Place::plain;
            continue;
        case Place::blockComment:
            place_ = Place::commentStar;
            continue;
        case Place::commentStar:
            if (c != '*') {
                place_ = c == '/' ? Place::plain : Place::blockComment;
            }
            continue;
        case Place::dash:
        case Place::slash:
            if (c == (place_ == Place::dash ? '-' : '*')) {
                noteWord();
                place_ = place_ == Place::dash ? Place::lineComment : Place::blockComment;
                continue;
            }
            noteToken();
            place_ = Place::plain;
            break;
        case Place::plain:
            break;
        }
        if (c != ';') {
            plain(c);
            continue;
        }
        if (!endsStatement()) {
            continue;
        }
        keep(text.substr(from, i + 1 - from));
        from = i + 1;
        const bool goOn = isTooLong_ || handler(statement_);
        startAnew();
        if (!goOn) {
            return false;
        }
    }
    if (hasBegun_) {
        keep(text.substr(from));
    }
    return true;
}

} // namespace vantorel
