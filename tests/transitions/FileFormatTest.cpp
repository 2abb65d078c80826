// SPDX-License-Identifier: BSD-3-Clause

#include "DataBaseFixture.h"

#include "testing/ForkedProcess.h"

#include "QsimException.h"
#include "StorageFailure.h"

#include <cstring>
#include <functional>

#include <sys/resource.h>

namespace Tracewell {
namespace {

/// What a leaf says of its block.
struct Leaf
{
    unsigned long long first, last, gap;
    int count;
    int flags;
};

/// The record of a leaf, high halves first.
std::string record(const Leaf& leaf, unsigned long long offset)
{
    const auto halves = [](unsigned long long value) { return halfWords(value >> 32, value); };
    return halves(leaf.first) + halves(leaf.last) + halves(leaf.gap) + halfWords(leaf.count) +
           halves(offset) + halfWords(0, leaf.flags);
}

/// A whole file of one object with one leaf.
std::string fileOf(unsigned int id, const Leaf& leaf, const std::string& block,
                   unsigned long long latest, const std::string& initialValues)
{
    const unsigned long long tree = 144 + block.size();
    const std::string section = words(latest) + halfWords(1, id, 1, 0, tree + 32, leaf.flags & 15) +
                                record(leaf, block.empty() ? ~0ULL : 144ULL);
    const unsigned long long values = tree + section.size();
    return words(0x3CF4D203EB154205, 0xABE23F64A2B2F1B7, 0xFFFFFFFF, 144, values, tree, -1,
                 values + initialValues.size()) +
           std::string(80, '\xff') + block + section + initialValues + "names";
}

struct Case
{
    const char* name;
    std::function<void(DataBase&)> run;
    std::string expected;
};

class FileFormat : public DataBaseFixture, public ::testing::WithParamInterface<Case>
{};

TEST_P(FileFormat, savedFileHasTheBytes)
{
    const auto dataBase = open(DataBaseMode::Writer);
    GetParam().run(*dataBase);
    dataBase->saveTransitionToDisk();
    EXPECT_EQ(readFile(fileName()), GetParam().expected);
    EXPECT_EQ(open(DataBaseMode::Viewer)->getMaxTraceableSize(), 0xFFFFFFFFU);
}

const std::string kNoValues = halfWords(0);

INSTANTIATE_TEST_SUITE_P(
    Kinds, FileFormat,
    ::testing::Values(
        Case{"vlogWithInitialValue",
             [](DataBase& db) {
                 db.addVlogTransitionToDB(3, 0, 1);
                 db.addVlogTransitionToDB(3, 10, 2);
                 db.addVlogTransitionToDB(3, 15, 0);
                 db.addVlogTransitionToDB(3, 15, 3);
             },
             fileOf(3, {0, 15, 10, 3, 11}, halfWords(10, 5, 0, 0b11'10'01), 15,
                    halfWords(3) + std::string("\0\0\0\x21", 4))},
        Case{"widestNarrowDelta",
             [](DataBase& db) {
                 db.addVhdlStdLogicTransitionToDB(1, 1, 2);
                 db.addVhdlStdLogicTransitionToDB(1, 0x100000000, 8);
             },
             fileOf(1, {1, 0x100000000, 0xFFFFFFFF, 2, 12}, halfWords(0xFFFFFFFF, 0, 0x82),
                    0x100000000, kNoValues)},
        Case{"narrowestWideDelta",
             [](DataBase& db) {
                 db.addVhdlStdLogicTransitionToDB(1, 1, 2);
                 db.addVhdlStdLogicTransitionToDB(1, 4, 3);
                 db.addVhdlStdLogicTransitionToDB(1, 0x100000004, 8);
             },
             fileOf(1, {1, 0x100000004, 0x100000000, 3, 12 | 16}, words(3, 0x100000000, 0, 0x832),
                    0x100000004, kNoValues)},
        Case{"bytesFromTimeZero",
             [](DataBase& db) {
                 db.addTransitionToDB(2, 0, valueOf(ValueByte, 0xAB));
                 db.addTransitionToDB(2, 7, valueOf(ValueByte, 1));
                 db.addTransitionToDB(2, 7, valueOf(ValueByte, 2));
                 db.addTransitionToDB(2, -1, valueOf(ValueByte, 9));
             },
             fileOf(2, {0, 7, 7, 2, 1}, halfWords(7, 0, 0xAB, 2), 7, kNoValues)},
        Case{"doubles",
             [](DataBase& db) {
                 db.addTransitionToDB(2, 5, valueOf(ValueDouble, 0x3FF0000000000000));
                 db.addTransitionToDB(2, 6, valueOf(ValueDouble, 0xC000000000000000));
             },
             fileOf(2, {5, 6, 1, 2, 6 | 16}, words(1, 0, 0x3FF0000000000000, 0xC000000000000000), 6,
                    kNoValues)},
        Case{"bits",
             [](DataBase& db) {
                 for (int i = 0; i < 33; ++i) {
                     db.addTransitionToDB(2, i + 1, valueOf(ValueBit, i % 3 == 0));
                 }
             },
             [] {
                 std::string deltas;
                 for (int i = 0; i < 32; ++i) {
                     deltas += halfWords(1);
                 }
                 return fileOf(2, {1, 33, 1, 33, 10}, deltas + halfWords(0, 0x49249249, 0), 33,
                               kNoValues);
             }()},
        Case{"timeMarkAlone",
             [](DataBase& db) { db.addTransitionToDB(DataBase::kTimeMarkId, 77, Value()); },
             words(0x3CF4D203EB154205, 0xABE23F64A2B2F1B7, 0xFFFFFFFF, 144, 156, 144, -1, 160) +
                 std::string(80, '\xff') + words(77) + halfWords(0, 0) + "names"}),
    [](const auto& testCase) { return testCase.param.name; });

using Life = DataBaseFixture;

TEST_F(Life, clockOfOneGapTakesNoBlockAndAPauseAtTheFlushTakesOne)
{
    for (const bool pauses : {false, true}) {
        const auto dataBase = open(DataBaseMode::Writer);
        for (int i = 0; i < 3 * 2048; ++i) {
            dataBase->addVhdlStdLogicTransitionToDB(
                1, 10 * (i + 1) + (pauses && i >= 2048 ? 1000 : 0), static_cast<char>(2 + i % 2));
        }
        dataBase->saveTransitionToDisk();
        // The last leaf is stored at the save, and so in the plain form, like the one after a gap.
        const std::size_t plain = (2048 + 257) * 4;
        EXPECT_EQ(readFile(fileName()).size(),
                  144 + (pauses ? 2 : 1) * plain + 12 + 20 + 4 * 44 + 4 + 5);
        EXPECT_EQ(open(DataBaseMode::Viewer)->getLatestTime(), 10 * 3 * 2048 + (pauses ? 1000 : 0));
    }
}

TEST_F(Life, fileIsRemovedWithoutDebugDataAndRefusedUnfinishedOrForeign)
{
    {
        const auto dataBase = open(DataBaseMode::Writer);
        EXPECT_EQ(openErrorOf([&] { open(DataBaseMode::Viewer); }).substr(0, 30),
                  "The WDB file is incomplete, po");
        std::filesystem::remove_all(ZSIM::OutputFileNames::getDumpDirName());
        dataBase->saveTransitionToDisk();
    }
    EXPECT_FALSE(std::filesystem::exists(fileName()));
    EXPECT_EQ(openErrorOf([&] { open(DataBaseMode::Viewer); }),
              "Can not open data base file " + fileName());
    // What could not be opened is not the writer's to remove.
    std::filesystem::create_directory(fileName());
    open(DataBaseMode::Writer)->saveTransitionToDisk();
    EXPECT_TRUE(std::filesystem::remove(fileName()));
    writeFile(fileName(), words(0, 0xABE23F64A2B2F1B7) + std::string(128, '\xff'));
    EXPECT_EQ(openErrorOf([&] { open(DataBaseMode::Viewer); }).substr(0, 24),
              "The binary signature in ");
}

TEST_F(Life, finishedFileOutlivesLateTransitionsAndARestartedViewer)
{
    const auto dataBase = open(DataBaseMode::Writer, {0, 0, 0, 2});
    const auto addAll = [&] {
        for (unsigned int id = 1; id < 100; ++id) {
            dataBase->addVlogTransitionToDB(id, 5, 1);
        }
    };
    addAll();
    dataBase->saveTransitionToDisk();
    const std::string file = readFile(fileName());
    addAll();
    EXPECT_TRUE(open(DataBaseMode::Viewer)->restartDatabase());
    EXPECT_TRUE(readFile(fileName()) == file);
}

TEST_F(Life, restartGivesTheFileOfAFreshRun)
{
    const auto run = [](DataBase& db) {
        for (int i = 1; i < 5000; ++i) {
            db.addVlogTransitionToDB(7, i * 3 + i % 5, static_cast<char>(i * i % 4));
            db.addTransitionToDB(8, i, valueOf(ValueByte, static_cast<unsigned int>(i) & 0xFFU));
        }
    };
    const auto first = open(DataBaseMode::Writer);
    run(*first);
    first->addVlogTransitionToDB(7, 1LL << 40, 1);
    first->addVlogTransitionToDB(9, 0, 1);
    EXPECT_TRUE(first->restartDatabase());
    run(*first);
    first->saveTransitionToDisk();
    const std::string again = readFile(fileName());
    const auto second = open(DataBaseMode::Writer);
    run(*second);
    second->saveTransitionToDisk();
    EXPECT_TRUE(again == readFile(fileName()));
}

class FullDisk : public DataBaseFixture
{};

TEST_F(FullDisk, isToldToAHandlerOnceAndLeavesNoFileThatLooksFinished)
{
    ForkedProcess process([&] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{50'000, 50'000};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        std::vector<std::string> lines;
        setStorageFailureHandler([&](const std::string& line) { lines.push_back(line); });
        const auto dataBase = open(DataBaseMode::Writer, {800'000'000, 10'000, 0, 1});
        Value value;
        for (long long time = 1; time < 100'000; ++time) {
            value.setInt64(time * time);
            dataBase->addTransitionToDB(static_cast<unsigned int>(time % 3), time, value);
        }
        const bool isEarly = lines.size() == 1 && lines[0].find("WDB FATAL ERROR: ") == 0;
        dataBase->saveTransitionToDisk();
        return isEarly && lines.size() == 2;
    });
    EXPECT_TRUE(process.succeeds());
    EXPECT_THROW(open(DataBaseMode::Viewer), Qsim::OpenException);
}

} // namespace
} // namespace Tracewell
