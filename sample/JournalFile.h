#pragma once

#include "sample/FileWriter.h"
#include "sample/PlistWriter.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel::sample {

/// One record of a change journal.
struct JournalRecord {
    enum class Type { whole = 0, change = 1, removal = 2 };

    Type type = Type::whole;
    std::string identifier{}; ///< 16 bytes; with `isNumbered` decimal digits.
    bool isNumbered = false;
    std::int64_t payloadVersion = 1;
    std::optional<PlistValue::Dictionary> payload{}; ///< None: a removal, or a change that only clears.
    std::vector<std::string> cleared{};              ///< Keys that became empty.
};

std::string journalBytes(const JournalRecord& record);

/// A journal while it is written. Its file is there, if only empty, once this is.
class JournalFile {
public:
    JournalFile(FileWriter& files, std::string_view name);

    void add(const JournalRecord& record) { file_.append(journalBytes(record)); }
    void close();

private:
    FileWriter& files_;
    DiskPath path_;
    GrowingFile file_;
};

/// The 16 bytes of a UUID's text.
std::string uuidBytes(std::string_view text);

} // namespace vantorel::sample
