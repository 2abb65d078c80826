// SPDX-License-Identifier: BSD-3-Clause

#include "WdbStringBlock.h"

#include "BlockInflater.h"
#include "ImageCompressor.h"
#include "StoreFailure.h"

#include <algorithm>
#include <cstring>
#include <ostream>
#include <utility>

namespace Tracewell {

namespace {

constexpr unsigned int kCountOffset = 8;

std::unique_ptr<char[]> allocate(unsigned int size)
{
    return std::unique_ptr<char[]>(
        new char[std::max(size, WdbStringBlock::kHeaderSize) + std::size_t{1}]());
}

} // namespace

WdbStringBlockIterator::WdbStringBlockIterator(const char* memory, const WdbOffsetArray& offsets)
    : m_memory(memory), m_offsets(offsets)
{}

const StringBlockItem& WdbStringBlockIterator::next()
{
    long long startId;
    std::memcpy(&startId, m_memory, sizeof startId);
    m_item.id = static_cast<long long>(static_cast<unsigned long long>(startId) + m_index);
    m_item.text = m_memory + m_offsets[m_index];
    ++m_index;
    return m_item;
}

WdbStringBlock::WdbStringBlock(unsigned int size)
    : m_blockSize(size), m_memory(allocate(size)), m_offsets(kOffsetCapacity)
{}

WdbStringBlock::WdbStringBlock(const WdbStringBlock& other)
    : m_blockSize(other.m_blockSize), m_memory(allocate(other.m_blockSize)),
      m_currentSize(other.m_currentSize), m_offsets(other.m_offsets), m_isDamaged(other.m_isDamaged)
{
    std::memcpy(m_memory.get(), other.m_memory.get(), std::max(m_blockSize, kHeaderSize));
}

WdbStringBlock& WdbStringBlock::operator=(const WdbStringBlock& other)
{
    if (this == &other) {
        return *this;
    }
    WdbStringBlock copy(other);
    m_blockSize = copy.m_blockSize;
    m_memory = std::move(copy.m_memory);
    m_currentSize = copy.m_currentSize;
    m_offsets = std::move(copy.m_offsets);
    m_isDamaged = copy.m_isDamaged;
    return *this;
}

WdbStringBlock::~WdbStringBlock() = default;

void WdbStringBlock::addString(long long id, const std::string& text)
{
    if (isEmpty()) {
        setSetStartID(id);
    }
    if (m_offsets.size() == m_offsets.capacity()) {
        m_offsets.grow(std::max(2 * m_offsets.capacity(), kOffsetCapacity));
    }
    std::memcpy(m_memory.get() + m_currentSize, text.c_str(), text.size() + 1);
    m_offsets.push_back(m_currentSize);
    m_currentSize += static_cast<unsigned int>(text.size()) + 1;
    writeCount(size());
}

void WdbStringBlock::clear()
{
    std::memset(m_memory.get(), 0, std::max(m_blockSize, kHeaderSize));
    m_currentSize = kHeaderSize;
    m_offsets.clear();
    m_isDamaged = false;
}

long long WdbStringBlock::getStartID() const
{
    long long id;
    std::memcpy(&id, m_memory.get(), sizeof id);
    return id;
}

void WdbStringBlock::setSetStartID(long long id)
{
    std::memcpy(m_memory.get(), &id, sizeof id);
}

WdbStringBlockIterator WdbStringBlock::getStringBlockIterator() const
{
    return WdbStringBlockIterator(m_memory.get(), m_offsets);
}

long long WdbStringBlock::addBlock(WdbIBlockManager& manager, unsigned int& size,
                                   long long& startId, unsigned int& count) const
{
    if (isEmpty()) {
        return 0;
    }
    writeCount(this->size());
    startId = getStartID();
    count = this->size();
    return guardStoring(manager, "WdbStringBlock", [&] {
        ImageCompressor compressor;
        compressor.compress(m_memory.get(), m_blockSize);
        size = compressor.size();
        return manager.addBlock(compressor.data(), size);
    });
}

void WdbStringBlock::loadBlock(long long offset, unsigned int size, WdbIBlockManager& manager)
{
    clear();
    bool isWhole = false;
    if (size <= m_blockSize && m_blockSize >= kHeaderSize) {
        inflateBlock(manager, offset, size, m_memory.get(), m_blockSize, isWhole);
        loadDataOffsetArray(readCount());
    }
    const bool isNothing = offset == 0 && size == 0;
    m_isDamaged = !isNothing && !(isWhole && this->size() == readCount() && !isEmpty());
    if (m_isDamaged) {
        manager.noteDamage({WdbDamage::TextBlock, offset, size});
    }
}

void WdbStringBlock::loadDataOffsetArray(unsigned int count)
{
    m_offsets.clear();
    m_currentSize = kHeaderSize;
    const unsigned int possible = m_blockSize > kHeaderSize ? m_blockSize - kHeaderSize : 0;
    m_offsets.reserve(std::min(count, possible));
    while (m_offsets.size() < count && m_currentSize < m_blockSize) {
        const char* const text = m_memory.get() + m_currentSize;
        const void* const end = std::memchr(text, '\0', m_blockSize - m_currentSize);
        if (!end) {
            return;
        }
        m_offsets.push_back(m_currentSize);
        m_currentSize += static_cast<unsigned int>(static_cast<const char*>(end) - text) + 1;
    }
}

unsigned int WdbStringBlock::readCount() const
{
    unsigned int count;
    std::memcpy(&count, m_memory.get() + kCountOffset, sizeof count);
    return count;
}

void WdbStringBlock::writeCount(unsigned int count) const
{
    std::memcpy(m_memory.get() + kCountOffset, &count, sizeof count);
}

void WdbStringBlock::dump(std::ostream& os, bool withStrings) const
{
    const std::ios_base::fmtflags flags = os.flags();
    os << std::dec << "--WdbStringBlock:dump()\n"
       << "  m_startID = " << getStartID() << '\n'
       << "  numberOfStrings = " << size() << '\n';
    if (withStrings) {
        WdbStringBlockIterator it = getStringBlockIterator();
        while (it.hasNext()) {
            const StringBlockItem& item = it.next();
            os << "  " << item.id << " = " << item.text << '\n';
        }
    }
    os.flags(flags);
}

} // namespace Tracewell
