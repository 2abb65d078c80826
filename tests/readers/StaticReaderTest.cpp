#include "../query/TreeHistory.h"
#include "../support/TestFiles.h"

#include "QsimException.h"
#include "WdbAddressBTreeManager.h"
#include "WdbAddressMap.h"
#include "WdbEventBlockDatabaseFactory.h"
#include "WdbEventReaderFactory.h"
#include "WdbFileManager.h"
#include "WdbStringMapDatabase.h"
#include "platform/Process.h"

#include <algorithm>
#include <cstring>

namespace Tracewell {
namespace {

std::unique_ptr<WdbIEventReader> makeReader()
{
    return std::unique_ptr<WdbIEventReader>(
        WdbEventReaderFactory::getInstance().create(WdbEventReaderFactory::StaticReader));
}

class StaticReader : public ::testing::Test
{
protected:
    StaticReader()
    {
        m_file.create(m_fileName);
        std::filesystem::create_directory(m_temporary);
    }

    std::unique_ptr<WdbIEventBlockDatabase> addEvents()
    {
        std::unique_ptr<WdbIEventBlockDatabase> database(
            WdbEventBlockDatabaseFactory::getInstance().create(1001, m_file));
        database->initialize(WdbIEventBlockDatabase::createEventSection(1001, 2, 100, 50, m_file),
                             true);
        return database;
    }

    std::unique_ptr<WdbIEventReader> read()
    {
        m_file.close();
        std::unique_ptr<WdbIEventReader> reader = makeReader();
        reader->createReader("channel", m_fileName, 7, m_temporary);
        return reader;
    }

    std::vector<std::string> listTemporaryFiles() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_temporary))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

    std::string getRefusal(WdbIEventReader& reader, const std::string& fileName)
    {
        try {
            reader.createReader("", fileName, 0, m_temporary);
        } catch (const Qsim::OpenException& exception) {
            return exception.getMessage();
        }
        return "none";
    }

    TestDirectory m_directory;
    const std::string m_temporary = m_directory.path("temporary");
    const std::string m_fileName = m_directory.path("a name of thirty-one characters.wdb");
    WdbFileManager m_file;
};

void embed(WdbFileManager& file, const char* section, const std::string& data)
{
    file.embedDataInNewSection(section, 1, reinterpret_cast<const unsigned char*>(data.data()),
                               static_cast<long long>(data.size()));
}

TEST_F(StaticReader, givesBackWhatTheContainerHolds)
{
    embed(m_file, "Zelnix DBG", "debug information");
    embed(m_file, "Zelnix RTTI", "types");
    embed(m_file, "Zelnix Proto", "settings");
    auto database = addEvents();
    const unsigned char value[] = {1, 2, 3, 4};
    database->writeEvent(5, 48, 4, value);
    database->setLatestTime(9);
    WdbAddressMap objects;
    objects.insert(3, 6);
    database->setAddressMapFileOffsetAndSize(objects.addBlock(m_file.getFileBlockManager()), 1);
    database.reset();
    {
        WdbStringMapDatabase strings(m_file);
        strings.initialize(WdbStringMapDatabase::createStringMapSection(101, m_file, true), true);
        strings.addString("one");
        strings.addString("two");
    }

    const auto reader = read();
    EXPECT_TRUE(reader->isWDBVersionMatched());
    EXPECT_EQ(reader->getLatestTime(), 9);
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
    for (const long long id : {0LL, -1LL, 3LL, (1LL << 32) + 1})
        EXPECT_EQ(reader->getStringMapValue(id), "") << id;
    EXPECT_TRUE(reader->isObjectTraced(6));
    EXPECT_FALSE(reader->isObjectTraced(7));
    reader->setObjectTraced(7, 0, 0);
    EXPECT_TRUE(reader->isObjectTraced(7));

    std::vector<WdbScalarBTree*> trees;
    std::vector<WdbScalarBTree*> toScan;
    WdbAddressBTreeManager& manager = reader->getBTreeManager();
    manager.getOrCreateByteBTrees(47, 5, trees, toScan);
    manager.scanWdbDatabaseMultiThread(toScan, nullptr);
    EXPECT_TRUE(trees[0]->isEmpty());
    for (int i = 1; i < 5; ++i)
        EXPECT_EQ(getHistory(*trees[static_cast<unsigned>(i)]), (History{{5, i}}));

    EXPECT_EQ(getRefusal(*reader, m_fileName), "Cannot open simulation database file.");
    EXPECT_EQ(reader->getStringMapValue(1), "one") << "a second opening disturbs nothing";
}

TEST_F(StaticReader, missingSectionsAreAbsence)
{
    addEvents();
    const auto reader = read();
    EXPECT_EQ(reader->getLatestTime(), 0);
    EXPECT_EQ(reader->getDbg(nullptr), nullptr);
    EXPECT_EQ(reader->getRtti(nullptr), nullptr);
    EXPECT_EQ(reader->getDbgHeader(10), nullptr);
    EXPECT_EQ(reader->getProtoSettings(), "");
    EXPECT_EQ(reader->getStringMapValue(1), "");
    EXPECT_TRUE(reader->isObjectTraced(1234));
    EXPECT_FALSE(reader->hasMoreData());
}

TEST_F(StaticReader, aListOfObjectsThatCannotBeTrueHidesNone)
{
    auto database = addEvents();
    database->setAddressMapFileOffsetAndSize(64, 1LL << 60);
    database.reset();
    EXPECT_TRUE(read()->isObjectTraced(1));
}

TEST_F(StaticReader, canBeUsedAgainAfterARefusal)
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
    addEvents();
    m_file.close();
    EXPECT_EQ(getRefusal(*reader, m_fileName), "none");
    EXPECT_EQ(listTemporaryFiles().size(), 1u);
}

TEST_F(StaticReader, eachReaderHasATemporaryFileWhileItLives)
{
    addEvents();
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
    EXPECT_TRUE(listTemporaryFiles().empty());
}

TEST_F(StaticReader, temporaryFilesGoToTheSystemsPlaceUnlessADirectoryIsNamed)
{
    addEvents();
    m_file.close();
    ::setenv("TMPDIR", m_temporary.c_str(), 1);
    for (const char* const directory : {"", "/no/such/directory"}) {
        const auto reader = makeReader();
        reader->createReader("", m_fileName, 0, directory);
        EXPECT_EQ(listTemporaryFiles().size(), 1u);
    }
    ::unsetenv("TMPDIR");
}

TEST(WdbEventReaderFactory, knowsNoOtherReader)
{
    EXPECT_EQ(WdbEventReaderFactory::getInstance().create(
                  static_cast<WdbEventReaderFactory::ReaderType>(2)),
              nullptr);
}

} // namespace
} // namespace Tracewell
