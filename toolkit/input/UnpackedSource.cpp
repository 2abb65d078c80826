// SPDX-License-Identifier: BSD-3-Clause

#include "input/UnpackedSource.h"

#include "text/Failure.h"

#include <fmt/format.h>

#include <algorithm>

namespace tracewell {

namespace {

constexpr std::size_t kReadSize = 64 * 1024;
/// How many times longer than its packed form the text of a VCD is, roughly.
constexpr unsigned long long kUsualRatio = 6;

} // namespace

UnpackedSource::UnpackedSource(ByteSource& packed, const Packing& packing, std::string_view head,
                               std::string name)
    : m_packed(packed), m_packing(packing), m_name(std::move(name)),
      m_unpacker(packing.makeUnpacker()), m_buffer(std::max(kReadSize, head.size()))
{
    std::copy(head.begin(), head.end(), m_buffer.begin());
    m_input = {m_buffer.data(), head.size()};
}

unsigned long long UnpackedSource::expectedSize() const
{
    return size() * kUsualRatio;
}

std::size_t UnpackedSource::read(char* to, std::size_t room,
                                 const std::function<void()>& whileWaiting)
{
    char* put = to;
    while (put == to) {
        if (m_where == Where::Between) {
            enterMember(whileWaiting);
        }
        if (m_where == Where::AtTheEnd) {
            return 0;
        }
        if (m_input.empty()) {
            fetch(whileWaiting);
        }
        const std::size_t before = m_input.size();
        switch (m_unpacker->unpack(m_input, put, to + room)) {
        case Unpacker::Step::MemberEnd:
            m_where = Where::Between;
            break;
        case Unpacker::Step::Damaged:
            throw Failure(fmt::format("{}: byte {}: the {} data are damaged: {}; copy the "
                                      "file again, or dump it again",
                                      m_name, offset(), m_packing.name, m_unpacker->why()));
        case Unpacker::Step::More:
            if (m_isExhausted && put == to && m_input.size() == before) {
                m_flaw = fmt::format("byte {}: the {} data are cut off before their check sum",
                                     offset(), m_packing.name);
                m_isCutOff = true;
                m_where = Where::AtTheEnd;
            }
            break;
        }
    }
    return static_cast<std::size_t>(put - to);
}

/// Reads behind what is left in the buffer.
void UnpackedSource::fetch(const std::function<void()>& whileWaiting)
{
    if (m_isExhausted) {
        return;
    }
    std::copy(m_input.begin(), m_input.end(), m_buffer.begin());
    const std::size_t got = m_packed.read(m_buffer.data() + m_input.size(),
                                          m_buffer.size() - m_input.size(), whileWaiting);
    m_isExhausted = got == 0;
    m_input = {m_buffer.data(), m_input.size() + got};
}

/// The next member, or the end: zeros fill up the last block of a tape, anything else is told.
void UnpackedSource::enterMember(const std::function<void()>& whileWaiting)
{
    while (m_input.size() < kPackingBytes && !m_isExhausted) {
        fetch(whileWaiting);
    }
    if (m_packing.isStart(m_input)) {
        m_unpacker->beginMember();
        m_where = Where::Inside;
        return;
    }
    m_where = Where::AtTheEnd;
    const unsigned long long end = offset();
    while (!m_input.empty()) {
        if (m_input.find_first_not_of('\0') != std::string_view::npos) {
            m_flaw =
                fmt::format("byte {}: other bytes follow behind the {} data", end, m_packing.name);
            return;
        }
        m_input = {};
        fetch(whileWaiting);
    }
}

} // namespace tracewell
