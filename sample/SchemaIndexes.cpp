#include "sample/DatabaseWriter.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <sstream>
#include <string_view>

namespace vantorel::sample {

namespace {

/// An index that Photos names itself. "Asset" in the name and as the table is "GenericAsset" in generation 5.
struct NamedIndex {
    std::string_view name;
    std::string_view entity;
    std::string_view columns;
    std::string_view condition{};
    bool isUnique = false;
};

constexpr std::array<NamedIndex, 36> namedIndexes{{
    {"byAddedDateIndex", "Asset", "ZADDEDDATE"},
    {"byAvalanchePickTypeIndex", "Asset", "ZAVALANCHEPICKTYPE"},
    {"byAvalancheUUIDIndex", "Asset", "ZAVALANCHEUUID"},
    {"byCloudAssetGUIDIndex", "Asset", "ZCLOUDASSETGUID"},
    {"byDateCreatedIndex", "Asset", "ZDATECREATED"},
    {"byKindIndex", "Asset", "ZKIND"},
    {"bySavedAssetTypeIndex", "Asset", "ZSAVEDASSETTYPE"},
    {"bySortTokenIndex", "Asset", "ZSORTTOKEN"},
    {"byUuidIndex", "Asset", "ZUUID"},
    {"byVisibilityStateIndex", "Asset", "ZVISIBILITYSTATE"},
    {"compoundIndex1", "Asset", "ZCLOUDASSETGUID ZSAVEDASSETTYPE"},
    {"compoundIndex2", "Asset", "ZDIRECTORY ZFILENAME"},
    {"compoundIndex3", "Asset", "ZCLOUDLOCALSTATE ZDATECREATED"},
    {"compoundIndex4", "Asset", "ZHIDDEN ZVISIBILITYSTATE"},
    {"compoundIndex5", "Asset", "ZTRASHEDSTATE ZTRASHEDDATE"},
    {"compoundIndex9", "Asset", "ZKIND ZTRASHEDSTATE ZCLOUDLOCALSTATE ZSAVEDASSETTYPE"},
    {"forFavoritesAlbum", "Asset",
        "ZFAVORITE ZDATECREATED ZADDEDDATE Z_PK ZVISIBILITYSTATE ZCOMPLETE ZTRASHEDSTATE ZHIDDEN",
        "ZFAVORITE = 1"},
    {"forVideosAlbum", "Asset",
        "ZPLAYBACKSTYLE ZDATECREATED ZADDEDDATE Z_PK ZSAVEDASSETTYPE ZVISIBILITYSTATE ZTRASHEDSTATE",
        "ZPLAYBACKSTYLE = 4"},
    {"forKindSubtypeAlbums", "Asset", "ZKINDSUBTYPE ZDATECREATED ZADDEDDATE Z_PK ZTRASHEDSTATE ZHIDDEN",
        "ZKINDSUBTYPE <> 0"},
    {"byPartOfDuplicatedSet", "Asset", "ZDUPLICATEASSETVISIBILITYSTATE Z_PK",
        "ZDUPLICATEASSETVISIBILITYSTATE <> 0"},
    {"byMasterFingerPrintIndex", "AdditionalAssetAttributes", "ZMASTERFINGERPRINT"},
    {"byOriginalStableHashIndex", "AdditionalAssetAttributes", "ZORIGINALSTABLEHASH"},
    {"byCameraCaptureDeviceIndex", "AdditionalAssetAttributes", "ZCAMERACAPTUREDEVICE"},
    {"bySyndicationIdentifierIndex", "AdditionalAssetAttributes", "ZSYNDICATIONIDENTIFIER",
        "ZSYNDICATIONIDENTIFIER IS NOT NULL"},
    {"byUuidIndex", "GenericAlbum", "ZUUID"},
    {"byKindIndex", "GenericAlbum", "ZKIND"},
    {"byTitleIndex", "GenericAlbum", "ZTITLE"},
    {"UNIQUE_title", "Keyword", "ZTITLE", {}, true},
    {"byUuidIndex", "Keyword", "ZUUID"},
    {"byPersonUUIDIndex", "Person", "ZPERSONUUID"},
    {"byMdIDIndex", "Person", "ZMDID", "ZMDID IS NOT NULL"},
    {"byUuidIndex", "DetectedFace", "ZUUID"},
    {"compoundIndex1", "InternalResource",
        "ZDATASTORECLASSID ZDATASTORESUBTYPE ZLOCALAVAILABILITY ZREMOTEAVAILABILITY ZASSET"},
    {"UNIQUE_asset_resourceType_version_recipeID_compactUTI", "InternalResource",
        "ZASSET ZRESOURCETYPE ZVERSION ZRECIPEID ZCOMPACTUTI", {}, true},
    {"UNIQUE_identifier", "UniformTypeIdentifier", "ZIDENTIFIER", {}, true},
    {"byUuidIndex", "FileSystemVolume", "ZUUID"},
}};

/// A trigger; "{asset}" and so on stand for table names, "{rect}" for the R-tree.
struct NamedTrigger {
    std::string_view text;
    int firstGeneration;
    int lastGeneration;
};

constexpr std::array<NamedTrigger, 9> namedTriggers{{
    {"CREATE TRIGGER {rect}_INSERT AFTER INSERT ON {asset} FOR EACH ROW BEGIN INSERT OR REPLACE INTO {rect} "
     "(Z_PK, ZLATITUDE_MIN, ZLATITUDE_MAX, ZLONGITUDE_MIN, ZLONGITUDE_MAX) VALUES (NEW.Z_PK, NEW.ZLATITUDE, "
     "NEW.ZLATITUDE, NEW.ZLONGITUDE, NEW.ZLONGITUDE); END;",
        5, 9},
    {"CREATE TRIGGER {rect}_UPDATE AFTER UPDATE OF ZLATITUDE, ZLONGITUDE ON {asset} FOR EACH ROW BEGIN "
     "INSERT "
     "OR REPLACE INTO {rect} (Z_PK, ZLATITUDE_MIN, ZLATITUDE_MAX, ZLONGITUDE_MIN, ZLONGITUDE_MAX) VALUES "
     "(NEW.Z_PK, NEW.ZLATITUDE, NEW.ZLATITUDE, NEW.ZLONGITUDE, NEW.ZLONGITUDE); END;",
        5, 9},
    {"CREATE TRIGGER {rect}_DELETE AFTER DELETE ON {asset} FOR EACH ROW BEGIN DELETE FROM {rect} WHERE Z_PK "
     "= "
     "OLD.Z_PK; END;",
        5, 9},
    {"CREATE TRIGGER ZT_{face}_ZASSETVISIBLE_{asset}_UPDATE_INCREMENT AFTER UPDATE OF ZTRASHEDSTATE, "
     "ZVISIBILITYSTATE, ZHIDDEN ON {asset} FOR EACH ROW WHEN (NEW.ZTRASHEDSTATE == 0 AND "
     "NEW.ZVISIBILITYSTATE "
     "== 0 AND NEW.ZHIDDEN == 0) AND (NEW.ZTRASHEDSTATE != OLD.ZTRASHEDSTATE OR NEW.ZVISIBILITYSTATE != "
     "OLD.ZVISIBILITYSTATE OR NEW.ZHIDDEN != OLD.ZHIDDEN) BEGIN UPDATE {face} SET ZASSETVISIBLE = "
     "IFNULL(ZASSETVISIBLE,0) + 1 WHERE NEW.Z_PK = {faceAsset}; SELECT "
     "NSCoreDataTriggerUpdateAffectedObjectValue('{face}', Z_ENT, Z_PK, 'ZASSETVISIBLE', ZASSETVISIBLE) FROM "
     "{face} WHERE {faceAsset} = NEW.Z_PK; END;",
        5, 12},
    {"CREATE TRIGGER ZT_{face}_ZASSETVISIBLE_{asset}_INSERT_INCREMENT AFTER INSERT ON {asset} FOR EACH ROW "
     "WHEN "
     "NEW.ZTRASHEDSTATE == 0 AND NEW.ZVISIBILITYSTATE == 0 AND NEW.ZHIDDEN == 0 BEGIN UPDATE {face} SET "
     "ZASSETVISIBLE = IFNULL(ZASSETVISIBLE,0) + 1 WHERE NEW.Z_PK = {faceAsset}; SELECT "
     "NSCoreDataTriggerUpdateAffectedObjectValue('{face}', Z_ENT, Z_PK, 'ZASSETVISIBLE', ZASSETVISIBLE) FROM "
     "{face} WHERE {faceAsset} = NEW.Z_PK; END;",
        5, 12},
    {"CREATE TRIGGER ZT_{person}_ZFACECOUNT_{face}_UPDATE_DECREMENT AFTER UPDATE OF ZHIDDEN, ZASSETVISIBLE, "
     "ZCENTERX ON {face} FOR EACH ROW WHEN (OLD.ZHIDDEN == 0 AND OLD.ZASSETVISIBLE == 1 AND OLD.ZCENTERX != "
     "0) "
     "AND (NEW.ZHIDDEN != OLD.ZHIDDEN OR NEW.ZASSETVISIBLE != OLD.ZASSETVISIBLE OR NEW.ZCENTERX != "
     "OLD.ZCENTERX) AND (OLD.{facePerson} == NEW.{facePerson}) BEGIN UPDATE {person} SET ZFACECOUNT = "
     "MAX(0,IFNULL(ZFACECOUNT,0) - 1) WHERE OLD.{facePerson} = Z_PK; SELECT "
     "NSCoreDataTriggerUpdateAffectedObjectValue('{person}', Z_ENT, Z_PK, 'ZFACECOUNT', ZFACECOUNT) FROM "
     "{person} WHERE Z_PK = OLD.{facePerson}; END;",
        5, 12},
    {"CREATE TRIGGER ZT_{person}_ZFACECOUNT_{face}_DELETE_DECREMENT AFTER DELETE ON {face} FOR EACH ROW WHEN "
     "OLD.ZHIDDEN == 0 AND OLD.ZASSETVISIBLE == 1 AND OLD.ZCENTERX != 0 BEGIN UPDATE {person} SET ZFACECOUNT "
     "= "
     "MAX(0,IFNULL(ZFACECOUNT,0) - 1) WHERE OLD.{facePerson} = Z_PK; SELECT "
     "NSCoreDataTriggerUpdateAffectedObjectValue('{person}', Z_ENT, Z_PK, 'ZFACECOUNT', ZFACECOUNT) FROM "
     "{person} WHERE Z_PK = OLD.{facePerson}; END;",
        5, 12},
    {"CREATE TRIGGER Z_DA_{asset}_Asset_derivedCameraCaptureDevice_SOURCE_INSERT AFTER INSERT ON {asset} FOR "
     "EACH ROW BEGIN UPDATE {asset} SET ZDERIVEDCAMERACAPTUREDEVICE = (SELECT ZCAMERACAPTUREDEVICE FROM "
     "{attributes} WHERE Z_PK = NEW.ZADDITIONALATTRIBUTES) WHERE Z_PK = NEW.Z_PK; SELECT "
     "NSCoreDataDATriggerInsertUpdatedAffectedObjectValue('{asset}', Z_ENT, Z_PK, "
     "'derivedCameraCaptureDevice', ZDERIVEDCAMERACAPTUREDEVICE) FROM {asset} WHERE Z_PK = NEW.Z_PK; END;",
        7, 12},
    {"CREATE TRIGGER Z_DA_{attributes}_Asset_derivedCameraCaptureDevice_PARAMETER_UPDATE AFTER UPDATE OF "
     "ZCAMERACAPTUREDEVICE ON {attributes} FOR EACH ROW BEGIN UPDATE {asset} SET ZDERIVEDCAMERACAPTUREDEVICE "
     "= "
     "NEW.ZCAMERACAPTUREDEVICE WHERE ZADDITIONALATTRIBUTES = NEW.Z_PK; SELECT "
     "NSCoreDataDATriggerUpdatedAffectedObjectValue('{asset}', Z_ENT, Z_PK, 'derivedCameraCaptureDevice', "
     "ZDERIVEDCAMERACAPTUREDEVICE) FROM {asset} WHERE ZADDITIONALATTRIBUTES = NEW.Z_PK; END;",
        7, 12},
}};

std::string withNames(std::string_view text, const Layout& layout)
{
    const bool isNewFace = layout.generation() >= 9;
    const std::array<std::pair<std::string_view, std::string>, 7> names{{
        {"{asset}", layout.assetTable()},
        {"{rect}", layout.placesTable()},
        {"{attributes}", layout.tableOf("AdditionalAssetAttributes")},
        {"{face}", layout.tableOf("DetectedFace")},
        {"{person}", layout.tableOf("Person")},
        {"{faceAsset}", isNewFace ? "ZASSETFORFACE" : "ZASSET"},
        {"{facePerson}", isNewFace ? "ZPERSONFORFACE" : "ZPERSON"},
    }};
    std::string out(text);
    for (const auto& [mark, name] : names) {
        for (auto at = out.find(mark); at != std::string::npos; at = out.find(mark, at + name.size())) {
            out.replace(at, mark.size(), name);
        }
    }
    return out;
}

void createNamedIndex(SampleDatabase& database, const Layout& layout, const NamedIndex& index)
{
    const std::string_view entity = index.entity == "Asset" ? layout.assetBase() : index.entity;
    const std::string table = layout.tableOf(entity);
    std::istringstream names{std::string(index.columns)};
    std::string name;
    std::string columns;
    while (names >> name) {
        if (!layout.hasColumn(table, name)) {
            return;
        }
        columns += fmt::format("{}{} COLLATE BINARY ASC", columns.empty() ? "" : ", ", name);
    }
    const std::string where =
        index.condition.empty() ? std::string{} : fmt::format(" WHERE {}", index.condition);
    database.execute(fmt::format("CREATE {}INDEX Z_{}_{} ON {} ({}){};", index.isUnique ? "UNIQUE " : "",
        entity, index.name, table, columns, where));
}

} // namespace

void createIndexes(SampleDatabase& database, const Layout& layout)
{
    for (const Layout::Table& table : layout.tables()) {
        for (const Layout::Column& column : table.columns) {
            if (column.isIndexed) {
                database.execute(
                    fmt::format("CREATE INDEX {0}_{1}_INDEX ON {0} ({1});", table.name, column.name));
            }
        }
    }
    for (const NamedIndex& index : namedIndexes) {
        createNamedIndex(database, layout, index);
    }
    for (const auto& [owner, suffix] :
        {std::pair{"Album", "ASSETS"}, {"AdditionalAssetAttributes", "KEYWORDS"},
            {"GenericAlbum", "ALBUMLISTS"}, {"GenericAlbum", "KEYASSETS"}}) {
        const Layout::Link link = layout.link(owner, suffix);
        if (layout.hasColumn(link.table, link.left) && layout.hasColumn(link.table, link.right)) {
            database.execute(fmt::format(
                "CREATE INDEX {0}_{1}_INDEX ON {0} ({1}, {2});", link.table, link.right, link.left));
        }
    }
}

void createTriggers(SampleDatabase& database, const Layout& layout)
{
    if (!layout.isComplete()) {
        return; // They would name what is not there, and then nothing more could be written.
    }
    for (const NamedTrigger& trigger : namedTriggers) {
        if (layout.generation() >= trigger.firstGeneration && layout.generation() <= trigger.lastGeneration) {
            database.execute(withNames(trigger.text, layout));
        }
    }
}

} // namespace vantorel::sample
