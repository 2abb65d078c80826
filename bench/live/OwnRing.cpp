// SPDX-License-Identifier: BSD-3-Clause

#include "Channel.h"

#include "WdbLivePacketContainer.h"
#include "WdbSharedMemMgr.h"

#include <string>
#include <unistd.h>

using namespace Tracewell;

namespace tracewell::bench {

namespace {

constexpr unsigned int kOverhead = WdbLivePacketContainer::kPacketOverhead;

/// The ring as the library uses it.
class ManagerChannel : public Channel
{
public:
    explicit ManagerChannel(std::size_t valueBytes)
        : m_value(valueBytes, 7), m_path("/bench" + std::to_string(::getpid())),
          m_manager(true, m_path, 0)
    {}
    void put(long long i) override
    {
        WdbLivePacketContainer change;
        change.setData(i, static_cast<unsigned int>(m_value.size()), i, m_value.data());
        m_manager.putPacket(&change);
    }
    void drop() override { m_manager.clear(); }
    void consume() override
    {
        std::vector<char> buffer(WdbSharedMemMgr::kRingSize);
        WdbSharedMemMgr manager(false, m_path, 0);
        unsigned int count = 0;
        while (manager.getPackets(buffer.data(), count))
            ;
    }
    long long room() const override
    {
        return WdbSharedMemMgr::kRingSize / static_cast<long long>(m_value.size() + kOverhead) / 2;
    }

private:
    std::vector<unsigned char> m_value;
    std::string m_path;
    WdbSharedMemMgr m_manager;
};

/// The bare ring, with a consumer that looks without a pause.
class SpinningChannel : public Channel
{
public:
    explicit SpinningChannel(std::size_t valueBytes)
        : m_value(valueBytes, 7),
          m_ring(static_cast<char*>(sharedMemory(kSize + WdbCircularBuffer::kIndexBytes)), kSize,
                 true)
    {}
    void put(long long i) override
    {
        WdbLivePacketContainer change;
        change.setData(i, static_cast<unsigned int>(m_value.size()), i, m_value.data());
        while (!m_ring.putPacket(change))
            ;
    }
    void drop() override { m_ring.clear(); }
    void consume() override
    {
        std::vector<char> buffer(kSize);
        unsigned int count = 0;
        for (;;) {
            m_ring.getPackets(buffer.data(), count);
        }
    }
    long long room() const override
    {
        return kSize / static_cast<long long>(m_value.size() + kOverhead) / 2;
    }

private:
    static constexpr unsigned int kSize = WdbSharedMemMgr::kRingSize;

    std::vector<unsigned char> m_value;
    WdbCircularBuffer m_ring;
};

} // namespace

std::vector<ChannelKind> ownChannels()
{
    return {{"ring", [](std::size_t n) { return std::make_unique<ManagerChannel>(n); }, true},
            {"ring, consumer spins",
             [](std::size_t n) { return std::make_unique<SpinningChannel>(n); }, true}};
}

} // namespace tracewell::bench
