#include "database/SalvagerStatements.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vantorel {
namespace {

using Texts = std::vector<std::string>;

Texts statementsIn(const std::string& text, std::size_t piece, std::size_t most = 1'000)
{
    SalvagerStatements statements(most);
    Texts found;
    for (std::size_t i = 0; i < text.size(); i += piece) {
        statements.feed(std::string_view(text).substr(i, piece), [&found](std::string_view statement) {
            found.emplace_back(statement);
            return true;
        });
    }
    return found;
}

struct Case {
    std::string text;
    Texts expected;
};

const std::vector<Case>& cases()
{
    static const std::vector<Case> all{
        {"BEGIN;\nA;\r\n\t B ;", {"BEGIN;", "A;", "B ;"}},
        {"INSERT INTO t VALUES('a;b');C;", {"INSERT INTO t VALUES('a;b');", "C;"}},
        {"I 'it''s; ''';C;", {"I 'it''s; ''';", "C;"}},
        {"I \"a\"\";\" ;C;", {"I \"a\"\";\" ;", "C;"}},
        {"I [a';] ;C;", {"I [a';] ;", "C;"}},
        {"I `a;``;` ;C;", {"I `a;``;` ;", "C;"}},
        {"A -- not; yet\n;B;", {"A -- not; yet\n;", "B;"}},
        {"A /* not; '; * / **/;B;", {"A /* not; '; * / **/;", "B;"}},
        {"A /*/;*/;B;", {"A /*/;*/;", "B;"}},
        {"A 1-2;B 4/2;", {"A 1-2;", "B 4/2;"}},
        {"A 1-'x;';B;", {"A 1-'x;';", "B;"}},
        {"CREATE TRIGGER x BEGIN I 1; I 2; END;B;", {"CREATE TRIGGER x BEGIN I 1; I 2; END;", "B;"}},
        {"create temp trigger x BEGIN I 1; end ;B;", {"create temp trigger x BEGIN I 1; end ;", "B;"}},
        {"CREATE TRIGGER x BEGIN U CASE 1 END; I 'END;'; END /* ; */ ;B;",
            {"CREATE TRIGGER x BEGIN U CASE 1 END; I 'END;'; END /* ; */ ;", "B;"}},
        {"CREATE/**/TRIGGER x BEGIN I; ENDED; ;END;B;", {"CREATE/**/TRIGGER x BEGIN I; ENDED; ;END;", "B;"}},
        {"CREATE TABLE trigger(a);B;", {"CREATE TABLE trigger(a);", "B;"}},
        {"CREATE 'TRIGGER';B;", {"CREATE 'TRIGGER';", "B;"}},
        {".dbconfig defensive off; x\n.open 'y\nA;", {"A;"}},
        {"A\n.5;B;", {"A\n.5;", "B;"}},
        {"A;B 'cut; here", {"A;"}},
        {"A;B cut", {"A;"}},
    };
    return all;
}

TEST(SalvagerStatements, areCutAtTheSamePlacesWhateverThePieces)
{
    for (const auto& [text, expected] : cases()) {
        for (std::size_t piece = 1; piece <= text.size(); ++piece) {
            EXPECT_EQ(statementsIn(text, piece), expected) << text << " in pieces of " << piece;
        }
    }
}

TEST(SalvagerStatements, passesOverWhatIsTooLong)
{
    for (const std::size_t piece : {1u, 3u, 100u}) {
        EXPECT_EQ(statementsIn("A 'seven;'; 1234567; 12345678; B;", piece, 8), (Texts{"1234567;", "B;"}));
    }
}

TEST(SalvagerStatements, endsWhenTheHandlerSaysSo)
{
    SalvagerStatements statements(100);
    int seen = 0;
    EXPECT_FALSE(statements.feed("A;B;C;", [&seen](std::string_view) { return ++seen < 2; }));
    EXPECT_EQ(seen, 2);
}

} // namespace
} // namespace vantorel
