// What the SQLite tool prints of a damaged database, through loading, placing the rows without a table, and
// reading. The tool itself is not run: the input is its output.

#include "FuzzTarget.h"
#include "Scratch.h"

#include "SnapshotChecks.h"
#include "database/DatabaseReading.h"
#include "database/OrphanRows.h"
#include "database/SalvagerRecovery.h"
#include "database/model/ReadError.h"

namespace vantorel::fuzz {

namespace {

/// Prints a text in pieces, as a pipe gives it.
class PrintingTool final : public ChildProcessRunner {
public:
    explicit PrintingTool(std::string_view text)
        : text_(text)
    {
    }
    std::expected<Ended, Failure> run(const Request& request) const override
    {
        constexpr std::size_t piece = 977; // divides no page and no statement
        for (std::size_t at = 0; at < text_.size(); at += piece) {
            if (!request.onOutput(text_.substr(at, piece))) {
                break;
            }
        }
        return Ended{};
    }

private:
    std::string_view text_;
};

} // namespace

void runTarget(std::string_view input)
{
    static const ScratchFolder folder;
    folder.clear();
    folder.write("beside", "stays");
    const auto cancel = std::make_shared<CancelToken>();
    auto recovered = recoverDatabase(PrintingTool(input),
        {.tool = "/nowhere",
            .damaged = folder / "Photos.sqlite",
            .rebuilt = folder / "recovered.sqlite",
            .wantedTables = {"ZASSET", "ZGENERICASSET", "lost_and_found"},
            .mostTextBytes = 1 << 22,
            .timeout = Seconds(30),
            .cancel = cancel});
    if (recovered) {
        if (const auto rows = rehomeOrphans(*recovered->database)) {
            require(rows->rehomed >= 0 && rows->unassigned >= 0, "counts");
        }
        recovered->database.reset();
        try {
            const auto reading =
                readDatabase({.calls = realSystemCalls(),
                                 .clock = steppingClock(),
                                 .cancel = {},
                                 .stallLimit = Seconds(1e9),
                                 .progress = std::make_shared<ReadProgress>(ScanProgressCallback()),
                                 .file = folder / "recovered.sqlite",
                                 .isRebuilt = true},
                    SchemaChecks::lenient);
            if (reading) {
                checkSnapshot(reading->snapshot);
            }
        } catch (const ReadError& error) {
            require(!error.message().empty(), "a failure has a sentence");
        }
    }
    // Text from elsewhere makes no other file.
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
        const auto name = entry.path().filename().native();
        require(name == "beside" || name.starts_with("recovered.sqlite"), "no file but the rebuilt one");
    }
}

} // namespace vantorel::fuzz
