#include "sample/Damage.h"

#include "sample/DatabasePages.h"
#include "sample/Random.h"

#include "base/Text.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <fstream>
#include <map>
#include <numeric>
#include <optional>
#include <set>
#include <span>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

namespace vantorel::sample {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t fileHeader = 100;
constexpr std::uint64_t damageSeed = 0x64616d61; ///< A purpose of its own among the seeds.

using Pages = std::vector<std::int64_t>;

[[noreturn]] void fail(const std::string& sentence) { throw std::runtime_error(sentence); }

void check(const std::error_code& error, const DiskPath& path)
{
    if (error) {
        fail(fmt::format("{} could not be damaged: {}.", path.string(), errorText(error.value())));
    }
}

std::string contentOf(const DiskPath& path)
{
    std::ifstream stream(path, std::ios::binary);
    std::error_code error;
    std::string bytes(stream.is_open() ? fs::file_size(path, error) : 0, '\0');
    stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!stream.is_open() || stream.fail() || error) {
        fail(fmt::format("{} is not there or cannot be read, so it cannot be damaged.", path.string()));
    }
    return bytes;
}

/// Gives files and folders the time back that they had.
class KeptTime {
public:
    explicit KeptTime(DiskPath path)
        : path_(std::move(path))
        , time_(fs::last_write_time(path_, error_))
    {
        check(error_, path_);
    }
    ~KeptTime() { fs::last_write_time(path_, time_, error_); } // that it is newer then is no harm
    KeptTime(const KeptTime&) = delete;
    KeptTime& operator=(const KeptTime&) = delete;

private:
    DiskPath path_;
    std::error_code error_;
    fs::file_time_type time_;
};

/// Puts a new file in the place of one, so that other names of the old one keep its bytes.
void replace(const DiskPath& path, const std::string& bytes)
{
    const KeptTime folder(path.parent_path());
    const KeptTime file(path);
    const DiskPath fresh = path.native() + ".damaged";
    std::ofstream stream(fresh, std::ios::binary | std::ios::trunc);
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    stream.close();
    if (stream.fail()) {
        fail(fmt::format("{} could not be written.", fresh.string()));
    }
    std::error_code error;
    fs::permissions(fresh, fs::status(path, error).permissions(), error);
    check(error, fresh);
    fs::rename(fresh, path, error);
    check(error, path);
}

void cut(const DiskPath& path, std::size_t part, std::size_t of)
{
    std::string bytes = contentOf(path);
    bytes.resize(bytes.size() * part / of);
    replace(path, bytes);
}

void flipMiddle(const DiskPath& path)
{
    std::string bytes = contentOf(path);
    if (!bytes.empty()) {
        char& middle = bytes[bytes.size() / 2];
        middle = static_cast<char>(~middle);
        replace(path, bytes);
    }
}

void removeAll(const DiskPath& path)
{
    const KeptTime folder(path.parent_path());
    std::error_code error;
    fs::remove_all(path, error);
    check(error, path);
}

void refuse(const DiskPath& path)
{
    std::error_code error;
    fs::permissions(path, fs::perms::none, error);
    check(error, path);
}

std::vector<DiskPath> sortedEntries(const DiskPath& folder)
{
    std::error_code error;
    std::vector<DiskPath> entries;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        entries.push_back(entry->path());
    }
    check(error, folder);
    std::ranges::sort(entries);
    return entries;
}

/// Whether a name is "Z_", a number and this.
bool isLinkTable(std::string_view name, std::string_view suffix)
{
    if (!name.starts_with("Z_") || !name.ends_with(suffix) || name.size() <= 2 + suffix.size()) {
        return false;
    }
    const auto number = name.substr(2, name.size() - 2 - suffix.size());
    return std::ranges::all_of(number, [](unsigned char c) { return std::isdigit(c) != 0; });
}

/// The kinds of damage that concern the rows of one table, and its names over the generations.
struct TableDamage {
    Damage kind;
    std::vector<std::string_view> names;
    std::string_view linkSuffix{}; ///< For link tables, which are numbered.
};

const std::array<TableDamage, 11> tableDamages{{
    {Damage::photoPages, {"ZASSET", "ZGENERICASSET"}},
    {Damage::detailPages, {"ZADDITIONALASSETATTRIBUTES"}},
    {Damage::captionPages, {"ZASSETDESCRIPTION"}},
    {Damage::albumPages, {"ZGENERICALBUM"}},
    {Damage::keywordPages, {"ZKEYWORD"}},
    {Damage::personPages, {"ZPERSON"}},
    {Damage::facePages, {"ZDETECTEDFACE"}},
    {Damage::resourcePages, {"ZINTERNALRESOURCE"}},
    {Damage::entityPages, {"Z_PRIMARYKEY"}},
    {Damage::albumLinkPages, {}, "ASSETS"},
    {Damage::keywordLinkPages, {}, "KEYWORDS"},
}};

/// The database of a library while its pages are damaged.
class DatabaseDamage {
public:
    /// Merges the log where it hides what the kinds would damage.
    DatabaseDamage(const DiskPath& library, std::span<const Damage> kinds, std::uint64_t seed)
        : file_(library / "database/Photos.sqlite")
        , seed_(seed)
    {
        load();
        if (std::ranges::any_of(kinds, [this](Damage kind) { return isHidden(candidates(kind)); })) {
            mergeLog();
            load();
        }
        for (const Damage kind : kinds) {
            reached_[kind] = notInLog(candidates(kind));
        }
    }

    void apply(Damage kind)
    {
        Random random(mixedSeed(seed_, damageSeed, static_cast<std::uint64_t>(kind)));
        const Pages& pages = reached_.at(kind);
        std::string& bytes = pages_.bytes;
        if (kind <= Damage::keywordLinkPages) {
            zeroSome(random, pages, pages.size() / 4);
        } else if (kind == Damage::scatteredPages) {
            zeroSome(random, pages, pages_.count() / 20);
        } else if (kind == Damage::swappedPages) {
            swapSome(random, pages, pages_.count() / 50);
        } else if (kind == Damage::flippedHeader) {
            std::transform(bytes.begin(), bytes.begin() + fileHeader, bytes.begin(),
                [](char c) { return static_cast<char>(~c); });
        } else if (kind == Damage::cutDatabase) {
            bytes.resize(bytes.size() * 2 / 3);
        } else if (kind == Damage::randomDatabase) {
            bytes = drawnBytes(random, bytes.size());
        } else if (kind == Damage::emptyDatabase) {
            bytes.clear();
        } else { // these pages
            zeroSome(random, pages, pages.size());
        }
    }

    void save() const { replace(file_, pages_.bytes); }

private:
    void load()
    {
        pages_.bytes = contentOf(file_);
        const DiskPath log = file_.native() + "-wal";
        std::error_code error;
        const auto logged = fs::exists(log, error) ? pagesInLog(contentOf(log)) : Pages();
        logged_ = {logged.begin(), logged.end()};
        roots_ = pages_.roots();
    }

    void mergeLog() const
    {
        const KeptTime folder(file_.parent_path());
        const KeptTime file(file_);
        sqlite3* database = nullptr;
        int code = sqlite3_open_v2(file_.c_str(), &database, SQLITE_OPEN_READWRITE, nullptr);
        if (code == SQLITE_OK) {
            code = sqlite3_exec(database, "PRAGMA wal_checkpoint(TRUNCATE)", nullptr, nullptr, nullptr);
        }
        sqlite3_close(database);
        if (code != SQLITE_OK) {
            fail(fmt::format("The log of {} could not be merged: {}.", file_.string(), sqlite3_errstr(code)));
        }
    }

    Pages notInLog(Pages pages) const
    {
        std::erase_if(pages, [this](std::int64_t page) { return logged_.contains(page); });
        return pages;
    }

    bool isHidden(const Pages& pages) const { return 2 * notInLog(pages).size() < pages.size(); }

    /// The pages among which a kind chooses.
    Pages candidates(Damage kind) const
    {
        if (kind <= Damage::keywordLinkPages) {
            return leavesOf(kind);
        }
        switch (kind) {
        case Damage::tableRoots:
            return tableRoots();
        case Damage::indexRoots:
            return indexRoots();
        case Damage::flippedHeader:
        case Damage::schemaPage:
        case Damage::randomDatabase:
        case Damage::emptyDatabase:
            return {1};
        default:
            Pages pages(pages_.count() - 1);
            std::iota(pages.begin(), pages.end(), 2);
            return pages;
        }
    }

    std::optional<std::int64_t> rootOf(const TableDamage& table) const
    {
        for (const auto& [name, root] : roots_) {
            const bool isNamed = std::ranges::find(table.names, name) != table.names.end();
            if (isNamed || (!table.linkSuffix.empty() && isLinkTable(name, table.linkSuffix))) {
                return root;
            }
        }
        return std::nullopt;
    }

    Pages leavesOf(Damage kind) const
    {
        const auto root = rootOf(*std::ranges::find(tableDamages, kind, &TableDamage::kind));
        Pages leaves = root ? pages_.leavesOf(*root) : Pages();
        if (leaves.empty()) {
            fail(fmt::format("This database has no table for \"{}\".", nameIn(damageNames, kind)));
        }
        return leaves;
    }

    Pages tableRoots() const
    {
        Pages found;
        for (const TableDamage& table : tableDamages) {
            const auto root = rootOf(table);
            if (root && pages_.isInterior(*root)) {
                found.push_back(*root);
            }
        }
        if (found.empty()) {
            fail("No table of this database is large enough to have a first page that leads to others.");
        }
        return found;
    }

    Pages indexRoots() const
    {
        Pages found;
        for (const auto& [name, root] : roots_) {
            if (pages_.isOfIndex(root)) {
                found.push_back(root);
            }
        }
        return found;
    }

    void zeroSome(Random& random, Pages pages, std::size_t count)
    {
        for (std::size_t i = 0; i < std::max<std::size_t>(1, count) && !pages.empty(); ++i) {
            const auto chosen = pages.begin() + static_cast<std::ptrdiff_t>(random.below(pages.size()));
            pages_.zero(*chosen);
            pages.erase(chosen);
        }
    }

    void swapSome(Random& random, const Pages& pages, std::size_t count)
    {
        for (std::size_t i = 0; i < std::max<std::size_t>(1, count) && pages.size() > 1; ++i) {
            const std::size_t one = random.below(pages.size());
            const std::size_t other = (one + 1 + random.below(pages.size() - 1)) % pages.size();
            pages_.swap(pages[one], pages[other]);
        }
    }

    DiskPath file_;
    std::uint64_t seed_;
    DatabasePages pages_;
    std::set<std::int64_t> logged_;
    std::map<std::string, std::int64_t> roots_;
    std::map<Damage, Pages> reached_; ///< The pages that a kind can damage, found before any is.
};

void damageJournals(const DiskPath& folder, Damage kind)
{
    for (const DiskPath& file : sortedEntries(folder)) {
        if (file.extension() == ".plj") {
            kind == Damage::cutJournals ? cut(file, 1, 2) : flipMiddle(file);
        }
    }
}

void refuseOriginals(const DiskPath& library, std::uint64_t seed)
{
    std::vector<DiskPath> folders = sortedEntries(library / "originals");
    std::erase_if(folders, [](const DiskPath& entry) { return !fs::is_directory(entry); });
    if (folders.empty()) {
        fail("There are no folders with originals.");
    }
    Random random(mixedSeed(seed, damageSeed, static_cast<std::uint64_t>(Damage::refusedOriginals)));
    for (std::size_t left = (folders.size() + 2) / 3; left > 0; --left) {
        const auto chosen = folders.begin() + static_cast<std::ptrdiff_t>(random.below(folders.size()));
        refuse(*chosen);
        folders.erase(chosen);
    }
}

} // namespace

void damageLibrary(const DiskPath& library, std::vector<Damage> kinds, std::uint64_t seed)
{
    std::ranges::sort(kinds);
    kinds.erase(std::ranges::unique(kinds).begin(), kinds.end());
    const auto others = std::ranges::upper_bound(kinds, Damage::emptyDatabase);
    if (const std::span<const Damage> ofDatabase(kinds.begin(), others); !ofDatabase.empty()) {
        DatabaseDamage database(library, ofDatabase, seed);
        for (const Damage kind : ofDatabase) {
            database.apply(kind);
        }
        database.save();
    }
    const DiskPath log = library / "database/Photos.sqlite-wal";
    const DiskPath journals = library / "resources/journals";
    for (const Damage kind : std::span<const Damage>(others, kinds.end())) {
        switch (kind) {
        case Damage::damagedLog:
            flipMiddle(log);
            break;
        case Damage::cutLog:
            cut(log, 2, 3);
            break;
        case Damage::unreadableLog:
            refuse(log);
            break;
        case Damage::cutJournals:
        case Damage::damagedJournals:
            damageJournals(journals, kind);
            break;
        case Damage::noJournals:
            removeAll(journals);
            break;
        case Damage::noDatabase:
            removeAll(library / "database");
            break;
        case Damage::refusedDatabase:
            refuse(library / "database");
            break;
        case Damage::refusedJournals:
            refuse(journals);
            break;
        case Damage::refusedOriginals:
            refuseOriginals(library, seed);
            break;
        default: // that of the database is done
            break;
        }
    }
}

} // namespace vantorel::sample
