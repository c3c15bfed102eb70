#pragma once

#include "database/SQLiteReader.h"
#include "database/model/SchemaSummary.h"

#include <cstdint>
#include <exception>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace vantorel {

/// One row of the Core Data key table.
struct CoreDataEntity {
    std::int64_t ent = 0;
    std::string name{};
    std::int64_t superEnt = 0;
    std::int64_t maxID = 0; ///< The highest row id ever given out; kept on topmost entities only.

    bool operator==(const CoreDataEntity&) const = default;
};

/// Which table plays which role in this database, and which columns exist. Worked out from the database
/// itself: never by entity number, position or version. Column lists are lower-cased names.
///
/// A table is named only when it has the columns without which it is of no use, so these need not be looked
/// for again: attributes z_pk, zasset; descriptions z_pk, zlongdescription; albums z_pk, zkind, ztitle;
/// keywords z_pk, ztitle; persons z_pk and zfullname or zdisplayname; faces z_pk; resources z_pk, zasset,
/// zdatastoresubtype, zlocalavailability; cloud masters z_pk, zcloudlocalstate; bookmarks z_pk,
/// zpathrelativetovolume; volumes z_pk, zname. `highestIDs` has every topmost entity's table.
struct ResolvedSchema {
    /// A link table.
    struct Join {
        std::string table{};
        std::string left{};  ///< The column naming the owner.
        std::string right{}; ///< The column naming the member.
        std::optional<std::string> order{};

        bool operator==(const Join&) const = default;
    };
    using Columns = std::set<std::string>;

    std::string assetTable{};
    Columns assetColumns{};
    std::optional<std::string> attributesTable{};
    Columns attributesColumns{};
    std::optional<std::string> descriptionTable{};
    Columns descriptionColumns{};
    std::optional<std::string> albumTable{};
    Columns albumColumns{};
    std::optional<Join> albumJoin{};
    std::optional<std::string> keywordTable{};
    std::optional<Join> keywordJoin{}; ///< left: attributes, right: keyword.
    std::optional<std::string> personTable{};
    Columns personColumns{};
    std::optional<std::string> faceTable{};
    std::optional<std::string> faceAssetColumn{};
    std::optional<std::string> facePersonColumn{};
    std::optional<std::string> resourceTable{};
    Columns resourceColumns{};
    std::optional<std::string> cloudMasterTable{};
    std::optional<std::string> bookmarkTable{};
    Columns bookmarkColumns{};
    std::optional<std::string> volumeTable{};
    std::map<std::string, std::int64_t> highestIDs{};
    SchemaSummary summary{};
    std::vector<std::string> notes{};
};

/// The layout failed a check; `reason` is the check's phrase.
class SchemaError : public std::exception {
public:
    explicit SchemaError(std::string reason)
        : reason_(std::move(reason))
    {
    }
    const std::string& reason() const { return reason_; }
    const char* what() const noexcept override { return reason_.c_str(); }

private:
    std::string reason_;
};

/// How a missing album link is taken: strict stops with a reason (a whole database, where it means an unknown
/// layout), lenient marks albums unavailable (a rebuilt database, where it means loss).
enum class SchemaChecks { strict, lenient };

/// Throws `SchemaError`, and what the reader throws.
ResolvedSchema resolveSchema(SQLiteReader& reader, SchemaChecks checks);

} // namespace vantorel
