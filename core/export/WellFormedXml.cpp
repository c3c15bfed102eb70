#include "export/WellFormedXml.h"

#include "base/Text.h"
#include "base/Utf8.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace vantorel {

namespace {

constexpr std::size_t mostDepth = 256;
constexpr std::size_t mostAttributes = 1'024; // of one element; they are compared with each other

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

struct Scalars {
    char32_t first;
    char32_t last;
};
/// What XML 1.0 (fifth edition) lets a name begin with, and what it allows behind that in addition.
constexpr std::array nameStarts{Scalars{':', ':'}, Scalars{'A', 'Z'}, Scalars{'_', '_'}, Scalars{'a', 'z'},
    Scalars{0xC0, 0xD6}, Scalars{0xD8, 0xF6}, Scalars{0xF8, 0x2FF}, Scalars{0x370, 0x37D},
    Scalars{0x37F, 0x1FFF}, Scalars{0x200C, 0x200D}, Scalars{0x2070, 0x218F}, Scalars{0x2C00, 0x2FEF},
    Scalars{0x3001, 0xD7FF}, Scalars{0xF900, 0xFDCF}, Scalars{0xFDF0, 0xFFFD}, Scalars{0x10000, 0xEFFFF}};
constexpr std::array nameParts{Scalars{'-', '.'}, Scalars{'0', '9'}, Scalars{0xB7, 0xB7},
    Scalars{0x300, 0x36F}, Scalars{0x203F, 0x2040}};

template <typename Table>
bool isIn(const Table& table, char32_t scalar)
{
    return std::ranges::any_of(
        table, [scalar](const Scalars& range) { return scalar >= range.first && scalar <= range.last; });
}

bool isXmlCharacter(std::uint32_t scalar)
{
    return scalar == 0x9 || scalar == 0xA || scalar == 0xD || (scalar >= 0x20 && scalar <= 0xD7FF)
        || (scalar >= 0xE000 && scalar <= 0xFFFD) || (scalar >= 0x10000 && scalar <= 0x10FFFF);
}

/// Of text that is valid UTF-8: control characters, and the two scalars at the end of the first plane.
bool hasForbiddenCharacter(std::string_view text)
{
    const bool hasControl =
        std::ranges::any_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x20 && !isBlank(c); });
    return hasControl || text.find("\xEF\xBF\xBE") != std::string_view::npos
        || text.find("\xEF\xBF\xBF") != std::string_view::npos;
}

class Reader {
public:
    explicit Reader(std::string_view text)
        : rest_(text)
    {
    }

    bool document()
    {
        std::ignore = take("\xEF\xBB\xBF"); // a byte order mark, which may be there
        if (rest_.starts_with("<?xml") && rest_.size() > 5 && isBlank(rest_[5]) && !declaration()) {
            return false;
        }
        return misc() && root() && misc() && rest_.empty();
    }

private:
    bool take(std::string_view expected)
    {
        if (!rest_.starts_with(expected)) {
            return false;
        }
        rest_.remove_prefix(expected.size());
        return true;
    }

    /// "<?xml version="1.0" encoding="UTF-8" standalone="yes"?>", of which the last two may be absent.
    bool declaration()
    {
        std::ignore = take("<?xml");
        blanks();
        const auto version = declared("version");
        if (!version || !version->starts_with("1.") || !parseInteger<std::uint32_t>(version->substr(2))) {
            return false;
        }
        bool isApart = blanks();
        if (isApart && rest_.starts_with("encoding")) {
            const auto encoding = declared("encoding");
            if (!encoding || lowerAscii(*encoding) != "utf-8") {
                return false;
            }
            isApart = blanks();
        }
        if (isApart && rest_.starts_with("standalone")) {
            const auto standalone = declared("standalone");
            if (standalone != "yes" && standalone != "no") {
                return false;
            }
            blanks();
        }
        return take("?>");
    }

    /// The value of a name in the declaration.
    std::optional<std::string_view> declared(std::string_view name)
    {
        if (!take(name)) {
            return std::nullopt;
        }
        blanks();
        if (!take("=")) {
            return std::nullopt;
        }
        blanks();
        const std::string_view quote = rest_.starts_with("'") ? "'" : "\"";
        return take(quote) ? takeThrough(quote) : std::nullopt;
    }

    /// The text up to a mark, which is taken too.
    std::optional<std::string_view> takeThrough(std::string_view mark)
    {
        const std::size_t at = rest_.find(mark);
        if (at == std::string_view::npos) {
            return std::nullopt;
        }
        const std::string_view text = rest_.substr(0, at);
        rest_.remove_prefix(at + mark.size());
        return text;
    }

    bool blanks()
    {
        const std::size_t before = rest_.size();
        while (!rest_.empty() && isBlank(rest_.front())) {
            rest_.remove_prefix(1);
        }
        return rest_.size() < before;
    }

    std::optional<std::string_view> name()
    {
        std::size_t size = 0;
        while (size < rest_.size()) {
            const auto step = utf8Step(rest_, size);
            if (!isIn(nameStarts, step.scalar) && (size == 0 || !isIn(nameParts, step.scalar))) {
                break;
            }
            size += step.length;
        }
        if (size == 0) {
            return std::nullopt;
        }
        const std::string_view text = rest_.substr(0, size);
        rest_.remove_prefix(size);
        return text;
    }

    /// Behind "<!--".
    bool comment()
    {
        const auto text = takeThrough("--");
        return text && take(">");
    }

    /// Behind "<?".
    bool instruction()
    {
        const auto target = name();
        if (!target || lowerAscii(*target) == "xml") {
            return false;
        }
        if (take("?>")) {
            return true;
        }
        return blanks() && takeThrough("?>").has_value();
    }

    /// Blanks, comments and processing instructions around the root.
    bool misc()
    {
        for (;;) {
            blanks();
            if (take("<!--")) {
                if (!comment()) {
                    return false;
                }
            } else if (take("<?")) {
                if (!instruction()) {
                    return false;
                }
            } else {
                return true;
            }
        }
    }

    /// Behind "&": a character or one of the five names that need no declaration.
    bool reference()
    {
        const auto text = takeThrough(";");
        if (!text) {
            return false;
        }
        if (text->starts_with("#")) {
            const bool isHex = text->starts_with("#x");
            const auto scalar = parseInteger<std::uint32_t>(text->substr(isHex ? 2 : 1), isHex ? 16 : 10);
            return scalar && isXmlCharacter(*scalar);
        }
        constexpr std::array<std::string_view, 5> known{"amp", "lt", "gt", "quot", "apos"};
        return std::ranges::find(known, *text) != known.end();
    }

    /// Text up to a mark, with the references in it.
    bool textUpTo(std::string_view marks)
    {
        for (;;) {
            const std::size_t at = rest_.find_first_of(marks);
            const std::string_view text = rest_.substr(0, at);
            if (text.find("]]>") != std::string_view::npos && marks == "<&") {
                return false;
            }
            rest_.remove_prefix(text.size());
            if (rest_.empty() || rest_.front() != '&') {
                return true;
            }
            rest_.remove_prefix(1);
            if (!reference()) {
                return false;
            }
        }
    }

    bool attributes()
    {
        std::vector<std::string_view> names;
        for (;;) {
            const bool isApart = blanks();
            if (rest_.empty() || rest_.front() == '>' || rest_.front() == '/') {
                return true;
            }
            const auto attribute = isApart && names.size() < mostAttributes ? name() : std::nullopt;
            if (!attribute || std::ranges::find(names, *attribute) != names.end()) {
                return false;
            }
            names.push_back(*attribute);
            blanks();
            if (!take("=")) {
                return false;
            }
            blanks();
            const bool isSingle = rest_.starts_with("'");
            if (!take(isSingle ? "'" : "\"")) {
                return false;
            }
            if (!textUpTo(isSingle ? "'<&" : "\"<&") || !take(isSingle ? "'" : "\"")) {
                return false;
            }
        }
    }

    /// One start or end tag, behind "<".
    bool tag()
    {
        if (take("/")) {
            const auto closed = name();
            blanks();
            if (!closed || open_.empty() || *closed != open_.back() || !take(">")) {
                return false;
            }
            open_.pop_back();
            return true;
        }
        const auto opened = name();
        if (!opened || !attributes()) {
            return false;
        }
        if (take("/>")) {
            return true;
        }
        if (!take(">") || open_.size() >= mostDepth) {
            return false;
        }
        open_.push_back(*opened);
        return true;
    }

    bool root()
    {
        if (!take("<") || !tag()) {
            return false;
        }
        while (!open_.empty()) {
            if (!textUpTo("<&") || rest_.empty()) {
                return false;
            }
            bool isGood = false;
            if (take("<!--")) {
                isGood = comment();
            } else if (take("<![CDATA[")) {
                isGood = takeThrough("]]>").has_value();
            } else if (take("<?")) {
                isGood = instruction();
            } else {
                isGood = take("<") && tag();
            }
            if (!isGood) {
                return false;
            }
        }
        return true;
    }

    std::string_view rest_;
    std::vector<std::string_view> open_; ///< Names of the elements around the place that is read.
};

} // namespace

bool isWellFormedXml(std::string_view text)
{
    return isValidUtf8(text) && !hasForbiddenCharacter(text) && Reader(text).document();
}

} // namespace vantorel
