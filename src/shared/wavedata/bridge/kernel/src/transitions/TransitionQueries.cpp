// SPDX-License-Identifier: BSD-3-Clause

#include "TransitionQueries.h"

#include "DrawingFilter.h"
#include "HistoryReader.h"
#include "TransitionLog.h"
#include "TreeSearch.h"

#include <algorithm>
#include <type_traits>

namespace Tracewell {

namespace {

constexpr std::uint32_t kLastInitialId =
    InitialValueTable::kPages * InitialValueTable::kPageSize - 1;
constexpr const char* kReadLogPath = "zsim.dir/readTransition.txt";

bool isNone(const Transition& transition)
{
    return transition.value.getType() == ValueNone;
}

/// What queries give for an object of this kind.
ValueType drawnType(ValueType kind)
{
    return packedBits(kind) > 0 ? ValueByte : kind;
}

} // namespace

Transition TransitionQueries::getCurrentTransition(std::uint32_t id, long long time)
{
    const MutexLock lock(m_store.stripe(id));
    return getCurrentTransitionLocked(id, time);
}

Transition TransitionQueries::getNextTransition(std::uint32_t id, long long time)
{
    const MutexLock lock(m_store.stripe(id));
    return getNextTransitionLocked(id, time);
}

Transition TransitionQueries::getPrevTransition(std::uint32_t id, long long time)
{
    const MutexLock lock(m_store.stripe(id));
    return getPrevTransitionLocked(id, time);
}

Transition TransitionQueries::getCurrentTransitionLocked(std::uint32_t id, long long time)
{
    BTreeElem* const root = m_store.tree.findRoot(id);
    if (!root) {
        return getCurrentTransFromTempBuf(id, time, false);
    }
    if (time > root->lastTime) {
        Transition found = getCurrentTransFromTempBuf(id, time, true);
        if (!isNone(found)) {
            return found;
        }
    } else if (time < root->firstTime) {
        m_store.blocks.checkStart(*root);
        return noTransition(time);
    }
    return Tracewell::getCurrentTransition(m_store.blocks, *root, time);
}

Transition TransitionQueries::getNextTransitionLocked(std::uint32_t id, long long time)
{
    BTreeElem* const root = m_store.tree.findRoot(id);
    if (!root || time >= root->lastTime) {
        return getNextTransFromTempBuf(id, time);
    }
    return Tracewell::getNextTransition(m_store.blocks, *root, time);
}

Transition TransitionQueries::getPrevTransitionLocked(std::uint32_t id, long long time)
{
    BTreeElem* const root = m_store.tree.findRoot(id);
    if (!root) {
        return getPrevTransFromTempBuf(id, time, false);
    }
    if (time > root->lastTime) {
        Transition found = getPrevTransFromTempBuf(id, time, true);
        if (!isNone(found)) {
            return found;
        }
    }
    return Tracewell::getPrevTransition(m_store.blocks, *root, time, false);
}

bool TransitionQueries::getTransInfo(std::uint32_t id, long long& first, long long& last,
                                     ValueType& type)
{
    const MutexLock lock(m_store.stripe(id));
    return getTransInfoLocked(id, first, last, type);
}

bool TransitionQueries::getTransInfoLocked(std::uint32_t id, long long& first, long long& last,
                                           ValueType& type)
{
    const BTreeElem* const root = m_store.tree.findRoot(id);
    const BufferHeader* const buffer = m_store.pages.findBuffer(id);
    if (buffer && buffer->count > 0) {
        if (buffer->isPacked) {
            first = buffer->firstTime;
            last = buffer->lastTime;
            // Both packed kinds, so that a viewer needs to know one of them.
            type = ValueVlog;
        } else {
            const RecordReader records(*static_cast<const TransVecInfo*>(buffer));
            first = records.firstTime();
            last = records.lastTime();
            type = records.lastType();
        }
        if (root) {
            first = root->firstTime;
        }
        return true;
    }
    if (root) {
        first = root->firstTime;
        last = root->lastTime;
        type = blockType(root->flags);
        return true;
    }
    first = last = 0;
    type = m_store.initialValues ? m_store.initialValues->kindOf(id) : ValueNone;
    if (m_store.initialValues && m_store.initialValues->isDamaged(id)) {
        m_store.damage.note({WdbDamage::InitialTransition, 0, 1, id});
    }
    return type != ValueNone;
}

void TransitionQueries::getTransitions(std::uint32_t id, long long from, long long to,
                                       long long minDelta, std::vector<Transition>& out)
{
    const long long latest = m_store.latestTime;
    const MutexLock lock(m_store.stripe(id));
    getTransitionsLocked(id, from, to, minDelta, latest, out);
}

void TransitionQueries::getTransitionsLocked(std::uint32_t id, long long from, long long to,
                                             long long minDelta, long long latest,
                                             std::vector<Transition>& out)
{
    long long first = 0;
    long long last = 0;
    ValueType kind = ValueNone;
    if (!getTransInfoLocked(id, first, last, kind)) {
        out.push_back(noTransition(0));
        return;
    }
    DrawingFilter filter(m_store.blocks, from, to, minDelta, drawnType(kind), out);
    const auto appendUnlessNone = [&out](Transition transition) {
        if (!isNone(transition)) {
            out.push_back(std::move(transition));
        }
    };

    if (BTreeElem* const root = m_store.tree.findRoot(id)) {
        if (from >= latest || to < root->firstTime) {
            out.push_back(noTransition(from));
            return;
        }
        Transition opening = noTransition(from);
        if (root->lastTime < from) {
            opening = getPrevTransFromTempBuf(id, from, true);
        }
        if (isNone(opening)) {
            opening = Tracewell::getPrevTransition(m_store.blocks, *root, from, true);
        }
        appendUnlessNone(std::move(opening));
        if (from > last) {
            if (latest < to) {
                out.push_back(noTransition(latest));
            }
            return;
        }
        filter.collectTransitions(*root, true);
        getTransFromTempBuf(id, filter);
    } else {
        appendUnlessNone(getPrevTransFromTempBuf(id, from, false));
        if (last < from) {
            if (latest < to) {
                if (latest <= from) {
                    out.clear();
                }
                out.push_back(noTransition(latest));
            }
            if (out.empty()) {
                out.push_back(noTransition(latest));
            }
            return;
        }
        getTransFromTempBuf(id, filter);
        if (out.empty()) {
            out.push_back(noTransition(from));
        }
    }

    // The last entry says up to where it holds.
    const long long beforeEnd = BlockReader::advance(to, -1);
    if (filter.unmarkLast()) {
        const Transition next = getNextTransitionLocked(id, out.back().time);
        const long long gap = timeBetween(out.back().time, isNone(next) ? latest : next.time);
        if (isNone(next) && gap <= minDelta) {
            out.back().time = BlockReader::advance(latest, -1);
        } else if (!isNone(next) && gap <= minDelta && to < latest) {
            out.back().time = beforeEnd;
        }
    }
    if (to < last) {
        out.push_back(noTransition(beforeEnd));
    }
    const long long end = std::max(last, latest);
    if (to <= end || latest == to) {
        return;
    }
    if (!out.empty() && out.back().time == end) {
        out.back().value.clear();
    } else {
        out.push_back(noTransition(end));
    }
}

bool TransitionQueries::getHistory(std::uint32_t id, long long from, long long to, std::size_t most,
                                   std::vector<Transition>& out)
{
    const MutexLock lock(m_store.stripe(id));
    HistoryReader history(m_store.blocks, from, to, most, out);
    BTreeElem* const root = m_store.tree.findRoot(id);
    if (root) {
        history.readTree(*root);
    }
    const bool isOpen =
        visitBuffer(id, [&](const auto& reader, long long) { history.read(reader); });
    if (!root && !isOpen) {
        history.readInitial(getInitialTransition(id, 0, false));
    }
    return history.hasMore();
}

// Calls visit(reader, lastTime) on a buffer that is not empty; false if there is none.
template <typename Visit> bool TransitionQueries::visitBuffer(std::uint32_t id, Visit visit)
{
    const BufferHeader* const buffer = m_store.pages.findBuffer(id);
    if (!buffer || buffer->count < 1) {
        return false;
    }
    if (buffer->isPacked) {
        visit(BlockReader(*buffer, buffer->capacity), buffer->lastTime);
    } else {
        const RecordReader records(*static_cast<const TransVecInfo*>(buffer));
        visit(records, records.lastTime());
    }
    return true;
}

Transition TransitionQueries::getCurrentTransFromTempBuf(std::uint32_t id, long long time,
                                                         bool noInitial)
{
    Transition found;
    if (!visitBuffer(id,
                     [&](const auto& reader, long long) { found = searchCurrent(reader, time); })) {
        return getInitialTransition(id, time, noInitial);
    }
    return found;
}

Transition TransitionQueries::getNextTransFromTempBuf(std::uint32_t id, long long time)
{
    Transition found = noTransition(time);
    visitBuffer(id, [&](const auto& reader, long long lastTime) {
        if (time < lastTime) {
            found = searchNext(reader, time);
        }
    });
    return found;
}

Transition TransitionQueries::getPrevTransFromTempBuf(std::uint32_t id, long long time,
                                                      bool noInitial)
{
    Transition found;
    const bool isOpen = visitBuffer(id, [&](const auto& reader, long long) {
        found = searchPrev(reader, time, false);
        if (std::is_same_v<decltype(reader), const RecordReader&> && isNone(found)) {
            found.time = time;
        }
    });
    return isOpen ? found : getInitialTransition(id, time, noInitial);
}

void TransitionQueries::getTransFromTempBuf(std::uint32_t id, DrawingFilter& filter)
{
    visitBuffer(id, [&](const auto& reader, long long lastTime) {
        filter.processTransition(reader, lastTime);
    });
}

Transition TransitionQueries::getInitialTransition(std::uint32_t id, long long time, bool noInitial)
{
    Transition initial;
    if (noInitial || !m_store.initialValues || !m_store.initialValues->get(id, initial.value)) {
        return noTransition(time);
    }
    return initial;
}

void TransitionQueries::traverseAllTransition()
{
    TransitionLog log;
    std::vector<Transition> list;
    std::uint32_t nextId = 1;
    for (const auto& [id, root] : m_store.tree.getRoots()) {
        // Objects that never changed have an initial value at most.
        const std::uint32_t maxId =
            m_store.initialValues ? std::min(m_store.initialValues->getMaxId(), kLastInitialId) : 0;
        for (std::uint32_t other = nextId; other < id && other <= maxId; ++other) {
            if (!m_store.initialValues->hasPage(other)) {
                other |= InitialValueTable::kPageSize - 1;
                continue;
            }
            const MutexLock lock(m_store.stripe(other));
            const Transition initial = getInitialTransition(other, 0, false);
            if (!isNone(initial)) {
                log.enter(other, initial.time, initial.value);
            }
        }
        nextId = id + 1;

        long long first = 0;
        long long last = 0;
        ValueType kind = ValueNone;
        if (m_store.latestTime == 0) {
            list.push_back(getCurrentTransition(id, 0));
        } else if (getTransInfo(id, first, last, kind)) {
            getTransitions(id, 0, BlockReader::advance(last, 1), 0, list);
            if (!list.empty() && isNone(list.back()) && list.back().time == last) {
                list.back() = getCurrentTransition(id, last);
            }
        }
        for (const Transition& transition : list) {
            log.enter(id, transition.time, transition.value);
        }
        list.clear();
    }
    log.write(kReadLogPath);
}

} // namespace Tracewell
