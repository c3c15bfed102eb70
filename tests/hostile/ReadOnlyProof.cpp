#include "cli/RunProgram.h"
#include "fuse/FaultyDisk.h"

#include <cstdio>
#include <filesystem>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <sys/mount.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace vantorel::fuse {
namespace {

namespace fs = std::filesystem;

/// Exit status by which ctest knows a skipped test.
constexpr int skipped = 77;

struct Totals {
    std::uint64_t runs = 0;       ///< With a library among their arguments.
    std::uint64_t operations = 0; ///< That libraries were asked for.
    std::uint64_t changes = 0;
};
Totals totals;

/// The libraries that a run is given, each once.
std::set<fs::path> librariesIn(const std::vector<std::string>& arguments)
{
    std::set<fs::path> libraries;
    for (const fs::path argument : arguments) {
        std::error_code error;
        if (argument.is_absolute() && argument.extension() == ".photoslibrary"
            && fs::is_directory(fs::symlink_status(argument, error))) {
            libraries.insert(argument);
        }
    }
    return libraries;
}

/// Mounts a library over itself, so that nothing under its name can be changed.
class ReadOnlyMount {
public:
    explicit ReadOnlyMount(const fs::path& library)
        : library_(library)
    {
        if (mount(library.c_str(), library.c_str(), nullptr, MS_BIND, nullptr) != 0) {
            throw std::runtime_error("no mount");
        }
        if (mount(nullptr, library.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) != 0) {
            umount2(library.c_str(), MNT_DETACH);
            throw std::runtime_error("no read-only mount");
        }
    }
    ~ReadOnlyMount() { umount2(library_.c_str(), MNT_DETACH); }
    ReadOnlyMount(const ReadOnlyMount&) = delete;
    ReadOnlyMount& operator=(const ReadOnlyMount&) = delete;

private:
    fs::path library_;
};

/// Mounts a library over itself through the disk that counts.
class CountingMount {
public:
    explicit CountingMount(const fs::path& library)
        : disk_(library, library)
    {
    }
    ~CountingMount()
    {
        for (const auto& [operation, name] : operationNames) {
            totals.operations += disk_.count(operation);
        }
        totals.changes += disk_.changes();
        EXPECT_EQ(disk_.changes(), 0U) << "a library was changed";
    }
    CountingMount(const CountingMount&) = delete;
    CountingMount& operator=(const CountingMount&) = delete;

private:
    FaultyDisk disk_;
};

template <typename Mounted>
std::shared_ptr<void> around(const std::vector<std::string>& arguments)
{
    auto mounts = std::make_shared<std::vector<std::unique_ptr<Mounted>>>();
    for (const auto& library : librariesIn(arguments)) {
        mounts->push_back(std::make_unique<Mounted>(library));
    }
    totals.runs += mounts->empty() ? 0 : 1;
    return mounts;
}

bool mayMount()
{
    const TemporaryFolder folder;
    try {
        const ReadOnlyMount mounted(folder.path());
        return access(folder.path().c_str(), W_OK) != 0;
    } catch (const std::runtime_error&) {
        return false;
    }
}

int prove(std::string_view way)
{
    if (way == "read-only-mount") {
        if (!mayMount()) {
            std::puts("Skipped: no read-only mount can be made here.");
            return skipped;
        }
        setAroundRuns(around<ReadOnlyMount>);
        // These save into the library, which by itself is refused for another reason.
        GTEST_FLAG_SET(filter, "-*/insideTheLibrary:*/theLibraryItself");
    } else {
        if (const auto reason = FaultyDisk::whyNot()) {
            std::printf("Skipped: %s.\n", reason->c_str());
            return skipped;
        }
        setAroundRuns(around<CountingMount>);
    }
    const int failed = RUN_ALL_TESTS();
    std::printf("%llu runs on libraries", static_cast<unsigned long long>(totals.runs));
    const bool isCounted = way == "counting-disk";
    if (isCounted) {
        std::printf(", %llu operations, %llu of them changes",
            static_cast<unsigned long long>(totals.operations),
            static_cast<unsigned long long>(totals.changes));
    }
    std::puts("");
    const bool wasAnythingProved = totals.runs > 0 && (!isCounted || totals.operations > 0);
    return failed != 0 || !wasAnythingProved ? 1 : 0;
}

} // namespace
} // namespace vantorel::fuse

/// read-only-proof (read-only-mount | counting-disk): runs all tests of the command line with every library
/// that is given to a program mounted in that way while the program runs.
int main(int count, char** arguments)
{
    testing::InitGoogleTest(&count, arguments);
    const std::string_view way = count == 2 ? arguments[1] : "";
    if (way != "read-only-mount" && way != "counting-disk") {
        std::fputs("read-only-proof (read-only-mount | counting-disk)\n", stderr);
        return 2;
    }
    return vantorel::fuse::prove(way);
}
