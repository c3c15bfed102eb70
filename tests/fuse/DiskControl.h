#pragma once

#include "base/Enum.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

/// What the faulty disk and those who use it share.
///
/// The disk is told what to do by a file of rules, one a line, which it reads again when another file takes
/// its place:
///
///     ACTION OPERATION [from=N] [times=N] [at=OFFSET+LENGTH] PATTERN
///
/// A rule meets operations of that name ("change": all that change something; "*": all) on paths that the
/// pattern fits ("*" stands for any bytes, "/" too; paths begin with "/"; of a rename either). Of those it
/// meets the N-th and later ones, at most so many, and reads and writes only where they touch those bytes.
/// ACTION is one of:
///
///     hang           does not answer before the rules change, then goes on
///     delay=MS       goes on after so many milliseconds
///     error=NUMBER   fails
///     room=BYTES     writes succeed as long as there is room, then the disk is full
///     gone           from then on every operation fails as when a disk was pulled out
///     silent         from then on no operation answers
///     readonly       from then on nothing can be changed
///     count          nothing; its meetings are counted
namespace vantorel::fuse {

enum class Operation {
    getattr,
    access,
    readlink,
    opendir,
    readdir,
    open,
    read,
    statfs,
    getxattr,
    listxattr,
    fsync, ///< Of files and folders.
    write,
    create,
    truncate,
    mkdir,
    rmdir,
    unlink,
    rename,
    link,
    symlink,
    chmod,
    chown,
    utimens,
    setxattr,
    removexattr,
};

inline constexpr EnumNames<Operation, 25> operationNames{{
    {Operation::getattr, "getattr"},
    {Operation::access, "access"},
    {Operation::readlink, "readlink"},
    {Operation::opendir, "opendir"},
    {Operation::readdir, "readdir"},
    {Operation::open, "open"},
    {Operation::read, "read"},
    {Operation::statfs, "statfs"},
    {Operation::getxattr, "getxattr"},
    {Operation::listxattr, "listxattr"},
    {Operation::fsync, "fsync"},
    {Operation::write, "write"},
    {Operation::create, "create"},
    {Operation::truncate, "truncate"},
    {Operation::mkdir, "mkdir"},
    {Operation::rmdir, "rmdir"},
    {Operation::unlink, "unlink"},
    {Operation::rename, "rename"},
    {Operation::link, "link"},
    {Operation::symlink, "symlink"},
    {Operation::chmod, "chmod"},
    {Operation::chown, "chown"},
    {Operation::utimens, "utimens"},
    {Operation::setxattr, "setxattr"},
    {Operation::removexattr, "removexattr"},
}};
static_assert(inEnumOrder(operationNames));

/// An open for writing counts as `open`; what it then does is counted on its own.
constexpr bool isChange(Operation operation) { return operation >= Operation::write; }

inline constexpr std::size_t mostRules = 32;

/// Counts in memory that the disk shares with whoever watches it, through a file. All zeros at first.
struct DiskCounts {
    std::atomic<std::uint64_t> isMounted;
    std::atomic<std::uint64_t> rulesRead; ///< How many sets of rules have come into force.
    std::array<std::atomic<std::uint64_t>, operationNames.size()> operations;
    std::array<std::atomic<std::uint64_t>, mostRules> hits; ///< Of the rules in force, by their order.
};
static_assert(std::atomic<std::uint64_t>::is_always_lock_free);

} // namespace vantorel::fuse
