#include "BlockCodec.h"
#include "TransitionCapture.h"

#include "../support/TestFiles.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <random>

namespace Tracewell {
namespace {

using History = std::map<long long, unsigned long long>;

struct Road
{
    const char* name;
    DataBaseLimits limits;
};

class CaptureModel : public ::testing::TestWithParam<Road>
{
protected:
    const TestDirectory m_directory;
};

/// Adds what the leaves of a tree hold. A leaf that begins at time 0 again repeats the initial
/// value, which a new buffer takes over each time.
void collect(BlockStore& blocks, BTreeElem& node, History& out)
{
    if (!node.isLeaf()) {
        for (BTreeElem* const child : *node.children)
            collect(blocks, *child, out);
        return;
    }
    const BlockStore::Lease lease(blocks, node);
    const BlockReader reader(node, node.count);
    long long time = reader.firstTime();
    const bool isPattern = (node.flags & kAlternatingFlag) != 0;
    for (int i = 0; i < reader.count(); ++i) {
        Value value;
        reader.readValue(i, value);
        // Alternating blocks give the codes 2 and 3 of nine-state values as 0 and 1.
        const bool isCode = isPattern && blockType(node.flags) == ValueStdLogic;
        out[time] = value.getBits() + (isCode ? 2 : 0);
        if (i + 1 < reader.count())
            time = BlockReader::advance(time, reader.delta(i));
    }
    EXPECT_EQ(time, node.lastTime);
}

TEST_P(CaptureModel, treesHoldWhatWasStored)
{
    const auto seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937_64 random(seed);
    constexpr ValueType kKinds[] = {ValueByte, ValueInt32, ValueInt64,   ValueDouble,
                                    ValueBit,  ValueVlog,  ValueStdLogic};
    constexpr std::size_t kObjects = 42;
    TransitionStore store(DataBaseMode::Writer, m_directory.path("run.wdb"), GetParam().limits,
                          [] {});
    TransitionCapture capture(store, GetParam().limits);
    std::vector<History> model(kObjects);
    std::vector<long long> times(kObjects);
    for (int step = 0; step < 400'000; ++step) {
        const std::size_t object = random() % kObjects;
        const auto id = static_cast<std::uint32_t>(object + 1);
        const ValueType kind = kKinds[object % 7];
        const std::size_t habit = object / 7;
        // Clocks, clocks of three gaps, clocks that pause, random gaps, repeats, far jumps.
        const unsigned long long count = model[object].size();
        long long gap = 5;
        if (habit == 1)
            gap = 2 + static_cast<long long>(count % 3);
        else if (habit == 2)
            gap = count % 2048 == 0 ? 1000 : 5;
        else if (habit >= 3)
            gap = static_cast<long long>(random() % 50);
        if (habit == 5 && random() % 2000 == 0)
            gap += 0xFFFFFFF0LL + static_cast<long long>(random() % 32);
        times[object] += gap;
        unsigned long long bits = habit < 3 ? count & 1U : random();
        bits &= kind == ValueByte                           ? 0xFFU
                : kind == ValueInt32                        ? 0xFFFFFFFFU
                : kind == ValueInt64 || kind == ValueDouble ? ~0ULL
                                                            : (1ULL << packedBits(kind)) - 1;
        if (kind == ValueStdLogic && habit < 3)
            bits += 2;
        model[object][times[object]] = bits;
        const bool isGeneric = habit % 2 == 0;
        if (kind == ValueVlog && !isGeneric) {
            capture.saveVlogTransInDB(id, times[object], static_cast<char>(bits));
        } else if (kind == ValueStdLogic && !isGeneric) {
            capture.saveVhdlStdLogicTransInDB(id, times[object], static_cast<char>(bits));
        } else {
            Value value;
            value.setBits(kind, bits);
            capture.saveTransInDB(id, times[object], value);
        }
    }
    capture.flushBuffers();
    for (std::size_t object = 0; object < kObjects; ++object) {
        SCOPED_TRACE("object " + std::to_string(object + 1));
        History found;
        if (BTreeElem* const root = store.tree.findRoot(static_cast<std::uint32_t>(object + 1)))
            collect(store.blocks, *root, found);
        if (packedBits(kKinds[object % 7]) > 0 && model[object].count(0) && !found.count(0)) {
            Value initial;
            ASSERT_TRUE(store.initialValues->get(static_cast<std::uint32_t>(object + 1), initial));
            found[0] = initial.getByte();
        }
        EXPECT_EQ(found.size(), model[object].size());
        EXPECT_TRUE(found == model[object]);
    }
}

INSTANTIATE_TEST_SUITE_P(Limits, CaptureModel,
                         ::testing::Values(Road{"roomy", {}},
                                           Road{"blocksSpill", {800'000'000, 0, 0, 2}},
                                           Road{"buffersSpill", {20'000, 20'000, 0, 2}}),
                         [](const auto& road) { return road.param.name; });

} // namespace
} // namespace Tracewell
