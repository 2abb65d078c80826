// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "ThreadSafety.h"
#include "TracewellExport.h"
#include "WdbAddressBitPair.h"

#include <memory>
#include <string>
#include <vector>

namespace QSIM {
class IGuiStatus;
}

namespace Tracewell {

class IDataEventNotifier;
class WdbAddressBTreeManagerImp;
class WdbIEventBlockDatabase;
class WdbLiveEvent;
class WdbScalarBTree;

/// Owns all scalar trees of one reader. Trees are made when a viewer asks for their address, are
/// filled by a scan of the event database, and take in new events while a simulation runs. Their
/// records lie in a temporary file that goes with the manager. A tree pointer is good until its
/// tree is deleted or made anew.
///
/// An event whose time lies before the last one of a tree is taken at that last time: changes of a
/// byte keep the order in which they arrive, and no tree sees time run backwards.
///
/// The recursive mutex guards the tree maps, the trees and the buffer. Operations on these take it
/// unless they say otherwise; a tree that was handed out is used under it where a live reader
/// thread runs. The setters and createDrawingBTreeFile are for the time before other threads come.
class TRACEWELL_API WdbAddressBTreeManager
{
public:
    /// `eventDatabase` may be null; it is not owned.
    explicit WdbAddressBTreeManager(WdbIEventBlockDatabase* eventDatabase);
    WdbAddressBTreeManager(const WdbAddressBTreeManager&) = delete;
    WdbAddressBTreeManager& operator=(const WdbAddressBTreeManager&) = delete;
    /// Waits for whoever holds the mutex; nobody may come here any more.
    ~WdbAddressBTreeManager();

    /// Creates the file for the trees' records, for its owner alone. A name that is in use fails,
    /// except that of the manager's own file, which is emptied; trees that hold something must be
    /// reset then. A file that the manager made before under another name is removed.
    /// \throws Qsim::OpenException
    void createDrawingBTreeFile(const std::string& name);

    /// Replaces a tree that is there.
    void createByteBTree(long long address);
    void createBitBTree(long long address, unsigned int bit);
    /// Null when there is none. Trees stay the manager's.
    WdbScalarBTree* getByteBTree(long long address) const;
    std::vector<WdbScalarBTree*> getBitBTreeList(long long address);
    WdbScalarBTree* getBitBTree(long long address, unsigned int bit) const;
    WdbScalarBTree* getOrCreateBitBTree(long long address, unsigned int bit);
    /// Appends to `trees` the trees of `count` addresses from `start` on, and to `toScan` those
    /// that a scan must fill: the new ones, and the empty ones if the environment variable
    /// WAVEDATA_RESCAN exists or setRescanBTree asks for it.
    void getOrCreateByteBTrees(long long start, long long count,
                               std::vector<WdbScalarBTree*>& trees,
                               std::vector<WdbScalarBTree*>& toScan);
    void getOrCreateBitBTrees(const std::vector<WdbAddressBitPair>& pairs,
                              std::vector<WdbScalarBTree*>& trees,
                              std::vector<WdbScalarBTree*>& toScan);
    void deleteByteBTrees(long long start, long long count);
    /// Takes no lock: the caller holds the mutex where other threads come here.
    void deleteBitBTrees(const std::vector<WdbAddressBitPair>& pairs);
    /// The addresses that have trees, ascending as unsigned numbers, each once.
    std::vector<unsigned long long> getTreeAddresses() const;
    /// True once any tree was ever made.
    bool hasAtLeastOneBtree() const;

    /// Takes a new event into the trees that exist.
    void addEventDirect(const WdbLiveEvent* event);
    /// Keeps a new event until flushEvents, which takes it into the trees that exist then. Nothing
    /// is kept before there was any tree.
    void addEventBuffered(const WdbLiveEvent* event);
    void flushEvents();
    /// Does nothing: trees know their latest times by their events.
    void markTime(long long time);
    /// Empties the trees, the buffer and the file; the trees stay known.
    /// \throws Qsim::OpenException when the file cannot be made again; trees must not be filled
    /// then before createDrawingBTreeFile has succeeded.
    void reset();

    void setDataEventNotifier(IDataEventNotifier* notifier);
    void setEventDatabase(WdbIEventBlockDatabase* eventDatabase);
    /// With `rescan`, an empty tree that exists already is named for scanning.
    void setRescanBTree(bool rescan);
    RecursiveMutex& getMutex() const;

    /// Fills new trees from the event database on the calling thread. Takes no lock: beside a live
    /// reader thread the caller holds the mutex. `status` may be null. Nothing happens without an
    /// event database or without trees.
    void scanWdbDatabase(const std::vector<WdbScalarBTree*>& trees, QSIM::IGuiStatus* status);
    /// The same on a pool of threads with the mutex held throughout. `status` is called on the
    /// calling thread.
    void scanWdbDatabaseMultiThread(const std::vector<WdbScalarBTree*>& trees,
                                    QSIM::IGuiStatus* status);

private:
    std::unique_ptr<WdbAddressBTreeManagerImp> m_imp;
};

} // namespace Tracewell
