#include "app/Logind.h"

#include <gmock/gmock.h>

#include <optional>

#include <QtCore/qcoreapplication.h>
#include <QtCore/qelapsedtimer.h>
#include <QtCore/qprocess.h>
#include <QtDBus/qdbusmessage.h>
#include <QtDBus/qdbusunixfiledescriptor.h>
#include <QtDBus/qdbusvirtualobject.h>

#include <poll.h>
#include <unistd.h>

namespace vantorel {
namespace {

/// Answers "Inhibit" as the login manager does: with the end of a pipe, which tells whether somebody still
/// holds the other.
class TestManager final : public QDBusVirtualObject {
public:
    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& bus) override
    {
        int ends[2];
        if (message.member() != "Inhibit" || pipe(ends) != 0) {
            return false;
        }
        for (const auto& argument : message.arguments()) {
            asked << argument.toString();
        }
        if (mine >= 0) {
            close(mine);
        }
        mine = ends[0];
        bus.send(message.createReply(QVariant::fromValue(QDBusUnixFileDescriptor(ends[1]))));
        close(ends[1]);
        return true;
    }
    bool isHeld() const
    {
        pollfd look{.fd = mine, .events = 0, .revents = 0};
        return mine >= 0 && poll(&look, 1, 0) == 0; // the other end closed is a hang-up
    }
    ~TestManager() override { close(mine); }

    QStringList asked{};
    int mine = -1;
};

/// A message bus of the test's own.
class LoginManager : public testing::Test {
protected:
    void SetUp() override
    {
        bus_.setReadChannel(QProcess::StandardOutput);
        bus_.start("dbus-daemon", {"--session", "--nofork", "--print-address"});
        if (!bus_.waitForStarted() || !bus_.waitForReadyRead()) {
            GTEST_SKIP() << "there is no dbus-daemon here";
        }
        address_ = QString::fromUtf8(bus_.readLine()).trimmed();
        server = QDBusConnection::connectToBus(address_, "login manager");
        ASSERT_TRUE(server->registerService("org.freedesktop.login1"));
        server->registerVirtualObject("/org/freedesktop/login1", &manager);
        client = QDBusConnection::connectToBus(address_, "program");
        ASSERT_TRUE(client->isConnected());
    }
    void TearDown() override
    {
        for (const char* name : {"login manager", "program"}) {
            QDBusConnection::disconnectFromBus(name);
        }
        bus_.kill();
        bus_.waitForFinished();
    }
    void tell(const char* what, bool comes)
    {
        auto signal =
            QDBusMessage::createSignal("/org/freedesktop/login1", "org.freedesktop.login1.Manager", what);
        signal << comes;
        server->send(signal);
    }
    /// A bus is another process: what it brings takes its time.
    static bool comesTrue(const std::function<bool()>& condition)
    {
        QElapsedTimer time;
        time.start();
        while (!condition() && time.elapsed() < 20'000) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents | QEventLoop::AllEvents, 50);
        }
        return condition();
    }

    TestManager manager{};
    std::optional<QDBusConnection> server{};
    std::optional<QDBusConnection> client{};

private:
    QProcess bus_{};
    QString address_{};
};

TEST_F(LoginManager, waitsForWorkAndTellsBeforeItShutsDown)
{
    int shutdowns = 0;
    Logind logind(*client, {.shutdownComes = [&] { ++shutdowns; }, .sleepComes = {}});
    auto work = logind.delay("Vantorel is saving files");
    ASSERT_TRUE(comesTrue([&] { return manager.isHeld(); }));
    EXPECT_EQ(
        manager.asked, (QStringList{"sleep:shutdown", "Vantorel", "Vantorel is saving files", "delay"}));
    tell("PrepareForShutdown", true);
    ASSERT_TRUE(comesTrue([&] { return shutdowns == 1; }));
    EXPECT_TRUE(manager.isHeld()) << "until the export has ended";
    work.reset();
    EXPECT_TRUE(comesTrue([&] { return !manager.isHeld(); }));
    tell("PrepareForShutdown", false);
    tell("PrepareForSleep", true);
    tell("PrepareForShutdown", true);
    EXPECT_TRUE(comesTrue([&] { return shutdowns == 2; })) << "a shutdown that was called off is none";
}

TEST_F(LoginManager, letsTheComputerSleepAfterTheCurrentItemAndHoldsOnAgain)
{
    std::function<void()> reached;
    Logind logind(*client,
        {.shutdownComes = {}, .sleepComes = [&](std::function<void()> now) { reached = std::move(now); }});
    const auto work = logind.delay("Vantorel is saving files");
    ASSERT_TRUE(comesTrue([&] { return manager.isHeld(); }));
    tell("PrepareForSleep", true);
    ASSERT_TRUE(comesTrue([&] { return static_cast<bool>(reached); }));
    EXPECT_TRUE(manager.isHeld());
    reached();
    EXPECT_TRUE(comesTrue([&] { return !manager.isHeld(); }));
    tell("PrepareForSleep", false);
    EXPECT_TRUE(comesTrue([&] { return manager.isHeld(); }));
    reached();
    EXPECT_TRUE(manager.isHeld()) << "too late: the computer is awake again";
}

TEST_F(LoginManager, mayBeAbsent)
{
    Logind nobody(QDBusConnection("no such connection"), {});
    EXPECT_NE(nobody.delay("work"), nullptr);
    server->unregisterService("org.freedesktop.login1");
    Logind unanswered(*client, {});
    const auto work = unanswered.delay("work");
    QCoreApplication::processEvents();
    EXPECT_NE(work, nullptr);
}

} // namespace
} // namespace vantorel
