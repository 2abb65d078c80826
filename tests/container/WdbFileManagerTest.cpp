// SPDX-License-Identifier: BSD-3-Clause

#include "testing/Seed.h"
#include "testing/TestFiles.h"

#include "QsimException.h"
#include "WdbFileManager.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cstdlib>
#include <ctime>
#include <random>
#include <thread>
#include <vector>

#include <sys/stat.h>

namespace Tracewell {
namespace {

constexpr char kCannotOpen[] = "Cannot open simulation database file.";
constexpr char kIncompatible[] =
    "The file may be corrupt or of an unsupported older format.  As of version 2014.3 Merido "
    "includes a new, enhanced waveform database. Because the new database is incompatible with "
    "the old database, the current version of Merido cannot open WDB files created in versions "
    "prior to 2014.3";

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
    const std::unique_ptr<char, decltype(&std::free)> data(
        manager.getSectionData(id, version, &size), &std::free);
    return data ? std::string(data.get(), static_cast<std::size_t>(size)) : "(none)";
}

/// The first bytes of a section.
std::string dataOf(const WdbFileManager& manager, const std::string& id, long long size)
{
    const std::unique_ptr<char[]> data(manager.getSectionData(id, 1, size));
    return data ? std::string(data.get(), static_cast<std::size_t>(size)) : "(none)";
}

std::string item(const std::string& id, unsigned int version, unsigned int offset,
                 unsigned int size)
{
    return padded(id, 24) + littleEndian(version, 8) + littleEndian(offset, 8) +
           littleEndian(size, 8);
}

class FileManagerTest : public ::testing::Test
{
protected:
    std::string content() const { return readFile(m_path); }

    const TestDirectory m_directory;
    const std::string m_path = m_directory.path("run.wdb");
    WdbFileManager m_manager;
};

using FileManagerDeathTest = FileManagerTest;

TEST_F(FileManagerTest, containerLiesInTheFileAsLaidOut)
{
    m_manager.setApplication("Tracewell");
    const std::time_t before = std::time(nullptr);
    m_manager.create(m_path);
    const int created = m_manager.getHeader().m_creationTime;
    EXPECT_TRUE(created >= before && created <= std::time(nullptr));

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
    m_manager.close();
    EXPECT_EQ(content(), expected);
}

TEST_F(FileManagerTest, sectionsAreFoundByIdAndVersionTheOldestFirst)
{
    m_manager.create(m_path);
    for (int i = 0; i < 25; ++i) {
        embed(m_manager, "section " + std::to_string(i), 1, "data " + std::to_string(i));
    }
    embed(m_manager, "section 3", 1, "younger");
    embed(m_manager, "section 3", 2, "other version");
    embed(m_manager, "exactly 24 bytes long id", 1, "long");
    for (int run = 0; run < 2; ++run) {
        for (int i = 0; i < 25; ++i) {
            EXPECT_EQ(dataOf(m_manager, "section " + std::to_string(i)),
                      "data " + std::to_string(i));
        }
        EXPECT_EQ(dataOf(m_manager, "section 3", 2u), "other version");
        EXPECT_EQ(dataOf(m_manager, "exactly 24 bytes long id, and more"), "long");
        EXPECT_EQ(dataOf(m_manager, "section"), "(none)");
        WdbTableOfContentItem found;
        EXPECT_TRUE(m_manager.getSection("section 0", 1, found) && found.m_fileOffset == 200 &&
                    found.m_size == 6);
        EXPECT_EQ(m_manager.getSectionFileOffset("section 0", 1), 200);
        EXPECT_EQ(m_manager.getSectionSize("section 0", 1), 200) << "the offset, by contract";
        m_manager.close();
        m_manager.open(m_path);
    }
    EXPECT_EQ(openErrorOf([&] { m_manager.getSectionFileOffset("50%d %%s", 4000000000); }),
              "Cannot find sectionID = '50%d %%s' and version = '4000000000' in the wave database");
}

TEST_F(FileManagerTest, dataComesInTheSizeAskedForAsFarAsTheFileExplainsIt)
{
    m_manager.create(m_path);
    embed(m_manager, "a", 1, "abcdef");
    EXPECT_EQ(dataOf(m_manager, "a", 3LL), "abc");
    EXPECT_EQ(dataOf(m_manager, "a", 56LL), padded("abcdef" + item("a", 1, 200, 6), 56));
    for (long long size : {0LL, -1LL, 1LL << 60}) {
        EXPECT_EQ(dataOf(m_manager, "a", size), "(none)");
    }

    m_manager.addNewSection("outside", 1, 5000, 1);
    m_manager.addNewSection("negative", 1, -8, 4);
    m_manager.addNewSection("less than nothing", 1, 200, -4);
    m_manager.addNewSection("nothing", 1, 200, 0);
    m_manager.addNewSection("too long", 1, 200, 1 << 20);
    for (const char* id : {"outside", "negative", "less than nothing", "nothing", "missing"}) {
        EXPECT_EQ(dataOf(m_manager, id) + dataOf(m_manager, id, 2LL), "(none)(none)") << id;
    }
    EXPECT_EQ(dataOf(m_manager, "too long"), "(none)");
}

TEST_F(FileManagerTest, filesAreEmbeddedWholeAndNothingIsNoSection)
{
    std::string big(300000, '\0');
    for (std::size_t i = 0; i < big.size(); ++i) {
        big[i] = static_cast<char>(i * i >> 3);
    }
    const std::string source = m_directory.path("zsim.dbg");
    const std::string nothing = m_directory.path("empty");
    writeFile(source, big);
    writeFile(nothing, "");
    m_manager.create(m_path);
    m_manager.embedFileInNewSection("Zelnix DBG", 1, source);
    EXPECT_EQ(dataOf(m_manager, "Zelnix DBG"), big);

    const std::string before = content();
    m_manager.embedFileInNewSection("none", 1, nothing);
    embed(m_manager, "none", 1, "");
    m_manager.close();
    embed(m_manager, "none", 1, "data");
    m_manager.setApplication("later");
    EXPECT_EQ(content(), before) << "nor does a closed manager write";
}

TEST_F(FileManagerDeathTest, fileThatCannotBeEmbeddedEndsTheProcess)
{
    m_manager.create(m_path);
    const auto expectEnd = [this](const std::string& path, const std::string& what,
                                  const std::string& reason) {
        EXPECT_EXIT(m_manager.embedFileInNewSection("a", 1, path), ::testing::ExitedWithCode(1),
                    ::testing::StrEq("WDB FATAL ERROR: Can't " + what +
                                     " for the following reason: " + reason + "\n"));
    };
    const std::string missing = m_directory.path("100%s");
    expectEnd(missing, "open WDB constituent file " + missing + " for reading",
              "No such file or directory");
    const std::string pipe = m_directory.path("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    expectEnd(pipe, "seek in WDB constituent file " + pipe, "Illegal seek");
}

TEST_F(FileManagerTest, whatCannotBeOpenedOrCreatedIsRefusedAndTheManagerStaysUsable)
{
    WdbFileManager other;
    other.create(m_path);
    embed(other, "a", 1, "abc");
    const std::string good = content();
    const std::string bad = m_directory.path("bad.wdb");
    const auto expectRefusal = [&](auto operation, const std::string& error) {
        EXPECT_EQ(openErrorOf(operation), error);
        EXPECT_TRUE(!m_manager.isOpen() && m_manager.getiostream().good());
        m_manager.open(m_path);
        EXPECT_EQ(openErrorOf([&] { m_manager.open(m_path); }), kCannotOpen) << "already open";
        EXPECT_EQ(dataOf(m_manager, "a"), "abc");
    };
    const auto expectRefusalOfBad = [&](const std::string& error) {
        m_manager.close();
        expectRefusal([&] { m_manager.open(bad); }, error);
    };
    expectRefusalOfBad("wdb database file does not exist.");
    writeFile(bad, good.substr(0, 63));
    expectRefusalOfBad(kCannotOpen);
    for (std::size_t at : {0u, 23u}) {
        std::string changed = good;
        changed[at] = static_cast<char>(changed[at] ^ 1);
        writeFile(bad, changed);
        expectRefusalOfBad(kIncompatible);
    }
    for (const std::string& path : {m_directory.path("no%%such/a.wdb"), m_directory.path(""),
                                    std::string("/dev/full"), std::string("/dev/null")}) {
        expectRefusal([&] { m_manager.create(path); },
                      "Cannot create simulation database file at: " + path +
                          " Please check that this filepath is writable or specify an alternative "
                          "location using --wdb");
    }
    m_manager.create(bad);
    EXPECT_EQ(readFile(bad).substr(0, 24), good.substr(0, 24)) << "nothing of the bad file is kept";
}

TEST_F(FileManagerTest, readerFollowsAWriterAndNeverWrites)
{
    m_manager.create(m_path);
    m_manager.setApplication("exactly 24 bytes of name, and more");
    WdbFileManager reader;
    reader.open(m_path);
    m_manager.setApplication("short");
    EXPECT_EQ(reader.getApplication(), "exactly 24 bytes of name");
    reader.readHeader();
    EXPECT_EQ(reader.getApplication(), "short");

    for (int i = 0; i < 30; ++i) {
        const std::string id = std::to_string(i);
        EXPECT_EQ(dataOf(reader, id), "(none)");
        embed(m_manager, id, 1, "data " + id);
        EXPECT_EQ(dataOf(reader, id), "data " + id);
    }
    const std::string before = content();
    EXPECT_THROW(reader.setApplication("mine"), std::ios_base::failure);
    EXPECT_EQ(dataOf(reader, "0"), "data 0") << "usable after the refusal";
    EXPECT_EQ(content(), before);
}

TEST_F(FileManagerTest, threadsMayEmbedAtOnce)
{
    constexpr int kEach = 200;
    m_manager.create(m_path);
    std::atomic<int> waiting{2};
    const auto embedFrom = [&](int first) {
        for (--waiting; waiting > 0;) {
        }
        for (int id = first; id < first + kEach; ++id) {
            embed(m_manager, std::to_string(id), 1, "data of " + std::to_string(id));
        }
    };
    std::thread other(embedFrom, 0);
    embedFrom(kEach);
    other.join();
    for (int id = 0; id < 2 * kEach; ++id) {
        ASSERT_EQ(dataOf(m_manager, std::to_string(id)), "data of " + std::to_string(id));
    }
}

TEST_F(FileManagerTest, noDamageHarmsAReader)
{
    m_manager.create(m_path);
    for (int i = 0; i < 25; ++i) {
        embed(m_manager, std::to_string(i), 1, std::string(5u * static_cast<unsigned>(i) + 1, 'x'));
    }
    m_manager.close();
    const std::string good = content();
    for (unsigned int seed = 1; seed <= 1500; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937_64 random(Tracewell::seeded(seed));
        const std::string bytes = damaged(good, random);
        // A name of its own: some file systems make an emptied file reach the disk.
        const std::string path = m_directory.path(std::to_string(seed));
        writeFile(path, bytes);
        m_manager.open(path);
        for (int i = 0; i < 25; ++i) {
            EXPECT_LE(dataOf(m_manager, std::to_string(i)).size(), bytes.size());
            dataOf(m_manager, std::to_string(i), 100LL);
        }
        m_manager.close();
        EXPECT_EQ(readFile(path), bytes) << "reading wrote";
    }

    writeFile(m_path, std::string(good).replace(72, 8, littleEndian(1ULL << 40, 8)));
    m_manager.open(m_path);
    WdbTableOfContentItem item;
    EXPECT_THROW(m_manager.getSection("", 0, item), Qsim::OpenException)
        << "an item outside the file matches nothing";
    EXPECT_TRUE(m_manager.getSection("24", 1, item)) << "the rest is still found";
}

} // namespace
} // namespace Tracewell
