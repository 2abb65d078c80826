#include "formats/wdb/NameSection.h"
#include "names/DataLayout.h"
#include "record/ByteWriter.h"
#include "record/RecordingWriter.h"
#include "record/SnapshotDirectory.h"

#include "OutputFileNames.h"
#include "WdbEventBlockDatabaseFactory.h"
#include "WdbFileManager.h"
#include "WdbMultipleBucketBtreeDatabase.h"
#include "WdbStringMapDatabase.h"
#include "WdbWholeMark.h"

#include <unordered_map>

namespace tracewell {

namespace {

using Tracewell::WdbMultipleBucketBtreeDatabase;
using Tracewell::WdbStringMapDatabase;

constexpr int kIndexedTypeId = Tracewell::WdbEventBlockDatabaseFactory::kMultipleBucketBtree;
constexpr int kStringMapTypeId = 101;

/// Writes the container by itself: no writer of the library makes one with an index by time.
class IndexedWriter : public RecordingWriter, private ByteWriter
{
public:
    ~IndexedWriter() override { closeFile(); }

    Tracewell::IWdbWriter& writer() override { return *this; }
    ValueRecorder::Store store() const override { return ValueRecorder::Store::Events; }
    void open(const std::string& output, const SnapshotDirectory& directory,
              const DataLayout& layout, unsigned long long inputSize) override;
    void flush() override;
    void finish(long long lastTime, SnapshotDirectory& directory,
                const Declarations& declarations) override;

private:
    using ByteWriter::open;

    /// Firings of an event at one time that the open block holds.
    struct Firings
    {
        long long time = -1;
        unsigned int count = 0;
    };

    long long addString(const std::string& text) override { return m_texts->addString(text); }
    void markCurrentTime(long long time) override { m_database->setLatestTime(time); }
    void write(long long time, long long address, unsigned int length,
               const unsigned char* value) override;
    void makeRoomForFiring(long long time, long long address);
    void closeFile();

    Tracewell::WdbFileManager m_file;
    std::unique_ptr<WdbMultipleBucketBtreeDatabase> m_database;
    std::unique_ptr<WdbStringMapDatabase> m_texts;
    Tracewell::WdbWholeMark m_mark;
    long long m_eventStart = 0;
    long long m_eventEnd = 0;
    std::unordered_map<long long, Firings> m_firings;
};

void IndexedWriter::open(const std::string& output, const SnapshotDirectory& directory,
                         const DataLayout& layout, unsigned long long)
{
    const auto size = static_cast<unsigned long long>(layout.totalSize());
    constexpr unsigned int kDivision = WdbMultipleBucketBtreeDatabase::kBucketDivision;
    m_eventStart = layout.eventStart();
    m_eventEnd = layout.eventEnd();
    m_file.setApplication("tracewell");
    m_file.create(output);
    // Before anything can be read, so that no file is without what tells how much of it is whole.
    m_mark.create(m_file);
    m_file.embedFileInNewSection(kNameSection, kNameSectionVersion,
                                 ZSIM::OutputFileNames::getDbgPathName(
                                     ZSIM::OutputFileNames::getSnapshotName(directory.snapshot())));
    m_database = std::make_unique<WdbMultipleBucketBtreeDatabase>(kIndexedTypeId, m_file);
    m_database->initialize(
        Tracewell::WdbIEventBlockDatabase::createEventSection(
            kIndexedTypeId,
            Tracewell::WdbIEventBlockDatabase::calculateNumberOfBucket(size, kDivision), size,
            kDivision, m_file),
        true);
    m_texts = std::make_unique<WdbStringMapDatabase>(m_file);
    m_texts->initialize(
        WdbStringMapDatabase::createStringMapSection(kStringMapTypeId, m_file, true), true);
    makeCurrent();
}

void IndexedWriter::write(long long time, long long address, unsigned int length,
                          const unsigned char* value)
{
    if (address >= m_eventStart && address < m_eventEnd) {
        makeRoomForFiring(time, address);
    }
    m_database->writeEvent(time, address, length, value);
}

// Of what happens at one time the database keeps the last in each block, and the count of an event
// tells how many there were as long as it does not wrap. So the block ends before it does.
void IndexedWriter::makeRoomForFiring(long long time, long long address)
{
    constexpr unsigned int kMostInBlock = 255;
    Firings& firings = m_firings[address];
    if (firings.time != time) {
        firings = {time, 0};
    } else if (firings.count == kMostInBlock) {
        firings.count = 0;
        if (Tracewell::WdbEventBtree* const tree = m_database->findTree(address)) {
            tree->filterAndSaveBlock();
        }
    }
    ++firings.count;
}

void IndexedWriter::flush()
{
    // The texts first: an event that is in the file finds the text that it names.
    m_texts->flush();
    m_database->sync();
    // More may come of the latest time.
    if (m_database->getLatestTime() > 0) {
        m_mark.set(m_file, m_database->getLatestTime() - 1);
    }
}

void IndexedWriter::finish(long long, SnapshotDirectory&, const Declarations&)
{
    closeFile();
}

void IndexedWriter::closeFile()
{
    m_texts.reset();
    m_database.reset();
    m_mark.set(m_file, Tracewell::WdbWholeMark::kClosed);
    m_file.close();
}

} // namespace

std::unique_ptr<RecordingWriter> makeIndexedWriter()
{
    return std::make_unique<IndexedWriter>();
}

} // namespace tracewell
