#pragma once

#include "WdbScalarBTree.h"

#include <cstring>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace Tracewell {

/// Keeps every block and counts what is done with them. A freed block is not to be used again.
class BlockRecorder : public WdbIBlockManager
{
public:
    long long addBlock(const char* data, unsigned long long size) override
    {
        m_blocks.emplace_back(data, size);
        return static_cast<long long>(m_blocks.size());
    }
    void getBlock(long long handle, char* out, unsigned long long size) const override
    {
        ++m_reads;
        std::memcpy(out, at(handle).substr(0, size).data(), size);
    }
    void putBlock(long long handle, const char* data, unsigned long long size) override
    {
        ++m_rewrites;
        at(handle).assign(data, size);
    }
    void freeBlock(long long handle, unsigned long long) override { at(handle).clear(); }

    const std::string& getBytes(long long handle) const { return at(handle); }
    std::size_t getCount() const { return m_blocks.size(); }
    unsigned int getRewrites() const { return m_rewrites; }
    unsigned int getReads() const { return m_reads; }

private:
    std::string& at(long long handle) const
    {
        std::string& bytes = m_blocks.at(static_cast<std::size_t>(handle) - 1);
        if (bytes.empty())
            throw std::out_of_range("a freed block is used");
        return bytes;
    }

    mutable std::vector<std::string> m_blocks;
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
