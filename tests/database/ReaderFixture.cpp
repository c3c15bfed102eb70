#include "ReaderFixture.h"

#include <fmt/format.h>

#include <stdexcept>

namespace vantorel {

namespace {

using Columns = ReaderFixture::Columns;

Columns with(Columns defaults, const Columns& own)
{
    for (const auto& [name, value] : own) {
        defaults[name] = value;
    }
    return defaults;
}

std::string quotedText(const std::string& text) { return "'" + text + "'"; }

} // namespace

ReaderFixture::ReaderFixture(Generation generation)
{
    const bool newer = generation == Generation::newer;
    const std::string album = newer ? "33" : "26";
    const std::string asset = newer ? "3" : "34";
    const std::string keyword = newer ? "52" : "37";
    assets = newer ? "ZASSET" : "ZGENERICASSET";
    albums = "ZGENERICALBUM";
    albumLinks = "Z_" + album + "ASSETS";
    keywordLinks = "Z_1KEYWORDS";
    faceAsset = newer ? "ZASSETFORFACE" : "ZASSET";
    facePerson = newer ? "ZPERSONFORFACE" : "ZPERSON";

    folder_.write("Trip.photoslibrary/database/Photos.sqlite", "");
    builder_ = std::make_unique<DatabaseBuilder>(database());
    run("CREATE TABLE Z_PRIMARYKEY (Z_ENT INTEGER PRIMARY KEY, Z_NAME VARCHAR, Z_SUPER INTEGER, Z_MAX "
        "INTEGER)");
    run("CREATE TABLE " + assets
        + " (Z_PK INTEGER PRIMARY KEY, ZUUID VARCHAR, ZDIRECTORY VARCHAR, ZFILENAME VARCHAR, ZDATECREATED "
          "TIMESTAMP,"
          " ZADDEDDATE TIMESTAMP, ZMODIFICATIONDATE TIMESTAMP, ZFAVORITE INTEGER, ZHIDDEN INTEGER, "
          "ZTRASHEDSTATE "
          "INTEGER, ZKIND INTEGER, ZKINDSUBTYPE INTEGER, ZSAVEDASSETTYPE INTEGER, ZLATITUDE FLOAT, "
          "ZLONGITUDE FLOAT,"
          " ZVISIBILITYSTATE INTEGER, ZCLOUDBATCHPUBLISHDATE TIMESTAMP, ZMASTER INTEGER, "
        + (newer ? "ZADJUSTMENTSSTATE" : "ZHASADJUSTMENTS") + " INTEGER)");
    run(std::string("CREATE TABLE ZADDITIONALASSETATTRIBUTES (Z_PK INTEGER PRIMARY KEY, ZASSET INTEGER, "
                    "ZASSETDESCRIPTION INTEGER, ZORIGINALFILENAME VARCHAR, ZORIGINALFILESIZE INTEGER, ZTITLE "
                    "VARCHAR, "
                    "ZTIMEZONEOFFSET INTEGER, ")
        + (newer ? "ZORIGINALSTABLEHASH" : "ZMASTERFINGERPRINT") + " VARCHAR)");
    run("CREATE TABLE ZASSETDESCRIPTION (Z_PK INTEGER PRIMARY KEY, ZASSETATTRIBUTES INTEGER, "
        "ZLONGDESCRIPTION "
        "VARCHAR)");
    run("CREATE TABLE ZGENERICALBUM (Z_PK INTEGER PRIMARY KEY, ZUUID VARCHAR, ZTITLE VARCHAR, ZKIND INTEGER, "
        "ZPARENTFOLDER INTEGER, Z_FOK_PARENTFOLDER INTEGER, ZTRASHEDSTATE INTEGER)");
    run("CREATE TABLE " + albumLinks + " (Z_" + album + "ALBUMS INTEGER, Z_" + asset
        + "ASSETS INTEGER, Z_FOK_" + asset + "ASSETS INTEGER)");
    run("CREATE TABLE Z_1KEYWORDS (Z_1ASSETATTRIBUTES INTEGER, Z_" + keyword + "KEYWORDS INTEGER)");
    run("CREATE TABLE ZKEYWORD (Z_PK INTEGER PRIMARY KEY, ZTITLE VARCHAR)");
    run("CREATE TABLE ZPERSON (Z_PK INTEGER PRIMARY KEY, ZFULLNAME VARCHAR, ZDISPLAYNAME VARCHAR, "
        "ZMERGETARGETPERSON INTEGER)");
    run("CREATE TABLE ZDETECTEDFACE (Z_PK INTEGER PRIMARY KEY, " + faceAsset + " INTEGER, " + facePerson
        + " INTEGER, ZHIDDEN INTEGER, ZISINTRASH INTEGER)");
    run("CREATE TABLE ZINTERNALRESOURCE (Z_PK INTEGER PRIMARY KEY, ZASSET INTEGER, ZDATASTORESUBTYPE "
        "INTEGER, "
        "ZVERSION INTEGER, ZLOCALAVAILABILITY INTEGER, ZREMOTEAVAILABILITY INTEGER, ZFILESYSTEMBOOKMARK "
        "INTEGER, "
        "ZFILESYSTEMVOLUME INTEGER)");
    run("CREATE TABLE ZFILESYSTEMBOOKMARK (Z_PK INTEGER PRIMARY KEY, ZPATHRELATIVETOVOLUME VARCHAR)");
    run("CREATE TABLE ZFILESYSTEMVOLUME (Z_PK INTEGER PRIMARY KEY, ZNAME VARCHAR)");
    run("CREATE TABLE ZCLOUDMASTER (Z_PK INTEGER PRIMARY KEY, ZCLOUDLOCALSTATE INTEGER)");

    std::int64_t number = 100; // on purpose others than those in the names of the link tables
    const auto entity = [&](const std::string& name, std::int64_t super = 0) {
        run(fmt::format("INSERT INTO Z_PRIMARYKEY VALUES ({}, '{}', {}, 0)", ++number, name, super));
        return number;
    };
    if (newer) {
        entity("Asset");
    } else {
        entity("Asset", entity("GenericAsset"));
    }
    entity("Album", entity("GenericAlbum"));
    for (const char* name : {"AdditionalAssetAttributes", "AssetDescription", "Keyword", "Person",
             "DetectedFace", "InternalResource", "CloudMaster", "FileSystemBookmark", "FileSystemVolume"}) {
        entity(name);
    }
}

ReaderFixture& ReaderFixture::photo(
    std::int64_t pk, const Columns& columns, const Columns& attributes, const Columns& resource)
{
    assetRow(pk, columns);
    attributesRow(100 + pk, pk, attributes);
    return resourceRow(pk, 1, resource);
}

ReaderFixture& ReaderFixture::assetRow(std::int64_t pk, const Columns& columns)
{
    return row(assets,
        with({{"Z_PK", std::to_string(pk)}, {"ZUUID", quotedText(uuidOf(pk))}, {"ZDIRECTORY", "'0'"},
                 {"ZFILENAME", quotedText(uuidOf(pk) + ".jpeg")}, {"ZKIND", "0"}, {"ZKINDSUBTYPE", "0"},
                 {"ZSAVEDASSETTYPE", "3"}, {"ZLATITUDE", "-180.0"}, {"ZLONGITUDE", "-180.0"}},
            columns));
}

ReaderFixture& ReaderFixture::attributesRow(std::int64_t pk, std::int64_t asset, const Columns& columns)
{
    return row("ZADDITIONALASSETATTRIBUTES",
        with({{"Z_PK", std::to_string(pk)}, {"ZASSET", std::to_string(asset)},
                 {"ZORIGINALFILENAME", quotedText(fmt::format("IMG_{}.JPG", asset))}},
            columns));
}

ReaderFixture& ReaderFixture::resourceRow(std::int64_t asset, int subtype, const Columns& columns)
{
    return row("ZINTERNALRESOURCE",
        with({{"Z_PK", std::to_string(++lastResource_)}, {"ZASSET", std::to_string(asset)},
                 {"ZDATASTORESUBTYPE", std::to_string(subtype)}, {"ZVERSION", "0"},
                 {"ZLOCALAVAILABILITY", "1"}, {"ZREMOTEAVAILABILITY", "0"}},
            columns));
}

ReaderFixture& ReaderFixture::caption(std::int64_t pk, std::int64_t attributes, const std::string& text)
{
    run(fmt::format(
        "UPDATE ZADDITIONALASSETATTRIBUTES SET ZASSETDESCRIPTION = {} WHERE Z_PK = {}", pk, attributes));
    return row("ZASSETDESCRIPTION",
        {{"Z_PK", std::to_string(pk)}, {"ZASSETATTRIBUTES", std::to_string(attributes)},
            {"ZLONGDESCRIPTION", quotedText(text)}});
}

ReaderFixture& ReaderFixture::album(std::int64_t pk, const std::string& kind, const Columns& columns)
{
    return row(albums,
        with({{"Z_PK", std::to_string(pk)}, {"ZUUID", quotedText(uuidOf(pk))},
                 {"ZTITLE", quotedText(fmt::format("Album {}", pk))}, {"ZKIND", kind}},
            columns));
}

ReaderFixture& ReaderFixture::entry(std::int64_t album, std::int64_t asset, const std::string& order)
{
    return run(fmt::format("INSERT INTO {} VALUES ({}, {}, {})", albumLinks, album, asset, order));
}

ReaderFixture& ReaderFixture::keyword(std::int64_t pk, const std::string& title)
{
    return row("ZKEYWORD", {{"Z_PK", std::to_string(pk)}, {"ZTITLE", quotedText(title)}});
}

ReaderFixture& ReaderFixture::keywordLink(std::int64_t attributes, std::int64_t keyword)
{
    return run(fmt::format("INSERT INTO Z_1KEYWORDS VALUES ({}, {})", attributes, keyword));
}

ReaderFixture& ReaderFixture::person(std::int64_t pk, const Columns& columns)
{
    return row("ZPERSON", with({{"Z_PK", std::to_string(pk)}}, columns));
}

ReaderFixture& ReaderFixture::face(
    const std::string& asset, const std::string& person, const Columns& columns)
{
    return row("ZDETECTEDFACE",
        with({{"Z_PK", std::to_string(++lastFace_)}, {faceAsset, asset}, {facePerson, person},
                 {"ZHIDDEN", "0"}, {"ZISINTRASH", "0"}},
            columns));
}

ReaderFixture& ReaderFixture::row(const std::string& table, const Columns& columns)
{
    std::string names;
    std::string values;
    for (const auto& [name, value] : columns) {
        names += (names.empty() ? "" : ", ") + name;
        values += (values.empty() ? "" : ", ") + value;
    }
    return run("INSERT INTO " + table + " (" + names + ") VALUES (" + values + ")");
}

ReaderFixture& ReaderFixture::run(const std::string& sql)
{
    builder_->run(sql);
    return *this;
}

std::expected<DatabaseReading, DatabaseTrouble> ReaderFixture::tryReading(SchemaChecks checks)
{
    const DatabaseSource source{.calls = realSystemCalls(),
        .clock = systemClock(),
        .progress = std::make_shared<ReadProgress>(ScanProgressCallback()),
        .file = database(),
        .isRebuilt = checks == SchemaChecks::lenient};
    return readDatabase(source, checks);
}

DatabaseReading ReaderFixture::reading(SchemaChecks checks)
{
    auto read = tryReading(checks);
    if (!read) {
        throw std::runtime_error("nothing was read: " + read.error().reason);
    }
    return std::move(*read);
}

ReaderFixture& ReaderFixture::keepChangesInLog()
{
    close();
    builder_ = std::make_unique<DatabaseBuilder>(database(), DatabaseBuilder::Journal::log);
    return *this;
}

void ReaderFixture::close() { builder_.reset(); }

LibrarySnapshot LibraryReading::of(const DiskPath& library) const
{
    const auto place = TemporaryFiles::create(calls, scratch.path());
    if (!place) {
        throw std::runtime_error("no temporary place");
    }
    LibraryReader reader(CoreServices{calls, clock, realChildProcesses(systemClock()), *place});
    reader.stallTimeout = stallTimeout;
    reader.copyHooks = hooks;
    return reader.read(library, cancel, progress);
}

std::string uuidOf(std::int64_t pk) { return fmt::format("0A0B0C0D-0000-4000-8000-{:012}", pk); }

Asset plainPhoto(std::int64_t pk)
{
    Asset asset;
    asset.pk = pk;
    asset.uuid = uuidOf(pk);
    asset.directory = "0";
    asset.fileName = uuidOf(pk) + ".jpeg";
    asset.originalFileName = fmt::format("IMG_{}.JPG", pk);
    return asset;
}

Album plainAlbum(std::int64_t pk, Album::Kind kind)
{
    return {.pk = pk, .uuid = uuidOf(pk), .title = fmt::format("Album {}", pk), .kind = kind};
}

std::vector<std::string> sentences(const DamageReport& damage)
{
    std::vector<std::string> lines;
    for (const DamageReport::Loss& loss : damage.losses) {
        lines.push_back(sentence(loss));
    }
    return lines;
}

std::string errorOf(const std::function<void()>& work)
{
    try {
        work();
    } catch (const ReadError& error) {
        return fmt::format("{}: {}", nameIn(readErrorNames, error.kind()), error.message());
    }
    return "nothing";
}

} // namespace vantorel
