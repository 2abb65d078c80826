// SPDX-License-Identifier: BSD-3-Clause

#include "WdbStringMapDatabase.h"

#include "BlockStore.h"
#include "EventSection.h"
#include "WdbFileManager.h"

#include <algorithm>
#include <array>
#include <iostream>
#include <utility>
#include <vector>

namespace Tracewell {

namespace {

const std::string kSectionId = "WDB.StringMap";
constexpr unsigned int kSectionVersion = 1;

constexpr unsigned int kSmallestBlockSize = 256;
constexpr unsigned int kLargestBlockSize = 1u << 20;

/// No more than this many bytes of text need a trial: even noise of that length fits.
constexpr std::size_t alwaysFitting(unsigned int blockSize)
{
    return blockSize / 4 * 3;
}

} // namespace

/// The blocks of a map that is read alone, so that a text is found without a walk, and those that
/// were opened last. Another process may append to the map.
class WdbStringMapDatabase::Listing
{
public:
    Listing(WdbIBlockManager& manager, long long firstNode)
        : m_manager(manager), m_lastNode(firstNode)
    {}

    bool find(long long id, std::string& text)
    {
        if (findListed(id, text)) {
            return true;
        }
        // What has come since begins in the node that was the last one.
        const std::size_t before = m_entries.size();
        readOn();
        return m_entries.size() != before && findListed(id, text);
    }

private:
    struct Entry
    {
        long long handle;
        long long startId;
        unsigned int size;
        unsigned int count;

        bool covers(long long id) const
        {
            return startId <= id &&
                   static_cast<unsigned long long>(id) - static_cast<unsigned long long>(startId) <
                       count;
        }
    };
    struct OpenBlock
    {
        long long handle = 0;
        unsigned int size = 0;
        std::unique_ptr<WdbStringBlock> block;
    };
    static constexpr std::size_t kOpenBlocks = 32;

    void readOn()
    {
        m_entries.resize(m_entries.size() - m_entriesOfLastNode);
        m_entriesOfLastNode = 0;
        for (StringBlockList::Iterator it(m_manager, m_lastNode); !it.isEof(); ++it) {
            if (it.getNode() != m_lastNode) {
                m_lastNode = it.getNode();
                m_entriesOfLastNode = 0;
            }
            const Entry entry{it.getHandle(), it.getStartId(), it.getSize(), it.getCount()};
            if (entry.count == 0) {
                continue;
            }
            m_isAscending &= m_entries.empty() || (m_entries.back().startId < entry.startId &&
                                                   !m_entries.back().covers(entry.startId));
            m_entries.push_back(entry);
            ++m_entriesOfLastNode;
        }
    }

    /// Where blocks say that they hold the same id, which is damage, the last one counts.
    bool findListed(long long id, std::string& text)
    {
        auto first = m_entries.cbegin();
        auto end = m_entries.cend();
        if (m_isAscending) {
            end = std::upper_bound(first, end, id, [](long long wanted, const Entry& entry) {
                return wanted < entry.startId;
            });
            first = end == first ? first : end - 1;
        }
        bool found = false;
        for (auto entry = first; entry != end; ++entry) {
            if (!entry->covers(id)) {
                continue;
            }
            const WdbStringBlock& block = open(*entry);
            for (WdbStringBlockIterator item = block.getStringBlockIterator();
                 !block.isDamaged() && item.hasNext();) {
                const StringBlockItem& candidate = item.next();
                if (candidate.id == id) {
                    text = candidate.text;
                    found = true;
                    break;
                }
            }
        }
        return found;
    }

    const WdbStringBlock& open(const Entry& entry)
    {
        const auto known = std::find_if(m_open.begin(), m_open.end(), [&](const OpenBlock& open) {
            return open.block && open.handle == entry.handle && open.size == entry.size;
        });
        if (known != m_open.end()) {
            return *known->block;
        }
        OpenBlock& open = m_open[m_next++ % kOpenBlocks];
        if (!open.block) {
            open.block =
                std::make_unique<WdbStringBlock>(WdbStringMapDatabaseHeader::getDefaultBlockSize());
        }
        open.handle = entry.handle;
        open.size = entry.size;
        open.block->loadBlock(entry.handle, entry.size, m_manager);
        if (open.block->getStartID() != entry.startId || open.block->size() != entry.count) {
            m_manager.noteDamage({WdbDamage::TextBlock, entry.handle, entry.size});
        }
        return *open.block;
    }

    WdbIBlockManager& m_manager;
    /// In the order of the list.
    std::vector<Entry> m_entries;
    long long m_lastNode;
    std::size_t m_entriesOfLastNode = 0;
    /// Whether each block begins behind the texts of the one in front of it.
    bool m_isAscending = true;
    std::array<OpenBlock, kOpenBlocks> m_open;
    std::size_t m_next = 0;
};

void WdbStringMapDatabaseHeader::dump() const
{
    std::cout << "databaseTypeId = " << m_databaseTypeId << '\n'
              << "stringBlockSize = " << m_stringBlockSize << '\n'
              << "stringBlockFileOffset = " << m_stringBlockFileOffset << '\n';
}

WdbStringMapDatabase::Iterator::Iterator(WdbIBlockManager& manager,
                                         const StringBlockList::Iterator& iterator)
    : m_blockManager(&manager), m_iterator(iterator)
{}

WdbStringMapDatabase::Iterator::~Iterator() = default;

bool WdbStringMapDatabase::Iterator::isEof() const
{
    return m_iterator.isEof();
}

WdbStringMapDatabase::Iterator::operator bool() const
{
    return !m_iterator.isEof();
}

WdbStringMapDatabase::Iterator& WdbStringMapDatabase::Iterator::operator++()
{
    ++m_iterator;
    return *this;
}

void WdbStringMapDatabase::Iterator::getStringBlock(WdbStringBlock& block)
{
    block.loadBlock(m_iterator.getHandle(), m_iterator.getSize(), *m_blockManager);
}

void WdbStringMapDatabase::Iterator::getBlockInfo(long long& handle, unsigned int& size,
                                                  long long& startId, unsigned int& count) const
{
    handle = m_iterator.getHandle();
    size = m_iterator.getSize();
    startId = m_iterator.getStartId();
    count = m_iterator.getCount();
}

WdbStringMapDatabase::WdbStringMapDatabase(WdbFileManager& fileManager)
    : m_blockManager(&fileManager.getFileBlockManager()),
      m_store(std::make_unique<Store>(*m_blockManager))
{}

WdbStringMapDatabase::~WdbStringMapDatabase()
{
    if (m_forWriting) {
        storeAll();
    }
}

void WdbStringMapDatabase::setStoreQueue(std::shared_ptr<BlockStoreQueue> queue)
{
    m_store->setQueue(std::move(queue));
}

long long WdbStringMapDatabase::createStringMapSection(int typeId, WdbFileManager& fileManager,
                                                       bool addToTable)
{
    WdbIBlockManager& blocks = fileManager.getFileBlockManager();
    const CheckedLock<boost::recursive_mutex> lock(blocks.getMutex());

    const long long noNode = 0;
    WdbStringMapDatabaseHeader header;
    header.m_databaseTypeId = typeId;
    header.m_stringBlockSize = WdbStringMapDatabaseHeader::getDefaultBlockSize();
    header.m_stringBlockFileOffset =
        blocks.addBlock(reinterpret_cast<const char*>(&noNode), sizeof noNode);
    const long long offset = blocks.addBlock(reinterpret_cast<const char*>(&header), sizeof header);
    if (addToTable) {
        fileManager.addNewSection(kSectionId, kSectionVersion, offset, sizeof header);
    }
    return offset;
}

long long WdbStringMapDatabase::getStringMapSection(WdbFileManager& fileManager)
{
    return fileManager.getSectionFileOffset(kSectionId, kSectionVersion);
}

void WdbStringMapDatabase::initialize(long long sectionOffset, bool forWriting)
{
    WdbStringMapDatabaseHeader header;
    if (!m_blockManager->contains(sectionOffset, sizeof header)) {
        throwDamagedSection("The string section of the wave database lies outside the file.");
    }
    m_blockManager->getBlock(sectionOffset, reinterpret_cast<char*>(&header), sizeof header);
    if (!m_blockManager->contains(header.m_stringBlockFileOffset, sizeof(long long))) {
        throwDamagedSection("The string blocks of the wave database lie outside the file.");
    }
    if (forWriting && (header.m_stringBlockSize < kSmallestBlockSize ||
                       header.m_stringBlockSize > kLargestBlockSize)) {
        throwDamagedSection("The string block size of the wave database is damaged.");
    }

    m_header = header;
    m_list = std::make_unique<StringBlockList>(
        *m_blockManager, header.m_stringBlockFileOffset, header.m_stringBlockSize, 0,
        forWriting ? StringBlockList::Access::Writing : StringBlockList::Access::Reading);
    m_listing.reset();
    m_forWriting = forWriting;
}

long long WdbStringMapDatabase::addString(const std::string& text)
{
    if (!m_forWriting || !canStoreAlone(text)) {
        return -1;
    }
    if (!m_list->openItem().canAdd(text)) {
        m_store->storeOpenItem(*m_list);
    }
    m_list->openItem().addString(++m_lastId, text);
    return m_lastId;
}

bool WdbStringMapDatabase::canStoreAlone(const std::string& text)
{
    const unsigned int blockSize = m_header.m_stringBlockSize;
    if (text.size() + WdbStringBlock::kHeaderSize + 1 >= blockSize ||
        text.find('\0') != std::string::npos) {
        return false;
    }
    if (text.size() <= alwaysFitting(blockSize)) {
        return true;
    }
    // A block with this text alone cannot be split if its stream is too long.
    WdbStringBlock block(blockSize);
    block.addString(m_lastId + 1, text);
    ImageCompressor compressor;
    return compressor.compress(block.getMemory(), blockSize);
}

bool WdbStringMapDatabase::getString(unsigned int id, std::string& text) const
{
    if (m_list && !m_forWriting) {
        if (!m_listing) {
            m_listing = std::make_unique<Listing>(*m_blockManager, m_list->getFirstNode());
        }
        return m_listing->find(id, text);
    }
    bool found = false;
    for (Iterator it = getIterator(); it; ++it) {
        long long handle;
        unsigned int size;
        long long startId;
        unsigned int count;
        it.getBlockInfo(handle, size, startId, count);
        if (startId > id || id - static_cast<unsigned long long>(startId) >= count) {
            continue;
        }
        WdbStringBlock block(WdbStringMapDatabaseHeader::getDefaultBlockSize());
        it.getStringBlock(block);
        if (block.getStartID() != startId || block.size() != count) {
            m_blockManager->noteDamage({WdbDamage::TextBlock, handle, size});
        }
        if (block.isDamaged()) {
            continue;
        }
        for (WdbStringBlockIterator item = block.getStringBlockIterator(); item.hasNext();) {
            const StringBlockItem& candidate = item.next();
            if (candidate.id == id) {
                text = candidate.text;
                found = true;
                break;
            }
        }
    }
    return found;
}

WdbStringMapDatabase::Iterator WdbStringMapDatabase::getIterator() const
{
    storeAll();
    return Iterator(*m_blockManager,
                    m_list ? m_list->begin() : StringBlockList::Iterator(*m_blockManager, 0));
}

void WdbStringMapDatabase::flush()
{
    storeAll();
}

void WdbStringMapDatabase::storeAll() const
{
    if (m_list && m_list->isItemOpen()) {
        m_store->storeOpenItem(*m_list);
    }
    m_store->drain();
    if (m_list) {
        m_list->flushNode();
    }
}

void WdbStringMapDatabase::loadDataBlock(long long handle, unsigned int size,
                                         WdbStringBlock& block) const
{
    block.loadBlock(handle, size, *m_blockManager);
}

} // namespace Tracewell
