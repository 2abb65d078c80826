// SPDX-License-Identifier: BSD-3-Clause

#include "Channel.h"

#include <boost/lockfree/spsc_queue.hpp>

#include <cstdlib>
#include <cstring>
#include <new>
#include <sys/mman.h>

namespace tracewell::bench {

namespace {

constexpr std::size_t kBytes = 8192000;
constexpr std::size_t kHeader = 24;
constexpr std::size_t kLongestValue = 200;

/// The bound: the packet's bytes go to the same kind of memory, and nobody is told.
class CopyChannel : public Channel
{
public:
    explicit CopyChannel(std::size_t valueBytes)
        : m_packet(kHeader + valueBytes, 7), m_memory(static_cast<char*>(sharedMemory(kBytes)))
    {}
    void put(long long i) override
    {
        if (m_offset + m_packet.size() > kBytes) {
            m_offset = 0;
        }
        std::memcpy(m_packet.data() + 4, &i, sizeof i);
        std::memcpy(m_memory + m_offset, m_packet.data(), m_packet.size());
        m_offset += m_packet.size();
    }
    void drop() override { m_offset = 0; }
    void consume() override {}
    long long room() const override { return static_cast<long long>(kBytes / m_packet.size() / 2); }

private:
    std::vector<char> m_packet;
    char* m_memory;
    std::size_t m_offset = 0;
};

/// A lock-free queue of packets of one size.
template <std::size_t ValueBytes> class QueueChannel : public Channel
{
public:
    void put(long long i) override
    {
        Packet packet;
        packet.time = i;
        packet.address = i;
        packet.length = ValueBytes;
        std::memset(packet.value, 7, sizeof packet.value);
        while (!m_queue->push(packet))
            ;
    }
    void drop() override { m_queue->reset(); }
    void consume() override
    {
        std::vector<Packet> out(kCapacity);
        for (;;) {
            m_queue->pop(out.data(), out.size());
        }
    }
    long long room() const override { return kCapacity / 2; }

private:
#pragma pack(push, 1)
    struct Packet
    {
        unsigned int count = kHeader - 4 + ValueBytes;
        long long time;
        long long address;
        unsigned int length;
        unsigned char value[ValueBytes];
    };
#pragma pack(pop)
    static constexpr std::size_t kCapacity = kBytes / sizeof(Packet);
    using Queue = boost::lockfree::spsc_queue<Packet, boost::lockfree::capacity<kCapacity>>;

    Queue* m_queue = new (sharedMemory(sizeof(Queue))) Queue;
};

/// A lock-free queue of bytes, which takes packets of any length.
class ByteQueueChannel : public Channel
{
public:
    explicit ByteQueueChannel(std::size_t valueBytes) : m_packet(kHeader + valueBytes, 7) {}
    void put(long long i) override
    {
        std::memcpy(m_packet.data() + 4, &i, sizeof i);
        for (std::size_t done = 0; done < m_packet.size();) {
            done += m_queue->push(m_packet.data() + done, m_packet.size() - done);
        }
    }
    void drop() override { m_queue->reset(); }
    void consume() override
    {
        std::vector<char> out(kBytes);
        for (;;) {
            m_queue->pop(out.data(), out.size());
        }
    }
    long long room() const override { return static_cast<long long>(kBytes / m_packet.size() / 2); }

private:
    using Queue = boost::lockfree::spsc_queue<char, boost::lockfree::capacity<kBytes>>;

    std::vector<char> m_packet;
    Queue* m_queue = new (sharedMemory(sizeof(Queue))) Queue;
};

std::unique_ptr<Channel> makeQueue(std::size_t valueBytes)
{
    switch (valueBytes) {
    case 1:
        return std::make_unique<QueueChannel<1>>();
    case 8:
        return std::make_unique<QueueChannel<8>>();
    default:
        return std::make_unique<QueueChannel<kLongestValue>>();
    }
}

} // namespace

void* sharedMemory(std::size_t bytes)
{
    void* const memory = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE,
                                MAP_SHARED | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
    if (memory == MAP_FAILED) {
        std::abort();
    }
    return memory;
}

std::vector<ChannelKind> peerChannels()
{
    return {{"memcpy", [](std::size_t n) { return std::make_unique<CopyChannel>(n); }, false},
            {"spsc_queue of packets", makeQueue, true},
            {"spsc_queue of bytes",
             [](std::size_t n) { return std::make_unique<ByteQueueChannel>(n); }, true}};
}

} // namespace tracewell::bench
