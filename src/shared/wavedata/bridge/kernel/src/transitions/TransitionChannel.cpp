#include "TransitionChannel.h"

namespace Tracewell {

TransitionChannel::TransitionChannel(TransitionStore& store, TransitionCapture& capture,
                                     const std::string&, int)
    : m_store(store), m_capture(capture)
{}

TransitionChannel::~TransitionChannel() = default;

void TransitionChannel::start() {}

void TransitionChannel::stop() {}

void TransitionChannel::clear() {}

void TransitionChannel::writeTransToSharedMem(bool, std::uint32_t, long long, const Value&) {}

bool TransitionChannel::addTimeMarkToDB(long long)
{
    return true;
}

bool TransitionChannel::readOneTransition(std::uint32_t&, long long&, Value&)
{
    return false;
}

char* TransitionChannel::getEmptySharedMemBlock()
{
    return nullptr;
}

char* TransitionChannel::getNextSharedMemBlock()
{
    return nullptr;
}

void TransitionChannel::markTime(boost::unique_lock<boost::mutex>&) {}

void TransitionChannel::holdForMarkTime() {}

void TransitionChannel::capture(bool) {}

} // namespace Tracewell
