#pragma once

#include "journals/JournalReader.h"
#include "sample/JournalFile.h"
#include "support/ManualClock.h"
#include "support/ScriptedCalls.h"
#include "support/TemporaryFolder.h"

#include <cstdint>
#include <expected>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vantorel {

using sample::PlistValue;
using Dictionary = PlistValue::Dictionary;
using Type = sample::JournalRecord::Type;

/// 16 bytes that tell objects apart, and the text that they stand for.
std::string idBytes(int number);
std::string idText(int number);
/// Several, as journals list them.
PlistValue idList(const std::vector<int>& numbers);

std::string wholeRecord(int id, Dictionary payload);
std::string changed(int id, Dictionary payload, std::vector<std::string> cleared = {});
std::string cleared(int id, std::vector<std::string> keys);
std::string removed(int id);

/// A photo's keys with nothing but a place, "A/IMG.jpeg", and what is added.
Dictionary photo(Dictionary more = {});
Dictionary collection(int kind, const char* title, Dictionary more = {});

/// A library with nothing but journals, on a real disk with disturbed calls and a clock that stands still.
struct JournalFixture {
    /// Empty journals of every kind but the migrations'.
    JournalFixture();

    TemporaryFolder disk{};
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    std::shared_ptr<ScriptedCalls> calls = std::make_shared<ScriptedCalls>(clock);
    SharedCancelToken cancel = std::make_shared<CancelToken>();
    std::vector<bool> silences{};
    std::vector<std::pair<std::int64_t, std::int64_t>> progress{};

    /// "Asset-change" and the bytes of its records, in place of what is there.
    void write(const std::string& journal, const std::vector<std::string>& records);
    void remove(const std::string& kind);
    std::string pathOf(const std::string& journal) const;

    std::expected<JournalReader::ReadResult, JournalReader::Failure> read();
    /// With a failed expectation where it fails.
    JournalReader::ReadResult result();
};

/// The notes and the losses' sentences; those that are always there left out.
std::vector<std::string> told(const JournalReader::ReadResult& result);
/// An album on one line: "title kind in parent: members".
std::vector<std::string> described(const JournalReader::ReadResult& result);

} // namespace vantorel
