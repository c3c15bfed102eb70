#include "scan/ListingsAhead.h"
#include "support/ManualClock.h"
#include "support/ScriptedCalls.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace vantorel {
namespace {

struct Library {
    TemporaryFolder disk{};
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    std::shared_ptr<ScriptedCalls> calls = std::make_shared<ScriptedCalls>(clock);

    Library()
    {
        for (const char* file : {"originals/A/1.jpeg", "originals/B/2.jpeg", "originals/C/3.jpeg"}) {
            disk.write(file, "x");
        }
    }
    /// Once the thread has ended.
    std::unique_ptr<ListingsAhead> listed() const
    {
        auto ahead = std::make_unique<ListingsAhead>(calls, clock, disk.path());
        ManualClock::waitForThreads();
        return ahead;
    }
};

TEST(ListingsAhead, givesEachFolderThatCameOutWholeOnce)
{
    Library library;
    const auto ahead = library.listed();
    const auto top = ahead->take("originals");
    ASSERT_TRUE(top);
    EXPECT_EQ(top->list.entries.size(), 3U);
    EXPECT_TRUE(top->watch->isStillThere());
    const auto folder = ahead->take("originals/B");
    ASSERT_TRUE(folder);
    ASSERT_EQ(folder->list.entries.size(), 1U);
    EXPECT_EQ(folder->list.entries.front().name, "2.jpeg");
    EXPECT_FALSE(ahead->take("originals/B"));
    EXPECT_FALSE(ahead->take("originals/D"));
}

TEST(ListingsAhead, saysNothingOfAFolderInTroubleAndEndsThere)
{
    for (const int code : {EIO, EACCES}) {
        Library library;
        const auto failed = library.calls->on("entryStatus", "*/originals/B/*").fail(code);
        const auto ahead = library.listed();
        EXPECT_GT(failed.hits(), 0U);
        EXPECT_TRUE(ahead->take("originals/A"));
        EXPECT_FALSE(ahead->take("originals/B"));
        EXPECT_FALSE(ahead->take("originals/C"));
    }
}

TEST(ListingsAhead, endsWhenSomebodyAsksForAFolderThatItHasNot)
{
    Library library;
    const auto hung = library.calls->on("openBeneath", "*/originals/B").hang();
    ListingsAhead ahead(library.calls, library.clock, library.disk.path());
    while (hung.hits() == 0) {
        std::this_thread::yield();
    }
    EXPECT_TRUE(ahead.take("originals/A"));
    EXPECT_FALSE(ahead.take("originals/B"));
    library.clock->endHangs();
    ManualClock::waitForThreads();
    EXPECT_FALSE(ahead.take("originals/C"));
}

} // namespace
} // namespace vantorel
