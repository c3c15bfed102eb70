#include "export/XMPWriter.h"

#include "base/Text.h"
#include "base/Unicode.h"

#include <limits>
#include <map>
#include <random>
#include <stdexcept>

#include <gtest/gtest.h>

namespace vantorel {
namespace {

using namespace std::chrono_literals;
using Strings = std::vector<std::string>;

const std::string head = "<?xpacket begin=\"\uFEFF\" id=\"W5M0MpCehiHzreSzNTczkc9d\"?>\n"
                         "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\">\n"
                         " <rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">\n"
                         "  <rdf:Description rdf:about=\"\"\n"
                         "    xmlns:dc=\"http://purl.org/dc/elements/1.1/\"\n"
                         "    xmlns:xmp=\"http://ns.adobe.com/xap/1.0/\"\n"
                         "    xmlns:photoshop=\"http://ns.adobe.com/photoshop/1.0/\"\n"
                         "    xmlns:exif=\"http://ns.adobe.com/exif/1.0/\"\n"
                         "    xmlns:Iptc4xmpExt=\"http://iptc.org/std/Iptc4xmpExt/2008-02-29/\"\n"
                         "    xmlns:vantorel=\"https://vantorel.example/ns/vantorel/1.0/\">\n";
const std::string foot = "  </rdf:Description>\n"
                         " </rdf:RDF>\n"
                         "</x:xmpmeta>\n"
                         "<?xpacket end=\"w\"?>\n";

/// Reads a document strictly and gives the text of each property, or of each entry of a list. Throws where it
/// is not well-formed.
class Document {
public:
    explicit Document(std::string_view text)
        : rest_(text)
    {
        instruction();
        take("\n");
        element("");
        take("\n");
        instruction();
        take("\n");
        require(rest_.empty());
    }

    std::map<std::string, Strings> values;

private:
    static void require(bool holds)
    {
        if (!holds) {
            throw std::runtime_error("not well-formed");
        }
    }
    void take(std::string_view text)
    {
        require(rest_.starts_with(text));
        rest_.remove_prefix(text.size());
    }
    std::string_view takeUntil(std::string_view end)
    {
        const auto at = rest_.find_first_of(end);
        require(at != std::string_view::npos);
        const auto text = rest_.substr(0, at);
        rest_.remove_prefix(at);
        return text;
    }
    void instruction()
    {
        take("<?xpacket ");
        takeUntil("?");
        take("?>");
    }
    std::string text()
    {
        static const std::map<std::string_view, std::string> entities{
            {"amp", "&"}, {"lt", "<"}, {"gt", ">"}, {"quot", "\""}, {"apos", "'"}};
        std::string result;
        while (!rest_.starts_with('<')) {
            result += takeUntil("<&");
            if (rest_.starts_with('&')) {
                take("&");
                result += entities.at(takeUntil("<&;"));
                take(";");
            }
        }
        require(isValidUtf8(result));
        mapScalars(result, [](char32_t scalar, std::string&) {
            require(scalar >= 0x20 ? scalar < 0xFFFE || scalar > 0xFFFF
                                   : scalar == '\t' || scalar == '\n' || scalar == '\r');
        });
        return result;
    }
    void element(std::string_view property)
    {
        take("<");
        const auto name = takeUntil(" \n>");
        while (!rest_.starts_with('>')) {
            rest_.remove_prefix(std::min(rest_.find_first_not_of(" \n"), rest_.size()));
            require(!takeUntil("=<>").empty());
            take("=\"");
            takeUntil("\"<&");
            take("\"");
        }
        take(">");
        if (!name.starts_with("x:") && !name.starts_with("rdf:")) {
            property = name;
        }
        auto content = text();
        const bool isLeaf = rest_.starts_with("</");
        while (!rest_.starts_with("</")) {
            element(property);
            require(text().find_first_not_of(" \n") == std::string::npos);
        }
        if (isLeaf) {
            values[std::string(property)].push_back(std::move(content));
        }
        take("</");
        take(name);
        take(">");
    }

    std::string_view rest_;
};

Asset assetOf(const std::string& uuid)
{
    Asset asset;
    asset.uuid = uuid;
    return asset;
}

TEST(Sidecar, holdsEverythingInOrder)
{
    const Date taken = std::chrono::sys_days(2024y / 5 / 3) + 10h + 17min + 36s + 900ms;
    auto asset = assetOf("ABC");
    asset.originalFileName = "IMG 'one'.HEIC";
    asset.title = "A & B";
    asset.caption = "<b>\"5 > 3\"</b>\nsecond";
    asset.keywords = {"Anna", "", "sea"};
    asset.people = {"Anna", "Bert"};
    asset.isFavorite = true;
    asset.isHidden = true;
    asset.dateCreated = taken;
    asset.dateModified = taken + 24h;
    asset.dateAdded = taken + 48h;
    asset.timeZoneOffset = 7200;
    asset.latitude = 48.8566;
    asset.longitude = -2.5;
    asset.lostDetails = {Asset::LostDetail::albums, Asset::LostDetail::caption};
    EXPECT_EQ(XMPWriter::document(
                  {.asset = asset, .albums = {"Albums/A", "Albums/B", "Albums/A"}, .isSmallerCopy = true}),
        head
            + "   <dc:title><rdf:Alt><rdf:li xml:lang=\"x-default\">A &amp; B</rdf:li></rdf:Alt></dc:title>\n"
              "   <dc:description><rdf:Alt><rdf:li xml:lang=\"x-default\">&lt;b&gt;&quot;5 &gt; "
              "3&quot;&lt;/b&gt;\nsecond</rdf:li></rdf:Alt></dc:description>\n"
              "   <dc:subject><rdf:Bag>\n"
              "    <rdf:li>Anna</rdf:li>\n"
              "    <rdf:li>sea</rdf:li>\n"
              "    <rdf:li>Bert</rdf:li>\n"
              "   </rdf:Bag></dc:subject>\n"
              "   <Iptc4xmpExt:PersonInImage><rdf:Bag>\n"
              "    <rdf:li>Anna</rdf:li>\n"
              "    <rdf:li>Bert</rdf:li>\n"
              "   </rdf:Bag></Iptc4xmpExt:PersonInImage>\n"
              "   <photoshop:DateCreated>2024-05-03T12:17:36+02:00</photoshop:DateCreated>\n"
              "   <xmp:CreateDate>2024-05-03T12:17:36+02:00</xmp:CreateDate>\n"
              "   <exif:DateTimeOriginal>2024-05-03T12:17:36+02:00</exif:DateTimeOriginal>\n"
              "   <xmp:ModifyDate>2024-05-04T12:17:36+02:00</xmp:ModifyDate>\n"
              "   <xmp:Rating>5</xmp:Rating>\n"
              "   <exif:GPSLatitude>48,51.396000N</exif:GPSLatitude>\n"
              "   <exif:GPSLongitude>2,30.000000W</exif:GPSLongitude>\n"
              "   <vantorel:AssetUUID>ABC</vantorel:AssetUUID>\n"
              "   <vantorel:OriginalFileName>IMG &apos;one&apos;.HEIC</vantorel:OriginalFileName>\n"
              "   <vantorel:Favorite>True</vantorel:Favorite>\n"
              "   <vantorel:Hidden>True</vantorel:Hidden>\n"
              "   <vantorel:SmallerCopy>True</vantorel:SmallerCopy>\n"
              "   <vantorel:DateAdded>2024-05-05T12:17:36+02:00</vantorel:DateAdded>\n"
              "   <vantorel:Albums><rdf:Bag>\n"
              "    <rdf:li>Albums/A</rdf:li>\n"
              "    <rdf:li>Albums/B</rdf:li>\n"
              "   </rdf:Bag></vantorel:Albums>\n"
              "   <vantorel:LostDetails><rdf:Bag>\n"
              "    <rdf:li>caption</rdf:li>\n"
              "    <rdf:li>albums</rdf:li>\n"
              "   </rdf:Bag></vantorel:LostDetails>\n"
            + foot);
}

TEST(Sidecar, leavesOutWhatIsNotThere)
{
    auto asset = assetOf("ABC");
    asset.title = "";
    asset.people = {"Anna"};
    asset.dateCreated = std::chrono::sys_days(2001y / 2 / 3); // no offset: UTC, and no designator
    asset.timeZoneOffset = 64'801;
    EXPECT_EQ(XMPWriter::document({.asset = asset, .albums = {""}, .peopleAsKeywords = false}),
        head
            + "   <Iptc4xmpExt:PersonInImage><rdf:Bag>\n"
              "    <rdf:li>Anna</rdf:li>\n"
              "   </rdf:Bag></Iptc4xmpExt:PersonInImage>\n"
              "   <photoshop:DateCreated>2001-02-03T00:00:00</photoshop:DateCreated>\n"
              "   <xmp:CreateDate>2001-02-03T00:00:00</xmp:CreateDate>\n"
              "   <exif:DateTimeOriginal>2001-02-03T00:00:00</exif:DateTimeOriginal>\n"
              "   <vantorel:AssetUUID>ABC</vantorel:AssetUUID>\n"
              "   <vantorel:Favorite>False</vantorel:Favorite>\n"
              "   <vantorel:Hidden>False</vantorel:Hidden>\n"
            + foot);
}

struct Place {
    double latitude;
    std::string text; ///< Empty: left out.
};

class Coordinate : public testing::TestWithParam<Place> { };

TEST_P(Coordinate, isWrittenInDegreesAndMinutes)
{
    auto asset = assetOf("A");
    asset.latitude = GetParam().latitude;
    auto values = Document(XMPWriter::document({.asset = asset})).values;
    EXPECT_EQ(values["exif:GPSLatitude"], GetParam().text.empty() ? Strings{} : Strings{GetParam().text});
}

INSTANTIATE_TEST_SUITE_P(Rows, Coordinate,
    testing::Values(Place{0, "0,0.000000N"}, Place{-0.5, "0,30.000000S"}, Place{90, "90,0.000000N"},
        Place{11.99999999999, "12,0.000000N"}, // 59.9999999994 minutes carry
        Place{-59.99999999999, "60,0.000000S"}, Place{1.0 / 3, "0,20.000000N"}, Place{90.001, ""},
        Place{1e300, ""}, Place{std::numeric_limits<double>::quiet_NaN(), ""},
        Place{-std::numeric_limits<double>::infinity(), ""}));

TEST(Sidecar, carriesAnyTextAndStaysWellFormed)
{
    static const Strings pieces{"a", "&", "<", ">", "\"", "'", "]]>", "&amp;", "\n", "\r", "\t", "\x01",
        "\x1F", "\x7F", "\u00E9", "\uFFFE", "\uFFFF", "\uFEFF", "\U0001F600", "\xFF", "\xED\xA0\x80", "{}",
        "%s", std::string(1, '\0')};
    constexpr unsigned seed = 99;
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const auto text = [&] {
        std::string result = "x";
        for (auto count = random() % 8; count > 0; --count) {
            result += pieces[random() % pieces.size()];
        }
        return result;
    };
    const auto readBack = [](const std::string& value) {
        return mapScalars(repairedUtf8(value), [](char32_t scalar, std::string& out) {
            const bool allowed = scalar >= 0x20 ? scalar < 0xFFFE || scalar > 0xFFFF
                                                : scalar == '\t' || scalar == '\n' || scalar == '\r';
            appendScalar(out, allowed ? scalar : U'\uFFFD');
        });
    };
    for (int i = 0; i < 1000; ++i) {
        auto asset = assetOf(text());
        asset.title = text();
        asset.caption = text();
        asset.originalFileName = text();
        asset.keywords = {"1" + text(), "2" + text()};
        const std::vector<std::string> albums{text()};
        auto values = Document(XMPWriter::document({.asset = asset, .albums = albums})).values;
        ASSERT_EQ(values["dc:title"], Strings{readBack(*asset.title)});
        ASSERT_EQ(values["dc:description"], Strings{readBack(*asset.caption)});
        ASSERT_EQ(values["dc:subject"], (Strings{readBack(asset.keywords[0]), readBack(asset.keywords[1])}));
        ASSERT_EQ(values["vantorel:AssetUUID"], Strings{readBack(asset.uuid)});
        ASSERT_EQ(values["vantorel:OriginalFileName"], Strings{readBack(*asset.originalFileName)});
        ASSERT_EQ(values["vantorel:Albums"], Strings{readBack(albums[0])});
    }
}

} // namespace
} // namespace vantorel
