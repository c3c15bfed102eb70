#include "disk/TemporaryFiles.h"

#include "base/Text.h"
#include "support/ScriptedCalls.h"
#include "support/TemporaryFolder.h"

#include <cerrno>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vantorel {
namespace {

namespace fs = std::filesystem;
using Tree = std::map<std::string, std::string>;

std::string placeName() { return "vantorel-" + std::to_string(::geteuid()); }

std::shared_ptr<TemporaryFiles> created(
    const DiskPath& base, std::shared_ptr<const SystemCalls> calls = realSystemCalls())
{
    auto files = TemporaryFiles::create(std::move(calls), base);
    EXPECT_TRUE(files) << errorText(files ? 0 : files.error());
    return files.value_or(nullptr);
}

int codeOfCreating(const DiskPath& base, std::shared_ptr<const SystemCalls> calls = realSystemCalls())
{
    const auto files = TemporaryFiles::create(std::move(calls), base);
    return files ? 0 : files.error();
}

mode_t modeOf(const DiskPath& path)
{
    struct stat status{};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

TEST(TemporaryFiles, keepsAFolderOfItsOwnThatOthersCannotEnter)
{
    const TemporaryFolder base;
    {
        const auto files = created(base.path());
        const DiskPath folder = files->temporaryDirectory();
        EXPECT_EQ(folder.parent_path(), base / placeName());
        EXPECT_TRUE(folder.filename().native().starts_with("run-"));
        EXPECT_TRUE(isUuid(folder.filename().native().substr(4)));
        EXPECT_EQ(modeOf(base / placeName()), 0700u);
        EXPECT_EQ(modeOf(folder), 0700u);

        const auto first = files->makeFolder("database");
        const auto second = files->makeFolder("../data base");
        ASSERT_TRUE(first && second);
        EXPECT_EQ(first->parent_path(), folder);
        EXPECT_EQ(second->parent_path(), folder);
        EXPECT_NE(*first, *second);
        EXPECT_EQ(modeOf(*first), 0700u);
    }
    EXPECT_EQ(base.tree(), (Tree{{placeName() + "/", ""}}));
}

TEST(TemporaryFiles, removesAFolderWithAllThatIsInItAndNothingElse)
{
    const TemporaryFolder base;
    base.write("outside/file", "mine");
    const auto files = created(base.path());
    const auto folder = files->makeFolder("database").value();
    const auto other = files->makeFolder("database").value();
    const auto inside = [&](const DiskPath& path) { return fs::relative(path, base.path()); };
    base.write(inside(folder) / "a/b/c", "x");
    base.write(inside(folder) / ".hidden", "x");
    base.makeLink(inside(folder) / "link", base / "outside");
    base.makeLink(inside(folder) / "a/link", base / "outside/file");
    base.makeLink(inside(files->temporaryDirectory()) / "linked", base / "outside");
    for (const DiskPath& path : {base / "outside", files->temporaryDirectory(), folder / "..", folder / "a",
             files->temporaryDirectory() / ".", files->temporaryDirectory() / "", DiskPath(),
             files->temporaryDirectory() / "linked"}) {
        files->remove(path);
    }
    EXPECT_TRUE(fs::exists(folder / "a/b/c"));
    files->remove(folder);
    EXPECT_FALSE(fs::exists(folder));
    EXPECT_TRUE(fs::exists(other));
    EXPECT_EQ(base.tree("outside"), (Tree{{"file", "mine"}}));
}

TEST(TemporaryFiles, refusesAPlaceThatSomebodyElseMayHavePlanted)
{
    struct Row {
        const char* what;
        std::function<void(const TemporaryFolder&)> plant;
    };
    for (const Row& row : {
             Row{"a link",
                 [](const TemporaryFolder& base) {
                     fs::permissions(base.makeFolder("trap"), fs::perms::owner_all);
                     base.makeLink(placeName(), "trap");
                 }},
             Row{"a file", [](const TemporaryFolder& base) { base.write(placeName(), ""); }},
             Row{"open to others",
                 [](const TemporaryFolder& base) {
                     fs::permissions(base.makeFolder(placeName()), static_cast<fs::perms>(0755));
                 }},
             Row{"a link to nothing",
                 [](const TemporaryFolder& base) { base.makeLink(placeName(), "nothing"); }},
         }) {
        const TemporaryFolder base;
        row.plant(base);
        const Tree before = base.tree();
        EXPECT_EQ(codeOfCreating(base.path()), EPERM) << row.what;
        EXPECT_EQ(base.tree(), before) << row.what;
    }
    const TemporaryFolder base;
    const auto calls = std::make_shared<ScriptedCalls>();
    calls->on("statusOf").changeStatus([](FileStatus& status) { ++status.owner; });
    EXPECT_EQ(codeOfCreating(base.path(), calls), EPERM);
    EXPECT_EQ(codeOfCreating(base / "none"), ENOENT);
}

TEST(TemporaryFiles, sweepsRunsThatAreGoneAndLeavesLivingOnesAlone)
{
    const TemporaryFolder base;
    base.write("outside/file", "mine");
    const auto living = created(base.path());
    const auto kept = living->makeFolder("database").value();
    const DiskPath place = placeName();
    const auto run = [](char digit) {
        return "run-00000000-0000-4000-8000-00000000000" + std::string(1, digit);
    };
    base.write(place / (run('1') + ".lock"), ""); // ended by force
    base.write(place / run('1') / "database-1/Photos.sqlite", "x");
    base.makeLink(place / run('1') / "database-1/link", base / "outside");
    base.write(place / run('2') / "rest", "x");   // half removed
    base.write(place / (run('3') + ".lock"), ""); // ended before there was a folder
    base.makeLink(place / run('4'), base / "outside");
    base.write(place / "run-notes.txt", "somebody's");
    base.write(place / "else/file", "somebody's");

    const auto files = created(base.path());
    EXPECT_EQ(files->sweepStaleTemporaryFiles(), 2);
    EXPECT_EQ(files->sweepStaleTemporaryFiles(), 0);

    const auto name = [&](const std::shared_ptr<TemporaryFiles>& one) {
        return one->temporaryDirectory().filename().native();
    };
    const Tree expected{{name(living) + "/", ""}, {name(living) + ".lock", ""},
        {name(living) + "/" + kept.filename().native() + "/", ""}, {name(files) + "/", ""},
        {name(files) + ".lock", ""}, {run('4'), "-> " + (base / "outside").native()},
        {"run-notes.txt", "somebody's"}, {"else/", ""}, {"else/file", "somebody's"}};
    EXPECT_EQ(base.tree(place), expected);
    EXPECT_EQ(base.tree("outside"), (Tree{{"file", "mine"}}));
}

TEST(TemporaryFiles, sweepsWhatItCouldNotRemoveNextTime)
{
    const TemporaryFolder base;
    const auto calls = std::make_shared<ScriptedCalls>();
    {
        const auto files = created(base.path(), calls);
        const auto folder = files->makeFolder("database").value();
        base.write(fs::relative(folder, base.path()) / "Photos.sqlite", "x");
        calls->fail("unlinkAt", "*/Photos.sqlite", EIO);
    }
    const auto files = created(base.path());
    EXPECT_EQ(files->sweepStaleTemporaryFiles(), 1);
}

TEST(TemporaryFiles, takesAnotherNameWhenASweepComesBetweenMakingAndLocking)
{
    const TemporaryFolder base;
    const auto sweeper = created(base.path());
    const auto calls = std::make_shared<ScriptedCalls>();
    int swept = 0;
    const auto between = calls->on("tryLock").nth(1).run([&] {
        swept += sweeper->sweepStaleTemporaryFiles();
        EXPECT_EQ(base.tree(placeName()).size(), 2u); // the new lock file is gone
    });
    const auto files = created(base.path(), calls);
    EXPECT_EQ(between.hits(), 1u);
    EXPECT_EQ(calls->count("tryLock"), 2u);
    EXPECT_EQ(sweeper->sweepStaleTemporaryFiles() + swept, 0);
    EXPECT_TRUE(fs::is_directory(files->temporaryDirectory()));
}

TEST(TemporaryFiles, isSafeWithoutLocks)
{
    const TemporaryFolder base;
    const auto calls = std::make_shared<ScriptedCalls>();
    calls->fail("tryLock", "*", ENOTSUP);
    const auto first = created(base.path(), calls);
    const auto second = created(base.path(), calls);
    EXPECT_EQ(second->sweepStaleTemporaryFiles(), 0);
    EXPECT_TRUE(fs::is_directory(first->temporaryDirectory()));
}

TEST(TemporaryFiles, leavesNothingBehindWhenAnyCallOfItsCreationFails)
{
    for (std::size_t nth = 1;; ++nth) {
        const TemporaryFolder base;
        const auto calls = std::make_shared<ScriptedCalls>();
        const auto trouble = calls->on("*").nth(nth).fail(EIO);
        const std::size_t before = openDescriptors();
        const auto files = TemporaryFiles::create(calls, base.path());
        if (trouble.hits() == 0) {
            EXPECT_TRUE(files);
            EXPECT_GT(nth, 8u);
            break;
        }
        if (!files) {
            EXPECT_EQ(openDescriptors(), before) << "call " << nth;
            // A lock file that belongs to nobody may stay for the sweep; a folder may not.
            for (const auto& [name, content] : base.has(placeName()) ? base.tree(placeName()) : Tree{}) {
                EXPECT_TRUE(name.ends_with(".lock")) << "call " << nth << ": " << name;
            }
        }
    }
}

} // namespace
} // namespace vantorel
