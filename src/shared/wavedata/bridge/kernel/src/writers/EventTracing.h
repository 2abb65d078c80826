// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "VectorMerge.h"

#include <cstdint>
#include <memory>

namespace Tracewell {

/// The trace functions of a writer of events, and the way in which they find it: `Writer` befriends
/// this and has
///
///     static Writer* s_pWriter;          // constructed last; each knows the one before it
///     Writer* m_previousWriter;
///     long long m_baseOffset;
///     static Writer* getOpenWriter();    // null when there is nothing to be done
///     void writeEvent(long long time, long long address, unsigned int length,
///                     const unsigned char* value);
///     void writeVector(long long time, long long address, const unsigned char* vector,
///                      const unsigned char* value, unsigned int firstBit, unsigned int endBit);
///     void writeScalar();                // what a change without an address comes to
///     void finishScObject(long long time);
///
/// All of it is seen by the compiler where the functions are taken, so that a trace call is one
/// call.
template <class Writer> class EventTracing
{
public:
    /// From now on the functions go to this writer.
    static void enter(Writer& writer)
    {
        writer.m_previousWriter = Writer::s_pWriter;
        Writer::s_pWriter = &writer;
    }
    /// The one that was constructed last of those that are left takes over.
    static void leave(Writer& writer)
    {
        Writer** link = &Writer::s_pWriter;
        while (*link != &writer) {
            link = &(*link)->m_previousWriter;
        }
        *link = writer.m_previousWriter;
    }

    static void traceVhdl(long long time, unsigned int /*id*/, unsigned int size,
                          unsigned char* old, unsigned char* value)
    {
        if (Writer* const writer = Writer::getOpenWriter()) {
            writer->writeEvent(time, addressOf(*writer, old), size, value);
        }
    }
    static void traceVhdlScalar(long long /*time*/, unsigned int /*id*/, unsigned int /*size*/,
                                const unsigned char* /*value*/)
    {
        Writer::writeScalar();
    }
    static void traceVlog(long long time, unsigned int /*id*/, unsigned int /*kind*/,
                          unsigned char* old, unsigned char* value, unsigned int firstBit,
                          unsigned int endBit)
    {
        if (Writer* const writer = Writer::getOpenWriter()) {
            writer->writeVector(time, addressOf(*writer, old), old, value, firstBit, endBit);
        }
    }
    static void traceScObject(long long time, unsigned long long address, unsigned char* old,
                              unsigned char* value, unsigned int firstBit, unsigned int bitCount)
    {
        Writer* const writer = Writer::getOpenWriter();
        if (!writer) {
            return;
        }
        writer->writeVector(time, static_cast<long long>(address), old, value, firstBit,
                            firstBit + bitCount);
        writer->finishScObject(time);
    }
    static void traceScVirtualObject(long long time, unsigned long long address,
                                     unsigned char* value, unsigned int offset, unsigned int size)
    {
        Writer* const writer = Writer::getOpenWriter();
        if (!writer) {
            return;
        }
        writer->writeEvent(time, static_cast<long long>(address + offset), size, value);
        writer->finishScObject(time);
    }

private:
    static long long addressOf(const Writer& writer, const unsigned char* place)
    {
        return static_cast<long long>(reinterpret_cast<std::uintptr_t>(place) -
                                      static_cast<unsigned long long>(writer.m_baseOffset));
    }
};

} // namespace Tracewell
