// SPDX-License-Identifier: BSD-3-Clause

#include "WdbAddressBTreeManagerImp.h"

#include "TreeAppend.h"
#include "WdbLiveEvent.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace Tracewell {

namespace {

template <class Trees> auto findBit(Trees& trees, unsigned int bit)
{
    return std::find_if(trees.begin(), trees.end(), [bit](const auto& tree) {
        return static_cast<unsigned int>(tree->getBitPosition()) == bit;
    });
}

} // namespace

std::size_t WdbAddressBTreeManagerImp::AddressHash::operator()(long long address) const noexcept
{
    auto rest = static_cast<unsigned long long>(address);
    unsigned long long hash = 0xcbf29ce484222325ull;
    for (unsigned int i = 0; i < sizeof rest; ++i, rest >>= 8) {
        hash = (hash ^ (rest & 0xff)) * 0x100000001b3ull;
    }
    return static_cast<std::size_t>(hash);
}

WdbScalarBTree& WdbAddressBTreeManagerImp::makeByteTree(long long address)
{
    Tree& tree = m_byteTrees[address];
    tree = std::make_unique<WdbScalarBTree>(address, m_file.getBlockManager());
    noteTree(address);
    return *tree;
}

WdbScalarBTree& WdbAddressBTreeManagerImp::makeBitTree(long long address, unsigned int bit)
{
    auto tree = std::make_unique<WdbScalarBTree>(address, m_file.getBlockManager());
    tree->setBitPosition(static_cast<int>(bit));
    std::vector<Tree>& trees = m_bitTrees[address];
    trees.push_back(std::move(tree));
    noteTree(address);
    return *trees.back();
}

void WdbAddressBTreeManagerImp::noteTree(long long address)
{
    m_places.set(placeOf(address));
    m_hasTree = true;
}

WdbScalarBTree* WdbAddressBTreeManagerImp::findByteTree(long long address) const
{
    const auto found = m_byteTrees.find(address);
    return found == m_byteTrees.end() ? nullptr : found->second.get();
}

WdbScalarBTree* WdbAddressBTreeManagerImp::findBitTree(long long address, unsigned int bit) const
{
    const auto found = m_bitTrees.find(address);
    if (found == m_bitTrees.end()) {
        return nullptr;
    }
    const auto tree = findBit(found->second, bit);
    return tree == found->second.end() ? nullptr : tree->get();
}

std::vector<unsigned long long> WdbAddressBTreeManagerImp::listAddresses() const
{
    std::vector<unsigned long long> addresses;
    addresses.reserve(m_byteTrees.size() + m_bitTrees.size());
    for (const auto& entry : m_byteTrees) {
        addresses.push_back(static_cast<unsigned long long>(entry.first));
    }
    for (const auto& entry : m_bitTrees) {
        addresses.push_back(static_cast<unsigned long long>(entry.first));
    }
    std::sort(addresses.begin(), addresses.end());
    addresses.erase(std::unique(addresses.begin(), addresses.end()), addresses.end());
    return addresses;
}

std::vector<WdbScalarBTree*> WdbAddressBTreeManagerImp::listBitTrees(long long address) const
{
    std::vector<WdbScalarBTree*> list;
    const auto found = m_bitTrees.find(address);
    if (found != m_bitTrees.end()) {
        for (const Tree& tree : found->second) {
            list.push_back(tree.get());
        }
    }
    return list;
}

void WdbAddressBTreeManagerImp::removeBitTree(long long address, unsigned int bit)
{
    const auto found = m_bitTrees.find(address);
    if (found == m_bitTrees.end()) {
        return;
    }
    std::vector<Tree>& trees = found->second;
    const auto tree = findBit(trees, bit);
    if (tree != trees.end()) {
        trees.erase(tree);
    }
    if (trees.empty()) {
        m_bitTrees.erase(found);
    }
}

void WdbAddressBTreeManagerImp::resetTrees()
{
    for (auto& entry : m_byteTrees) {
        entry.second->reset();
    }
    for (auto& entry : m_bitTrees) {
        for (Tree& tree : entry.second) {
            tree->reset();
        }
    }
}

bool WdbAddressBTreeManagerImp::isRescanWanted() const
{
    return m_rescan || std::getenv("WAVEDATA_RESCAN") != nullptr;
}

void WdbAddressBTreeManagerImp::addEventDirect(const WdbLiveEvent& event)
{
    if (!m_hasTree) {
        return;
    }
    const RecursiveMutexLock lock(m_mutex);
    m_latestTime = std::max(m_latestTime, event.getTime());
    addBytes(event.getTime(), event.getStartAddress(), event.getValue(), event.getValuelength());
}

void WdbAddressBTreeManagerImp::addEventBuffered(const WdbLiveEvent& event)
{
    if (!m_hasTree) {
        return;
    }
    const RecursiveMutexLock lock(m_mutex);
    m_latestTime = std::max(m_latestTime, event.getTime());
    const unsigned int length = event.getValuelength();
    if (length == 0) {
        return;
    }
    m_buffer.push_back({event.getTime(), event.getStartAddress(), length});
    m_bufferedBytes.insert(m_bufferedBytes.end(), event.getValue(), event.getValue() + length);
}

void WdbAddressBTreeManagerImp::flushEvents()
{
    const RecursiveMutexLock lock(m_mutex);
    const unsigned char* value = m_bufferedBytes.data();
    for (const BufferedEvent& event : m_buffer) {
        addBytes(event.time, event.address, value, event.length);
        value += event.length;
    }
    clearBuffer();
}

void WdbAddressBTreeManagerImp::clearBuffer()
{
    m_buffer.clear();
    m_bufferedBytes.clear();
}

/// Leaves away bytes behind the last address there is.
void WdbAddressBTreeManagerImp::addBytes(long long time, long long start,
                                         const unsigned char* value, unsigned int length)
{
    const auto first = static_cast<unsigned long long>(start);
    const unsigned long long lastOffset =
        static_cast<unsigned long long>(std::numeric_limits<long long>::max()) - first;
    for (unsigned long long i = 0; i < length && i <= lastOffset; ++i) {
        const auto address = static_cast<long long>(first + i);
        if (mayHaveTree(address)) {
            addByte(time, address, value[i]);
        }
    }
}

void WdbAddressBTreeManagerImp::addByte(long long time, long long address, unsigned char value)
{
    if (WdbScalarBTree* const tree = findByteTree(address)) {
        appendInOrder(*tree, time, value);
    }
    if (m_bitTrees.empty()) {
        return;
    }
    const auto found = m_bitTrees.find(address);
    if (found == m_bitTrees.end()) {
        return;
    }
    for (const Tree& tree : found->second) {
        appendInOrder(*tree, time, getTreeValue(*tree, value));
    }
}

} // namespace Tracewell
