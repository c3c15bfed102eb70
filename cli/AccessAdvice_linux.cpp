#include "cli/AccessAdvice.h"

#include <fmt/format.h>

#include <array>

#include <pwd.h>
#include <unistd.h>

namespace vantorel::cli {

std::optional<std::string> accessAdvice(const SystemCalls& calls, const DiskPath& path)
{
    std::string owner = "another user";
    if (const auto status = calls.status(path, SystemCalls::Links::followed)) {
        std::array<char, 4096> buffer{};
        passwd entry{};
        passwd* found = nullptr;
        const bool known =
            getpwuid_r(status->owner, &entry, buffer.data(), buffer.size(), &found) == 0 && found;
        owner = known ? fmt::format("the user {}", found->pw_name)
                      : fmt::format("user id {}, which this computer does not know", status->owner);
    }
    return fmt::format(
        "On Linux: the files belong to {}. Run Vantorel as that user or as root, or mount the disk "
        "read-only with uid={},gid={} so that they count as yours.",
        owner, getuid(), getgid());
}

std::optional<std::string> lockedVolumeAdvice()
{
    return "On Linux: open it in the file manager, or with \"udisksctl unlock -b DEVICE\".";
}

} // namespace vantorel::cli
