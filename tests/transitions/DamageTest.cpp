// SPDX-License-Identifier: BSD-3-Clause

#include "DataBaseFixture.h"
#include "testing/Seed.h"

#include <gmock/gmock.h>

#include <random>

namespace Tracewell {
namespace {

std::size_t wordAt(const std::string& bytes, std::size_t place)
{
    std::size_t word = 0;
    for (std::size_t i = 8; i-- > 0;) {
        word = word << 8 | static_cast<unsigned char>(bytes[place + i]);
    }
    return word;
}

class Damage : public DataBaseFixture
{
protected:
    static constexpr unsigned int kObjects = 6;

    std::string makeFile() const
    {
        const auto dataBase = open(DataBaseMode::Writer);
        std::mt19937 random(Tracewell::seeded(1));
        for (int i = 1; i <= 5000; ++i) {
            dataBase->addVlogTransitionToDB(1, i * 10LL, static_cast<char>(i % 2));
            dataBase->addVhdlStdLogicTransitionToDB(2, i * 10LL + i % 3, static_cast<char>(i % 2));
            dataBase->addVhdlStdLogicTransitionToDB(3, i * 7LL, static_cast<char>(random() % 9));
            Value value;
            value.setDouble(i * 0.5);
            dataBase->addTransitionToDB(4, i * 100LL, value);
            value.setBit(random() & 1);
            dataBase->addTransitionToDB(5, i * 100LL, value);
        }
        dataBase->addVlogTransitionToDB(6, 0, 1);
        dataBase->saveTransitionToDisk();
        return readFile(fileName());
    }

    /// Opens the file and asks it all it may be asked. Whether it was accepted.
    bool visit() const
    {
        try {
            const auto dataBase = open(DataBaseMode::Viewer);
            std::vector<Transition> out;
            for (unsigned int id = 0; id <= kObjects + 1; ++id) {
                for (const long long time : {0LL, 777LL, 49'000LL, 1LL << 50}) {
                    dataBase->getCurrentTransition(id, time);
                    dataBase->getNextTransition(id, time);
                    dataBase->getPrevTransition(id, time);
                }
                dataBase->getTransitions(id, 0, 60'000, 0, out);
                dataBase->getTransitions(id, 100, 50'000, 60, out);
                EXPECT_LT(out.size(), 20'000U);
                out.clear();
            }
            return true;
        } catch (const Qsim::OpenException& exception) {
            EXPECT_FALSE(exception.getMessage().empty());
            return false;
        }
    }
};

TEST_F(Damage, changedBytesAreRefusedOrAnswered)
{
    const auto seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(Tracewell::seeded(seed));
    const std::string whole = makeFile();
    ASSERT_TRUE(visit());
    // The header, the tree section behind the blocks, and everything.
    const std::size_t tree = whole.size() - 2000;
    int refused = 0;
    for (int round = 0; round < 1500; ++round) {
        std::string damaged = whole;
        const std::size_t from = round % 3 == 0 ? 16 : round % 3 == 1 ? tree : 144;
        const std::size_t to = round % 3 == 0 ? 144 : whole.size();
        for (auto changes = random() % 3 + 1; changes > 0; --changes) {
            constexpr char kBytes[] = {0, 1, '\x7f', '\x80', '\xff'};
            const std::size_t place = from + random() % (to - from);
            damaged[place] =
                random() % 2 == 0 ? kBytes[random() % sizeof kBytes] : static_cast<char>(random());
        }
        if (round % 10 == 0) {
            damaged.resize(random() % damaged.size());
        }
        writeFile(fileName(), damaged);
        refused += visit() ? 0 : 1;
    }
    EXPECT_GT(refused, 100);
}

TEST_F(Damage, whatIsWrongWithAnObjectIsNotedWhenThatIsAsked)
{
    const std::string whole = makeFile();
    const auto placesAfter = [&](unsigned int id) {
        const auto dataBase = open(DataBaseMode::Viewer);
        std::vector<Transition> out;
        dataBase->getHistory(id, 0, 1LL << 50, 100'000, out);
        return dataBase->getDamageLog().getPlaces();
    };
    for (unsigned int id = 1; id <= kObjects; ++id) {
        EXPECT_TRUE(placesAfter(id).empty()) << id;
    }
    std::string damaged = whole;
    const std::size_t records = wordAt(whole, 40) + 12 + 5 * 20;
    // Object 3 has three leaves behind its root; a gap in the block of the second one, and the
    // first time of the third.
    const std::size_t tree = wordAt(whole, 40) + 12 + 2 * 20 + 8;
    const std::size_t root = wordAt(whole, tree) << 32 | wordAt(whole, tree) >> 32;
    ASSERT_GE(root, records);
    const std::size_t offsetAt = root + 44 * 2 + 28;
    const std::size_t block = wordAt(whole, offsetAt) << 32 | wordAt(whole, offsetAt) >> 32;
    damaged[block + 40] = 8;
    writeFile(fileName(), damaged);
    EXPECT_TRUE(placesAfter(2).empty());
    auto places = placesAfter(3);
    ASSERT_EQ(places.size(), 1u);
    EXPECT_EQ(places[0].m_kind, WdbDamage::TransitionBlock);
    EXPECT_EQ(places[0].m_offset, static_cast<long long>(block));
    EXPECT_TRUE(places[0].m_hasTime);
    EXPECT_GT(places[0].m_time, 7 * 1500) << "the first block is whole";

    damaged = whole;
    damaged[root + 44 * 3 + 4] = 0;
    damaged[root + 44 * 3 + 5] = 1;
    writeFile(fileName(), damaged);
    EXPECT_TRUE(placesAfter(2).empty());
    places = placesAfter(3);
    ASSERT_FALSE(places.empty());
    EXPECT_EQ(places[0].m_kind, WdbDamage::TransitionTree);
    EXPECT_EQ(places[0].m_owner, 3);
}

TEST_F(Damage, treesThatNoWriterMakesAreRefused)
{
    const std::string whole = makeFile();
    const std::size_t tree = wordAt(whole, 40);
    const std::size_t records = tree + 12 + 5 * 20;
    struct Change
    {
        std::size_t place;
        std::string bytes;
        const char* message;
    };
    const Change changes[] = {
        {40, words(whole.size()), "it has no tree section"},
        {32, words(whole.size()), "initial values"},
        {tree + 8, halfWords(0x7fffffff), "its directory of trees is not whole"},
        {tree + 12 + 4, halfWords(0xfffffff0), "the records of a tree are not inside it"},
        {tree + 12 + 20, halfWords(1), "an object has two trees"},
        {records + 36, halfWords(0xffffffff), "has children that are not there"},
        {records + 36, halfWords(1), "a node of a tree has no parent"},
        {records + 36, halfWords(0), "a node of a tree has no parent"},
        {records + 44 * 3 + 28, words(-1), "a block of transitions is not inside it"},
        {records + 44 * 3 + 24, halfWords(2049), "a block of transitions is not inside it"},
        {records + 44 * 3 + 40, halfWords(50 << 8), "a block of transitions is not inside it"},
    };
    for (const Change& change : changes) {
        std::string damaged = whole;
        damaged.replace(change.place, change.bytes.size(), change.bytes);
        writeFile(fileName(), damaged);
        EXPECT_THAT(openErrorOf([&] { open(DataBaseMode::Viewer); }),
                    ::testing::HasSubstr(change.message))
            << change.place;
    }
}

} // namespace
} // namespace Tracewell
