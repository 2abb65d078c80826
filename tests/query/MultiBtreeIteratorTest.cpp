// SPDX-License-Identifier: BSD-3-Clause

#include "testing/Seed.h"
#include "testing/TestEvents.h"

#include "IEventTarget.h"
#include "WdbEventReaderFactory.h"
#include "WdbIEventReader.h"
#include "WdbMultiBtreeIterator.h"

#include <algorithm>
#include <functional>
#include <map>
#include <tuple>

namespace Tracewell {
namespace {

using Ranges = std::vector<IEventSource::ListenerRange>;
/// Time, address, mask, value.
using Change = std::tuple<long long, unsigned long long, int, int>;

class Recorder : public IEventTarget
{
public:
    void valueChanged(IEventSource*, long long time, unsigned long long address,
                      unsigned char value, unsigned char mask) override
    {
        m_changes.emplace_back(time, address, mask, value);
        if (m_action) {
            m_action();
        }
    }

    std::vector<Change> m_changes;
    std::function<void()> m_action;
};

/// Trees without a file behind them: they have no more than one record.
class Trees
{
public:
    Trees()
        : m_reader(WdbEventReaderFactory::getInstance().create(
              static_cast<WdbEventReaderFactory::ReaderType>(0)))
    {}
    void add(long long address, int bit, const History& history)
    {
        WdbAddressBTreeManager& manager = m_reader->getBTreeManager();
        const auto place = static_cast<unsigned int>(bit);
        bit < 0 ? manager.createByteBTree(address) : manager.createBitBTree(address, place);
        WdbScalarBTree* const tree =
            bit < 0 ? manager.getByteBTree(address) : manager.getBitBTree(address, place);
        for (const auto& [time, value] : history) {
            tree->addValue(time, static_cast<unsigned char>(value));
        }
    }
    WdbIEventReader& reader() { return *m_reader; }

private:
    std::unique_ptr<WdbIEventReader> m_reader;
};

constexpr long long kLatest = 1LL << 60;
constexpr unsigned long long kEverything = ~0ull;

std::vector<Change> replay(Trees& trees, const Ranges& ranges, long long from)
{
    Recorder recorder;
    for (WdbMultiBtreeIterator it(trees.reader(), ranges, 0, from, kLatest, -1); it; ++it) {
        it.emitEvents(recorder);
    }
    return recorder.m_changes;
}

TEST(MultiBtreeIterator, replayIsTheSortedListOfAllChanges)
{
    std::mt19937 random(Tracewell::seeded(12));
    Trees trees;
    std::map<std::pair<unsigned long long, int>, History> model;
    for (int address = 0; address < 60; ++address) {
        const int bits = address % 3 == 0 ? pick(random, 4) : -1;
        for (int bit = bits < 0 ? -1 : 0; bit < std::max(bits, 0); ++bit) {
            History history;
            long long time = pick(random, 40);
            for (int i = pick(random, 30); i > 0; --i,
                     time += pick(random, 5) == 0 ? 1LL << pick(random, 50) : 1 + pick(random, 9)) {
                history.emplace_back(time, bit < 0 ? pick(random, 256) : pick(random, 2));
            }
            trees.add(address, bit, history);
            model[{address, bit < 0 ? 255 : 1 << bit}] = history;
        }
    }
    for (const long long from : {0LL, 1LL, 57LL, 500LL}) {
        std::vector<Change> expected;
        for (const auto& [key, history] : model) {
            if (key.first >= 5 && key.first < 50) {
                for (std::size_t i = 0; i < history.size(); ++i) {
                    const bool isLastBefore =
                        i + 1 == history.size() || history[i + 1].first > from;
                    if (history[i].first > from || isLastBefore) {
                        expected.emplace_back(history[i].first, key.first, key.second,
                                              key.second == 255 ? history[i].second
                                                                : history[i].second * key.second);
                    }
                }
            }
        }
        // The first step delivers in the order of the keys what lies at or before its time.
        std::sort(expected.begin(), expected.end(), [from](const Change& a, const Change& b) {
            const auto order = [from](const Change& change) {
                return std::make_tuple(std::max(std::get<0>(change), from), std::get<1>(change),
                                       std::get<2>(change));
            };
            return order(a) < order(b);
        });
        EXPECT_EQ(replay(trees, {{5, 20}, {10, 40}, {kEverything - 3, kEverything}}, from),
                  expected)
            << "from " << from;
    }
    EXPECT_TRUE(replay(trees, {{1000, kEverything}}, 0).empty());
    EXPECT_TRUE(replay(trees, {}, 0).empty());
}

TEST(MultiBtreeIterator, targetsMayRegisterAndUnregisterInTheMiddle)
{
    Trees trees;
    trees.add(1, -1, {{0, 1}, {10, 2}, {20, 3}, {30, 4}});
    trees.add(2, -1, {{5, 9}, {20, 8}, {30, 7}});
    Recorder recorder;
    WdbMultiBtreeIterator it(trees.reader(), {{1, 1}}, 0, 0, kLatest, -1);
    recorder.m_action = [&] {
        it.emitEvents(recorder);
        ++it;
        const long long time = std::get<0>(recorder.m_changes.back());
        if (time == 10) {
            it.registerListener(&recorder, {{2, 1}});
        }
        if (time == 20) {
            it.unregisterListener(&recorder, {{1, 1}});
        }
    };
    for (; it; ++it) {
        it.emitEvents(recorder);
    }
    EXPECT_EQ(recorder.m_changes, (std::vector<Change>{{0, 1, 255, 1},
                                                       {10, 1, 255, 2},
                                                       {5, 2, 255, 9},
                                                       {20, 1, 255, 3},
                                                       {20, 2, 255, 8},
                                                       {30, 2, 255, 7}}));
    EXPECT_EQ(it.getCurrentTime(), 30);

    // Leaving and joining at once begins anew with the state at the present time, in order.
    recorder.m_action = nullptr;
    recorder.m_changes.clear();
    auto again =
        std::make_unique<WdbMultiBtreeIterator>(trees.reader(), Ranges{{1, 2}}, 0, 12, kLatest, -1);
    again->emitEvents(recorder);
    again->unregisterListener(&recorder, {{1, 1}});
    again->registerListener(&recorder, {{1, 1}});
    for (++*again; *again; ++*again) {
        // Whoever ends the iterator gets nothing more from it.
        recorder.m_action = [&] {
            if (std::get<0>(recorder.m_changes.back()) == 30) {
                again.reset();
            }
        };
        again->emitEvents(recorder);
        if (!again) {
            break;
        }
    }
    EXPECT_EQ(recorder.m_changes, (std::vector<Change>{{10, 1, 255, 2},
                                                       {5, 2, 255, 9},
                                                       {10, 1, 255, 2},
                                                       {20, 1, 255, 3},
                                                       {20, 2, 255, 8},
                                                       {30, 1, 255, 4}}));
}

} // namespace
} // namespace Tracewell
