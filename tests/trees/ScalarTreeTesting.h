// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "WdbMemoryBlockManager.h"
#include "WdbScalarBTree.h"

#include <memory>
#include <ostream>
#include <set>
#include <string>
#include <vector>

namespace Tracewell {

/// Counts what is done with its blocks, and gives them back when it goes.
class BlockRecorder : public WdbMemoryBlockManager
{
public:
    ~BlockRecorder() override
    {
        for (const long long handle : m_live) {
            WdbMemoryBlockManager::freeBlock(handle, 0);
        }
    }
    long long addBlock(const char* data, unsigned long long size) override
    {
        m_handles.push_back(WdbMemoryBlockManager::addBlock(data, size));
        m_live.insert(m_handles.back());
        return m_handles.back();
    }
    void freeBlock(long long handle, unsigned long long size) override
    {
        m_live.erase(handle);
        WdbMemoryBlockManager::freeBlock(handle, size);
    }
    void getBlock(long long handle, char* out, unsigned long long size) const override
    {
        ++m_reads;
        WdbMemoryBlockManager::getBlock(handle, out, size);
    }
    void putBlock(long long handle, const char* data, unsigned long long size) override
    {
        ++m_rewrites;
        WdbMemoryBlockManager::putBlock(handle, data, size);
    }

    /// A record as it lies in the block that was the `number`th, from 0.
    std::string getBytes(std::size_t number) const
    {
        std::string bytes(18464, '\0');
        WdbMemoryBlockManager::getBlock(m_handles.at(number), bytes.data(), bytes.size());
        return bytes;
    }

    std::set<long long> m_live;
    std::vector<long long> m_handles;
    unsigned int m_rewrites = 0;
    mutable unsigned int m_reads = 0;
};

/// A tree that is many levels deep after few values.
class SmallTree : public WdbScalarBTree
{
public:
    SmallTree(WdbIBlockManager& manager, unsigned short recordCapacity, unsigned short fanOut)
        : WdbScalarBTree(0, manager, makeShape(recordCapacity, fanOut))
    {}

private:
    static Shape makeShape(unsigned short recordCapacity, unsigned short fanOut)
    {
        Shape shape;
        shape.recordCapacity = recordCapacity;
        shape.fanOut = fanOut;
        return shape;
    }
};

struct Answer
{
    static constexpr int kDense = -1;

    long long time;
    /// kDense for a dense stretch that starts here.
    int value;

    bool operator==(const Answer& other) const
    {
        return time == other.time && value == other.value;
    }
    friend std::ostream& operator<<(std::ostream& out, const Answer& answer)
    {
        return answer.value == kDense ? out << answer.time << " dense"
                                      : out << answer.time << "=" << answer.value;
    }
};

using Answers = std::vector<Answer>;

inline Answers drain(WdbScalarBTree::Iterator& iterator)
{
    Answers answers;
    for (; iterator; ++iterator) {
        const WdbTimeByteValue answer = *iterator;
        answers.push_back(
            {answer.getTime(), answer.isDenseDraw() ? Answer::kDense : answer.getValue()});
    }
    return answers;
}

inline Answers ask(const WdbScalarBTree& tree, long long fromTime, long long resolution,
                   long long latestTime, long long toTime = -1)
{
    const std::unique_ptr<WdbScalarBTree::Iterator> iterator(
        tree.find(fromTime, resolution, latestTime, toTime));
    return drain(*iterator);
}

} // namespace Tracewell
