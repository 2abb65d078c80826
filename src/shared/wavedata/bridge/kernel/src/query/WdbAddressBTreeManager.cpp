// SPDX-License-Identifier: BSD-3-Clause

#include "WdbAddressBTreeManager.h"

#include "DatabaseScan.h"
#include "WdbAddressBTreeManagerImp.h"

#include <limits>

namespace Tracewell {

namespace {

using Lock = std::lock_guard<std::recursive_mutex>;
using Trees = std::vector<WdbScalarBTree*>;

/// Answers one tree of a request: `found`, or the one that `make` gives if there is none.
template <class Make>
void answerTree(WdbScalarBTree* found, bool rescan, Trees& trees, Trees& toScan, Make make)
{
    WdbScalarBTree* const tree = found ? found : &make();
    trees.push_back(tree);
    if (!found || (rescan && tree->isEmpty()))
        toScan.push_back(tree);
}

/// Calls `action(address)` for the addresses of a span that exist.
template <class Action> void forEachAddress(long long start, long long count, Action action)
{
    for (; count > 0; --count, ++start) {
        action(start);
        if (start == std::numeric_limits<long long>::max())
            return;
    }
}

} // namespace

WdbAddressBTreeManager::WdbAddressBTreeManager(WdbIEventBlockDatabase* eventDatabase)
    : m_imp(std::make_unique<WdbAddressBTreeManagerImp>(eventDatabase))
{}

WdbAddressBTreeManager::~WdbAddressBTreeManager()
{
    const Lock lock(getMutex());
    m_imp->releaseTrees();
}

void WdbAddressBTreeManager::createDrawingBTreeFile(const std::string& name)
{
    m_imp->m_file.create(name);
}

void WdbAddressBTreeManager::createByteBTree(long long address)
{
    const Lock lock(getMutex());
    m_imp->makeByteTree(address);
}

void WdbAddressBTreeManager::createBitBTree(long long address, unsigned int bit)
{
    const Lock lock(getMutex());
    m_imp->makeBitTree(address, bit);
}

WdbScalarBTree* WdbAddressBTreeManager::getByteBTree(long long address) const
{
    const Lock lock(getMutex());
    return m_imp->findByteTree(address);
}

std::vector<WdbScalarBTree*> WdbAddressBTreeManager::getBitBTreeList(long long address)
{
    const Lock lock(getMutex());
    return m_imp->listBitTrees(address);
}

WdbScalarBTree* WdbAddressBTreeManager::getBitBTree(long long address, unsigned int bit) const
{
    const Lock lock(getMutex());
    return m_imp->findBitTree(address, bit);
}

WdbScalarBTree* WdbAddressBTreeManager::getOrCreateBitBTree(long long address, unsigned int bit)
{
    const Lock lock(getMutex());
    WdbScalarBTree* const found = m_imp->findBitTree(address, bit);
    return found ? found : &m_imp->makeBitTree(address, bit);
}

void WdbAddressBTreeManager::getOrCreateByteBTrees(long long start, long long count, Trees& trees,
                                                   Trees& toScan)
{
    const Lock lock(getMutex());
    const bool rescan = m_imp->isRescanWanted();
    forEachAddress(start, count, [&](long long address) {
        answerTree(m_imp->findByteTree(address), rescan, trees, toScan,
                   [&]() -> WdbScalarBTree& { return m_imp->makeByteTree(address); });
    });
}

void WdbAddressBTreeManager::getOrCreateBitBTrees(const std::vector<WdbAddressBitPair>& pairs,
                                                  Trees& trees, Trees& toScan)
{
    const Lock lock(getMutex());
    const bool rescan = m_imp->isRescanWanted();
    for (const WdbAddressBitPair& pair : pairs)
        answerTree(
            m_imp->findBitTree(pair.m_address, pair.m_bit), rescan, trees, toScan,
            [&]() -> WdbScalarBTree& { return m_imp->makeBitTree(pair.m_address, pair.m_bit); });
}

void WdbAddressBTreeManager::deleteByteBTrees(long long start, long long count)
{
    const Lock lock(getMutex());
    forEachAddress(start, count, [&](long long address) { m_imp->removeByteTree(address); });
}

void WdbAddressBTreeManager::deleteBitBTrees(const std::vector<WdbAddressBitPair>& pairs)
{
    for (const WdbAddressBitPair& pair : pairs)
        m_imp->removeBitTree(pair.m_address, pair.m_bit);
}

std::vector<unsigned long long> WdbAddressBTreeManager::getTreeAddresses() const
{
    const Lock lock(m_imp->m_mutex);
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
    const Lock lock(getMutex());
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

std::recursive_mutex& WdbAddressBTreeManager::getMutex() const
{
    return m_imp->m_mutex;
}

void WdbAddressBTreeManager::scanWdbDatabase(const Trees& trees, QSIM::IGuiStatus* status)
{
    if (m_imp->m_eventDatabase && !trees.empty())
        scanDatabase(*m_imp->m_eventDatabase, trees, status);
}

void WdbAddressBTreeManager::scanWdbDatabaseMultiThread(const Trees& trees,
                                                        QSIM::IGuiStatus* status)
{
    const Lock lock(getMutex());
    if (m_imp->m_eventDatabase && !trees.empty())
        scanDatabaseOnPool(*m_imp->m_eventDatabase, trees, status);
}

} // namespace Tracewell
