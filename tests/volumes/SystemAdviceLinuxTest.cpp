#include "discovery/volumes/SystemAdvice.h"
#include "support/ScriptedCalls.h"

#include <map>

#include <gmock/gmock.h>

#include <unistd.h>

namespace vantorel {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

/// Folders with owners, on a disk of some format.
class OwnedFolders final : public ScriptedCalls {
public:
    CallResult<FileStatus> status(const DiskPath& path, Links) const override
    {
        const auto found = owners.find(path.native());
        if (found == owners.end()) {
            return std::unexpected(EACCES);
        }
        return FileStatus{.type = FileStatus::Type::directory, .owner = found->second};
    }
    CallResult<FileSystemStatus> fileSystemOf(const DiskPath&) const override
    {
        return FileSystemStatus{.typeName = typeName};
    }

    std::map<std::string, std::uint32_t> owners{};
    std::string typeName = "ext4";
};

TEST(SystemAdvice, namesWhoKeepsTheUserOut)
{
    constexpr std::uint32_t macUser = 501501; // no user of a test machine
    const std::string mount = "uid=" + std::to_string(geteuid()) + ",gid=" + std::to_string(getegid());
    OwnedFolders calls;
    const auto advice = [&] {
        return SystemAdvice::refused(calls, "/media/Red/A.photoslibrary").value_or("");
    };

    calls.owners = {{"/", 0}, {"/media/Red/A.photoslibrary", macUser}};
    EXPECT_THAT(advice(),
        AllOf(HasSubstr("A.photoslibrary\" belongs to user number 501501"), Not(HasSubstr("uid="))));
    for (const char* format : {"hfsplus", "apfs", "vfat", "fuseblk"}) {
        calls.typeName = format;
        EXPECT_THAT(advice(), HasSubstr(mount)) << format;
    }
    calls.owners = {{"/", 0}, {"/media", 0}};
    EXPECT_THAT(advice(), HasSubstr("\"/media\" ")) << "the folder that lets nobody look further";
    calls.owners["/media/Red/A.photoslibrary"] = geteuid();
    EXPECT_THAT(advice(), HasSubstr("is yours"));
    calls.owners.clear();
    EXPECT_THAT(advice(), HasSubstr("who owns the folder"));
}

TEST(UnopenedDisks, areMacPartitionsThatNothingIsOpenedFrom)
{
    using Format = UnopenedDisk::Format;
    const std::string apfs = R"("7c3457ef-0000-11aa-aa11-00306543ecac")";
    const std::string extended = R"("48465300-0000-11aa-aa11-00306543ecac")";
    const std::string json = R"({"blockdevices": [
        {"name":"sdb","fstype":null,"label":null,"partlabel":null,"parttype":null,"mountpoint":null,"children":[
            {"name":"sdb1","fstype":"vfat","label":"EFI","parttype":"c12a7328-f81f-11d2-ba4b-00a0c93ec93b"},
            {"name":"sdb2","fstype":"apfs","label":null,"partlabel":"Container","parttype":)"
        + apfs + R"(},
            {"name":"sdb3","fstype":"apfs","label":null,"partlabel":"Recovery",
             "parttype":"52637672-7900-11aa-aa11-00306543ecac"},
            {"name":"sdb4","fstype":null,"partlabel":"Safe","parttype":"53746f72-6167-11aa-aa11-00306543ecac"},
            {"name":"sdb5","fstype":"hfsplus","label":"Recovery HD",
             "parttype":"426f6f74-0000-11aa-aa11-00306543ecac"},
            {"name":"sdb6","fstype":"hfsplus","label":"RED","parttype":)"
        + extended + R"(,"mountpoint":null},
            {"name":"sdb7","fstype":"hfsplus","label":"Open","parttype":)"
        + extended + R"(,"mountpoint":"/media/me/Open"}]},
        {"name":"sdc","fstype":"apfs","parttype":null,"mountpoint":null}, 7, {"children":{"a":{}}}]})";
    EXPECT_EQ(unopenedDisksInLsblk(json),
        (std::vector<UnopenedDisk>{{"Container", Format::apfs}, {"Safe", Format::encryptedMac},
            {"RED", Format::macOSExtended}, {"/dev/sdc", Format::apfs}}));
    for (std::size_t cut = 0; cut < json.size(); cut += 7) {
        EXPECT_LE(unopenedDisksInLsblk(json.substr(0, cut)).size(), 4U);
    }
    for (const char* other : {"[]", "{\"blockdevices\":{}}", "{\"blockdevices\":[[]]}", "\xff"}) {
        EXPECT_TRUE(unopenedDisksInLsblk(other).empty()) << other;
    }
}

} // namespace
} // namespace vantorel
