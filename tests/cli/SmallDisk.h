#pragma once

#include <filesystem>
#include <string>

#include <sys/mount.h>

namespace vantorel {

/// A small file system of its own, for the cases that need one; the test is skipped where it may not be
/// mounted.
class SmallDisk {
public:
    SmallDisk(const std::filesystem::path& at, const std::string& options)
        : at_(at)
        , mounted_(mount("vantorel-test", at.c_str(), "tmpfs", 0, options.c_str()) == 0)
    {
    }
    ~SmallDisk()
    {
        if (mounted_) {
            umount2(at_.c_str(), MNT_DETACH);
        }
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;
    bool isMounted() const { return mounted_; }
    bool makeReadOnly() const
    {
        return mount(nullptr, at_.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) == 0;
    }

private:
    std::filesystem::path at_;
    bool mounted_;
};

} // namespace vantorel
