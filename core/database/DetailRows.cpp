#include "database/DetailRows.h"

#include <array>
#include <utility>

// Additional attributes and asset table point at each other, one row for each asset. The time-zone offset is
// in the attributes; the asset table has no such column in any version seen, but is asked too. A caption is a
// row of its own that points back at the attributes row; both directions are in every version seen.

namespace vantorel {

namespace {

enum Column : int {
    pk,
    asset,
    description,
    originalName,
    size,
    masterFingerprint,
    stableHash,
    title,
    zoneOffset,
    columnCount
};

constexpr std::array<std::string_view, columnCount> columnNames{
    "Z_PK",
    "ZASSET",
    "ZASSETDESCRIPTION",
    "ZORIGINALFILENAME",
    "ZORIGINALFILESIZE",
    "ZMASTERFINGERPRINT",
    "ZORIGINALSTABLEHASH",
    "ZTITLE",
    "ZTIMEZONEOFFSET",
};

/// An empty text means that there is none.
std::optional<std::string> textAt(const SQLiteRow& row, int column)
{
    auto text = row.stringAt(column);
    return text && text->empty() ? std::nullopt : text;
}

void takeDetails(Asset& target, const SQLiteRow& row)
{
    target.originalFileName = textAt(row, originalName);
    if (const auto bytes = row.int64At(size); bytes && *bytes > 0) {
        target.originalFileSize = bytes;
    }
    target.fingerprint = textAt(row, masterFingerprint);
    if (!target.fingerprint) {
        target.fingerprint = textAt(row, stableHash);
    }
    target.title = textAt(row, title);
    if (!target.timeZoneOffset) {
        target.timeZoneOffset = row.int64At(zoneOffset);
    }
}

} // namespace

void readAttributeRows(ReadState& state, CaptionLinks& links, const DatabaseSteps::Worker& worker)
{
    const std::string& table = state.schema.attributesTable.value();
    RowCounter rows(state, table, worker.rows);
    state.attributes.reserve(state.snapshot.assets.size());
    forEachRowByKey(state, worker.reader,
        "SELECT " + selectList(columnNames, state.schema.attributesColumns) + " FROM "
            + quotedIdentifier(table),
        [&](const SQLiteRow& row) {
            const std::int64_t key = row.int64At(pk).value_or(0);
            rows.add(key);
            const auto position = state.assets.find(row.int64At(asset).value_or(0));
            if (!position) {
                return;
            }
            state.attributes.add(key, *position);
            if (const auto caption = row.int64At(description)) {
                links.captions.add(*caption, links.assets.size());
                links.assets.push_back(*position);
            }
            if (!std::exchange(state.facts[*position].hasDetails, true)) {
                takeDetails(state.snapshot.assets[*position], row);
            }
        });
}

void settleDetails(ReadState& state)
{
    state.attributes.sort();
    for (std::size_t i = 0; i < state.facts.size(); ++i) {
        if (!state.facts[i].hasDetails) {
            ++state.context.photosWithoutDetails;
            state.snapshot.assets[i].lostDetails.insert(
                {Asset::LostDetail::originalName, Asset::LostDetail::caption, Asset::LostDetail::keywords});
        }
    }
}

void readDescriptionRows(ReadState& state, CaptionLinks& links, const DatabaseSteps::Worker& worker)
{
    links.captions.sort();
    links.found.assign(links.assets.size(), false);
    const std::string& table = state.schema.descriptionTable.value();
    const bool pointsBack = state.schema.descriptionColumns.contains("zassetattributes");
    RowCounter rows(state, table, worker.rows);
    enum Item : int { key, attributes, text };
    forEachRowByKey(state, worker.reader,
        "SELECT Z_PK, " + std::string(pointsBack ? "ZASSETATTRIBUTES" : "NULL")
            + " AS ATTR, ZLONGDESCRIPTION FROM " + quotedIdentifier(table),
        [&](const SQLiteRow& row) {
            const std::int64_t id = row.int64At(key).value_or(0);
            rows.add(id);
            const auto link = links.captions.find(id);
            if (link) {
                links.found[*link] = true;
            }
            auto position = state.attributes.find(row.int64At(attributes).value_or(0));
            if (!position && link) {
                position = links.assets[*link];
            }
            auto caption = textAt(row, text);
            if (position && caption && !state.snapshot.assets[*position].caption) {
                state.snapshot.assets[*position].caption = std::move(caption);
            }
        });
}

void settleCaptions(ReadState& state, const CaptionLinks& links)
{
    for (std::size_t i = 0; i < links.assets.size(); ++i) {
        Asset& target = state.snapshot.assets[links.assets[i]];
        const bool wasRead = i < links.found.size() && links.found[i];
        if (!wasRead && !target.caption && target.lostDetails.insert(Asset::LostDetail::caption).second) {
            ++state.context.captionsLost;
        }
    }
}

} // namespace vantorel
