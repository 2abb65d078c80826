// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tracewell::bench {

/// One way to hand scalar changes from a process to another. A fresh one for each measurement.
class Channel
{
public:
    virtual ~Channel() = default;
    /// Producer: hands over change number `i`. Waits when there is no room.
    virtual void put(long long i) = 0;
    /// Producer, when nobody consumes: makes room again.
    virtual void drop() = 0;
    /// Consumer: takes what is there until the process is killed.
    virtual void consume() = 0;
    /// Changes that surely fit without a consumer.
    virtual long long room() const = 0;
};

struct ChannelKind
{
    std::string name;
    std::function<std::unique_ptr<Channel>(std::size_t valueBytes)> make;
    /// Whether there is anybody to hand over to.
    bool hasConsumer;
};

std::vector<ChannelKind> ownChannels();
std::vector<ChannelKind> peerChannels();

/// Memory that forked processes share.
void* sharedMemory(std::size_t bytes);

} // namespace tracewell::bench
