// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "DrawingFile.h"
#include "WdbAddressBitPair.h"
#include "WdbScalarBTree.h"

#include <atomic>
#include <bitset>
#include <cstddef>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

namespace Tracewell {

class IDataEventNotifier;
class WdbIEventBlockDatabase;
class WdbLiveEvent;

/// The trees of WdbAddressBTreeManager and what feeds them. Operations take no lock unless they
/// say so.
class WdbAddressBTreeManagerImp
{
public:
    explicit WdbAddressBTreeManagerImp(WdbIEventBlockDatabase* eventDatabase)
        : m_eventDatabase(eventDatabase)
    {}

    WdbScalarBTree& makeByteTree(long long address);
    WdbScalarBTree& makeBitTree(long long address, unsigned int bit);
    WdbScalarBTree* findByteTree(long long address) const;
    WdbScalarBTree* findBitTree(long long address, unsigned int bit) const;
    std::vector<WdbScalarBTree*> listBitTrees(long long address) const;
    std::vector<unsigned long long> listAddresses() const;
    void removeByteTree(long long address) { m_byteTrees.erase(address); }
    void removeBitTree(long long address, unsigned int bit);
    void resetTrees();
    void releaseTrees()
    {
        m_byteTrees.clear();
        m_bitTrees.clear();
    }

    /// Whether a tree that exists is to be scanned again if it is empty; asks the environment too.
    bool isRescanWanted() const;

    /// What takes the mutex itself.
    void addEventDirect(const WdbLiveEvent& event);
    void addEventBuffered(const WdbLiveEvent& event);
    void flushEvents();

    WdbIEventBlockDatabase* m_eventDatabase;
    /// Guards the tree maps, the trees, the buffer and the latest time. Recursive: it is a reader's
    /// read-write mutex as well, which viewers hold around calls.
    mutable std::recursive_mutex m_mutex;
    DrawingFile m_file;
    IDataEventNotifier* m_notifier = nullptr;
    /// Of the events that came in directly or through the buffer.
    long long m_latestTime = 0;
    /// Set by the first tree, by any thread, and never cleared: while there is none, events are
    /// turned away without the mutex.
    std::atomic<bool> m_hasTree{false};
    bool m_rescan = false;

    void clearBuffer();

private:
    /// Its bytes lie in m_bufferedBytes, behind those of the events before it.
    struct BufferedEvent
    {
        long long time;
        long long address;
        unsigned int length;
    };

    /// 64-bit FNV-1a over the bytes of the address, low byte first.
    struct AddressHash
    {
        std::size_t operator()(long long address) const noexcept;
    };
    using Tree = std::unique_ptr<WdbScalarBTree>;
    static constexpr std::size_t kPlaces = 65536;

    /// A short answer for nearly all bytes of a live run: false where no tree was ever made.
    bool mayHaveTree(long long address) const { return m_places[placeOf(address)]; }
    void noteTree(long long address);
    static std::size_t placeOf(long long address)
    {
        return static_cast<std::size_t>(address) % kPlaces;
    }
    void addBytes(long long time, long long start, const unsigned char* value, unsigned int length);
    void addByte(long long time, long long address, unsigned char value);

    /// All that came, whether there is a tree for it or not: one may be made before the flush.
    std::vector<BufferedEvent> m_buffer;
    std::vector<unsigned char> m_bufferedBytes;
    std::bitset<kPlaces> m_places;
    std::unordered_map<long long, Tree, AddressHash> m_byteTrees;
    std::unordered_map<long long, std::vector<Tree>, AddressHash> m_bitTrees;
};

} // namespace Tracewell
