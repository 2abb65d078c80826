#include "TransitionCapture.h"

namespace Tracewell {

TransitionCapture::TransitionCapture(TransitionStore& store, const DataBaseLimits& limits)
    : m_store(store), m_bufferPool(limits.bufferBytes, limits.minBlocksPerSize),
      m_compressor(store.blocks)
{}

void TransitionCapture::saveTransInDB(std::uint32_t, long long, const Value&) {}
void TransitionCapture::saveVhdlStdLogicTransInDB(std::uint32_t, long long, char) {}
void TransitionCapture::saveVlogTransInDB(std::uint32_t, long long, char) {}
void TransitionCapture::flushBuffers() {}
void TransitionCapture::resetBuffers() {}

} // namespace Tracewell
