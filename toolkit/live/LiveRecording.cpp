// SPDX-License-Identifier: BSD-3-Clause

#include "live/LiveRecording.h"

#include "files/OwnFile.h"
#include "text/Failure.h"

#include <fmt/format.h>

namespace tracewell {

LiveRecording::LiveRecording(Store store, const LiveChannel& channel, const std::string& output)
    : m_store(store), m_channel(channel),
      m_names(output, store == Store::Transitions ? SignalNames::Places::Objects
                                                  : SignalNames::Places::Bytes),
      m_output(output,
               store == Store::Transitions ? OutputKind::WholeFile : OutputKind::RegularFile),
      m_viewer(makeLiveViewer(store, channel, m_output.path()))
{}

void LiveRecording::readNames()
{
    m_nameText = readWholeFile(m_channel.debugFile());
    m_names.listIn(m_channel.debugFile());
    m_names.read(m_nameText);
    if (m_store != Store::Transitions && m_names.hasNames() &&
        m_names.layout().totalSize() > kLargestMemory) {
        throw Failure(fmt::format("{}: asks for {} MB of values; at most {} can be followed",
                                  m_channel.debugFile(), m_names.layout().totalSize() >> 20,
                                  kLargestMemory >> 20));
    }
}

bool LiveRecording::open(bool mayBeginAnew)
{
    m_output.start();
    m_isOpen = m_viewer->open(m_names, m_nameText, mayBeginAnew);
    return m_isOpen;
}

void LiveRecording::finishRun()
{
    m_viewer->finish();
    if (m_store == Store::Transitions) {
        m_output.finish();
    }
}

void LiveRecording::beginAnew()
{
    m_output.start();
    m_viewer->beginAnew(m_names, m_nameText);
}

std::string LiveRecording::close(bool isWhole)
{
    m_viewer->finish();
    m_viewer->close();
    m_isOpen = false;
    m_viewer.reset();
    return m_output.finish(isWhole);
}

std::optional<std::string> LiveRecording::closeAfterFailure()
{
    if (!m_isOpen) {
        return std::string();
    }
    try {
        return close(false);
    } catch (const Failure&) {
        if (m_store != Store::Transitions) {
            m_output.keep();
            return std::nullopt;
        }
    }
    return std::string();
}

} // namespace tracewell
