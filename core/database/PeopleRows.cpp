#include "database/PeopleRows.h"

#include <algorithm>
#include <array>
#include <set>
#include <string_view>
#include <utility>

// A name is ZFULLNAME, else ZDISPLAYNAME. A person merged into another keeps its row and its name, with
// ZMERGETARGETPERSON set. Two persons can have one name. Faces that the user hid or that lie in the trash
// name nobody; a face without asset was kept for training, one without person was never named: neither is a
// loss.

namespace vantorel {

namespace {

constexpr std::array<std::string_view, 4> personColumns{
    "Z_PK", "ZFULLNAME", "ZDISPLAYNAME", "ZMERGETARGETPERSON"};

void sortOnce(std::vector<std::string>& names)
{
    std::ranges::sort(names);
    const auto twice = std::ranges::unique(names);
    names.erase(twice.begin(), twice.end());
}

} // namespace

void followMerges(PersonNames& people)
{
    using Person = PersonNames::Person;
    std::vector<Person*> chain;
    for (auto& [key, first] : people.persons) {
        // Along the chain everybody first stands for himself, which ends a walk in a circle where it began.
        Person* last = &first;
        chain.clear();
        while (last->standsFor == nullptr) {
            last->standsFor = last;
            chain.push_back(last);
            const auto next =
                last->mergedInto ? people.persons.find(*last->mergedInto) : people.persons.end();
            if (next == people.persons.end()) {
                break;
            }
            last = &next->second;
        }
        const auto circle = std::ranges::find(chain, last);
        const bool endsInIt = circle != chain.end() && last != chain.back();
        const Person* end = last->standsFor;
        for (auto member = chain.begin(); member != (endsInIt ? circle : chain.end()); ++member) {
            (*member)->standsFor = end;
        }
    }
}

void readPersonRows(ReadState& state, PersonNames& people, const DatabaseSteps::Worker& worker)
{
    const std::string& table = state.schema.personTable.value();
    RowCounter rows(state, table, worker.rows);
    enum Column : int { pk, fullName, displayName, mergeTarget };
    forEachRowByKey(state, worker.reader,
        "SELECT " + selectList(personColumns, state.schema.personColumns) + " FROM "
            + quotedIdentifier(table),
        [&](const SQLiteRow& row) {
            const std::int64_t key = row.int64At(pk).value_or(0);
            rows.add(key);
            std::string name = row.stringAt(fullName).value_or(std::string());
            if (name.empty()) {
                name = row.stringAt(displayName).value_or(std::string());
            }
            people.persons.try_emplace(
                key, PersonNames::Person{.name = std::move(name), .mergedInto = row.int64At(mergeTarget)});
        });
}

void readFaceRows(ReadState& state, PersonNames& people, const DatabaseSteps::Worker& worker)
{
    const std::string& table = state.schema.faceTable.value();
    const ResolvedSchema::Columns& columns = worker.reader.columns(table);
    RowCounter rows(state, table, worker.rows);
    enum Column : int { pk, faceAsset, facePerson, hidden, inTrash };
    const std::string items = "Z_PK, " + quotedIdentifier(state.schema.faceAssetColumn.value()) + ", "
        + quotedIdentifier(state.schema.facePersonColumn.value()) + ", "
        + selectItem("ZHIDDEN", columns, "ZHIDDEN") + ", " + selectItem("ZISINTRASH", columns, "ZISINTRASH");
    forEachRowByKey(state, worker.reader, "SELECT " + items + " FROM " + quotedIdentifier(table),
        [&](const SQLiteRow& row) {
            rows.add(row.int64At(pk).value_or(0));
            const auto asset = row.int64At(faceAsset);
            const auto person = row.int64At(facePerson);
            if (!asset || row.int64At(hidden).value_or(0) != 0 || row.int64At(inTrash).value_or(0) != 0) {
                return;
            }
            const auto position = state.assets.find(*asset);
            if (!position) {
                ++state.context.facesWithoutPhoto;
                return;
            }
            if (!person) {
                return;
            }
            ++people.facesWithPerson;
            const auto found = people.persons.find(*person);
            if (found == people.persons.end() || !people.budget.take(found->second.standsFor->name)) {
                ++state.context.facesWithoutPerson;
                people.assetsWithLostPerson.push_back(*position);
            } else if (const std::string& name = found->second.standsFor->name; !name.empty()) {
                state.snapshot.assets[*position].people.push_back(name);
            }
        });
}

void settlePeople(ReadState& state, const PersonNames& people)
{
    for (Asset& asset : state.snapshot.assets) {
        sortOnce(asset.people);
    }
    for (const std::size_t position : people.assetsWithLostPerson) {
        Asset& asset = state.snapshot.assets[position];
        if (asset.people.empty()) { // a detail that is listed as lost is empty
            asset.lostDetails.insert(Asset::LostDetail::people);
        }
    }
    std::set<std::string_view> names; // any number of persons may stand for one
    for (const auto& [key, person] : people.persons) {
        if (!person.standsFor->name.empty()) {
            names.insert(person.standsFor->name);
        }
    }
    state.snapshot.people.assign(names.begin(), names.end());
}

} // namespace vantorel
