// SPDX-License-Identifier: BSD-3-Clause

#include "testing/Seed.h"
#include "testing/TestEvents.h"

#include "WdbAddressMap.h"
#include "WdbEventReaderFactory.h"
#include "WdbStringMapDatabase.h"
#include "platform/Process.h"

#include <cstdlib>
#include <cstring>

namespace Tracewell {
namespace {

using Trees = std::vector<WdbScalarBTree*>;

void embed(WdbFileManager& file, const char* section, const std::string& data)
{
    file.embedDataInNewSection(section, 1, reinterpret_cast<const unsigned char*>(data.data()),
                               static_cast<long long>(data.size()));
}

class StaticReader : public ::testing::Test
{
protected:
    StaticReader()
    {
        m_file.create(m_fileName);
        std::filesystem::create_directory(m_temporary);
    }

    /// A file with something in every section; bytes 1 to 4 at addresses 48 to 51 since time 5.
    void fill()
    {
        embed(m_file, "Zelnix DBG", "debug information");
        embed(m_file, "Zelnix RTTI", "types");
        embed(m_file, "Zelnix Proto", "settings");
        const auto events = createDatabase(m_file, 1001, 100, 50);
        add(*events, {5, 48, "\1\2\3\4"});
        for (long long time = 6; time < 3000; ++time) {
            add(*events, {time, time % 40, time % 2 == 0 ? "ab" : "cd"});
        }
        events->setLatestTime(9000);
        WdbAddressMap objects;
        objects.insert(3, 6);
        events->setAddressMapFileOffsetAndSize(objects.addBlock(m_file.getFileBlockManager()), 1);
        WdbStringMapDatabase strings(m_file);
        strings.initialize(WdbStringMapDatabase::createStringMapSection(101, m_file, true), true);
        strings.addString("one");
        strings.addString("two");
    }

    static std::unique_ptr<WdbIEventReader> makeReader()
    {
        return std::unique_ptr<WdbIEventReader>(
            WdbEventReaderFactory::getInstance().create(WdbEventReaderFactory::StaticReader));
    }

    std::unique_ptr<WdbIEventReader> read()
    {
        m_file.close();
        auto reader = makeReader();
        reader->createReader("channel", m_fileName, 7, m_temporary);
        return reader;
    }

    std::string getRefusal(WdbIEventReader& reader, const std::string& fileName)
    {
        return openErrorOf([&] { reader.createReader("", fileName, 0, m_temporary); });
    }

    std::vector<std::string> listTemporaryFiles() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_temporary)) {
            names.push_back(entry.path().filename().string());
        }
        return names;
    }

    TestDirectory m_directory;
    const std::string m_temporary = m_directory.path("temporary");
    const std::string m_fileName = m_directory.path("a name of thirty-one characters.wdb");
    WdbFileManager m_file;
};

TEST_F(StaticReader, givesBackWhatTheContainerHolds)
{
    fill();
    const auto reader = read();
    EXPECT_TRUE(reader->isWDBVersionMatched());
    EXPECT_EQ(reader->getLatestTime(), 9000);
    long long size = 0;
    const std::unique_ptr<char, decltype(&std::free)> debug(reader->getDbg(&size), &std::free);
    EXPECT_EQ(std::string(debug.get(), static_cast<std::size_t>(size)), "debug information");
    const std::unique_ptr<char, decltype(&std::free)> types(reader->getRtti(nullptr), &std::free);
    EXPECT_EQ(std::memcmp(types.get(), "types", 5), 0);
    const std::unique_ptr<char[]> header(reader->getDbgHeader(5));
    EXPECT_EQ(std::string(header.get(), 5), "debug");
    EXPECT_EQ(reader->getProtoSettings(), "settings");
    EXPECT_EQ(reader->getStringMapValue(2), "two");
    EXPECT_EQ(reader->getStringMapValue(2), "two");
    for (const long long id : {0LL, -1LL, 3LL, (1LL << 32) + 1}) {
        EXPECT_EQ(reader->getStringMapValue(id), "") << id;
    }
    EXPECT_TRUE(reader->isObjectTraced(6));
    EXPECT_FALSE(reader->isObjectTraced(7));
    reader->setObjectTraced(7, 0, 0);
    EXPECT_TRUE(reader->isObjectTraced(7));

    Trees trees;
    Trees toScan;
    reader->getBTreeManager().getOrCreateByteBTrees(48, 5, trees, toScan);
    reader->getBTreeManager().scanWdbDatabaseMultiThread(toScan, nullptr);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(getHistory(*trees[static_cast<std::size_t>(i)]), (History{{5, i + 1}}));
    }
    EXPECT_TRUE(trees[4]->isEmpty());

    EXPECT_EQ(getRefusal(*reader, m_fileName), "Cannot open simulation database file.");
    EXPECT_EQ(reader->getStringMapValue(1), "one") << "a second opening disturbs nothing";
}

TEST_F(StaticReader, missingSectionsAreAbsenceAndRefusalsLeaveItUsable)
{
    const auto reader = makeReader();
    m_file.close();
    EXPECT_EQ(getRefusal(*reader, m_directory.path("nowhere.wdb")),
              "wdb database file does not exist.");
    EXPECT_EQ(getRefusal(*reader, m_fileName), "The wdb file does not contain event database.");
    m_file.create(m_fileName);
    m_file.addNewSection("WDB.Event", 1, 1LL << 40, 72);
    m_file.close();
    EXPECT_EQ(getRefusal(*reader, m_fileName), "The wdb file does not contain event database.");
    m_file.create(m_fileName);
    // A list of objects that cannot be true hides no object either.
    createDatabase(m_file, 1000, 100)->setAddressMapFileOffsetAndSize(64, 1LL << 60);
    m_file.close();
    EXPECT_EQ(getRefusal(*reader, m_fileName), "no exception");
    EXPECT_EQ(reader->getLatestTime(), 0);
    EXPECT_EQ(reader->getDbg(nullptr), nullptr);
    EXPECT_EQ(reader->getDbgHeader(10), nullptr);
    EXPECT_EQ(reader->getProtoSettings() + reader->getStringMapValue(1), "");
    EXPECT_TRUE(reader->isObjectTraced(1234));
    EXPECT_EQ(listTemporaryFiles().size(), 1u);
}

TEST_F(StaticReader, eachReaderHasATemporaryFileWhileItLives)
{
    createDatabase(m_file, 1001, 100, 50);
    auto first = read();
    auto second = read();
    const std::vector<std::string> names = listTemporaryFiles();
    ASSERT_EQ(names.size(), 2u);
    const std::string start =
        "a name of thirty-one character_" + std::to_string(getProcessId()) + "_";
    for (const std::string& name : names) {
        EXPECT_EQ(name.substr(0, start.size()), start);
        EXPECT_EQ(name.substr(start.size() + 10), ".zelwvdat") << "ten digits of seconds";
    }
    first.reset();
    EXPECT_EQ(listTemporaryFiles().size(), 1u);
    second.reset();

    ::setenv("TMPDIR", m_temporary.c_str(), 1);
    for (const char* const directory : {"", "/no/such/directory"}) {
        const auto reader = makeReader();
        reader->createReader("", m_fileName, 0, directory);
        EXPECT_EQ(listTemporaryFiles().size(), 1u);
    }
    ::unsetenv("TMPDIR");
    EXPECT_TRUE(listTemporaryFiles().empty());
}

TEST_F(StaticReader, noDamageHarmsIt)
{
    fill();
    m_file.close();
    const std::string good = readFile(m_fileName);
    for (unsigned int seed = 1; seed <= 150; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937_64 random(Tracewell::seeded(seed));
        const std::string bytes = damaged(good, random);
        writeFile(m_fileName, bytes);

        const auto reader = makeReader();
        if (getRefusal(*reader, m_fileName) != "no exception") {
            continue;
        }
        Trees trees;
        Trees toScan;
        reader->getBTreeManager().getOrCreateByteBTrees(0, 100, trees, toScan);
        reader->getBTreeManager().scanWdbDatabaseMultiThread(toScan, nullptr);
        std::vector<WdbTimeByteValues> out;
        reader->getValueEvents(0, 10000, random() % 50, trees, out);
        reader->getNextEvent(500, trees);
        reader->getStringMapValue(2);
        reader->getProtoSettings();
        std::free(reader->getDbg(nullptr));
    }
}

} // namespace
} // namespace Tracewell
