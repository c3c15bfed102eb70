// Sidecars are well-formed XML whatever the texts in them, and the check of a sidecar agrees with a parser
// that others trust. An input that begins with "<" is taken for a document, else for the texts of a photo.

#include "FuzzTarget.h"

#include "base/Text.h"
#include "base/Unicode.h"
#include "export/WellFormedXml.h"
#include "export/XMPWriter.h"

#include <expat.h>

#include <bit>
#include <memory>
#include <tuple>

namespace vantorel::fuzz {

namespace {

struct ParserFree {
    void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};

/// What expat says; with the texts of the document when asked.
bool isParsed(std::string_view document, std::string* texts = nullptr)
{
    const std::unique_ptr<XML_ParserStruct, ParserFree> parser(XML_ParserCreate("UTF-8"));
    if (texts != nullptr) {
        XML_SetUserData(parser.get(), texts);
        XML_SetCharacterDataHandler(parser.get(), [](void* to, const XML_Char* text, int size) {
            static_cast<std::string*>(to)->append(text, static_cast<std::size_t>(size));
        });
    }
    return XML_Parse(parser.get(), document.data(), static_cast<int>(document.size()), XML_TRUE)
        == XML_STATUS_OK;
}

std::optional<std::string> optionalText(InputReader& input)
{
    auto text = input.text();
    return text.empty() ? std::nullopt : std::optional(std::move(text));
}

std::optional<Date> optionalDate(InputReader& input)
{
    return input.flag()
        ? std::optional(Date(std::chrono::microseconds(static_cast<std::int64_t>(input.number(8)))))
        : std::nullopt;
}

std::vector<std::string> texts(InputReader& input)
{
    std::vector<std::string> list(input.byte() % 6U);
    for (auto& text : list) {
        text = input.text();
    }
    return list;
}

void writeSidecar(InputReader& input)
{
    Asset asset;
    asset.isFavorite = input.flag();
    asset.isHidden = input.flag();
    asset.latitude = std::bit_cast<double>(input.number(8));
    asset.longitude = std::bit_cast<double>(input.number(8));
    asset.timeZoneOffset = static_cast<std::int64_t>(input.number(8));
    asset.dateCreated = optionalDate(input);
    asset.dateModified = optionalDate(input);
    asset.dateAdded = optionalDate(input);
    const bool smaller = input.flag();
    asset.keywords = texts(input);
    asset.people = texts(input);
    const auto albums = texts(input);
    asset.uuid = input.text();
    asset.originalFileName = optionalText(input);
    asset.title = optionalText(input);
    asset.caption = optionalText(input);

    const auto document = XMPWriter::document(
        {.asset = asset, .albums = albums, .isSmallerCopy = smaller, .peopleAsKeywords = input.flag()});
    std::string found;
    require(isParsed(document, &found), "a sidecar is well-formed");
    require(isWellFormedXml(document), "and its own check says so");
    if (asset.title && isValidUtf8(*asset.title)
        && asset.title->find_first_of("\r\n\t") == std::string::npos) {
        bool isPlain = true; // what XML forbids is replaced
        for (const char c : *asset.title) {
            isPlain &= static_cast<unsigned char>(c) >= 0x20;
        }
        require(!isPlain || asset.title->contains("\xEF\xBF") || found.contains(*asset.title),
            "the title comes back as it was");
    }
}

} // namespace

void runTarget(std::string_view input)
{
    if (input.starts_with('<')) {
        // Never well-formed for the check alone. The other way round it may be stricter: no document types,
        // no other encodings, a bounded depth. Which letters beyond ASCII a name may hold differs between the
        // editions of XML that the two follow; of these, one stands for all.
        const auto document = mapScalars(input, [](char32_t scalar, std::string& out) {
            appendScalar(out, scalar < 0x80 || scalar > 0xFFFD ? scalar : U'\u00E9');
        });
        require(!isWellFormedXml(document) || isParsed(document), "what counts as well-formed is");
        std::ignore = isWellFormedXml(input);
        return;
    }
    InputReader reader(input);
    writeSidecar(reader);
}

} // namespace vantorel::fuzz
