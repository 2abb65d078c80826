// SPDX-License-Identifier: BSD-3-Clause

#include "wave/IndexLookup.h"

#include "WdbEventBlock.h"

#include <algorithm>
#include <cstring>

namespace tracewell {

namespace {

using Tracewell::WdbEventBlock;
using Tracewell::WdbEventBtree;

class Lookup
{
public:
    Lookup(Tracewell::WdbMultipleBucketBtreeDatabase& database,
           Tracewell::WdbIBlockManager& storage, long long time)
        : m_database(database), m_storage(storage), m_time(time)
    {}

    IndexedState find(const Signal& signal);

private:
    bool findBytes(long long address, std::vector<unsigned char>& bytes);
    void addSource(long long address, const WdbEventBtree::ByteState& byte);
    unsigned int countFirings(const Signal& signal);

    Tracewell::WdbMultipleBucketBtreeDatabase& m_database;
    Tracewell::WdbIBlockManager& m_storage;
    long long m_time;
    IndexedState m_found;
};

IndexedState Lookup::find(const Signal& signal)
{
    SignalState& state = m_found.state;
    state.plain.assign(static_cast<std::size_t>(signal.size), 0);
    if (findBytes(signal.address, state.plain)) {
        state.kind = SignalState::Kind::Value;
    }
    if (signal.overrideAddress >= 0) {
        std::vector<unsigned char> bytes(sizeof(TextReference));
        findBytes(signal.overrideAddress, bytes);
        std::memcpy(&state.override, bytes.data(), bytes.size());
    }
    if (signal.valueKind->fires()) {
        state.firings = countFirings(signal);
    }
    std::sort(m_found.sources.begin(), m_found.sources.end(),
              [](const auto& a, const auto& b) { return a.offset < b.offset; });
    return m_found;
}

/// False when none of the bytes has a value.
bool Lookup::findBytes(long long address, std::vector<unsigned char>& bytes)
{
    std::vector<WdbEventBtree::ByteState> states(bytes.size());
    m_database.findStates(address, m_time, states, m_found.cost);
    bool isAny = false;
    for (std::size_t i = 0; i < states.size(); ++i) {
        if (states[i].m_isKnown) {
            isAny = true;
            bytes[i] = states[i].m_value;
            m_found.recorded =
                std::max(m_found.recorded.value_or(states[i].m_time), states[i].m_time);
            addSource(address + static_cast<long long>(i), states[i]);
        }
    }
    return isAny;
}

void Lookup::addSource(long long address, const WdbEventBtree::ByteState& byte)
{
    for (const IndexedState::Source& known : m_found.sources) {
        if (known.offset == byte.m_blockOffset) {
            return;
        }
    }
    IndexedState::Source source;
    source.offset = byte.m_blockOffset;
    source.storedSize = byte.m_blockSize;
    source.bucket = address / WdbEventBlock::kKeyAddresses;
    WdbEventBlock block(m_database.getEventDatabaseHeader().m_maxEventBlockSize, 0);
    block.loadBlock(source.offset, source.storedSize, m_storage);
    source.events = block.size();
    if (WdbEventBlock::Iterator event = block.getIterator()) {
        source.firstTime = (*event).getTime();
        event.setIndex(source.events - 1);
        source.lastTime = (*event).getTime();
    }
    m_found.sources.push_back(source);
}

/// How often the event fires at this very time: its count goes up by one with each firing.
unsigned int Lookup::countFirings(const Signal& signal)
{
    if (m_found.recorded != m_time) {
        return 0;
    }
    std::vector<WdbEventBtree::ByteState> before(1);
    m_database.findStates(signal.address, m_time - 1, before, m_found.cost);
    return static_cast<unsigned char>(m_found.state.plain[0] - before[0].m_value);
}

} // namespace

IndexedState findState(Tracewell::WdbMultipleBucketBtreeDatabase& database,
                       Tracewell::WdbIBlockManager& storage, const Signal& signal, long long time)
{
    return Lookup(database, storage, time).find(signal);
}

} // namespace tracewell
