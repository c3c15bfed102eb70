#pragma once

#include "disk/FS.h"

#include <string_view>

namespace vantorel {

/// What a search does with an entry of a folder.
enum class FolderUse {
    passedOver,   ///< Cannot hold a library.
    walked,       ///< May be one or hold one.
    probed,       ///< A package that may be a library; never walked into.
    probedAsLink, ///< A link named like a library; never followed for anything else.
    backupStore,  ///< "Backups.backupdb": backups by computer and date.
    datedBackup,  ///< One backup.
};

/// What is known of the folder that an entry lies in.
struct FolderPlace {
    bool isTop = false;          ///< Of a volume or of a folder that was chosen.
    bool isHome = false;         ///< A user's home folder.
    bool isSystemVolume = false; ///< It holds the folders of an operating system.
};

/// By name and kind alone: no look at the disk.
FolderUse useOf(const FS::Entry& entry, const FolderPlace& place);

/// Whether a folder holds what the top of a system disk holds (macOS, Linux, Windows).
bool holdsSystem(const FS::PartialList& list);

/// "2024-05-01-101112", also with ".backup", ".previous", ".inProgress" or ".interrupted" behind it.
bool isBackupDate(std::string_view name);

} // namespace vantorel
