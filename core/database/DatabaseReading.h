#pragma once

#include "database/DatabaseSteps.h"
#include "database/ReadContext.h"
#include "database/model/LibrarySnapshot.h"

#include <expected>
#include <functional>
#include <string>

namespace vantorel {

/// What one database gave: the snapshot's records with the losses and notes that arose, but without the word
/// on how far the database as a whole can be trusted.
struct DatabaseReading {
    LibrarySnapshot snapshot{};
    ReadContext context{};
    bool failedCheck = false; ///< SQLite's own check found the file broken.

    /// The file's content is broken somewhere, though something of it may have been read.
    bool isDamaged() const { return failedCheck || !context.unreadable.empty(); }
};

/// Why a database gave nothing at all.
struct DatabaseTrouble {
    enum class Kind {
        damaged,      ///< It is no database, or too broken to find out what it holds.
        unknownLayout ///< It is whole, but does not hold what a library's database holds: `reason` says what.
    };
    Kind kind = Kind::damaged;
    std::string reason{};

    bool operator==(const DatabaseTrouble&) const = default;
};

/// Told what the tables gave while SQLite's own check of the file may still run: only where no table gave an
/// error. Called on the reading thread.
using WhileChecked = std::function<void(LibrarySnapshot&)>;

/// Reads one private database into a snapshot. Throws `ReadError` for what says nothing about the database:
/// the user's stop, a silent disk, a query over its time limit, a private copy that this computer cannot
/// read.
std::expected<DatabaseReading, DatabaseTrouble> readDatabase(
    const DatabaseSource& source, SchemaChecks checks, const WhileChecked& whileChecked = {});

} // namespace vantorel
