#pragma once

#include "base/Enum.h"

#include <optional>
#include <string>

namespace vantorel {

/// Why a run did not save a file that was planned.
enum class SkipReason {
    link,
    notRegular,
    inCloud,
    readError, ///< Comes with an error number.
    sizeChanged,
    mismatch, ///< The saved copy read back with another digest.
    nameRefused,
    noFreeName,
    tooLarge,
    silent,      ///< Silent at the first try; the run ended before the second.
    silentTwice, ///< Silent also when it was tried again.
    notTriedAgain,
    notTried,
};

/// A reason with what it needs for its sentence.
struct SkipCause {
    SkipReason reason = SkipReason::notTried;
    int code = 0; ///< The error number of a `readError`.

    bool operator==(const SkipCause&) const = default;
};

/// The sentence for the report.
std::string sentence(const SkipCause& cause);

/// Whether another run may save the file; what it cannot cure does not keep an export unfinished.
bool isCurable(SkipReason reason);

/// Whether the library's disk failed on the file. Such files are tried last when the export is continued, and
/// several in a row end the run. A file that is not there, refused or of another size says nothing about the
/// disk.
bool isDiskFailure(const SkipCause& cause);

/// The reason behind an error number with which a file of the library could not be opened or read.
SkipCause causeOfReadError(int code);

} // namespace vantorel
