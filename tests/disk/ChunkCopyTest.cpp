#include "disk/ChunkCopy.h"

#include "disk/Guarded.h"
#include "disk/Thread.h"
#include "support/ManualClock.h"
#include "support/ScriptedCalls.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <fmt/format.h>

#include <cerrno>
#include <ostream>
#include <string>
#include <vector>

namespace vantorel::ChunkCopy {

void PrintTo(const Failure& failure, std::ostream* out)
{
    *out << "Failure " << static_cast<int>(failure.kind) << ", error " << failure.code;
}

namespace {

using namespace std::chrono_literals;
using Kind = Failure::Kind;
using Tree = std::map<std::string, std::string>;

constexpr std::size_t MiB = chunkBytes;

class ChunkedCopy : public testing::Test {
protected:
    ChunkedCopy() { folder_.makeFolder("export"); }

    Request request()
    {
        if (!library_) {
            library_ = Root::open(calls_, folder_ / "library").value();
            export_ = Root::open(calls_, folder_ / "export").value();
        }
        return {.source = {library_, "a.mov"},
            .destination = {export_, "a.mov.part"},
            .stallLimit = 30s,
            .hooks = {.onSilence = [this](bool shown) { told_.push_back(at(shown ? "show" : "hide")); }}};
    }

    std::string write(std::size_t size) const
    {
        auto bytes = someBytes(size);
        folder_.write("library/a.mov", bytes);
        return bytes;
    }

    std::string at(const std::string& what) const
    {
        return fmt::format("{:.2f} {}", Seconds(clock_->uptime() - begin_).count(), what);
    }

    std::string source() const { return folder_ / "library/a.mov"; }
    std::string destination() const { return folder_ / "export/a.mov.part"; }
    Tree saved() const { return folder_.tree("export"); }

    /// The failure, after which nothing may be left behind: no file, no descriptor, no thread that works.
    std::optional<Failure> failureOf(const Request& work)
    {
        const auto result = run(clock_, work);
        clock_->endHangs();
        ManualClock::waitForThreads();
        EXPECT_EQ(calls_->stillOpen(), (std::vector<DiskPath>{folder_ / "export", folder_ / "library"}));
        EXPECT_EQ(result.has_value(), !saved().empty());
        return result ? std::nullopt : std::optional(result.error());
    }

    TemporaryFolder folder_;
    std::shared_ptr<ManualClock> clock_ = std::make_shared<ManualClock>();
    std::chrono::nanoseconds begin_ = clock_->uptime();
    std::shared_ptr<ScriptedCalls> calls_ = std::make_shared<ScriptedCalls>(clock_);
    std::shared_ptr<const Root> library_;
    std::shared_ptr<const Root> export_;
    std::vector<std::string> told_;
};

class WholeCopy : public ChunkedCopy, public testing::WithParamInterface<std::tuple<std::size_t, bool>> { };

TEST_P(WholeCopy, hasEveryByteWhateverTheCallsTake)
{
    const auto [size, watched] = GetParam();
    const auto bytes = write(size);
    for (const std::size_t most : {MiB, std::size_t(300'001)}) {
        calls_->on("read", source()).shorten(most);
        calls_->on("write", destination()).shorten(most - 7);
        std::string handed;
        auto work = request();
        work.watched = watched;
        work.hooks.afterChunk = [&](std::span<const std::byte> chunk) {
            handed.append(reinterpret_cast<const char*>(chunk.data()), chunk.size());
        };
        const auto copied = run(clock_, work);
        ASSERT_TRUE(copied.has_value());
        EXPECT_EQ(copied->bytes, static_cast<std::int64_t>(size));
        EXPECT_EQ(copied->source.size, static_cast<std::int64_t>(size));
        EXPECT_TRUE(handed == bytes);
        EXPECT_TRUE(saved() == (Tree{{"a.mov.part", bytes}}));
        std::filesystem::remove(destination());
    }
}

INSTANTIATE_TEST_SUITE_P(ChunkCopy, WholeCopy,
    testing::Combine(testing::Values(0, 1, 4095, MiB - 1, MiB, MiB + 1, 2 * MiB + MiB / 2), testing::Bool()));

struct DamageCase {
    std::string name;
    std::size_t size = 3 * MiB;
    struct Bad {
        std::size_t offset = 0;
        std::size_t length = 0;
        int code = EIO;
    };
    std::vector<Bad> bad{};
    bool keepsGoing = true;
    int answersYes = 1'000;   ///< So often, then no.
    std::vector<Bad> zeros{}; ///< What is lost; none of it counts when the copy fails.
    std::optional<Failure> failure{};
    std::string asked{}; ///< "f": first look, "q": quick look.
};

class DamagedSource : public ChunkedCopy, public testing::WithParamInterface<DamageCase> { };

TEST_P(DamagedSource, losesNoMoreThanThePiecesThatCannotBeRead)
{
    const auto& row = GetParam();
    auto expected = write(row.size);
    std::vector<ScriptedCalls::Rule> faults;
    for (const auto& bad : row.bad) {
        faults.push_back(calls_->on("read", source())
                .at(static_cast<std::int64_t>(bad.offset), bad.length)
                .fail(bad.code));
    }
    auto work = request();
    std::string asked;
    const auto answer = [&](char look) {
        asked += look;
        return asked.size() <= static_cast<std::size_t>(row.answersYes);
    };
    if (row.keepsGoing) {
        work.keepGoing = std::make_shared<KeepGoing>();
        work.keepGoing->firstLook = [&] { return answer('f'); };
        work.keepGoing->quickLook = [&] { return answer('q'); };
    }
    EXPECT_EQ(failureOf(work), row.failure);
    EXPECT_EQ(asked, row.asked);
    for (const auto& fault : faults) {
        EXPECT_GT(fault.hits() + (row.failure ? 1 : 0), 0U);
    }
    if (!row.failure) {
        std::int64_t lost = 0;
        for (const auto& zeros : row.zeros) {
            expected.replace(zeros.offset, zeros.length, zeros.length, '\0');
            lost += static_cast<std::int64_t>(zeros.length);
        }
        EXPECT_EQ(work.keepGoing->badBytes, lost);
        EXPECT_TRUE(saved() == (Tree{{"a.mov.part", expected}}));
    }
}

INSTANTIATE_TEST_SUITE_P(ChunkCopy, DamagedSource,
    testing::Values(
        DamageCase{
            .name = "onePiece", .bad = {{MiB + 8192, 4096}}, .zeros = {{MiB + 8192, 4096}}, .asked = "fq"},
        DamageCase{.name = "onePieceWithoutLeave",
            .bad = {{MiB + 8192, 4096}},
            .keepsGoing = false,
            .failure = Failure{Kind::read, EIO}},
        DamageCase{.name = "oneByte", .bad = {{5000, 1}}, .zeros = {{4096, 4096}}, .asked = "fq"},
        DamageCase{.name = "acrossTwoPieces", .bad = {{8190, 4}}, .zeros = {{4096, 8192}}, .asked = "fqq"},
        DamageCase{.name = "twoChunks",
            .bad = {{0, 1}, {2 * MiB, 1}},
            .zeros = {{0, 4096}, {2 * MiB, 4096}},
            .asked = "fqqq"},
        DamageCase{.name = "lastPartOfAPiece",
            .size = MiB + 10'000,
            .bad = {{MiB + 9000, 10}},
            .zeros = {{MiB + 8192, 1808}},
            .asked = "fq"},
        DamageCase{.name = "smallFileAltogether",
            .size = 5000,
            .bad = {{0, 5000}},
            .zeros = {{0, 5000}},
            .asked = "fqq"},
        DamageCase{.name = "behindTheLastByte", .size = MiB, .bad = {{MiB, 1}}, .asked = "f"},
        DamageCase{.name = "noAtTheFirstLook",
            .bad = {{5000, 1}},
            .answersYes = 0,
            .failure = Failure{Kind::read, EIO},
            .asked = "f"},
        DamageCase{.name = "noAtALaterLook",
            .bad = {{5000, 1}, {50'000, 1}},
            .answersYes = 2,
            .failure = Failure{Kind::read, EIO},
            .asked = "fqq"},
        DamageCase{.name = "unpluggedWhileInPieces",
            .bad = {{5000, 1}, {50'000, 1, ENXIO}},
            .answersYes = 2,
            .failure = Failure{Kind::read, ENXIO},
            .asked = "fqq"},
        DamageCase{.name = "refused", .bad = {{5000, 1, EACCES}}, .failure = Failure{Kind::read, EACCES}},
        DamageCase{.name = "notPermitted", .bad = {{5000, 1, EPERM}}, .failure = Failure{Kind::read, EPERM}},
        DamageCase{.name = "gone", .bad = {{5000, 1, ENOENT}}, .failure = Failure{Kind::read, ENOENT}},
        DamageCase{.name = "refusedWhileInPieces",
            .bad = {{5000, 1}, {50'000, 1, EACCES}},
            .failure = Failure{Kind::read, EACCES},
            .asked = "fq"}),
    [](const auto& row) { return row.param.name; });

TEST_F(ChunkedCopy, zeroesWhatTheFaultHookNames)
{
    auto expected = write(2 * MiB);
    auto work = request();
    work.keepGoing = std::make_shared<KeepGoing>();
    work.hooks.readFault = [](std::int64_t offset, std::size_t size) -> std::optional<int> {
        return offset <= 4096 && offset + static_cast<std::int64_t>(size) > 4096 ? std::optional(EIO)
                                                                                 : std::nullopt;
    };
    EXPECT_EQ(failureOf(work), std::nullopt);
    expected.replace(4096, 4096, 4096, '\0');
    EXPECT_TRUE(saved() == (Tree{{"a.mov.part", expected}}));
    EXPECT_EQ(work.keepGoing->badBytes, 4096);
}

struct PlaceCase {
    std::string name;
    DiskPath source;
    DiskPath destination;
    Failure failure;
};

class RefusedPlaces : public ChunkedCopy, public testing::WithParamInterface<PlaceCase> { };

TEST_P(RefusedPlaces, areLeftAsTheyAre)
{
    write(5000);
    folder_.makeLink("library/link.mov", "a.mov");
    folder_.makeLink("library/elsewhere", folder_ / "library");
    folder_.write("export/there.mov", "somebody's");
    folder_.makeLink("export/link.mov", "nowhere.mov");
    const auto before = folder_.tree();
    for (const bool watched : {true, false}) {
        auto work = request();
        work.watched = watched;
        work.source.relative = GetParam().source;
        work.destination.relative = GetParam().destination;
        const auto result = run(clock_, work);
        ASSERT_FALSE(result.has_value());
        EXPECT_EQ(result.error(), GetParam().failure);
        EXPECT_EQ(folder_.tree(), before);
    }
}

INSTANTIATE_TEST_SUITE_P(ChunkCopy, RefusedPlaces,
    testing::Values(PlaceCase{"noSource", "b.mov", "new.mov", {Kind::read, ENOENT}},
        PlaceCase{"sourceIsALink", "link.mov", "new.mov", {Kind::read, ELOOP}},
        PlaceCase{"sourceBehindALink", "elsewhere/a.mov", "new.mov", {Kind::read, ELOOP}},
        PlaceCase{"sourceOutside", "../library/a.mov", "new.mov", {Kind::read, EXDEV}},
        PlaceCase{"sourceIsAFolder", "", "new.mov", {Kind::notRegular, 0}},
        PlaceCase{"destinationIsThere", "a.mov", "there.mov", {Kind::write, EEXIST}},
        PlaceCase{"destinationIsALink", "a.mov", "link.mov", {Kind::write, EEXIST}},
        PlaceCase{"noFolder", "a.mov", "none/new.mov", {Kind::write, ENOENT}}),
    [](const auto& row) { return row.param.name; });

struct SlowCase {
    std::string name;
    std::string call;
    std::size_t nth = 1;
    std::optional<std::chrono::nanoseconds> answersAfter{}; ///< None: never.
    std::vector<std::string> told;
    std::optional<Failure> failure{};
};

class SlowSource : public ChunkedCopy, public testing::WithParamInterface<SlowCase> { };

TEST_P(SlowSource, isWaitedForOnceAReadAndGivenUpAtTheLimit)
{
    write(3 * MiB);
    const auto work = request();
    auto slow = calls_->on(GetParam().call, source()).nth(GetParam().nth);
    slow = GetParam().answersAfter ? slow.delay(*GetParam().answersAfter) : slow.hang();
    EXPECT_EQ(failureOf(work), GetParam().failure);
    EXPECT_EQ(told_, GetParam().told);
    EXPECT_EQ(slow.hits(), 1U);
    EXPECT_TRUE(!GetParam().failure || anyThreadAbandoned());
}

INSTANTIATE_TEST_SUITE_P(ChunkCopy, SlowSource,
    testing::Values(
        SlowCase{.name = "answersWithinTheNotice", .call = "read", .answersAfter = 7s, .told = {}},
        SlowCase{.name = "answersAfterTheNotice",
            .call = "read",
            .nth = 2,
            .answersAfter = 20s,
            .told = {"8.05 show", "20.00 hide"}},
        SlowCase{.name = "answersAtTheLimit",
            .call = "read",
            .answersAfter = 30s,
            .told = {"8.05 show", "30.00 hide"}},
        SlowCase{.name = "neverAnswers",
            .call = "read",
            .nth = 2,
            .told = {"8.05 show", "30.05 hide"},
            .failure = Failure{Kind::readHung}},
        SlowCase{.name = "neverOpens",
            .call = "open",
            .told = {"8.05 show", "30.05 hide"},
            .failure = Failure{Kind::readHung}}),
    [](const auto& row) { return row.param.name; });

TEST_F(ChunkedCopy, showsANoticeForEachSilentRead)
{
    write(2 * MiB);
    calls_->on("read", source()).times(2).delay(10s);
    EXPECT_EQ(failureOf(request()), std::nullopt);
    EXPECT_EQ(told_, (std::vector<std::string>{"8.05 show", "10.00 hide", "18.05 show", "20.00 hide"}));
}

TEST_F(ChunkedCopy, endsInMidReadWhenItIsCancelledOrAbandoned)
{
    write(3 * MiB);
    for (const auto kind : {Kind::cancelled, Kind::abandoned}) {
        auto work = request();
        work.cancel = std::make_shared<CancelToken>();
        work.heartbeat = std::make_shared<Heartbeat>(clock_);
        calls_->removeRules();
        const auto hang = calls_->on("read", source()).nth(2).hang();
        ASSERT_TRUE(startDetachedThread(workerStackBytes, [=, this] {
            clock_->sleepFor(9s);
            kind == Kind::cancelled ? work.cancel->cancel() : work.heartbeat->giveUp();
        }));
        begin_ = clock_->uptime();
        told_.clear();
        EXPECT_EQ(failureOf(work), Failure{.kind = kind});
        EXPECT_EQ(told_, (std::vector<std::string>{"8.05 show", "9.00 hide"}));
        EXPECT_EQ(hang.hits(), 1U);
    }
}

TEST_F(ChunkedCopy, endsBetweenTwoChunksWhenItIsCancelled)
{
    write(3 * MiB);
    for (const bool watched : {true, false}) {
        auto work = request();
        work.watched = watched;
        work.cancel = std::make_shared<CancelToken>();
        work.hooks.afterChunk = [&](auto) { work.cancel->cancel(); };
        EXPECT_EQ(failureOf(work), Failure{.kind = Kind::cancelled});
        EXPECT_EQ(calls_->count("write"), watched ? 1U : 2U);
    }
}

TEST_F(ChunkedCopy, isSilentForItsCallerOnlyWhenTheDestinationIs)
{
    struct Row {
        std::string call;
        std::string path;
        bool stalls;
    };
    write(2 * MiB);
    for (const auto& row :
        {Row{"read", source(), false}, Row{"write", destination(), true}, Row{"sync", destination(), true}}) {
        auto work = request();
        work.stallLimit = 120s;
        work.hooks.onSilence = nullptr;
        calls_->removeRules();
        const auto slow = calls_->on(row.call, row.path).nth(1).delay(60s);
        const auto result =
            guardedRun(clock_, {.stallLimit = 20s}, [work, clock = clock_](const auto& heartbeat) mutable {
                work.heartbeat = heartbeat;
                return run(clock, work);
            });
        EXPECT_EQ(result.isStalled(), row.stalls) << row.call;
        EXPECT_EQ(slow.hits(), 1U);
        clock_->endHangs();
        ManualClock::waitForThreads();
        std::filesystem::remove(destination()); // a copy whose last call was late has ended well all the same
    }
}

TEST_F(ChunkedCopy, leavesNothingOnAFullDisk)
{
    write(2 * MiB + 5);
    for (const std::size_t room : {std::size_t(0), std::size_t(1), MiB, 2 * MiB + 4}) {
        calls_->removeRules();
        const auto full = calls_->on("write", destination()).room(room);
        EXPECT_EQ(failureOf(request()), (Failure{Kind::write, ENOSPC})) << room;
        EXPECT_GT(full.hits(), 0U);
    }
    calls_->removeRules();
    const auto fits = calls_->on("write", destination()).room(2 * MiB + 5);
    EXPECT_EQ(failureOf(request()), std::nullopt);
    EXPECT_EQ(fits.hits(), 0U);
}

TEST_F(ChunkedCopy, isWholeOrNotThereWhateverCallFails)
{
    const auto bytes = write(2 * MiB + 5);
    for (const bool watched : {true, false}) {
        for (const bool onlyOnce : {true, false}) {
            std::size_t n = 0;
            for (bool wasHit = true; wasHit;) {
                auto work = request();
                work.watched = watched;
                work.keepModified = true;
                work.uncachedDestination = true;
                calls_->removeRules();
                ++n;
                const auto fault = (onlyOnce ? calls_->on("*").nth(n) : calls_->on("*").from(n)).fail(EIO);
                const auto result = run(clock_, work);
                ManualClock::waitForThreads();
                wasHit = fault.hits() > 0;
                if (result) {
                    EXPECT_TRUE(saved() == (Tree{{"a.mov.part", bytes}})) << n;
                } else {
                    EXPECT_TRUE(wasHit);
                    EXPECT_EQ(result.error().code, EIO) << n;
                    EXPECT_TRUE(saved().empty() || !onlyOnce) << n; // a disk that is gone removes nothing
                }
                EXPECT_EQ(
                    calls_->stillOpen(), (std::vector<DiskPath>{folder_ / "export", folder_ / "library"}));
                std::filesystem::remove(destination());
            }
            EXPECT_GT(n, 12U);
        }
    }
}

TEST_F(ChunkedCopy, keepsTheTimeBeforeTheLastSyncAndDropsTheCacheAfterIt)
{
    write(5000);
    const auto then = std::filesystem::file_time_type::clock::now() - 1000h;
    std::filesystem::last_write_time(source(), then);
    auto work = request();
    work.keepModified = true;
    work.uncachedDestination = true;
    calls_->fail("setUncached", "*", ENOTSUP);
    const auto copied = run(clock_, work);
    ASSERT_TRUE(copied.has_value());
    EXPECT_EQ(std::filesystem::last_write_time(destination()), std::filesystem::last_write_time(source()));
    std::vector<std::string> calls;
    for (const auto& call : calls_->log()) {
        if (call.path == destination()) {
            calls.push_back(call.name);
        }
    }
    EXPECT_EQ(calls,
        (std::vector<std::string>{
            "openBeneath", "setUncached", "write", "setModified", "sync", "dropCached", "close"}));
    EXPECT_EQ(calls_->count("dropCached", source()), 1U);
}

TEST_F(ChunkedCopy, waitsForTheMediumOnlyWhereTheFileIsToStay)
{
    write(0);
    std::filesystem::resize_file(source(), 130 * MiB);
    for (const bool isToStay : {true, false}) {
        auto work = request();
        work.syncAtEnd = false;
        work.uncachedDestination = isToStay;
        const auto before = calls_->count("sync", destination());
        ASSERT_TRUE(run(clock_, work).has_value());
        EXPECT_EQ(calls_->count("sync", destination()) - before, isToStay ? 1U : 0U);
        std::filesystem::remove(destination());
    }
}

TEST_F(ChunkedCopy, endsWhereTheSourceEndsNow)
{
    const auto bytes = write(3 * MiB);
    calls_->on("read", source()).nth(2).run([this] { std::filesystem::resize_file(source(), MiB + 7); });
    auto work = request();
    work.keepGoing = std::make_shared<KeepGoing>();
    const auto copied = run(clock_, work);
    ASSERT_TRUE(copied.has_value());
    EXPECT_EQ(copied->bytes, static_cast<std::int64_t>(MiB + 7));
    EXPECT_EQ(copied->source.size, static_cast<std::int64_t>(3 * MiB));
    EXPECT_TRUE(saved() == (Tree{{"a.mov.part", bytes.substr(0, MiB + 7)}}));
}

} // namespace
} // namespace vantorel::ChunkCopy
