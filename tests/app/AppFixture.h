#pragma once

#include "app/model/AppModel.h"
#include "app/model/MainTimers.h"

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace vantorel {

/// Timers that fire when a test lets time pass.
class TestTimers final : public MainTimers {
public:
    void after(Seconds delay, std::function<void()> action) override;
    Seconds now() const override { return now_; }
    void pass(Seconds time);

private:
    Seconds now_{0};
    std::multimap<double, std::function<void()>> due_{};
};

/// Background work that a test lets run, piece by piece, in any order.
class TestWorkers {
public:
    bool start(std::function<void()> work);
    std::size_t waiting() const { return work_.size(); }
    /// The piece that was started as the n-th of those that wait; what it posts arrives.
    void run(std::size_t n = 0);
    void runAll();

    bool noThreads = false;

private:
    std::deque<std::function<void()>> work_{};
};

class TestSettings final : public SettingsStore {
public:
    bool flag(std::string_view key) const override;
    std::optional<std::string> bytes(std::string_view key) const override;
    std::optional<std::string> text(std::string_view key) const override { return bytes(key); }
    void setFlag(std::string_view key, bool value) override
    {
        values[std::string(key)] = value ? "true" : "false";
    }
    void setBytes(std::string_view key, const std::string& value) override
    {
        values[std::string(key)] = value;
    }
    void setText(std::string_view key, const std::string& value) override { setBytes(key, value); }

    std::map<std::string, std::string> values{};
};

class TestDesktop final : public Desktop {
public:
    void choose(const Panel& panel, std::function<void(std::optional<DiskPath>)> chosen) override;
    Assertion beginActivity(const std::string& reason) override;
    Assertion preventSuddenTermination() override;
    void announce(const std::string& text) override { announced.push_back(text); }
    bool closePanels() override { return false; }
    void listen(Requests told) override { requests = std::move(told); }
    WindowClosed whenWindowIsClosed() const override { return windowClosed; }
    Updates* updates() override { return updater; }

    std::optional<DiskPath> answer{};
    std::vector<Panel> panels{};
    std::vector<std::string> announced{};
    std::vector<std::string> activities{}; ///< The reasons, in the order in which they began.
    std::weak_ptr<void> activity{};
    std::weak_ptr<void> noSuddenTermination{};
    Requests requests{};
    WindowClosed windowClosed = WindowClosed::endsProgram;
    Updates* updater = nullptr;
};

/// A model over substitutes, and what the substitutes answer and were asked.
class AppFixture : public testing::Test {
protected:
    AppFixture();

    /// A model of a user who has done the onboarding; the look-up that it begins with has run.
    AppModel& model();
    AppModel& freshModel();
    /// Has scanned a library; the plan is there.
    AppModel& scannedModel();
    /// Has a destination too.
    AppModel& readyModel();
    static FoundLibrary library(const std::string& name);
    static ExportPlan planOf(const std::string& id, std::int64_t photos = 1);
    void letProgressCome();

    std::shared_ptr<TestTimers> timers = std::make_shared<TestTimers>();
    std::shared_ptr<TestWorkers> workers = std::make_shared<TestWorkers>();
    std::shared_ptr<TestSettings> settings = std::make_shared<TestSettings>();
    std::shared_ptr<TestDesktop> desktop = std::make_shared<TestDesktop>();

    bool access = true;
    int probes = 0;
    std::optional<ReadError> scanError{};
    LibraryScanResult contents{}; ///< Of every library that is scanned, but for its name.
    std::vector<ScanProgress> scanSteps{};
    std::vector<SharedCancelToken> findTokens{};
    std::vector<SharedCancelToken> scanTokens{};
    std::string refusal = "none"; ///< "none": a chosen folder is a library; "": it is not.
    std::function<ExportPlan(const ExportOptions&)> plan{};
    std::vector<DestinationQuestion> questions{};
    std::map<std::string, std::optional<DestinationFacts>> facts{}; ///< By folder; others have room.
    ExportOutcome outcome{};
    std::vector<ExportProgress> exportSteps{};
    std::vector<Exporter::Request> exports{};

private:
    std::unique_ptr<AppModel> model_{};
};

} // namespace vantorel
