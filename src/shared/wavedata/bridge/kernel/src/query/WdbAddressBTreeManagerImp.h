// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "DrawingFile.h"
#include "ThreadSafety.h"
#include "WdbAddressBitPair.h"
#include "WdbScalarBTree.h"

#include <atomic>
#include <bitset>
#include <cstddef>
#include <memory>
#include <unordered_map>
#include <vector>

namespace Tracewell {

class IDataEventNotifier;
class WdbIEventBlockDatabase;
class WdbLiveEvent;

/// The trees of WdbAddressBTreeManager and what feeds them.
class WdbAddressBTreeManagerImp
{
public:
    explicit WdbAddressBTreeManagerImp(WdbIEventBlockDatabase* eventDatabase)
        : m_eventDatabase(eventDatabase)
    {}

    WdbScalarBTree& makeByteTree(long long address) TRACEWELL_REQUIRES(m_mutex);
    WdbScalarBTree& makeBitTree(long long address, unsigned int bit) TRACEWELL_REQUIRES(m_mutex);
    WdbScalarBTree* findByteTree(long long address) const TRACEWELL_REQUIRES(m_mutex);
    WdbScalarBTree* findBitTree(long long address, unsigned int bit) const
        TRACEWELL_REQUIRES(m_mutex);
    std::vector<WdbScalarBTree*> listBitTrees(long long address) const TRACEWELL_REQUIRES(m_mutex);
    std::vector<unsigned long long> listAddresses() const TRACEWELL_REQUIRES(m_mutex);
    void removeByteTree(long long address) TRACEWELL_REQUIRES(m_mutex)
    {
        m_byteTrees.erase(address);
    }
    void removeBitTree(long long address, unsigned int bit) TRACEWELL_REQUIRES(m_mutex);
    void resetTrees() TRACEWELL_REQUIRES(m_mutex);
    void releaseTrees() TRACEWELL_REQUIRES(m_mutex)
    {
        m_byteTrees.clear();
        m_bitTrees.clear();
    }

    /// Whether a tree that exists is to be scanned again if it is empty; asks the environment too.
    bool isRescanWanted() const;

    // What takes the mutex itself.
    void addEventDirect(const WdbLiveEvent& event);
    void addEventBuffered(const WdbLiveEvent& event);
    void flushEvents();

    WdbIEventBlockDatabase* m_eventDatabase;
    /// Guards the tree maps, the trees, the buffer and the latest time. Recursive: it is a reader's
    /// read-write mutex as well, which viewers hold around calls.
    mutable RecursiveMutex m_mutex;
    DrawingFile m_file;
    IDataEventNotifier* m_notifier = nullptr;
    /// Of the events that came in directly or through the buffer.
    long long m_latestTime TRACEWELL_GUARDED_BY(m_mutex) = 0;
    /// Set by the first tree, by any thread, and never cleared: while there is none, events are
    /// turned away without the mutex.
    std::atomic<bool> m_hasTree{false};
    bool m_rescan = false;

    void clearBuffer() TRACEWELL_REQUIRES(m_mutex);

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
    bool mayHaveTree(long long address) const TRACEWELL_REQUIRES(m_mutex)
    {
        return m_places[placeOf(address)];
    }
    void noteTree(long long address) TRACEWELL_REQUIRES(m_mutex);
    static std::size_t placeOf(long long address)
    {
        return static_cast<std::size_t>(address) % kPlaces;
    }
    void addBytes(long long time, long long start, const unsigned char* value, unsigned int length)
        TRACEWELL_REQUIRES(m_mutex);
    void addByte(long long time, long long address, unsigned char value)
        TRACEWELL_REQUIRES(m_mutex);

    /// All that came, whether there is a tree for it or not: one may be made before the flush.
    std::vector<BufferedEvent> m_buffer TRACEWELL_GUARDED_BY(m_mutex);
    std::vector<unsigned char> m_bufferedBytes TRACEWELL_GUARDED_BY(m_mutex);
    std::bitset<kPlaces> m_places TRACEWELL_GUARDED_BY(m_mutex);
    std::unordered_map<long long, Tree, AddressHash> m_byteTrees TRACEWELL_GUARDED_BY(m_mutex);
    std::unordered_map<long long, std::vector<Tree>, AddressHash>
        m_bitTrees TRACEWELL_GUARDED_BY(m_mutex);
};

} // namespace Tracewell
