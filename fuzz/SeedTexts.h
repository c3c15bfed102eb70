#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vantorel::fuzz {

/// Divides a database from its log in an input.
inline constexpr std::string_view databaseLogMark = "<<the log>>";

/// SQL that makes a small Photos database with something in every table that is read.
std::string smallDatabase();
/// What the SQLite tool prints of such a database, with rows whose table it could not tell.
std::string recoveredText();
/// Definitions that no honest program would have left, each a small database.
std::vector<std::string> hostileDatabases();

} // namespace vantorel::fuzz
