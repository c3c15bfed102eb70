#pragma once

#include "base/Clock.h"
#include "disk/CancelToken.h"
#include "disk/Root.h"
#include "disk/SystemCalls.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace vantorel {

/// What a first look into a library's folder found.
struct LibraryContents {
    DiskPath folder{};      ///< As it was named.
    std::string name{};     ///< For people: the folder's name without its extension.
    std::string diskName{}; ///< Of the disk that it lies on, for sentences.
    bool isInBackup = false;
    std::shared_ptr<const Root> root{};
    std::optional<DiskPath> database{}; ///< Relative; whatever stands there, also what will not be read.
    bool hasOriginals = false;          ///< Also where the folder is refused or could not be looked at.
    bool hasJournals = false;           ///< Change journals with at least one byte; likewise.
};

/// How a look into the library's folder is made.
struct LibraryLook {
    std::shared_ptr<const SystemCalls> calls{};
    std::shared_ptr<const Clock> clock{};
    SharedCancelToken cancel{};
    Seconds stallLimit{60};
    std::function<void(bool)> onSilence{};
};

/// Looks, guarded, which parts of a library are in the folder. Throws `ReadError` for a folder that is not
/// there, is refused, is no library or one of an older layout, and for a disk that does not answer.
LibraryContents lookIntoLibrary(const LibraryLook& look, const DiskPath& folder);

/// Whether the disk answers for anything else of the library.
bool diskAnswers(const LibraryLook& look, const LibraryContents& library);

} // namespace vantorel
