// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "Bytes.h"
#include "ColumnFormat.h"
#include "Packing.h"

#include <array>
#include <vector>

namespace Tracewell {

/// Changes of one field, in the order of time.
struct PartColumn
{
    std::uint32_t field;
    std::uint32_t count;
    /// Numbers of times, ascending, and what the field holds from then on. They stay where they
    /// are until the page is finished.
    const std::uint32_t* numbers;
    const std::uint64_t* values;
};

/// Puts parts into a page: the index tells of each what it is and how it lies, the streams have the
/// rest.
class PageBuilder
{
public:
    PageBuilder();

    /// `times` are those of the segment.
    void begin(const long long* times) { m_times = times; }
    bool isEmpty() const { return m_parts.empty(); }
    bool isFull() const { return m_streamBytes >= kPageBytes || m_index.size() >= kPageBytes; }
    void add(const PartColumn& part);
    /// Appends index and data to these, fills in what the page record says but the places, and
    /// starts anew.
    PageRecord finish(Bytes& index, Bytes& data);

private:
    static constexpr std::size_t kPageBytes = 16 * 1024;
    static constexpr std::size_t kRemembered = 256;

    void addNumbers(const PartColumn& part, StepForm form, std::uint32_t step);
    void addValues(const PartColumn& part, ValueForm form, std::uint64_t mask);
    void addSummary(const PartColumn& part);
    bool findSame(const PartColumn& part, std::uint32_t& distance);

    Packer m_packer;
    const long long* m_times = nullptr;
    std::vector<PartColumn> m_parts;
    /// A part of the page with such numbers, by a hash of theirs; one more than its index.
    std::array<std::uint32_t, kRemembered> m_remembered{};
    Bytes m_index;
    std::array<Bytes, kStreams> m_streams;
    std::size_t m_streamBytes = 0;
    /// Values on their way to the planes.
    std::vector<std::uint64_t> m_scratch;
};

} // namespace Tracewell
