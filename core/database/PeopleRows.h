#pragma once

#include "base/TextBudget.h"
#include "database/DatabaseSteps.h"
#include "database/ReadState.h"

#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace vantorel {

struct PersonNames {
    struct Person {
        std::string name{}; ///< Empty: found by Photos, never named.
        std::optional<std::int64_t> mergedInto{};
        /// Whom a face of this person shows, all merges followed: at least the person itself. Where the
        /// person merged into is lost, the last one that is there; in a circle each its own.
        const Person* standsFor = nullptr;
    };
    std::unordered_map<std::int64_t, Person> persons{}; ///< Its elements stay where they are.
    std::vector<std::size_t> assetsWithLostPerson{};
    std::int64_t facesWithPerson = 0;
    TextBudget budget{};
};

void readPersonRows(ReadState& state, PersonNames& people, const DatabaseSteps::Worker& worker);
/// Follows all merges, each person once. Before the faces are read.
void followMerges(PersonNames& people);
void readFaceRows(ReadState& state, PersonNames& people, const DatabaseSteps::Worker& worker);
/// Sorts the names of each asset and of the library, each once, and marks assets that lost all of theirs.
void settlePeople(ReadState& state, const PersonNames& people);

} // namespace vantorel
