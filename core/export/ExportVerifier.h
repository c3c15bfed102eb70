#pragma once

#include "base/Enum.h"
#include "database/LibraryReader.h"
#include "disk/CancelToken.h"

#include <cstdint>
#include <expected>
#include <functional>
#include <string>
#include <vector>

namespace vantorel {

/// Checks an export folder, finished or not, against the digests in its report, or in its journal where it
/// has no report.
struct VerifyResult {
    enum class Trouble {
        missing,
        sizeDiffers,
        digestDiffers,
        unreadable,
        refused,
        notAnswering,
        sidecarMissing,
        sidecarDamaged
    };
    struct Difference {
        std::string path{};
        Trouble trouble = Trouble::missing;
        std::string text{}; ///< For people.
        bool operator==(const Difference&) const = default;
    };
    std::int64_t itemsChecked = 0;
    std::int64_t filesChecked = 0;
    std::int64_t bytesChecked = 0;
    std::vector<Difference> differences{};
    bool isFinishedExport = false;
    bool wasCancelled = false;
    std::string source{}; ///< The name of the report or journal that was read.

    bool operator==(const VerifyResult&) const = default;
};

inline constexpr EnumNames<VerifyResult::Trouble, 8> verifyTroubleNames{{
    {VerifyResult::Trouble::missing, "missing"},
    {VerifyResult::Trouble::sizeDiffers, "sizeDiffers"},
    {VerifyResult::Trouble::digestDiffers, "digestDiffers"},
    {VerifyResult::Trouble::unreadable, "unreadable"},
    {VerifyResult::Trouble::refused, "refused"},
    {VerifyResult::Trouble::notAnswering, "notAnswering"},
    {VerifyResult::Trouble::sidecarMissing, "sidecarMissing"},
    {VerifyResult::Trouble::sidecarDamaged, "sidecarDamaged"},
}};
static_assert(inEnumOrder(verifyTroubleNames));

struct VerifyRequest {
    DiskPath folder{};
    Seconds stallLimit{120};
    SharedCancelToken cancel{};
    std::function<void(
        std::int64_t filesDone, std::int64_t filesTotal, std::int64_t bytesDone, bool waitingForDisk)>
        progress{};
};

/// On failure a sentence: no such folder, no report and no journal in it, not readable.
std::expected<VerifyResult, std::string> verifyExport(
    const CoreServices& services, const VerifyRequest& request);

} // namespace vantorel
