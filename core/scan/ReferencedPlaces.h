#pragma once

#include "disk/SystemCalls.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel {

/// Where the files of referenced photos may be looked for. The paths come out of a library that may be made
/// to harm, so they are judged before anything on the disk is asked.
namespace ReferencedPlaces {

/// The path with single slashes, when it is one that is read: absolute, of a photo or video type, with no
/// hidden component (that also takes "." and "..") and no NUL, not in a system folder, in a user's own
/// "Library" or inside the package of another library.
std::optional<std::string> readable(std::string_view path);

/// The same file under other names of its place, in the order in which they are tried: in the other Unicode
/// forms, and on the disks of `mountPoints` instead of "/Volumes/<name>". Each is readable; the path itself
/// is not among them.
std::vector<std::string> alternatives(std::string_view path, const std::vector<std::string>& mountPoints);

/// The name of "/Volumes/<name>/…"; "" for every other path.
std::string_view volumeName(std::string_view path);

/// What of a path tells its disk apart: "/Volumes/<name>", "/media/<user>/<name>", ..., else "/<folder>".
std::string diskOf(std::string_view path);

/// Where the disk "/Volumes/<name>" is, when it is not there: "" (the top) where that is a link to the
/// start-up disk (macOS); else the mount point of the library's own disk when it has this name, and that of
/// the one mounted disk whose mount point ends in it. Asks the disk: callers run it guarded.
std::vector<std::string> mountPointsOf(
    const std::shared_ptr<const SystemCalls>& calls, const std::string& name, const DiskPath& library);

} // namespace ReferencedPlaces

} // namespace vantorel
