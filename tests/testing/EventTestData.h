// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "testing/TestFiles.h"

#include "QsimException.h"
#include "WdbEventBlockDatabaseFactory.h"
#include "WdbFileManager.h"
#include "WdbMultipleBucketEventDatabase.h"

#include <zlib.h>

#include <memory>
#include <ostream>
#include <random>
#include <string>
#include <vector>

namespace Tracewell {

struct TestEvent
{
    long long time;
    long long address;
    std::string value;

    bool operator==(const TestEvent& other) const
    {
        return time == other.time && address == other.address && value == other.value;
    }
    friend std::ostream& operator<<(std::ostream& os, const TestEvent& event)
    {
        return os << event.time << '@' << event.address << '*' << event.value.size();
    }
};

inline const unsigned char* bytesOf(const std::string& text)
{
    return reinterpret_cast<const unsigned char*>(text.data());
}

inline void add(WdbEventBlock& block, const TestEvent& event)
{
    block.addEvent(event.time, event.address, static_cast<unsigned int>(event.value.size()),
                   bytesOf(event.value));
}

inline void add(WdbIEventBlockDatabase& database, const TestEvent& event)
{
    database.writeEvent(event.time, event.address, static_cast<unsigned int>(event.value.size()),
                        bytesOf(event.value));
}

inline std::vector<TestEvent> eventsOf(WdbEventBlock& block)
{
    std::vector<TestEvent> events;
    for (WdbEventIterator it = block.getEventIterator(); it.hasNext();) {
        const WdbEvent& event = *it.next();
        const auto* const value = reinterpret_cast<const char*>(event.getValue());
        events.push_back(
            {event.getTime(), event.getStartAddress(), std::string(value, event.getValuelength())});
    }
    return events;
}

/// The events of all iterators, one after the other.
inline std::vector<TestEvent> eventsOf(const WdbIEventBlockDatabase::IteratorVector& iterators,
                                       unsigned int blockSize = 10240)
{
    std::vector<TestEvent> events;
    WdbEventBlock block(blockSize, 0);
    for (const auto& iterator : iterators) {
        for (; *iterator; ++*iterator) {
            iterator->getEventBlock(block);
            for (TestEvent& event : eventsOf(block)) {
                events.push_back(std::move(event));
            }
        }
    }
    return events;
}

inline std::vector<TestEvent> eventsOf(const WdbIEventBlockDatabase& database)
{
    return eventsOf(database.getAllEventBlockDatabaseIterator(),
                    database.getEventDatabaseHeader().m_maxEventBlockSize);
}

/// An event record as it lies in a block.
inline std::string record(unsigned long long time, unsigned int delta, const std::string& value)
{
    return littleEndian(time, 8) + littleEndian(delta, 4) + littleEndian(value.size(), 4) + value;
}

inline std::string inflated(const std::string& stream)
{
    std::string out(1 << 20, '\0');
    uLongf size = out.size();
    EXPECT_EQ(
        uncompress(reinterpret_cast<Bytef*>(out.data()), &size, bytesOf(stream), stream.size()),
        Z_OK);
    out.resize(size);
    return out;
}

inline unsigned int below(std::mt19937& random, unsigned int end)
{
    return static_cast<unsigned int>(random() % end);
}

inline std::string randomBytes(std::mt19937& random, std::size_t size)
{
    std::string bytes(size, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(random());
    }
    return bytes;
}

/// A new event section in an open container, and the database that writes it.
inline std::unique_ptr<WdbIEventBlockDatabase> createDatabase(WdbFileManager& files, int typeId,
                                                              unsigned long long addressSize,
                                                              unsigned int division = 2048)
{
    const long long section = WdbIEventBlockDatabase::createEventSection(
        typeId, WdbIEventBlockDatabase::calculateNumberOfBucket(addressSize, division), addressSize,
        division, files);
    std::unique_ptr<WdbIEventBlockDatabase> database(
        WdbEventBlockDatabaseFactory::getInstance().create(typeId, files));
    if (database) {
        database->initialize(section, true);
    }
    return database;
}

/// The database of an open container, for reading.
inline std::unique_ptr<WdbIEventBlockDatabase> openDatabase(WdbFileManager& files)
{
    std::unique_ptr<WdbIEventBlockDatabase> database(
        WdbEventBlockDatabaseFactory::getInstance().create(
            WdbIEventBlockDatabase::getEventDatabaseTypeId(files), files));
    if (!database) {
        throw Qsim::OpenException("test", "", "", 0, "no such type");
    }
    database->initialize(WdbIEventBlockDatabase::getEventSection(files), false);
    return database;
}

/// A container in a directory of its own, and databases in it.
class TestContainer
{
public:
    TestContainer() { m_files.create(path()); }

    std::string path() const { return m_directory.path("run.wdb"); }
    std::string content() const { return readFile(path()); }
    WdbFileManager& files() { return m_files; }
    WdbIBlockManager& blocks() { return m_files.getFileBlockManager(); }
    void reopen()
    {
        m_files.close();
        m_files.open(path());
    }
    std::unique_ptr<WdbIEventBlockDatabase>
    createDatabase(int typeId, unsigned long long addressSize, unsigned int division = 2048)
    {
        return Tracewell::createDatabase(m_files, typeId, addressSize, division);
    }
    std::unique_ptr<WdbIEventBlockDatabase> openDatabase()
    {
        return Tracewell::openDatabase(m_files);
    }

private:
    TestDirectory m_directory;
    WdbFileManager m_files;
};

} // namespace Tracewell
