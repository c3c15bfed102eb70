#include "export/SafeNames.h"

#include "base/Text.h"
#include "base/Unicode.h"
#include "scan/PhotoFileTypes.h"

#include <random>
#include <set>

#include <gtest/gtest.h>

namespace vantorel {
namespace {

std::string repeated(std::string_view text, std::size_t times)
{
    std::string result;
    while (times-- > 0) {
        result += text;
    }
    return result;
}

struct Cleaned {
    std::string name;
    std::string expected;
};

class CleanName : public testing::TestWithParam<Cleaned> { };

TEST_P(CleanName, fitsEveryDisk)
{
    EXPECT_EQ(SafeNames::clean(GetParam().name, "Untitled Album"), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Rows, CleanName,
    testing::Values(Cleaned{"Rome", "Rome"}, Cleaned{"a:b/c", "a-b-c"}, Cleaned{"\"*/:<>?\\|", "---------"},
        Cleaned{"a \t\n  b\x7F", "a b"}, Cleaned{std::string("a\0b", 3), "a b"}, Cleaned{"  .. x. . ", "x"},
        Cleaned{"", "Untitled Album"}, Cleaned{". .. ", "Untitled Album"},
        Cleaned{"\t\r\n", "Untitled Album"}, Cleaned{"CON", "_CON"}, Cleaned{"con.txt", "_con.txt"},
        Cleaned{"..aux", "_aux"}, Cleaned{"lPt9.a.b", "_lPt9.a.b"}, Cleaned{"Lpt1 photos", "Lpt1 photos"},
        Cleaned{"COM0", "COM0"}, Cleaned{"COM10", "COM10"}, Cleaned{"x.con", "x.con"},
        // direction controls go, and with them the spaces that they leave
        Cleaned{"a\u202Egpj\u2066.exe", "a gpj .exe"}, Cleaned{"\u202A\u2069", "Untitled Album"},
        // other invisible characters and private use stay, noncharacters and unassigned ones do not
        Cleaned{"a\u200Db\uE000", "a\u200Db\uE000"}, Cleaned{"a\uFDD0\uFFFF\u0378\U0001FFFEb", "a----b"},
        Cleaned{"\u3000wide\u00A0", "\u3000wide\u00A0"}, // only U+0020 counts as a space
        Cleaned{"E\u0301te\u0301", "\u00C9t\u00E9"}, Cleaned{"bad\xFF\xC3", "bad\uFFFD\uFFFD"},
        Cleaned{std::string(180, 'x'), std::string(180, 'x')},
        Cleaned{std::string(200, 'x'), std::string(180, 'x')},
        Cleaned{std::string(178, 'x') + ". yz", std::string(178, 'x')}, // the cut ends at ". "
        Cleaned{std::string(179, 'x') + "\u00E9", std::string(179, 'x')},
        Cleaned{repeated("\u65E5", 61), repeated("\u65E5", 60)},
        // an emoji family is one character of 25 bytes
        Cleaned{repeated("\U0001F468\u200D\U0001F469\u200D\U0001F467\u200D\U0001F466", 8),
            repeated("\U0001F468\u200D\U0001F469\u200D\U0001F467\u200D\U0001F466", 7)},
        Cleaned{"a" + repeated("\u0323\u0301", 60), "Untitled"})); // one character that is too long

TEST(CleanName, takesTheFallbackThroughTheSameRules)
{
    EXPECT_EQ(SafeNames::clean("..", "nul"), "_nul");
    EXPECT_EQ(SafeNames::clean("", ""), "");
}

struct Same {
    std::string a;
    std::string b;
    bool areSame = true;
};

class SameName : public testing::TestWithParam<Same> { };

TEST_P(SameName, isToldByTheKey)
{
    EXPECT_EQ(
        SafeNames::comparisonKey(GetParam().a) == SafeNames::comparisonKey(GetParam().b), GetParam().areSame);
}

INSTANTIATE_TEST_SUITE_P(Rows, SameName,
    testing::Values(Same{"Trip", "TRIP"}, Same{"\u00C9t\u00E9", "E\u0301te\u0301"},
        Same{"\u00C9t\u00E9", "\u00C9T\u00C9"}, Same{"Ete", "\u00C9t\u00E9", false},
        Same{"stra\u00DFe", "STRASSE"}, Same{"\uFF21\uFF11", "a1"}, Same{"\uFF76", "\u30AB"},
        Same{"\u03C3", "\u03C2"}, Same{"a\u200C\u200F\u202B\u206E\uFEFFb", "AB"},
        Same{"a\u200Bb", "ab", false}, Same{"I", "\u0131", false}, Same{"a b", "ab", false},
        // each end of each range
        Same{"\u10A0\u10C5\u10C7\u10CD", "\u10D0\u10F5\u10F7\u10FD"},
        Same{"\u2D00\u2D25\u2D27\u2D2D", "\u10D0\u10F5\u10F7\u10FD"},
        Same{"\u1C90\u1CBA\u1CBD\u1CBF", "\u10D0\u10FA\u10FD\u10FF"},
        Same{"\u1C80\u1C81\u1C82\u1C83\u1C84\u1C85\u1C86\u1C87\u1C88",
            "\u0432\u0434\u043E\u0441\u0442\u0442\u044A\u0463\uA64B"}));

struct Split {
    std::string recorded;
    std::string onDisk;
    SafeNames::StemAndExtension expected;
};

class SplitName : public testing::TestWithParam<Split> { };

TEST_P(SplitName, keepsTheTruerExtension)
{
    EXPECT_EQ(SafeNames::split(GetParam().recorded, GetParam().onDisk), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Rows, SplitName,
    testing::Values(Split{"IMG_1.JPG", "U.jpeg", {"IMG_1", "JPG"}}, Split{"a.Jpe", "U.jpg", {"a", "Jpe"}},
        Split{"a.TIF", "U.tiff", {"a", "TIF"}}, Split{"a.b.PNG", "U.heic", {"a.b", "heic"}},
        Split{"a.jpeg", "U.MOV", {"a", "MOV"}}, Split{"noext", "U.heic", {"noext", "heic"}},
        Split{"a.jpg", "U", {"a", "jpg"}}, Split{"a", "U", {"a", "dat"}},
        Split{"a.DAT", "U.dat", {"a", "DAT"}}, Split{"name.xyz", "U.xyz", {"name", "xyz.dat", true}},
        Split{"a.heic", "U.XMP", {"a", "XMP.dat", true}}, Split{"a.b:c", "U.b:c", {"a", "b-c.dat", true}},
        Split{"a.con", "U.con", {"a", "_con.dat", true}}, Split{".jpg", "U.jpg", {".jpg", "jpg"}},
        Split{"a.", "U.jpg", {"a.", "jpg"}}, Split{"Mr. Smith", "U.jpg", {"Mr. Smith", "jpg"}},
        Split{"v1.2/x", "U.jpg", {"v1.2/x", "jpg"}}, Split{"", "U.jpg", {"", "jpg"}}));

TEST(CompanionExtension, isInLowerCaseAndMarkedWhereTheTypeIsNotKnown)
{
    EXPECT_EQ(SafeNames::companionExtension("U_3.MOV"), (SafeNames::StemAndExtension{"U_3", "mov"}));
    EXPECT_EQ(
        SafeNames::companionExtension("U_5.Aae"), (SafeNames::StemAndExtension{"U_5", "aae.dat", true}));
    EXPECT_EQ(SafeNames::companionExtension("U_5"), (SafeNames::StemAndExtension{"U_5", "dat"}));
}

TEST(KnownExtension, isOneOfTheFiftyFour)
{
    for (const auto* known : {"jpg", "jpe", "hif", "3fr", "iiq", "wmv", "dv", "m2ts", "pdf"}) {
        EXPECT_TRUE(SafeNames::isKnownExtension(known)) << known;
    }
    for (const auto* unknown : {"", "JPG", "xmp", "aae", "dat", "exe", "svg", "jp"}) {
        EXPECT_FALSE(SafeNames::isKnownExtension(unknown)) << unknown;
    }
    EXPECT_TRUE(isVideoExtension("mov"));
    EXPECT_FALSE(isVideoExtension("heic"));
}

TEST(FolderNames, numberNamesThatDisksTakeForOne)
{
    FolderNames names;
    names.reserve("Kept");
    std::vector<std::string> given;
    for (const auto* title :
        {"Trip", "Trip", "TRIP", "Trip (2)", "Trip", "\u00C9t\u00E9", "E\u0301te\u0301", "kept"}) {
        given.push_back(names.allocate(title));
    }
    EXPECT_EQ(given,
        (std::vector<std::string>{"Trip", "Trip (2)", "TRIP (3)", "Trip (2) (2)", "Trip (4)", "\u00C9t\u00E9",
            "E\u0301te\u0301 (2)", "kept (2)"}));
}

using Names = NameAllocator::Names;

TEST(NameAllocator, reservesEachSidecarWithItsPhoto)
{
    NameAllocator names;
    EXPECT_EQ(
        names.allocate("IMG_1", "heic", {"mov"}), (Names{"IMG_1", "IMG_1.heic", "IMG_1.xmp", {"IMG_1.mov"}}));
    // another extension, but the sidecar is taken
    EXPECT_EQ(names.allocate("IMG_1", "png", {}), (Names{"IMG_1 (2)", "IMG_1 (2).png", "IMG_1 (2).xmp", {}}));
    EXPECT_EQ(names.allocate("img_1", "HEIC", {"mov"}),
        (Names{"img_1 (3)", "img_1 (3).HEIC", "img_1 (3).xmp", {"img_1 (3).mov"}}));
    names.reserve("b.XMP");
    EXPECT_EQ(names.allocate("b", "jpg", {}).stem, "b (2)");
}

TEST(NameAllocator, numbersCompanionsWithoutTouchingTheStem)
{
    NameAllocator names;
    names.reserve("a.mov");
    EXPECT_EQ(names.allocate("a", "jpg", {"mov", "mov", "JPG", "xmp"}),
        (Names{"a", "a.jpg", "a.xmp", {"a (2).mov", "a (3).mov", "a (2).JPG", "a (2).xmp"}}));
    // "a (2).JPG" and "a (3).mov" were given to companions above
    EXPECT_EQ(
        names.allocate("a", "jpg", {"mov"}), (Names{"a (3)", "a (3).jpg", "a (3).xmp", {"a (3) (2).mov"}}));
}

/// The allocation as it is described, counted through from 1 each time and with the keys of whole names.
class PlainAllocator {
public:
    Names allocate(
        const std::string& stem, const std::string& extension, const std::vector<std::string>& more)
    {
        const auto key = [](const std::string& name) { return SafeNames::comparisonKey(name); };
        const auto numbered = [](const std::string& name, int number) {
            return number == 1 ? name : name + " (" + std::to_string(number) + ")";
        };
        auto& next = next_.try_emplace(key(stem + '\x01' + extension), 1).first->second;
        while (used_.contains(key(numbered(stem, next) + "." + extension))
            || used_.contains(key(numbered(stem, next) + ".xmp"))) {
            ++next;
        }
        Names names{.stem = numbered(stem, next++)};
        names.main = names.stem + "." + extension;
        names.sidecar = names.stem + ".xmp";
        used_.insert({key(names.main), key(names.sidecar)});
        for (const auto& companion : more) {
            int number = 1;
            while (!used_.insert(key(numbered(names.stem, number) + "." + companion)).second) {
                ++number;
            }
            names.companions.push_back(numbered(names.stem, number) + "." + companion);
        }
        return names;
    }

private:
    std::set<std::string> used_;
    std::map<std::string, int> next_;
};

std::string randomText(std::mt19937& random, std::size_t most)
{
    static const std::vector<std::string> pieces{"a", "A", "b", ".", " ", "(2)", " (2)", "/", ":", "\x01",
        "\u0301", "\u00E9", "e\u0301", "\u0345", "\uFF9E", "\uFF0E", "\u10A0", "\u1C90", "\u200D", "\uFEFF",
        "\u202E", "\u65E5", "\uD55C", "\u1112\u1161", "\u03C3", "\u00DF", "\U0001F468\u200D\U0001F469",
        "\uFFFF", "\xFF", "con", "xmp"};
    std::string text;
    for (auto count = random() % most; count > 0; --count) {
        text += pieces[random() % pieces.size()];
    }
    return text;
}

TEST(RandomNames, areCleanAndUniqueAndAsDescribed)
{
    constexpr unsigned seed = 20240503;
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    for (int round = 0; round < 40; ++round) {
        NameAllocator names;
        PlainAllocator plain;
        std::set<std::string> keys;
        for (int i = 0; i < 60; ++i) {
            const auto stem = SafeNames::clean(randomText(random, 5), "fallback");
            const auto extension = SafeNames::split("", "U." + randomText(random, 3)).extension;
            std::vector<std::string> companions;
            for (auto count = random() % 3; count > 0; --count) {
                companions.push_back(SafeNames::clean(randomText(random, 3), "mov"));
            }
            const auto given = names.allocate(stem, extension, companions);
            ASSERT_EQ(given, plain.allocate(stem, extension, companions)) << displayText(stem);
            auto all = given.companions;
            all.insert(all.end(), {given.main, given.sidecar});
            for (const auto& name : all) {
                ASSERT_TRUE(keys.insert(SafeNames::comparisonKey(name)).second) << displayText(name);
            }
        }
    }
}

TEST(RandomNames, obeyTheRulesOfEveryDisk)
{
    constexpr unsigned seed = 7;
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    for (int i = 0; i < 5000; ++i) {
        const auto source = randomText(random, i % 10 == 0 ? 200 : 12);
        const auto name = SafeNames::clean(source, "fallback");
        SCOPED_TRACE(displayText(source));
        ASSERT_FALSE(name.empty());
        ASSERT_LE(name.size(), SafeNames::mostBytes);
        ASSERT_TRUE(isValidUtf8(name));
        ASSERT_EQ(name.find_first_of("\"*/:<>?\\|\x01\x7F"), std::string::npos);
        ASSERT_EQ(name.find("  "), std::string::npos);
        ASSERT_TRUE(name.find_first_of(". ") != 0 && name.find_last_of(". ") != name.size() - 1) << name;
        ASSERT_EQ(SafeNames::clean(name, "other"), name); // a safe name stays as it is
    }
}

TEST(AsciiNames, goTheirShortWayToTheSameResult)
{
    constexpr unsigned seed = 11;
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    for (int i = 0; i < 2000; ++i) {
        std::string name;
        for (auto count = random() % 20; count > 0; --count) {
            name += static_cast<char>(random() % 128);
        }
        // With a letter outside ASCII in front both go the long way; it changes nothing behind it.
        ASSERT_EQ(SafeNames::comparisonKey("\u65E5" + name), "\u65E5" + SafeNames::comparisonKey(name));
        ASSERT_EQ(SafeNames::clean("\u65E5x" + name, ""), "\u65E5" + SafeNames::clean("x" + name, ""));
    }
}

TEST(NameAllocator, isQuickWithNamesMadeToSlowItDown)
{
    NameAllocator names;
    std::string last;
    for (int i = 0; i < 20'000; ++i) { // one stem, ever other extensions: every sidecar collides
        last = names.allocate("a", "x" + std::to_string(i) + ".dat", {}).stem;
    }
    EXPECT_EQ(last, "a (20000)");
    const auto many = names.allocate("b", "jpg", std::vector<std::string>(20'000, "mov"));
    EXPECT_EQ(many.companions.back(), "b (20000).mov");
}

} // namespace
} // namespace vantorel
