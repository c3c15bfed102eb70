#include "fuse/SickDiskFixture.h"

#include "sample/SampleLibrary.h"

#include <algorithm>
#include <sstream>

namespace vantorel::fuse {

SickDisk::Whole::Whole()
{
    auto items = sample::drawPlan(40, 1);
    items.pictureWidth = 24;
    items.pictureHeight = 18;
    folder.makeFolder("source");
    sample::writeLibrary(items, {}, folder / "source/Family.photoslibrary");
    folder.makeFolder("target");
    const std::string library = folder / "source/Family.photoslibrary";
    const std::string target = folder / "target";
    scan = Json::parse(runVantorel({"scan", "--json", library}).output);
    plan = Json::parse(runVantorel({"export", "--dry-run", "--json", library, target}).output);
    EXPECT_EQ(runVantorel({"export", library, target}).status, 0);
    tree = folder.tree("target");
}

const SickDisk::Whole& SickDisk::whole()
{
    static const Whole made;
    return made;
}

void SickDisk::SetUp()
{
    if (const auto reason = FaultyDisk::whyNot()) {
        GTEST_SKIP() << *reason;
    }
    source_.emplace(whole().folder / "source", folder_ / "source");
    target_.emplace(folder_.makeFolder("real target"), folder_ / "target");
}

SickDisk::Ended SickDisk::scan(const WhileRunning& whileRunning) const
{
    const Ran ran = runVantorel(
        {"scan", "--json", "--stall-limit", stallLimit_, *source_ / "Family.photoslibrary"}, whileRunning);
    return {ran.status, Json::parse(ran.output, nullptr, false), ran.errors};
}

SickDisk::Ended SickDisk::save(const WhileRunning& whileRunning) const
{
    const Ran ran = runVantorel({"export", "--json", "--stall-limit", stallLimit_,
                                    *source_ / "Family.photoslibrary", target_->path()},
        whileRunning);
    return {ran.status, Json::parse(ran.output, nullptr, false), ran.errors};
}

void SickDisk::expectToContinue()
{
    EXPECT_FALSE(isFinished());
    EXPECT_TRUE(folder_.has("target/Family export (incomplete)/.vantorel/state.json"));
    const Ended ended = save();
    EXPECT_EQ(ended.status, 0) << ended.errors;
    EXPECT_EQ(ended.value["state"], "finished") << ended.value["message"];
    EXPECT_EQ(runVantorel({"verify", folder_ / "target/Family export"}).status, 0);
    const Tree tree = folder_.tree("target");
    for (const auto& [name, bytes] : whole().tree) {
        const auto found = tree.find(name);
        EXPECT_TRUE(found != tree.end() && found->second == bytes) << name;
    }
    EXPECT_EQ(tree.size(), whole().tree.size());
}

std::vector<std::string> SickDisk::triedLast() const
{
    std::istringstream lines(folder_.read("target/Family export (incomplete)/.vantorel/try-last.txt"));
    std::vector<std::string> files;
    for (std::string line; std::getline(lines, line);) {
        files.push_back(line);
    }
    std::ranges::sort(files);
    return files;
}

} // namespace vantorel::fuse
