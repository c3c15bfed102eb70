#pragma once

#include <string_view>

namespace vantorel::sample {

/// The columns of every table of the store, in the store's order, as text: a topmost entity's name and a
/// colon, then its columns but Z_PK, Z_ENT and Z_OPT, divided by blanks and line breaks. A column is
///
///     [s.|t.|f.|b.] NAME [!] [@ first generation - last generation]
///
/// with the type before it (text, timestamp, float, blob; else integer), "!" where Photos keeps an index of
/// the column alone, and a range of generations, open at either end, where not every generation has it.
/// "{Entity}" stands for that entity's number. "Asset" is "GenericAsset" in generation 5.
extern const std::string_view tablesAToF;
extern const std::string_view tablesGToZ;

} // namespace vantorel::sample
