#define FUSE_USE_VERSION 312

#include "fuse/DiskRules.h"

#include <fuse.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/xattr.h>
#include <unistd.h>

/// A file system that passes a folder through and is as faulty as a file of rules says:
///
///     faulty-disk FOLDER MOUNT-POINT RULES COUNTS
///
/// COUNTS is a file of the size of DiskCounts. Ends when its parent does, with SIGTERM, or when it is
/// unmounted; whatever waits on it is let go then.
namespace vantorel::fuse {

namespace {

using namespace std::chrono_literals;

struct Disk {
    int root = -1;
    std::string mountPoint;
    std::string rulesFile;
    DiskCounts* counts = nullptr;
    std::unique_ptr<DiskRules> rules;
};

Disk& disk()
{
    static Disk only;
    return only;
}

const char* relative(const char* path) { return path[1] == '\0' ? "." : path + 1; }

int answered(ssize_t result) { return result < 0 ? -errno : static_cast<int>(result); }

/// What the rules say of an operation; then its own answer.
template <typename Work>
int operate(DiskRequest request, Work work)
{
    const int error = disk().rules->meet(request);
    return error != 0 ? -error : work(request);
}
template <typename Work>
int operate(Operation operation, const char* path, Work work)
{
    return operate({.operation = operation, .path = path}, [&work](const DiskRequest&) { return work(); });
}

/// A path for the calls that know none relative to a folder.
std::string ofDescriptor(const char* path)
{
    return "/proc/self/fd/" + std::to_string(disk().root) + "/" + relative(path);
}

int fileOf(const fuse_file_info* info) { return static_cast<int>(info->fh); }

int getattr(const char* path, struct stat* status, fuse_file_info*)
{
    return operate(Operation::getattr, path,
        [&] { return answered(fstatat(disk().root, relative(path), status, AT_SYMLINK_NOFOLLOW)); });
}

int access(const char* path, int mask)
{
    return operate(Operation::access, path,
        [&] { return answered(faccessat(disk().root, relative(path), mask, AT_SYMLINK_NOFOLLOW)); });
}

int readlink(const char* path, char* target, std::size_t size)
{
    return operate(Operation::readlink, path, [&] {
        const ssize_t length = readlinkat(disk().root, relative(path), target, size - 1);
        if (length < 0) {
            return -errno;
        }
        target[length] = '\0';
        return 0;
    });
}

int opendir(const char* path, fuse_file_info*)
{
    return operate(Operation::opendir, path, [] { return 0; });
}

int readdir(const char* path, void* buffer, fuse_fill_dir_t fill, off_t, fuse_file_info*, fuse_readdir_flags)
{
    return operate(Operation::readdir, path, [&] {
        const int fd = openat(disk().root, relative(path), O_RDONLY | O_DIRECTORY | O_NOATIME | O_CLOEXEC);
        DIR* folder = fd < 0 ? nullptr : fdopendir(fd);
        if (folder == nullptr) {
            return -errno;
        }
        while (const dirent* entry = ::readdir(folder)) {
            struct stat status{};
            status.st_ino = entry->d_ino;
            status.st_mode = static_cast<mode_t>(DTTOIF(entry->d_type));
            fill(buffer, entry->d_name, &status, 0, static_cast<fuse_fill_dir_flags>(0));
        }
        closedir(folder);
        return 0;
    });
}

int openWith(const char* path, int flags, mode_t mode, fuse_file_info* info)
{
    const int fd = openat(disk().root, relative(path), flags | O_NOATIME | O_CLOEXEC, mode);
    if (fd < 0) {
        return -errno;
    }
    info->fh = static_cast<std::uint64_t>(fd);
    info->direct_io = 1; // each read and write comes here as it was asked for
    return 0;
}

int open(const char* path, fuse_file_info* info)
{
    return operate(Operation::open, path, [&] { return openWith(path, info->flags, 0, info); });
}

int create(const char* path, mode_t mode, fuse_file_info* info)
{
    return operate(
        Operation::create, path, [&] { return openWith(path, info->flags | O_CREAT, mode, info); });
}

int release(const char*, fuse_file_info* info)
{
    ::close(fileOf(info));
    return 0;
}

DiskRequest transfer(Operation operation, const char* path, std::size_t size, off_t offset)
{
    return {.operation = operation,
        .path = path,
        .otherPath = {},
        .offset = offset,
        .length = static_cast<std::int64_t>(size)};
}

int read(const char* path, char* buffer, std::size_t size, off_t offset, fuse_file_info* info)
{
    return operate(transfer(Operation::read, path, size, offset),
        [&](const DiskRequest&) { return answered(pread(fileOf(info), buffer, size, offset)); });
}

int write(const char* path, const char* buffer, std::size_t size, off_t offset, fuse_file_info* info)
{
    return operate(transfer(Operation::write, path, size, offset), [&](const DiskRequest& request) {
        return answered(pwrite(fileOf(info), buffer, static_cast<std::size_t>(request.length), offset));
    });
}

int truncate(const char* path, off_t size, fuse_file_info* info)
{
    return operate(Operation::truncate, path, [&] {
        return answered(
            info != nullptr ? ftruncate(fileOf(info), size) : ::truncate(ofDescriptor(path).c_str(), size));
    });
}

int fsync(const char* path, int, fuse_file_info* info)
{
    return operate(Operation::fsync, path, [&] { return answered(::fsync(fileOf(info))); });
}

int fsyncdir(const char* path, int, fuse_file_info*)
{
    return operate(Operation::fsync, path, [] { return 0; });
}

int statfs(const char* path, struct statvfs* status)
{
    return operate(Operation::statfs, path, [&] { return answered(fstatvfs(disk().root, status)); });
}

int mkdir(const char* path, mode_t mode)
{
    return operate(
        Operation::mkdir, path, [&] { return answered(mkdirat(disk().root, relative(path), mode)); });
}

int rmdir(const char* path)
{
    return operate(Operation::rmdir, path,
        [&] { return answered(unlinkat(disk().root, relative(path), AT_REMOVEDIR)); });
}

int unlink(const char* path)
{
    return operate(
        Operation::unlink, path, [&] { return answered(unlinkat(disk().root, relative(path), 0)); });
}

int rename(const char* from, const char* to, unsigned flags)
{
    return operate({.operation = Operation::rename, .path = from, .otherPath = to}, [&](const DiskRequest&) {
        return answered(renameat2(disk().root, relative(from), disk().root, relative(to), flags));
    });
}

int link(const char* from, const char* to)
{
    return operate({.operation = Operation::link, .path = from, .otherPath = to}, [&](const DiskRequest&) {
        return answered(linkat(disk().root, relative(from), disk().root, relative(to), 0));
    });
}

int symlink(const char* target, const char* path)
{
    return operate(
        Operation::symlink, path, [&] { return answered(symlinkat(target, disk().root, relative(path))); });
}

int chmod(const char* path, mode_t mode, fuse_file_info*)
{
    return operate(
        Operation::chmod, path, [&] { return answered(fchmodat(disk().root, relative(path), mode, 0)); });
}

int chown(const char* path, uid_t user, gid_t group, fuse_file_info*)
{
    return operate(Operation::chown, path,
        [&] { return answered(fchownat(disk().root, relative(path), user, group, AT_SYMLINK_NOFOLLOW)); });
}

int utimens(const char* path, const timespec times[2], fuse_file_info*)
{
    return operate(Operation::utimens, path,
        [&] { return answered(utimensat(disk().root, relative(path), times, AT_SYMLINK_NOFOLLOW)); });
}

int getxattr(const char* path, const char* name, char* value, std::size_t size)
{
    return operate(Operation::getxattr, path,
        [&] { return answered(lgetxattr(ofDescriptor(path).c_str(), name, value, size)); });
}

int listxattr(const char* path, char* names, std::size_t size)
{
    return operate(Operation::listxattr, path,
        [&] { return answered(llistxattr(ofDescriptor(path).c_str(), names, size)); });
}

int setxattr(const char* path, const char* name, const char* value, std::size_t size, int flags)
{
    return operate(Operation::setxattr, path,
        [&] { return answered(lsetxattr(ofDescriptor(path).c_str(), name, value, size, flags)); });
}

int removexattr(const char* path, const char* name)
{
    return operate(Operation::removexattr, path,
        [&] { return answered(lremovexattr(ofDescriptor(path).c_str(), name)); });
}

std::vector<DiskRule> readRules()
{
    std::vector<DiskRule> rules;
    std::ifstream stream(disk().rulesFile);
    for (std::string line; std::getline(stream, line);) {
        if (auto rule = parseRule(line); rule && rules.size() < mostRules) {
            rules.push_back(std::move(*rule));
        } else {
            std::fprintf(stderr, "faulty-disk: no rule: %s\n", line.c_str());
            umount2(disk().mountPoint.c_str(), MNT_DETACH);
            _exit(2); // a test that asks for what there is not must not pass
        }
    }
    return rules;
}

/// Puts each new file of rules into force.
void watchRules()
{
    ino_t current = 0;
    while (true) {
        struct stat status{};
        if (stat(disk().rulesFile.c_str(), &status) == 0 && status.st_ino != current) {
            current = status.st_ino;
            disk().rules->replace(readRules());
        }
        std::this_thread::sleep_for(5ms);
    }
}

/// SIGTERM lets go whatever waits; then the loop can end.
void watchSignals(struct fuse* fuse)
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    int signal = 0;
    sigwait(&set, &signal);
    disk().rules->end();
    fuse_exit(fuse);
    umount2(disk().mountPoint.c_str(), MNT_DETACH); // wakes the loop; it may be detached already
}

void* started(fuse_conn_info*, fuse_config* config)
{
    config->use_ino = 1;
    config->hard_remove = 1;
    config->nullpath_ok = 0;
    config->attr_timeout = config->entry_timeout = config->negative_timeout = 0; // nothing is remembered
    disk().counts->isMounted = 1;
    return nullptr;
}

bool shareCounts(const char* path)
{
    const int fd = ::open(path, O_RDWR | O_CLOEXEC);
    void* memory =
        fd < 0 ? MAP_FAILED : mmap(nullptr, sizeof(DiskCounts), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (memory == MAP_FAILED) {
        return false;
    }
    disk().counts = static_cast<DiskCounts*>(memory);
    disk().rules = std::make_unique<DiskRules>(*disk().counts);
    return true;
}

fuse_operations operations()
{
    fuse_operations all{};
    all.init = started;
    all.getattr = getattr;
    all.access = access;
    all.readlink = readlink;
    all.opendir = opendir;
    all.readdir = readdir;
    all.open = open;
    all.create = create;
    all.release = release;
    all.read = read;
    all.write = write;
    all.truncate = truncate;
    all.fsync = fsync;
    all.fsyncdir = fsyncdir;
    all.statfs = statfs;
    all.mkdir = mkdir;
    all.rmdir = rmdir;
    all.unlink = unlink;
    all.rename = rename;
    all.link = link;
    all.symlink = symlink;
    all.chmod = chmod;
    all.chown = chown;
    all.utimens = utimens;
    all.getxattr = getxattr;
    all.listxattr = listxattr;
    all.setxattr = setxattr;
    all.removexattr = removexattr;
    return all;
}

int run(const std::vector<std::string>& arguments)
{
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    disk().root = ::open(arguments[1].c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    disk().mountPoint = arguments[2];
    disk().rulesFile = arguments[3];
    if (disk().root < 0 || !shareCounts(arguments[4].c_str())) {
        std::perror("faulty-disk");
        return 1;
    }
    // Two such disks are two devices: by its name each is known as one of its own.
    const std::string name = arguments[2].substr(arguments[2].rfind('/') + 1);
    std::vector<std::string> words{"faulty-disk", "-o", "fsname=faulty-" + name + ",subtype=faulty"};
    std::vector<char*> pointers;
    for (auto& word : words) {
        pointers.push_back(word.data());
    }
    fuse_args options = FUSE_ARGS_INIT(static_cast<int>(pointers.size()), pointers.data());
    const fuse_operations all = operations();
    struct fuse* fuse = fuse_new(&options, &all, sizeof all, nullptr);
    fuse_opt_free_args(&options);
    if (fuse == nullptr || fuse_mount(fuse, arguments[2].c_str()) != 0) {
        return 1;
    }
    std::thread(watchSignals, fuse).detach();
    std::thread(watchRules).detach();
    fuse_loop_config* config = fuse_loop_cfg_create();
    fuse_loop_cfg_set_max_threads(config, 100); // most of them may hang
    fuse_loop_mt(fuse, config);
    disk().rules->end();
    umount2(disk().mountPoint.c_str(), MNT_DETACH);
    _exit(0); // the watching threads go on
}

} // namespace

} // namespace vantorel::fuse

int main(int argc, char** argv)
{
    if (argc != 5) {
        std::fprintf(stderr, "faulty-disk FOLDER MOUNT-POINT RULES COUNTS\n");
        return 2;
    }
    return vantorel::fuse::run({argv, argv + argc});
}
