#include "app/model/FullDiskAccess.h"
#include "app/model/Mailbox.h"
#include "app/model/MainTimers.h"
#include "app/model/QtSettings.h"
#include "support/ManualClock.h"
#include "support/ScriptedCalls.h"
#include "support/TemporaryFolder.h"
#include "tests/app/TestApplication.h"

#include <gmock/gmock.h>

#include <thread>

#include <QtCore/qcoreapplication.h>

namespace vantorel {
namespace {

using namespace std::chrono_literals;
class AppParts : public testing::Test {
protected:
    AppParts() { makeTestApplication(); }
};

TEST_F(AppParts, timersCountTheTimeAsleep)
{
    const auto clock = std::make_shared<ManualClock>();
    ContinuousTimers real(clock);
    std::vector<int> done;
    real.after(Seconds(15), [&] { done.push_back(15); });
    real.after(Seconds(3), [&] {
        done.push_back(3);
        real.after(Seconds(0), [&] { done.push_back(0); });
    });
    clock->advance(2s);
    real.runDue();
    EXPECT_TRUE(done.empty());
    clock->computerSleeps(1s);
    real.runDue();
    EXPECT_THAT(done, testing::ElementsAre(3, 0));
    clock->computerSleeps(1h);
    real.runDue();
    EXPECT_THAT(done, testing::ElementsAre(3, 0, 15));
}

TEST_F(AppParts, settingsLieUnderKeysThatEverySystemKeeps)
{
    const TemporaryFolder folder;
    const QString file = QString::fromStdString((folder / "settings.ini").native());
    {
        QtSettings store(std::make_unique<QSettings>(file, QSettings::IniFormat));
        EXPECT_FALSE(store.flag(settingsKeys::onboardingDone));
        EXPECT_EQ(store.bytes(settingsKeys::exportOptions), std::nullopt);
        store.setFlag(settingsKeys::onboardingDone, true);
        store.setBytes(settingsKeys::exportOptions, R"({"includeHidden":true})");
        store.setText(settingsKeys::exportDestination, "/media/é, \"a\"");
    }
    const QtSettings store(std::make_unique<QSettings>(file, QSettings::IniFormat));
    EXPECT_TRUE(store.flag(settingsKeys::onboardingDone));
    EXPECT_EQ(store.bytes(settingsKeys::exportOptions), R"({"includeHidden":true})");
    EXPECT_EQ(store.text(settingsKeys::exportDestination), "/media/é, \"a\"");
    EXPECT_THAT(folder.read("settings.ini"), testing::HasSubstr("[onboarding]\ndone=true"));
}

TEST_F(AppParts, accessIsProbedOnTheFirstProtectedFileThatExists)
{
    const auto calls = std::make_shared<ScriptedCalls>();
    const TemporaryFolder home;
    EXPECT_FALSE(canOpenProtectedFile(*calls, home.path())) << "neither file is there";
    home.write("Library/Safari/CloudTabs.db", "x");
    const auto before = openDescriptors();
    EXPECT_TRUE(canOpenProtectedFile(*calls, home.path()));
    EXPECT_EQ(openDescriptors(), before);
    const auto first = home.write("Library/Application Support/com.apple.TCC/TCC.db", "x");
    calls->fail("open", first, EPERM);
    EXPECT_FALSE(canOpenProtectedFile(*calls, home.path())) << "the second file does not count then";
    calls->fail("status", first, EPERM);
    EXPECT_FALSE(canOpenProtectedFile(*calls, home.path())) << "what is refused is not missing";
}

TEST_F(AppParts, lettersComeInOrderAndNeverAfterTheReceiver)
{
    auto receiver = std::make_unique<QObject>();
    const auto mailbox = std::make_shared<Mailbox>(receiver.get());
    int last = 0;
    std::thread sender([box = std::weak_ptr(mailbox), &last] {
        for (int i = 1; i <= 1000; ++i) {
            if (const auto open = box.lock()) {
                open->post([&last, i] { last = last == i - 1 ? i : -1; });
            }
        }
    });
    sender.join();
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(last, 1000);

    std::thread late([box = std::weak_ptr(mailbox)] {
        for (int i = 0; i < 1000; ++i) {
            if (const auto open = box.lock()) {
                open->post([] { ADD_FAILURE() << "the receiver is gone"; });
            }
        }
    });
    mailbox->close();
    receiver.reset();
    late.join();
    QCoreApplication::sendPostedEvents();
}

} // namespace
} // namespace vantorel
