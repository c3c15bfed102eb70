// Writes the inputs that fuzzing begins with: a folder for each target.

#include "FuzzTarget.h"
#include "Scratch.h"
#include "SeedTexts.h"
#include "UnfinishedLibrary.h"

#include "base/Digest.h"
#include "export/ExportReport.h"
#include "export/UnfinishedExport.h"
#include "export/XMPWriter.h"
#include "journals/JournalRecords.h"
#include "sample/PlistWriter.h"
#include "sample/SampleLibrary.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>

namespace vantorel::fuzz {

namespace {

namespace fs = std::filesystem;

std::string contentOf(const fs::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

class Seeds {
public:
    explicit Seeds(fs::path folder)
        : folder_(std::move(folder))
    {
        fs::remove_all(folder_);
    }

    void add(const std::string& target, std::string_view input)
    {
        fs::create_directories(folder_ / target);
        const auto file = folder_ / target / fmt::format("seed-{:03}", ++counts_[target]);
        std::ofstream stream(file, std::ios::binary);
        stream.write(input.data(), static_cast<std::streamsize>(input.size()));
        if (!stream.flush()) {
            throw std::runtime_error("A seed could not be written.");
        }
    }

private:
    fs::path folder_;
    std::map<std::string, int> counts_;
};

/// A journal as records in the form that the target takes.
std::string recordsOf(std::string_view file, JournalNames names)
{
    InputWriter records;
    records.number(1);
    walkJournal(file, names, {}, [&](const JournalRecord& record) {
        std::string cleared;
        record.visitCleared([&](std::string_view key) {
            cleared += '\x3a';
            cleared += static_cast<char>(key.size());
            cleared += key;
        });
        records.number(names == JournalNames::numbers ? 1 : 0).number(record.type);
        records.number(record.identifier.size()).bytes(record.identifier);
        records.number(record.payload.size(), 2).bytes(record.payload);
        records.number(cleared.size()).bytes(cleared);
        return true;
    });
    return records.input();
}

void addJournals(Seeds& seeds)
{
    const ScratchFolder place;
    auto plan = sample::drawPlan(40, 1);
    plan.pictureWidth = 8;
    plan.pictureHeight = 8;
    sample::writeLibrary(plan, {}, place / "a.photoslibrary");
    std::string all;
    for (const auto& entry : fs::directory_iterator(place / "a.photoslibrary/resources/journals")) {
        if (entry.path().extension() != ".plj") {
            continue;
        }
        const auto bytes = contentOf(entry.path());
        const bool isNumbered = entry.path().filename().native().starts_with("MigrationHistory");
        // Some records are enough, and are found sooner.
        const auto piece = bytes.substr(0, 6'000);
        seeds.add("Journals", std::string(1, '\0') + piece);
        seeds.add(
            "Journals", recordsOf(piece, isNumbered ? JournalNames::numbers : JournalNames::identifiers));
        int taken = 0;
        walkJournal(bytes, JournalNames::identifiers, {}, [&](const JournalRecord& record) {
            if (!record.payload.empty() && ++taken <= 4) {
                seeds.add("PropertyList", record.payload);
            }
            return true;
        });
        all += piece.substr(0, 3'000);
    }
    seeds.add("Journals", std::string(1, '\0') + all);
    using Array = sample::PlistValue::Array;
    sample::PlistValue nested(Array{});
    for (int i = 0; i < 40; ++i) {
        nested = Array{nested, 1.5, true, "\xC3\xA9", sample::PlistValue::Date{3}};
    }
    seeds.add("PropertyList", sample::binaryPlist(nested));
}

void run(sqlite3* database, const std::string& sql)
{
    if (sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        throw std::runtime_error(sqlite3_errmsg(database));
    }
}

void addDatabases(Seeds& seeds)
{
    seeds.add("Database", smallDatabase());
    for (const auto& sql : hostileDatabases()) {
        seeds.add("Database", sql);
    }
    const ScratchFolder place;
    const auto file = place / "a.sqlite";
    sqlite3* database = nullptr;
    sqlite3_open(file.c_str(), &database);
    sqlite3_db_config(database, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, static_cast<int*>(nullptr));
    run(database, "PRAGMA page_size = 512; PRAGMA journal_mode = WAL; PRAGMA wal_autocheckpoint = 0;");
    run(database, "BEGIN;" + smallDatabase() + "COMMIT; PRAGMA wal_checkpoint(TRUNCATE);");
    seeds.add("Database", contentOf(file));
    run(database, "UPDATE ZASSET SET ZFAVORITE = 1; INSERT INTO ZKEYWORD VALUES(2,52,1,'late');");
    sqlite3_close(database);
    seeds.add("Database", contentOf(file).append(databaseLogMark).append(contentOf(file.native() + "-wal")));
}

void addRecovery(Seeds& seeds)
{
    const auto text = recoveredText();
    seeds.add("Recovery", text);
    seeds.add("Recovery",
        text
            + "CREATE TRIGGER a AFTER INSERT ON ZASSET BEGIN SELECT ';'; END;\n"
              "CREATE VIEW v AS SELECT 1;\nATTACH '/nowhere' AS a;\nDROP TABLE ZASSET;\n"
              "INSERT INTO ZKEYWORD SELECT * FROM ZKEYWORD;\n.shell true\n/* ; */ -- ;\n");
    seeds.add("Recovery",
        "CREATE TABLE ZASSET(Z_PK INTEGER PRIMARY KEY, ZUUID AS (upper('a')), ZFILENAME "
        "DEFAULT (randomblob(9)) CHECK (length(ZFILENAME) < 99));\nINSERT INTO ZASSET(Z_PK) "
        "VALUES(1);\nCREATE UNIQUE INDEX i ON ZASSET(ZFILENAME);\n");
}

void addNames(Seeds& seeds)
{
    InputWriter names;
    names.number(0xC0);
    for (const char* name : {"IMG_0001.JPG", "img_0001.jpeg", "IMG_0001.mov", "con.txt", " . ", "..", "a:b/c",
             "\xC3\x89t\xC3\xA9", "E\xCC\x81te\xCC\x81", "\xEF\xBC\xA1.heic", "a\x1b[31mb\t\r\n.jpg",
             "\xE2\x80\xAEgpj.exe", "Mr. Smith", "x.xmp", "x (2).xmp",
             "\xF0\x9F\x91\xA8\xE2\x80\x8D\xF0\x9F"
             "\x91\xA9\xE2\x80\x8D\xF0\x9F\x91\xA7.png",
             "\xED\xA0\x80.jpg", "\xE1\x82\xA0\xE1\xB2\x80.heif"}) {
        names.text(name);
    }
    names.text(std::string(300, 'a') + ".jpg").text(std::string(200, '\xCC') + ".CON");
    seeds.add("Names", names.input());
    seeds.add("Names", InputWriter().number(1).text("Trip").text("TRIP").text("Trip (2)").input());
}

void addSidecars(Seeds& seeds)
{
    InputWriter photo;
    photo.number(1).number(0).number(std::bit_cast<std::uint64_t>(48.2), 8);
    photo.number(std::bit_cast<std::uint64_t>(-179.99999999), 8).number(7'200, 8);
    photo.number(1).number(1'700'000'000'000'000, 8).number(0).number(1).number(1, 8).number(1);
    photo.number(2).text("sea").text("<&\"'>").number(1).text("Ann").number(1).text("Albums/]]>");
    photo.text("UUID").text("IMG_1.JPG").text("Ti\xC3\xA9tle \x01").text("line\r\nline").number(1);
    seeds.add("Sidecar", photo.input());
    Asset asset{.pk = 1, .uuid = "U", .title = "T", .caption = "C", .keywords = {"k"}, .latitude = 1.5};
    seeds.add("Sidecar", XMPWriter::document({.asset = asset, .albums = {"Albums/A"}}));
    seeds.add("Sidecar",
        "<?xml version='1.0' encoding='UTF-8' standalone='yes'?><!-- c --><a:b c=\"d\" "
        "xml:lang='e'>&#x41;&#66;&amp;<![CDATA[<x>]]><?p i?><e/></a:b><!-- -->");
}

void addSystemTools(Seeds& seeds)
{
    seeds.add("SystemTools",
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
        "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist "
        "version=\"1.0\"><dict><key>Containers</key>"
        "<array><dict><key>Volumes</key><array><dict><key>Name</key><string>Data</string><key>Locked</"
        "key><true/>"
        "<key>Size</key><integer>5</integer><key>D</key><data>AAEC</data><key>T</"
        "key><date>2024-05-01T12:00:00Z"
        "</date><key>R</key><real>1.5</real></dict></array></dict></array></dict></plist>\n");
    seeds.add("SystemTools",
        R"({"blockdevices":[{"name":"sda","fstype":null,"label":null,"partlabel":null,"children":[{"name":"sda1","fstype":"crypto_LUKS","label":"Old","partlabel":null},{"name":"sda2","fstype":"BitLocker","children":[{"name":"x"}]}]}]})");
    seeds.add("SystemTools",
        "/Volumes/Backup/Backups.backupdb/Mac/2024-05-01-120000\n/Volumes/.timemachine/"
        "A/2024-05-01-120000.backup/2024-05-01-120000.backup\nNo machine\n");
    seeds.add("SystemTools",
        "22 1 8:2 / / rw,relatime shared:1 - ext4 /dev/sda2 rw,errors=remount-ro\n36 22 8:17 / "
        "/media/a/My\\040Disk rw,nosuid,uid=1000 - vfat /dev/sdb1 rw\n40 22 0:51 / /mnt/nas rw - cifs "
        "//server/share rw,vers=3.0\n41 22 0:52 /sub /home rw master:2 propagate_from:3 - btrfs /dev/sdc "
        "rw\n");
}

void addReports(Seeds& seeds)
{
    const UnfinishedLibrary library;
    std::vector<ReportRow> rows;
    for (const auto& item : library.plan.items) {
        ReportRow row{.item = item, .sidecar = item.sidecarRelativePath};
        for (const auto& file : item.files) {
            row.hashes.push_back(sha256(UnfinishedLibrary::bytesOf(file)));
            row.paths.push_back(file.relativePath);
            row.sizes.push_back(file.size);
        }
        rows.push_back(std::move(row));
    }
    const auto text = reportText(
        rows, {{.assetPK = 9, .name = "=1+1", .albumPaths = {"a"}, .reason = "r,\""}}, library.scan.snapshot);
    seeds.add("Report", text);
    auto outside = text;
    for (const char* path : {"../secret", "/etc/passwd", "Albums/a.jpg"}) {
        auto changed = text;
        changed.replace(changed.find("Albums/Trip/B.jpg"), 17, path);
        changed.replace(changed.find(rows[1].hashes[0]), 64, sha256("secret"));
        seeds.add("Report", changed);
    }
    InputWriter row;
    for (int i = 0; i < 3; ++i) {
        row.number(i == 1 ? 1 : 0x40).text("caption, \"x\"\r\n").text("uuid").text("Albums/a; b");
        row.text("n; Albums/a; b.jpg").number(7, 7).text("m.mov").number(9, 7);
    }
    seeds.add("Report", row.input());
}

/// What a run left, in the form that the target takes.
std::string leftBy(const UnfinishedLibrary& library)
{
    const auto folder = library.place / "Out/Lib export (incomplete)";
    InputWriter input;
    for (const auto name : {bookkeeping::state, bookkeeping::journal, bookkeeping::tryLast}) {
        input.text(contentOf(folder / name));
    }
    std::vector<fs::path> files;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        const auto path = entry.path().lexically_relative(folder);
        if (entry.is_regular_file() && *path.begin() != bookkeeping::folder) {
            files.push_back(path);
        }
    }
    std::ranges::sort(files);
    for (const auto& path : files) {
        input.text(path.native()).text(contentOf(folder / path));
    }
    return input.input();
}

void addUnfinished(Seeds& seeds)
{
    const UnfinishedLibrary library;
    const auto out = library.place / "Out";
    fs::create_directory(out);
    ExportHooks unreadable;
    unreadable.readFault = [](const DiskPath& source, std::int64_t, std::size_t) {
        return source.filename() == "B.jpg" ? std::optional(EIO) : std::nullopt;
    };
    library.save(unreadable);
    seeds.add("Unfinished", leftBy(library)); // with a file to be tried last
    fs::remove_all(out);
    fs::create_directory(out);
    const auto cancel = std::make_shared<CancelToken>();
    ExportHooks stopped;
    stopped.afterItem = [&cancel](const PlannedItem&) { cancel->cancel(); };
    library.save(stopped, cancel);
    const auto first = leftBy(library);
    seeds.add("Unfinished", first);

    const auto state = stateText({.planID = library.plan.id, .library = "Lib"});
    const auto line = contentOf(out / "Lib export (incomplete)" / bookkeeping::journal);
    if (line.empty()) {
        throw std::runtime_error("The run that was stopped recorded nothing.");
    }
    const auto add = [&](const std::string& journal, const std::vector<std::string>& rest) {
        InputWriter input;
        input.text(state).text(journal);
        for (const auto& text : rest) {
            input.text(text);
        }
        seeds.add("Unfinished", input.input());
    };
    add(line + line.substr(0, 40), {"Albums/Trip/B.jpg\n"}); // torn, and its files are gone
    add("",
        {"", "Albums/Trip/B.jpg", "wrong", "Not in any album/2020/c.PNG", "another", "Albums/Trip/A.xmp/x",
            "a folder in the way", "READ ME.txt/x", "", "Vantorel report.csv/x", ""});
    add(line, {"", "Albums/Trip/A.heic", "->", "Albums/Trip/A.xmp", "->", "Not in any album", "->/"});
    add("->", {"->", "Albums", "->/"});
    add("", {"", ".vantorel/tmp", "->/", "READ ME.txt", "->", "READ ME - NOT FINISHED.txt", "->"});
    auto entry = parseJournal(line).at(0);
    entry.files.front().path = "Albums/Trip/B.jpg"; // another item's name
    entry.sidecar = "Not in any album/2020/C.png";
    add(journalLine(entry), {""});
    entry.files.front().path = "../beside";
    entry.sidecar = "/etc/passwd";
    add(journalLine(entry) + "{\"key\":\"Albums/Trip/B.jpg\",\"files\":[]}\n", {"../beside\n/etc/passwd\n"});
}

} // namespace

} // namespace vantorel::fuzz

int main(int count, char** arguments)
{
    using namespace vantorel::fuzz;
    if (count != 2) {
        std::fprintf(stderr, "vantorel-fuzz-seeds FOLDER: writes the inputs that fuzzing begins with\n");
        return 2;
    }
    try {
        Seeds seeds(arguments[1]);
        addJournals(seeds);
        addDatabases(seeds);
        addRecovery(seeds);
        addNames(seeds);
        addSidecars(seeds);
        addSystemTools(seeds);
        addReports(seeds);
        addUnfinished(seeds);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 3;
    }
    return 0;
}
