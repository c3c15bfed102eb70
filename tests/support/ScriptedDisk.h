#pragma once

#include "support/ScriptedCalls.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace vantorel {

/// A folder on a disk that loses its power: real files, and a record beside them of what was made durable and
/// what was not. After a given number of changes (a create, write, sync, rename, removal that came through)
/// every further call fails; `restorePower` then puts into the folder what such a disk may hold.
///
/// What is sure is no more than POSIX promises: the bytes of a file up to its last sync, and the names of a
/// folder up to the folder's own last sync. A rename is one step, and sure once the folder it leads to was
/// synced. Everything else may have come through or not, each for itself and in any order.
class ScriptedDisk final : public ScriptedCalls {
public:
    /// What became of what was not sure.
    enum class Unsynced {
        lost,        ///< All of it.
        namesKept,   ///< Names stand, bytes are gone: files of no length, journals that end early.
        namesZeroed, ///< Names and lengths stand, the bytes are zeros.
        namesTorn,   ///< Names stand, and half of the bytes.
        shuffled,    ///< Any of these for each name and each file.
    };

    /// `folder` is where the power will be lost; empty at the beginning.
    explicit ScriptedDisk(DiskPath folder);
    ~ScriptedDisk() override;

    /// Counted from now; the change of this number is the last to come through.
    void losePowerAfterChange(std::size_t number);
    bool hasPower() const;
    /// `seed` chooses among what may have happened where all is shuffled.
    void restorePower(Unsynced unsynced, std::uint32_t seed = 1);

    CallResult<int> open(const DiskPath& path, int flags, mode_t mode) const override;
    CallResult<int> openBeneath(int root, const DiskPath& relative, int flags, mode_t mode) const override;
    CallResult<void> close(int fd) const override;
    CallResult<std::size_t> write(int fd, std::span<const std::byte> bytes) const override;
    CallResult<void> sync(int fd) const override;
    CallResult<void> fullSync(int fd) const override;
    CallResult<void> makeFolderAt(int folder, const std::string& name, mode_t mode) const override;
    CallResult<void> renameAt(
        int fromFolder, const std::string& from, int toFolder, const std::string& to) const override;
    CallResult<void> renameExclusiveAt(
        int fromFolder, const std::string& from, int toFolder, const std::string& to) const override;
    CallResult<void> unlinkAt(int folder, const std::string& name) const override;
    CallResult<void> removeFolderAt(int folder, const std::string& name) const override;

private:
    struct Record;

    template <typename Make, typename Note>
    auto changing(Make make, Note note) const -> decltype(make());

    std::unique_ptr<Record> record_;
};

} // namespace vantorel
