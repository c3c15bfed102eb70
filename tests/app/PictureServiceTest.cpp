#include "app/pictures/PictureService.h"
#include "app/model/RealServices.h"
#include "tests/app/AppFixture.h"
#include "tests/app/TestPictures.h"
#include "tests/support/ManualClock.h"

#include <gmock/gmock.h>

#include <chrono>

#include <QtCore/qcoreapplication.h>

namespace vantorel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using State = PictureService::State;

/// The service over a library without files: a test answers every question, on the main thread, when it lets
/// a worker run.
class Pictures : public testing::Test {
protected:
    Pictures() { service.setLibrary(libraryOf(100)); }

    static std::shared_ptr<const ScannedLibrary> libraryOf(std::size_t count)
    {
        LibraryScanResult scan;
        scan.snapshot.libraryURL = "/library";
        for (std::size_t i = 0; i < count; ++i) {
            auto number = std::to_string(i);
            number.insert(0, 12 - number.size(), '0');
            scan.snapshot.assets.push_back(
                {.pk = static_cast<std::int64_t>(i + 1), .uuid = "A0000000-0000-4000-8000-" + number});
        }
        return std::make_shared<const ScannedLibrary>(
            scannedLibraryOf(std::make_shared<const LibraryScanResult>(std::move(scan))));
    }
    PictureRead answer(const PictureQuestion& question)
    {
        const auto& name = question.files.front();
        const auto asset = std::stoul(name.substr(name.find("-8000-") + 6, 12));
        asked.push_back(asset);
        token = question.cancel;
        auto result = trouble ? PictureRead(std::unexpected(*trouble)) : PictureFile{.bytes = bytes};
        if (during) {
            std::exchange(during, nullptr)();
        }
        return result;
    }
    static std::vector<PictureService::Wanted> items(std::initializer_list<std::size_t> assets)
    {
        std::vector<PictureService::Wanted> wanted;
        for (const auto asset : assets) {
            wanted.push_back({.asset = asset, .side = 64});
        }
        return wanted;
    }
    State state(std::size_t asset) { return service.picture(asset, 64).state; }

    std::string bytes = pictureBytes(64, 48, "jpeg");
    std::optional<PictureTrouble> trouble{};
    std::function<void()> during{}; ///< Once, while a file is read.
    std::vector<std::size_t> asked{};
    SharedCancelToken token{};
    TestWorkers workers{};
    QObject list{};
    QObject preview{};
    PictureService service{[this](const PictureQuestion& question) { return answer(question); },
        [this](std::function<void()> work) { return workers.start(std::move(work)); }, nullptr,
        /*mostBytes=*/5 * 64 * 48 * 4};
};

TEST_F(Pictures, readWhatIsLookedAtNowAndForgetWhatWasScrolledAway)
{
    service.want(&list, items({1, 2, 3}), items({4}));
    service.want(&list, items({50, 51}), items({52}));
    service.want(&preview, items({50, 9}));
    EXPECT_THAT(asked, IsEmpty()) << "nothing on the main thread";
    EXPECT_EQ(state(50), State::waiting);
    workers.runAll();
    EXPECT_THAT(asked, ElementsAre(50, 9, 51, 52)) << "who asked last comes first, nothing twice";
    EXPECT_EQ(state(51), State::here);
    EXPECT_EQ(service.picture(51, 64).image.size(), QSize(64, 48));

    service.want(&list, items({7, 8}));
    during = [this] { service.want(&list, items({51})); };
    asked.clear();
    workers.runAll();
    EXPECT_THAT(asked, ElementsAre(7)) << "scrolled away before its turn";
    EXPECT_TRUE(token->isCancelled());
    EXPECT_EQ(workers.waiting(), 0U) << "no thread stays without work";
}

TEST_F(Pictures, keepToTheirBudget)
{
    for (std::size_t asset = 0; asset < 40; asset += 2) {
        service.want(&list, items({asset, asset + 1}));
        workers.runAll();
        EXPECT_EQ(state(asset), State::here);
    }
    asked.clear();
    service.want(&list, items({38, 39, 0}));
    workers.runAll();
    EXPECT_THAT(asked, ElementsAre(0)) << "the first was thrown out, the last ones were not";
}

TEST_F(Pictures, leaveASilentDiskAloneUntilTheUserAsks)
{
    trouble = PictureTrouble::silent;
    service.want(&list, items({1, 2, 3, 4, 5}));
    workers.run(0);
    EXPECT_THAT(asked, ElementsAre(1)) << "each further one would wait as long";
    EXPECT_EQ(service.disk(), PictureService::Disk::silent);
    EXPECT_THAT(service.diskText(), testing::HasSubstr("does not mean anything is damaged"));
    asked.clear();
    service.want(&list, items({6, 7}));
    workers.runAll();
    EXPECT_THAT(asked, IsEmpty());
    EXPECT_EQ(state(6), State::waiting) << "which says nothing about the item";

    trouble.reset();
    service.tryAgain();
    workers.runAll();
    EXPECT_THAT(asked, ElementsAre(6, 7));
    EXPECT_EQ(service.diskText(), "");
}

TEST_F(Pictures, tellABadSpotFromADiskThatIsGone)
{
    trouble = PictureTrouble::readError;
    service.want(&list, items({1}));
    workers.runAll();
    EXPECT_EQ(state(1), State::none);
    EXPECT_EQ(service.disk(), PictureService::Disk::answers);
    service.want(&list, items({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}));
    workers.runAll();
    EXPECT_EQ(service.disk(), PictureService::Disk::gone);
    asked.clear();
    service.want(&list, items({1, 20}));
    workers.runAll();
    EXPECT_THAT(asked, IsEmpty());
    trouble.reset();
    service.tryAgain();
    workers.runAll();
    EXPECT_EQ(state(1), State::here);
}

TEST_F(Pictures, showAPlaceholderForWhatIsNoPicture)
{
    bytes = "\xff\xd8\xff nothing that could be shown";
    int told = 0;
    QObject::connect(&service, &PictureService::pictureCame, &list, [&] { ++told; });
    trouble.reset();
    during = [this] { trouble = PictureTrouble::noFile; }; // behind the damaged copy there is nothing else
    service.want(&list, items({1}));
    workers.runAll();
    EXPECT_EQ(state(1), State::none);
    EXPECT_EQ(told, 1);
    asked.clear();
    service.want(&list, {{.asset = 1, .side = 128}});
    workers.runAll();
    EXPECT_THAT(asked, IsEmpty()) << "it is not tried again and again";
}

TEST_F(Pictures, dropWhatComesForAnotherLibrary)
{
    service.want(&list, items({1}));
    during = [this] { service.setLibrary(libraryOf(3)); };
    workers.runAll();
    EXPECT_EQ(state(1), State::waiting) << "the picture of the other library's item";
    service.want(&list, items({1, 99}));
    workers.runAll();
    EXPECT_EQ(state(1), State::here);
    EXPECT_EQ(asked.back(), 1U) << "there is no 99th any more";
    service.setLibrary(nullptr);
    service.want(&list, items({1}));
    EXPECT_EQ(workers.waiting(), 0U);
}

TEST_F(Pictures, holdBackWhileSomebodyElseNeedsTheDisk)
{
    service.setPace(PictureService::Pace::gentle);
    service.want(&list, items({1, 2, 3}), items({4}));
    EXPECT_EQ(workers.waiting(), 1U);
    workers.runAll();
    EXPECT_THAT(asked, ElementsAre(1, 2, 3)) << "nothing in advance";
    service.setPace(PictureService::Pace::paused);
    service.want(&list, items({5}));
    workers.runAll();
    EXPECT_EQ(asked.size(), 3U);
    service.setPace(PictureService::Pace::full);
    workers.runAll();
    EXPECT_EQ(asked.back(), 5U);

    workers.noThreads = true;
    service.want(&list, items({6}));
    workers.noThreads = false;
    service.want(&list, items({6}));
    workers.runAll();
    EXPECT_EQ(state(6), State::here) << "there was no thread to be had for a moment";
}

TEST_F(Pictures, comeFromThreadsWhileListsAndLibrariesChange)
{
    const auto read = [bytes = bytes](const PictureQuestion& question) -> PictureRead {
        if (question.cancel->isCancelled()) {
            return std::unexpected(PictureTrouble::cancelled);
        }
        return PictureFile{.bytes = bytes};
    };
    auto threaded = std::make_unique<PictureService>(read, startOnThread, nullptr, 5 * 64 * 48 * 4);
    for (int library = 0; library < 5; ++library) {
        threaded->setLibrary(libraryOf(100));
        for (std::size_t first = 0; first < 90; first += 9) {
            threaded->want(&list, items({first, first + 1, first + 2}), items({first + 3}));
            threaded->setPace(first % 2 == 0 ? PictureService::Pace::full : PictureService::Pace::gentle);
            QCoreApplication::processEvents();
        }
    }
    threaded->want(&list, items({97, 98, 99}));
    const auto giveUp = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    for (const std::size_t asset : {97U, 98U, 99U}) {
        while (threaded->picture(asset, 64).state != State::here) {
            ASSERT_LT(std::chrono::steady_clock::now(), giveUp);
            QCoreApplication::processEvents();
        }
        EXPECT_EQ(threaded->picture(asset, 64).image.size(), QSize(64, 48));
    }
    threaded->want(&list, items({1, 2, 3, 4}));
    threaded.reset();
    ManualClock::waitForThreads();
    QCoreApplication::processEvents(); // nothing comes for a service that is gone
}

} // namespace
} // namespace vantorel
