#include "export/XMPWriter.h"

#include "base/Date.h"
#include "base/Product.h"
#include "base/Unicode.h"

#include <cmath>
#include <optional>
#include <string_view>
#include <unordered_set>

#include <fmt/format.h>

namespace vantorel {

namespace {

/// A value as XML text. What XML cannot hold, escaped or not, becomes U+FFFD.
std::string escaped(std::string_view value)
{
    return mapScalars(value, [](char32_t scalar, std::string& out) {
        switch (scalar) {
        case U'&':
            out += "&amp;";
            return;
        case U'<':
            out += "&lt;";
            return;
        case U'>':
            out += "&gt;";
            return;
        case U'"':
            out += "&quot;";
            return;
        case U'\'':
            out += "&apos;";
            return;
        default:
            break;
        }
        const bool isForbidden = (scalar < 0x20 && scalar != U'\t' && scalar != U'\n' && scalar != U'\r')
            || scalar == 0xFFFE || scalar == 0xFFFF;
        appendScalar(out, isForbidden ? U'\uFFFD' : scalar);
    });
}

/// "48,51.396000N": whole degrees and minutes, and which half of the Earth. None for what is no place on it.
std::optional<std::string> coordinate(
    std::optional<double> degrees, double most, std::string_view hemispheres)
{
    if (!degrees || !std::isfinite(*degrees) || std::abs(*degrees) > most) {
        return std::nullopt;
    }
    const auto size = std::abs(*degrees);
    auto whole = static_cast<int>(size);
    auto minutes = fmt::format("{:.6f}", (size - whole) * 60);
    if (minutes == "60.000000") {
        ++whole;
        minutes = "0.000000";
    }
    return fmt::format("{},{}{}", whole, minutes, *degrees < 0 ? hemispheres[1] : hemispheres[0]);
}

/// The properties of one document, in the order in which they are added.
class Properties {
public:
    explicit Properties(std::string& out)
        : out_(out)
    {
    }

    void simple(std::string_view name, std::string_view value)
    {
        if (!value.empty()) {
            fmt::format_to(std::back_inserter(out_), "   <{0}>{1}</{0}>\n", name, escaped(value));
        }
    }

    void flag(std::string_view name, bool value) { simple(name, value ? "True" : "False"); }

    void language(std::string_view name, const std::optional<std::string>& value)
    {
        if (value && !value->empty()) {
            fmt::format_to(std::back_inserter(out_),
                "   <{0}><rdf:Alt><rdf:li xml:lang=\"x-default\">{1}</rdf:li></rdf:Alt></{0}>\n", name,
                escaped(*value));
        }
    }

    /// Empty and repeated entries are dropped, and a bag without entries is not written.
    void bag(std::string_view name, const std::vector<std::string_view>& entries)
    {
        std::unordered_set<std::string_view> written;
        for (const auto entry : entries) {
            if (entry.empty() || !written.insert(entry).second) {
                continue;
            }
            if (written.size() == 1) {
                fmt::format_to(std::back_inserter(out_), "   <{}><rdf:Bag>\n", name);
            }
            fmt::format_to(std::back_inserter(out_), "    <rdf:li>{}</rdf:li>\n", escaped(entry));
        }
        if (!written.empty()) {
            fmt::format_to(std::back_inserter(out_), "   </rdf:Bag></{}>\n", name);
        }
    }

private:
    std::string& out_;
};

std::vector<std::string_view> views(const std::vector<std::string>& texts)
{
    return {texts.begin(), texts.end()};
}

/// All dates of an item stand at the offset of the place where it was taken: a reader gets the right instant
/// from each, and shows them all on the same clock.
std::optional<std::string> dateText(const std::optional<Date>& date, const Asset& asset)
{
    return date ? sidecarDate(*date, asset.timeZoneOffset) : std::nullopt;
}

void addProperties(Properties properties, const XMPWriter::Input& input)
{
    const Asset& asset = input.asset;
    properties.language("dc:title", asset.title);
    properties.language("dc:description", asset.caption);
    auto subject = views(asset.keywords);
    if (input.peopleAsKeywords) {
        subject.insert(subject.end(), asset.people.begin(), asset.people.end());
    }
    properties.bag("dc:subject", subject);
    properties.bag("Iptc4xmpExt:PersonInImage", views(asset.people));

    const auto created = dateText(asset.dateCreated, asset);
    properties.simple("photoshop:DateCreated", created.value_or(""));
    properties.simple("xmp:CreateDate", created.value_or(""));
    properties.simple("exif:DateTimeOriginal", created.value_or(""));
    properties.simple("xmp:ModifyDate", dateText(asset.dateModified, asset).value_or(""));
    if (asset.isFavorite) {
        properties.simple("xmp:Rating", "5");
    }
    properties.simple("exif:GPSLatitude", coordinate(asset.latitude, 90, "NS").value_or(""));
    properties.simple("exif:GPSLongitude", coordinate(asset.longitude, 180, "EW").value_or(""));

    properties.simple("vantorel:AssetUUID", asset.uuid);
    properties.simple("vantorel:OriginalFileName", asset.originalFileName.value_or(""));
    properties.flag("vantorel:Favorite", asset.isFavorite);
    properties.flag("vantorel:Hidden", asset.isHidden);
    if (input.isSmallerCopy) {
        properties.flag("vantorel:SmallerCopy", true);
    }
    properties.simple("vantorel:DateAdded", dateText(asset.dateAdded, asset).value_or(""));
    properties.bag("vantorel:Albums", views(input.albums));
    std::vector<std::string_view> lost;
    for (const auto detail : asset.lostDetails) {
        lost.push_back(nameIn(lostDetailNames, detail));
    }
    properties.bag("vantorel:LostDetails", lost);
}

} // namespace

std::string XMPWriter::document(const Input& input)
{
    std::string out = "<?xpacket begin=\"\uFEFF\" id=\"W5M0MpCehiHzreSzNTczkc9d\"?>\n"
                      "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\">\n"
                      " <rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">\n"
                      "  <rdf:Description rdf:about=\"\"\n"
                      "    xmlns:dc=\"http://purl.org/dc/elements/1.1/\"\n"
                      "    xmlns:xmp=\"http://ns.adobe.com/xap/1.0/\"\n"
                      "    xmlns:photoshop=\"http://ns.adobe.com/photoshop/1.0/\"\n"
                      "    xmlns:exif=\"http://ns.adobe.com/exif/1.0/\"\n"
                      "    xmlns:Iptc4xmpExt=\"http://iptc.org/std/Iptc4xmpExt/2008-02-29/\"\n";
    fmt::format_to(std::back_inserter(out), "    xmlns:vantorel=\"{}\">\n", product::sidecarNamespace);
    addProperties(Properties(out), input);
    return out += "  </rdf:Description>\n"
                  " </rdf:RDF>\n"
                  "</x:xmpmeta>\n"
                  "<?xpacket end=\"w\"?>\n";
}

} // namespace vantorel
