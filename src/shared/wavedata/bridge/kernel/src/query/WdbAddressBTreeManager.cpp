// SPDX-License-Identifier: BSD-3-Clause

#include "WdbAddressBTreeManager.h"

#include "DatabaseScan.h"
#include "WdbAddressBTreeManagerImp.h"
#include "Wrapping.h"

#include <algorithm>
#include <limits>

namespace Tracewell {

namespace {

using Trees = std::vector<WdbScalarBTree*>;

/// Addresses of a request that exist: from `start` on there are no more than these.
unsigned long long countAddresses(long long start, long long count)
{
    constexpr auto kLast = static_cast<unsigned long long>(std::numeric_limits<long long>::max());
    const unsigned long long behind = kLast - static_cast<unsigned long long>(start);
    const auto wanted = static_cast<unsigned long long>(std::max(count, 0LL));
    return wanted > behind ? behind + 1 : wanted;
}

} // namespace

WdbAddressBTreeManager::WdbAddressBTreeManager(WdbIEventBlockDatabase* eventDatabase)
    : m_imp(std::make_unique<WdbAddressBTreeManagerImp>(eventDatabase))
{}

WdbAddressBTreeManager::~WdbAddressBTreeManager()
{
    const RecursiveMutexLock lock(m_imp->m_mutex);
    m_imp->releaseTrees();
}

void WdbAddressBTreeManager::createDrawingBTreeFile(const std::string& name)
{
    m_imp->m_file.create(name);
}

void WdbAddressBTreeManager::createByteBTree(long long address)
{
    const RecursiveMutexLock lock(m_imp->m_mutex);
    m_imp->makeByteTree(address);
}

void WdbAddressBTreeManager::createBitBTree(long long address, unsigned int bit)
{
    const RecursiveMutexLock lock(m_imp->m_mutex);
    m_imp->makeBitTree(address, bit);
}

WdbScalarBTree* WdbAddressBTreeManager::getByteBTree(long long address) const
{
    const RecursiveMutexLock lock(m_imp->m_mutex);
    return m_imp->findByteTree(address);
}

std::vector<WdbScalarBTree*> WdbAddressBTreeManager::getBitBTreeList(long long address)
{
    const RecursiveMutexLock lock(m_imp->m_mutex);
    return m_imp->listBitTrees(address);
}

WdbScalarBTree* WdbAddressBTreeManager::getBitBTree(long long address, unsigned int bit) const
{
    const RecursiveMutexLock lock(m_imp->m_mutex);
    return m_imp->findBitTree(address, bit);
}

WdbScalarBTree* WdbAddressBTreeManager::getOrCreateBitBTree(long long address, unsigned int bit)
{
    const RecursiveMutexLock lock(m_imp->m_mutex);
    WdbScalarBTree* const found = m_imp->findBitTree(address, bit);
    return found ? found : &m_imp->makeBitTree(address, bit);
}

void WdbAddressBTreeManager::getOrCreateByteBTrees(long long start, long long count, Trees& trees,
                                                   Trees& toScan)
{
    const RecursiveMutexLock lock(m_imp->m_mutex);
    const bool rescan = m_imp->isRescanWanted();
    const unsigned long long present = countAddresses(start, count);
    for (unsigned long long i = 0; i < present; ++i) {
        const long long address = advanceAddress(start, i);
        WdbScalarBTree* const found = m_imp->findByteTree(address);
        trees.push_back(found ? found : &m_imp->makeByteTree(address));
        if (!found || (rescan && found->isEmpty())) {
            toScan.push_back(trees.back());
        }
    }
}

void WdbAddressBTreeManager::getOrCreateBitBTrees(const std::vector<WdbAddressBitPair>& pairs,
                                                  Trees& trees, Trees& toScan)
{
    const RecursiveMutexLock lock(m_imp->m_mutex);
    const bool rescan = m_imp->isRescanWanted();
    for (const WdbAddressBitPair& pair : pairs) {
        WdbScalarBTree* const found = m_imp->findBitTree(pair.m_address, pair.m_bit);
        trees.push_back(found ? found : &m_imp->makeBitTree(pair.m_address, pair.m_bit));
        if (!found || (rescan && found->isEmpty())) {
            toScan.push_back(trees.back());
        }
    }
}

void WdbAddressBTreeManager::deleteByteBTrees(long long start, long long count)
{
    const RecursiveMutexLock lock(m_imp->m_mutex);
    const unsigned long long present = countAddresses(start, count);
    for (unsigned long long i = 0; i < present; ++i) {
        m_imp->removeByteTree(advanceAddress(start, i));
    }
}

// Whether the mutex is held is the caller's affair.
void WdbAddressBTreeManager::deleteBitBTrees(const std::vector<WdbAddressBitPair>& pairs)
    TRACEWELL_UNCHECKED_BODY
{
    for (const WdbAddressBitPair& pair : pairs) {
        m_imp->removeBitTree(pair.m_address, pair.m_bit);
    }
}

std::vector<unsigned long long> WdbAddressBTreeManager::getTreeAddresses() const
{
    const RecursiveMutexLock lock(m_imp->m_mutex);
    return m_imp->listAddresses();
}

bool WdbAddressBTreeManager::hasAtLeastOneBtree() const
{
    return m_imp->m_hasTree;
}

void WdbAddressBTreeManager::addEventDirect(const WdbLiveEvent* event)
{
    m_imp->addEventDirect(*event);
}

void WdbAddressBTreeManager::addEventBuffered(const WdbLiveEvent* event)
{
    m_imp->addEventBuffered(*event);
}

void WdbAddressBTreeManager::flushEvents()
{
    m_imp->flushEvents();
}

void WdbAddressBTreeManager::markTime(long long) {}

void WdbAddressBTreeManager::reset()
{
    const RecursiveMutexLock lock(m_imp->m_mutex);
    m_imp->m_latestTime = 0;
    m_imp->resetTrees();
    m_imp->clearBuffer();
    m_imp->m_file.create(std::string(m_imp->m_file.getName()));
}

void WdbAddressBTreeManager::setDataEventNotifier(IDataEventNotifier* notifier)
{
    m_imp->m_notifier = notifier;
}

void WdbAddressBTreeManager::setEventDatabase(WdbIEventBlockDatabase* eventDatabase)
{
    m_imp->m_eventDatabase = eventDatabase;
}

void WdbAddressBTreeManager::setRescanBTree(bool rescan)
{
    m_imp->m_rescan = rescan;
}

RecursiveMutex& WdbAddressBTreeManager::getMutex() const
{
    return m_imp->m_mutex;
}

void WdbAddressBTreeManager::scanWdbDatabase(const Trees& trees, QSIM::IGuiStatus* status)
{
    if (m_imp->m_eventDatabase && !trees.empty()) {
        scanDatabase(*m_imp->m_eventDatabase, trees, status);
    }
}

void WdbAddressBTreeManager::scanWdbDatabaseMultiThread(const Trees& trees,
                                                        QSIM::IGuiStatus* status)
{
    const RecursiveMutexLock lock(m_imp->m_mutex);
    if (m_imp->m_eventDatabase && !trees.empty()) {
        scanDatabaseOnPool(*m_imp->m_eventDatabase, trees, status);
    }
}

} // namespace Tracewell
