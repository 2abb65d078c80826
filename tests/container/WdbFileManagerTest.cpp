#include "../support/TestFiles.h"

#include "QsimException.h"
#include "WdbFileManager.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <ctime>
#include <random>
#include <thread>

#include <sys/stat.h>

namespace Tracewell {
namespace {

constexpr char kCannotOpen[] = "Cannot open simulation database file.";
constexpr char kIncompatible[] =
    "The file may be corrupt or of an unsupported older format.  As of version 2014.3 Merido "
    "includes a new, enhanced waveform database. Because the new database is incompatible with "
    "the old database, the current version of Merido cannot open WDB files created in versions "
    "prior to 2014.3";

template <class Operation> std::string openErrorOf(Operation operation)
{
    try {
        operation();
    } catch (const Qsim::OpenException& exception) {
        return exception.getMessage();
    }
    return "no exception";
}

void embed(WdbFileManager& manager, const std::string& id, unsigned int version,
           const std::string& data)
{
    manager.embedDataInNewSection(id, version, reinterpret_cast<const unsigned char*>(data.data()),
                                  static_cast<long long>(data.size()));
}

/// The whole section, "(none)" when there is none.
std::string dataOf(const WdbFileManager& manager, const std::string& id, unsigned int version = 1)
{
    long long size = -9;
    char* const data = manager.getSectionData(id, version, &size);
    if (!data)
        return "(none)";
    std::string content(data, static_cast<std::size_t>(size));
    std::free(data);
    return content;
}

std::string item(const std::string& id, unsigned int version, int offset, int size)
{
    return padded(id, 24) + littleEndian(version, 8) +
           littleEndian(static_cast<unsigned int>(offset), 8) +
           littleEndian(static_cast<unsigned int>(size), 8);
}

class FileManagerTest : public ::testing::Test
{
protected:
    std::string content() const { return readFile(m_path); }

    const TestDirectory m_directory;
    const std::string m_path = m_directory.path("run.wdb");
    WdbFileManager m_manager;
};

TEST_F(FileManagerTest, containerLiesInTheFileAsLaidOut)
{
    m_manager.setApplication("Tracewell");
    const auto before = static_cast<int>(std::time(nullptr));
    m_manager.create(m_path);
    const int created = m_manager.getHeader().m_creationTime;
    EXPECT_GE(created, before);
    EXPECT_LE(created, static_cast<int>(std::time(nullptr)));

    std::string expected = std::string("Zelnix WAVE DATABASE 01\0", 24) + padded("Tracewell", 24) +
                           littleEndian(64, 8) + littleEndian(static_cast<unsigned>(created), 4) +
                           littleEndian(0, 4) + std::string(136, '\0');
    EXPECT_EQ(content(), expected);

    m_manager.addNewSection("WDB.Event", 1, 0x1234, 72);
    expected += item("WDB.Event", 1, 0x1234, 72);
    expected.replace(72, 8, littleEndian(200, 8));
    expected.replace(152, 4, littleEndian(48, 4));
    expected.replace(192, 4, littleEndian(1, 4));
    EXPECT_EQ(content(), expected) << "an entry is in the file when addNewSection returns";

    embed(m_manager, "an id of more than 24 bytes", 0x80000001, "data");
    expected += "data" + item("an id of more than 24 by", 0x80000001, 248, 4);
    expected.replace(80, 8, littleEndian(252, 8));
    expected.replace(156, 4, littleEndian(48, 4));
    expected.replace(192, 4, littleEndian(2, 4));
    EXPECT_EQ(content(), expected);

    m_manager.close();
    EXPECT_EQ(content(), expected);
}

TEST_F(FileManagerTest, sectionsAreFoundByIdAndVersionTheOldestFirst)
{
    m_manager.create(m_path);
    for (int i = 0; i < 25; ++i)
        embed(m_manager, "section " + std::to_string(i), 1, "data " + std::to_string(i));
    embed(m_manager, "section 3", 1, "younger");
    embed(m_manager, "section 3", 2, "other version");
    embed(m_manager, "exactly 24 bytes long id", 1, "long");
    m_manager.addNewSection("empty", 1, 64, 0);
    for (int run = 0; run < 2; ++run) {
        for (int i = 0; i < 25; ++i)
            EXPECT_EQ(dataOf(m_manager, "section " + std::to_string(i)),
                      "data " + std::to_string(i));
        EXPECT_EQ(dataOf(m_manager, "section 3", 2), "other version");
        EXPECT_EQ(dataOf(m_manager, "exactly 24 bytes long id"), "long");
        EXPECT_EQ(dataOf(m_manager, "exactly 24 bytes long id, and more"), "long");
        EXPECT_EQ(dataOf(m_manager, "section"), "(none)");
        EXPECT_EQ(dataOf(m_manager, "section 4", 2), "(none)");
        EXPECT_EQ(dataOf(m_manager, "empty"), "(none)");

        WdbTableOfContentItem found;
        EXPECT_TRUE(m_manager.getSection("section 0", 1, found));
        EXPECT_EQ(found.m_fileOffset, 200);
        EXPECT_EQ(found.m_size, 6);
        EXPECT_EQ(m_manager.getSectionFileOffset("section 0", 1), 200);
        EXPECT_EQ(m_manager.getSectionSize("section 0", 1), 200) << "the offset, by contract";

        m_manager.close();
        m_manager.open(m_path);
    }
    EXPECT_EQ(openErrorOf([&] { m_manager.getSectionFileOffset("50%d %%s", 4000000000); }),
              "Cannot find sectionID = '50%d %%s' and version = '4000000000' in the wave database");
}

TEST_F(FileManagerTest, dataComesInTheSizeAskedFor)
{
    m_manager.create(m_path);
    embed(m_manager, "a", 1, "abcdef");
    const auto first = [&](const std::string& id, long long size) -> std::string {
        const std::unique_ptr<char[]> data(m_manager.getSectionData(id, 1, size));
        return data ? std::string(data.get(), static_cast<std::size_t>(size)) : "(none)";
    };
    EXPECT_EQ(first("a", 3), "abc");
    EXPECT_EQ(first("a", 54), "abcdef" + item("a", 1, 200, 6));
    EXPECT_EQ(first("a", 56), padded("abcdef" + item("a", 1, 200, 6), 56));
    EXPECT_EQ(first("a", 0), "(none)");
    EXPECT_EQ(first("a", -1), "(none)");
    EXPECT_EQ(first("a", 1LL << 60), "(none)") << "no more than the file explains";
    EXPECT_EQ(first("b", 3), "(none)");

    m_manager.addNewSection("outside", 1, 5000, 1);
    m_manager.addNewSection("too long", 1, 200, 1 << 20);
    m_manager.addNewSection("negative", 1, -8, 4);
    m_manager.addNewSection("less than nothing", 1, 200, -4);
    for (const char* id : {"outside", "too long", "negative", "less than nothing"}) {
        EXPECT_EQ(dataOf(m_manager, id), "(none)") << id;
        EXPECT_EQ(first(id, 2), id == std::string("too long") ? "ab" : "(none)") << id;
    }
    long long untouched = 5;
    EXPECT_EQ(m_manager.getSectionData("missing", 1, &untouched), nullptr);
    EXPECT_EQ(untouched, 5);
}

TEST_F(FileManagerTest, filesAreEmbeddedWhole)
{
    std::string big(300000, '\0');
    for (std::size_t i = 0; i < big.size(); ++i)
        big[i] = static_cast<char>(i * i >> 3);
    const std::string source = m_directory.path("zsim.dbg");
    writeFile(source, big);
    writeFile(m_directory.path("empty"), "");

    m_manager.embedFileInNewSection("closed", 1, m_directory.path("missing"));
    m_manager.create(m_path);
    m_manager.embedFileInNewSection("Zelnix DBG", 1, source);
    EXPECT_EQ(dataOf(m_manager, "Zelnix DBG"), big);
    const std::string before = content();
    m_manager.embedFileInNewSection("none", 1, m_directory.path("empty"));
    embed(m_manager, "none", 1, "");
    EXPECT_EQ(content(), before);
    EXPECT_EQ(openErrorOf([&] { m_manager.getSectionFileOffset("none", 1); }),
              "Cannot find sectionID = 'none' and version = '1' in the wave database");
}

using FileManagerDeathTest = FileManagerTest;

TEST_F(FileManagerDeathTest, fileThatCannotBeEmbeddedEndsTheProcess)
{
    m_manager.create(m_path);
    const std::string missing = m_directory.path("100%s");
    EXPECT_EXIT(m_manager.embedFileInNewSection("a", 1, missing), ::testing::ExitedWithCode(1),
                ::testing::StrEq("WDB FATAL ERROR: Can't open WDB constituent file " + missing +
                                 " for reading for the following reason: No such file or "
                                 "directory\n"));
    // Its size says a page, and it holds less.
    const std::string lying = "/sys/kernel/mm/transparent_hugepage/enabled";
    if (std::filesystem::exists(lying)) {
        EXPECT_EXIT(m_manager.embedFileInNewSection("a", 1, lying), ::testing::ExitedWithCode(1),
                    ::testing::StartsWith("WDB FATAL ERROR: Can't read WDB constituent file " +
                                          lying + " for the following reason: "));
    }
}

TEST_F(FileManagerTest, closedManagerDoesNothing)
{
    m_manager.close();
    m_manager.readHeader();
    m_manager.writeHeader();
    m_manager.addNewSection("a", 1, 0, 0);
    embed(m_manager, "a", 1, "abc");
    EXPECT_EQ(dataOf(m_manager, "a"), "(none)");
    EXPECT_EQ(m_manager.getTableOfContent(), nullptr);
    EXPECT_FALSE(std::filesystem::exists(m_path));

    m_manager.create(m_path);
    m_manager.close();
    const std::string before = content();
    embed(m_manager, "a", 1, "abc");
    m_manager.setApplication("later");
    EXPECT_EQ(content(), before);
}

TEST_F(FileManagerTest, applicationStaysInsideItsField)
{
    const std::string exact = "exactly 24 bytes of name";
    m_manager.create(m_path);
    m_manager.setApplication(exact + ", and more");
    EXPECT_EQ(content().substr(24, 24), exact) << "the header is written at once";
    EXPECT_EQ(m_manager.getApplication(), exact);
    m_manager.setApplication("short");
    EXPECT_EQ(content().substr(24, 24), padded("short", 24));

    WdbFileManager reader;
    reader.open(m_path);
    EXPECT_EQ(reader.getApplication(), "short");
    m_manager.setApplication("changed");
    reader.readHeader();
    EXPECT_EQ(reader.getApplication(), "changed");

    const std::string second = m_directory.path("second.wdb");
    m_manager.create(second);
    EXPECT_EQ(readFile(second).substr(24, 24), padded("changed", 24)) << "kept for the next file";
}

TEST_F(FileManagerTest, whatCannotBeOpenedIsRefusedAndTheManagerStaysUsable)
{
    WdbFileManager other;
    other.create(m_path);
    embed(other, "a", 1, "abc");
    other.close();
    const std::string good = content();
    const std::string bad = m_directory.path("bad.wdb");
    const auto openBad = [&] { m_manager.open(bad); };
    const auto check = [&](const std::string& error) {
        EXPECT_EQ(openErrorOf(openBad), error);
        EXPECT_FALSE(m_manager.isOpen());
        EXPECT_TRUE(m_manager.getiostream().good());
        m_manager.open(m_path);
        EXPECT_EQ(dataOf(m_manager, "a"), "abc");
        m_manager.close();
    };
    check("wdb database file does not exist.");
    std::filesystem::create_directory(bad);
    check(kCannotOpen);
    std::filesystem::remove(bad);
    for (std::size_t size : {0u, 1u, 63u}) {
        writeFile(bad, good.substr(0, size));
        check(kCannotOpen);
    }
    for (std::size_t at : {0u, 22u, 23u}) {
        std::string changed = good;
        changed[at] = static_cast<char>(changed[at] ^ 1);
        writeFile(bad, changed);
        check(kIncompatible);
    }
    ::mkfifo((bad + ".pipe").c_str(), 0600);
    EXPECT_EQ(openErrorOf([&] { m_manager.open(bad + ".pipe"); }), kCannotOpen);

    m_manager.create(bad);
    EXPECT_EQ(readFile(bad).substr(0, 24), good.substr(0, 24)) << "nothing of the bad file is kept";
    EXPECT_EQ(openErrorOf([&] { m_manager.open(m_path); }), kCannotOpen) << "already open";
    embed(m_manager, "b", 1, "still the file that was created");
    EXPECT_EQ(dataOf(m_manager, "b"), "still the file that was created");
}

TEST_F(FileManagerTest, whatCannotBeCreatedIsRefusedAndTheManagerStaysUsable)
{
    std::vector<std::string> paths = {m_directory.path("no%%such/a.wdb"), m_directory.path("")};
    if (std::filesystem::exists("/dev/full"))
        paths.push_back("/dev/full");
    for (const std::string& path : paths) {
        m_manager.create(m_path);
        EXPECT_EQ(openErrorOf([&] { m_manager.create(path); }),
                  "Cannot create simulation database file at: " + path +
                      " Please check that this filepath is writable or specify an alternative "
                      "location using --wdb");
        EXPECT_FALSE(m_manager.isOpen());
        EXPECT_TRUE(m_manager.getiostream().good());
    }
    m_manager.create(m_path);
    embed(m_manager, "a", 1, "abc");
    EXPECT_EQ(dataOf(m_manager, "a"), "abc");
}

TEST_F(FileManagerTest, readerFollowsAWriterAndNeverWrites)
{
    m_manager.create(m_path);
    WdbFileManager reader;
    reader.open(m_path);
    for (int i = 0; i < 30; ++i) {
        const std::string id = std::to_string(i);
        EXPECT_EQ(dataOf(reader, id), "(none)");
        embed(m_manager, id, 1, "data " + id);
        EXPECT_EQ(dataOf(reader, id), "data " + id);
    }
    const std::string before = content();
    EXPECT_THROW(reader.setApplication("mine"), std::ios_base::failure);
    EXPECT_EQ(dataOf(reader, "0"), "data 0") << "usable after the refusal";
    reader.close();
    EXPECT_EQ(content(), before);
}

TEST_F(FileManagerTest, threadsMayEmbedAtOnce)
{
    m_manager.create(m_path);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([this, thread] {
            for (int i = 0; i < 20; ++i) {
                const std::string id = std::to_string(100 * thread + i);
                embed(m_manager, id, 1, "data of " + id);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    for (int thread = 0; thread < 4; ++thread)
        for (int i = 0; i < 20; ++i) {
            const std::string id = std::to_string(100 * thread + i);
            EXPECT_EQ(dataOf(m_manager, id), "data of " + id);
        }
}

} // namespace
} // namespace Tracewell
