// SPDX-License-Identifier: BSD-3-Clause

#include "testing/EventTestData.h"

#include "BlockStore.h"
#include "QsimException.h"
#include "WdbMemoryBlockManager.h"

#include <functional>
#include <memory>
#include <stdexcept>

namespace Tracewell {
namespace {

class FailingManager : public WdbMemoryBlockManager
{
public:
    explicit FailingManager(std::function<void()> fail) : m_fail(std::move(fail)) {}
    long long addBlock(const char*, unsigned long long) override
    {
        m_fail();
        return 0;
    }

private:
    std::function<void()> m_fail;
};

TEST(StoringDeathTest, anExceptionWhileStoringEndsTheProcessWithItsLine)
{
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    WdbEventBlock events(10240, 0);
    add(events, {1, 0, "x"});
    WdbStringBlock strings(1024);
    strings.addString(1, "text");
    unsigned int size = 0;
    unsigned int count = 0;
    long long id = 0;

    const auto expectLine = [&](const std::function<void()>& fail, const std::string& eventLine,
                                const std::string& stringLine) {
        FailingManager manager(fail);
        const std::string reason = " for the following reason: .*\n$";
        EXPECT_EXIT(events.addBlock(manager, size), ::testing::ExitedWithCode(1),
                    "^WDB FATAL ERROR: " + eventLine + reason);
        EXPECT_EXIT(strings.addBlock(manager, size, id, count), ::testing::ExitedWithCode(1),
                    "^WDB FATAL ERROR: " + stringLine + reason);
    };
    expectLine([] { throw std::runtime_error("broken"); }, "failed to add event block",
               "failed to add event block");
    expectLine([] { throw Qsim::IOException("QSim", "", "", 0, "broken"); },
               "unspecified exception thrown", "unspecified exception thrown");
    expectLine([] { throw 3; }, "caught unspecified exception in WdbEventBlock::addBlock",
               "caught unspecified exception in WdbStringBlock::addBlock");
}

TEST(StoringDeathTest, anExceptionOnAHelperThreadEndsTheProcessToo)
{
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto storeThroughQueue = [] {
        FailingManager failing([] { throw std::runtime_error("broken"); });
        TestContainer container;
        EventBlockList list(container.blocks(), 72, 10240, 0, EventBlockList::Access::Writing);
        add(list.openItem(), {1, 0, "x"});
        BlockStore<WdbEventBlock, EventBlockList> store(failing);
        store.setQueue(std::make_shared<BlockStoreQueue>());
        store.storeOpenItem(list);
        store.drain();
    };
    EXPECT_EXIT(storeThroughQueue(), ::testing::ExitedWithCode(1),
                "WDB FATAL ERROR: failed to add event block for the following reason: .*\n$");
}

} // namespace
} // namespace Tracewell
