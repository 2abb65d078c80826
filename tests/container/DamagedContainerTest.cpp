#include "../support/TestFiles.h"

#include "QsimException.h"
#include "WdbFileManager.h"

#include <cstdlib>
#include <random>

namespace Tracewell {
namespace {

constexpr int kSections = 25;

std::string makeContainer(const std::string& path)
{
    WdbFileManager manager;
    manager.create(path);
    for (int i = 0; i < kSections; ++i) {
        const std::string data(static_cast<std::size_t>(5 * i + 1), static_cast<char>('a' + i));
        manager.embedDataInNewSection(std::to_string(i), 1,
                                      reinterpret_cast<const unsigned char*>(data.data()),
                                      static_cast<long long>(data.size()));
    }
    manager.close();
    return readFile(path);
}

/// Everything that a reader can ask for; no answer may be larger than the file.
void readEverything(const std::string& path, long long fileSize)
{
    WdbFileManager manager;
    try {
        manager.open(path);
    } catch (const Qsim::OpenException&) {
        return;
    }
    manager.getApplication();
    for (int i = 0; i <= kSections; ++i) {
        const std::string id = i < kSections ? std::to_string(i) : std::string();
        long long size = 0;
        std::free(manager.getSectionData(id, 1, &size));
        EXPECT_LE(size, fileSize);
        delete[] manager.getSectionData(id, 1, 100LL);
        try {
            manager.getSectionFileOffset(id, 1);
        } catch (const Qsim::OpenException&) {
        }
    }
}

/// A place, and what somebody could put there to do harm.
void damage(std::string& bytes, std::mt19937_64& random)
{
    const unsigned long long values[] = {0,
                                         1,
                                         8,
                                         64,
                                         bytes.size() - 1,
                                         bytes.size(),
                                         0x7FFFFFFFFFFFFFFF,
                                         0x8000000000000000,
                                         0xFFFFFFFFFFFFFFFF,
                                         random(),
                                         random() % bytes.size()};
    const std::size_t at = 24 + random() % (bytes.size() - 31);
    const int size = random() % 2 == 0 ? 8 : 4;
    bytes.replace(at / 4 * 4, static_cast<std::size_t>(size),
                  littleEndian(values[random() % std::size(values)], size));
}

TEST(DamagedContainer, noDamageHarmsAReader)
{
    const TestDirectory directory;
    const std::string path = directory.path("run.wdb");
    const std::string good = makeContainer(path);
    for (unsigned int seed = 1; seed <= 1500; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937_64 random(seed);
        std::string bytes = good;
        for (unsigned long long count = 1 + random() % 6; count > 0; --count)
            damage(bytes, random);
        if (random() % 4 == 0)
            bytes.resize(random() % bytes.size());
        writeFile(path, bytes);
        readEverything(path, static_cast<long long>(bytes.size()));
        EXPECT_EQ(readFile(path), bytes) << "reading wrote";
    }
}

TEST(DamagedContainer, itemOutsideTheFileMatchesNothing)
{
    const TestDirectory directory;
    const std::string path = directory.path("run.wdb");
    std::string bytes = makeContainer(path);
    bytes.replace(72, 8, littleEndian(1ULL << 40, 8));
    writeFile(path, bytes);
    WdbFileManager manager;
    manager.open(path);
    WdbTableOfContentItem item;
    EXPECT_THROW(manager.getSection("", 0, item), Qsim::OpenException);
    EXPECT_THROW(manager.getSection("0", 1, item), Qsim::OpenException);
    EXPECT_TRUE(manager.getSection("24", 1, item)) << "the rest is still found";
}

} // namespace
} // namespace Tracewell
