// SPDX-License-Identifier: BSD-3-Clause

#include "live/TransitionViewer.h"

#include "text/Failure.h"
#include "wave/TransitionValues.h"

#include "ChannelRefusal.h"

#include <fmt/format.h>

#include <cstring>
#include <limits>

namespace tracewell {

namespace {

using Tracewell::DataBase;

} // namespace

// With a handler, a file that could not be written does not come to look finished. check() tells
// the reason.
TransitionViewer::TransitionViewer(const LiveChannel& channel, const std::string& output)
    : m_channel(channel), m_output(output), m_watch([](const std::string&) {})
{}

TransitionViewer::~TransitionViewer() = default;

bool TransitionViewer::isOffered() const
{
    return DataBase::isOffered(m_channel.snapshot(), m_channel.number());
}

bool TransitionViewer::isTaken() const
{
    return DataBase::isTaken(m_channel.snapshot(), m_channel.number());
}

bool TransitionViewer::open(const SignalNames& /*names*/, const std::string& nameText,
                            bool /*mayBeginAnew*/)
{
    // A buffer that is closed early takes its object's value at time 0 in once more, in the middle
    // of its history. So none ever is.
    Tracewell::DataBaseLimits limits;
    limits.bufferBytes = std::numeric_limits<long long>::max();
    m_dataBase.reset();
    const Tracewell::ChannelRefusal refusal;
    m_dataBase =
        std::make_unique<DataBase>(Tracewell::DataBaseMode::StoringReader, nullptr,
                                   m_channel.snapshot(), m_output, m_channel.number(), 0, limits);
    m_dataBase->setDebugData(nameText);
    if (const int error = m_dataBase->getFileError()) {
        throw Failure(fmt::format("{}: cannot be written: {}; name another place", m_output,
                                  std::strerror(error)));
    }
    if (!m_dataBase->isChannelOpen() && isOffered()) {
        throw Failure(
            fmt::format("{} cannot be followed: {}", m_channel.describe(), refusal.getReason()));
    }
    return m_dataBase->isChannelOpen();
}

void TransitionViewer::beginAnew(const SignalNames& names, const std::string& nameText)
{
    open(names, nameText, true);
}

bool TransitionViewer::isDrained() const
{
    unsigned long long stored = 0;
    unsigned long long sent = 0;
    getTraffic(stored, sent);
    return stored == sent;
}

void TransitionViewer::check() const
{
    const int error = m_dataBase->getFileError();
    if (error != 0) {
        throw Failure(fmt::format("{}: cannot be written: {}; the unfinished output was "
                                  "removed; make room there and follow again",
                                  m_output, std::strerror(error)));
    }
}

/// Takes what the channel still holds.
void TransitionViewer::finish()
{
    m_dataBase->saveTransitionToDisk();
    check();
}

std::unique_ptr<SignalValues> TransitionViewer::values(const SignalNames& /*names*/,
                                                       std::vector<Signal> signals)
{
    return std::make_unique<TransitionValues>(*m_dataBase, std::move(signals));
}

} // namespace tracewell
