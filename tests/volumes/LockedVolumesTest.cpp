#include "discovery/volumes/LockedVolumes.h"

#include <expected>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace vantorel {
namespace {

using Names = std::vector<std::string>;

std::string plist(const std::string& body)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST "
           "1.0//EN\" "
           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">"
        + body + "</plist>";
}

std::string containers(const std::string& volumes)
{
    return plist("<dict><key>Containers</key><array><dict><key>CapacityFree</key><integer>1</integer>"
                 "<key>Volumes</key><array>"
        + volumes + "</array></dict><dict><key>Volumes</key><array/></dict></array></dict>");
}

TEST(LockedVolumesInPlist, areThoseThatSayTrue)
{
    EXPECT_EQ(
        lockedVolumesInPlist(containers(
            "<dict><key>Name</key><string>Kids &amp; "
            "\xc3\xa9t\xc3\xa9</string><key>Locked</key><true/></dict>"
            "<dict><key>Name</key><string>Open</string><key>Locked</key><false/></dict>"
            "<dict><key>Name</key><string>Silent</string></dict>"
            "<dict><key>Locked</key><true/></dict>"
            "<dict><key>Name</key><integer>7</integer><key>Locked</key><true/></dict>"
            "<dict><key>Name</key><string>Not a boolean</string><key>Locked</key><string>true</string></dict>"
            "<string>no volume</string>")),
        (Names{"Kids & \xc3\xa9t\xc3\xa9", "Unnamed volume", "Unnamed volume"}));
}

TEST(LockedVolumesInPlist, givesNothingForOtherText)
{
    const std::string whole =
        containers("<dict><key>Name</key><string>A</string><key>Locked</key><true/></dict>");
    for (std::size_t cut = 0; cut < whole.size() - 10; ++cut) {
        EXPECT_LE(lockedVolumesInPlist(whole.substr(0, cut)).size(), 1u);
    }
    for (const std::string& text : {std::string(), std::string("could not"), std::string(300, '\0'),
             plist("<array/>"), plist("<dict><key>Containers</key><dict/></dict>"),
             plist("<dict><key>Containers</key><array><string/></array></dict>")}) {
        EXPECT_EQ(lockedVolumesInPlist(text), Names{}) << text;
    }
}

TEST(LockedVolumesInPlist, isNotBroughtDownByBombs)
{
    std::string deep;
    for (int i = 0; i < 200'000; ++i) {
        deep += "<array>";
    }
    EXPECT_EQ(lockedVolumesInPlist(plist(deep)), Names{});
    const std::string entities = "<!DOCTYPE plist [<!ENTITY a \"aaaaaaaaaa\"><!ENTITY b \"&a;&a;&a;\">]>"
                                 "<plist><dict><key>Containers</key><string>&b;</string></dict></plist>";
    EXPECT_EQ(lockedVolumesInPlist(entities), Names{});
    EXPECT_EQ(lockedVolumesInPlist(std::string(5u << 20u, '<')), Names{});
    // As deep as is let through at all.
    const std::string allowed = deep.substr(0, 4'090 * std::string("<array>").size());
    EXPECT_EQ(lockedVolumesInPlist(plist(allowed)), Names{});
}

TEST(LockedVolumesInLsblk, areEncryptionsThatNothingWasOpenedFrom)
{
    const std::string json = R"({"blockdevices": [
        {"name":"sda","fstype":null,"label":null,"partlabel":null,"children":[
            {"name":"sda1","fstype":"crypto_LUKS","label":null,"partlabel":"root",
                "children":[{"name":"luks-1","fstype":"ext4","label":"opened","partlabel":null}]},
            {"name":"sda2","fstype":"crypto_LUKS","label":null,"partlabel":null}]},
        {"name":"sdb","fstype":"crypto_LUKS","label":"Rescue","partlabel":"x"},
        {"name":"sdc1","fstype":"BitLocker","label":"","partlabel":"Windows data","children":[]},
        {"name":"sdd1","fstype":"apfs","label":"Mac","partlabel":null}, 7, {"fstype":"crypto_LUKS"}]})";
    EXPECT_EQ(lockedVolumesInLsblk(json), (Names{"/dev/sda2", "Rescue", "Windows data", "Unnamed volume"}));
    for (std::size_t cut = 0; cut < json.size(); ++cut) {
        EXPECT_EQ(lockedVolumesInLsblk(json.substr(0, cut)), Names{});
    }
    std::string deep = R"({"blockdevices": )";
    for (int i = 0; i < 100'000; ++i) {
        deep += R"([{"children":)";
    }
    EXPECT_EQ(lockedVolumesInLsblk(deep), Names{});
    for (const char* text : {"[]", "{}", R"({"blockdevices": 3})", R"({"blockdevices": [[]]})"}) {
        EXPECT_EQ(lockedVolumesInLsblk(text), Names{}) << text;
    }
}

/// A runner that gives one answer and keeps what it was asked.
class OneAnswer final : public ChildProcessRunner {
public:
    explicit OneAnswer(std::expected<Ended, Failure> answer)
        : answer_(std::move(answer))
    {
    }
    std::expected<Ended, Failure> run(const Request& request) const override
    {
        asked = request;
        return answer_;
    }
    mutable std::optional<Request> asked;

private:
    std::expected<Ended, Failure> answer_;
};

TEST(LockedVolumes, asksOnceAndMakesNoFailureAnError)
{
    using Failure = ChildProcessRunner::Failure;
    const std::string output =
        containers("<dict><key>Name</key><string>A</string><key>Locked</key><true/></dict>");
    const auto token = std::make_shared<CancelToken>();
    const auto good =
        std::make_shared<OneAnswer>(ChildProcessRunner::Ended{.exitStatus = 0, .output = output});
    EXPECT_EQ(LockedVolumes(good, diskutilTool()).list(Seconds(20), token), Names{"A"});
    EXPECT_EQ(good->asked->program, "/usr/sbin/diskutil");
    EXPECT_EQ(good->asked->arguments, (Names{"apfs", "list", "-plist"}));
    EXPECT_EQ(good->asked->timeout, Seconds(20));
    EXPECT_EQ(good->asked->cancel, token);

    for (const auto& bad : std::vector<std::expected<ChildProcessRunner::Ended, Failure>>{
             ChildProcessRunner::Ended{.exitStatus = 1, .output = output},
             std::unexpected(Failure::notStarted), std::unexpected(Failure::timedOut),
             std::unexpected(Failure::cancelled), std::unexpected(Failure::tooMuchOutput)}) {
        EXPECT_EQ(LockedVolumes(std::make_shared<OneAnswer>(bad), diskutilTool()).list(Seconds(20), nullptr),
            Names{});
    }
}

} // namespace
} // namespace vantorel
