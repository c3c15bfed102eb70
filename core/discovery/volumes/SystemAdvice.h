#pragma once

#include "discovery/volumes/UnopenedDisks.h"
#include "disk/SystemCalls.h"

#include <optional>
#include <string>

/// The sentences about refused access, locked disks and backups speak of macOS, since most libraries are read
/// there. On another system a quiet line beneath says what helps on it. Each is a whole sentence or more;
/// none on macOS.
namespace vantorel::SystemAdvice {

/// Beneath a refusal: who owns the folder, or the first folder on the way to it that lets nobody look, and
/// what to do. Blocks on the disk; callers run it guarded.
std::optional<std::string> refused(const SystemCalls& calls, const DiskPath& folder);
/// Beneath the sentence of a locked volume.
std::optional<std::string> lockedVolume();
/// Of a disk that a Mac has formatted and that is connected, but not open.
std::optional<std::string> unopened(const UnopenedDisk& disk);
/// Beneath the advice where no library was found.
std::optional<std::string> nothingFound();
/// Beneath the note on older dates of backups.
std::optional<std::string> olderBackups();

} // namespace vantorel::SystemAdvice
