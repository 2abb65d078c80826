// SPDX-License-Identifier: BSD-3-Clause

#include "WdbScalarTreeRecord.h"

#include "SaturatingTime.h"
#include "WdbScalarTreeRecordImage.h"

#include <algorithm>
#include <cstring>

namespace Tracewell {

namespace {

constexpr unsigned int kFirstAllocation = 8;

} // namespace

WdbScalarTreeRecord::WdbScalarTreeRecord(unsigned int capacity)
    : m_capacity(static_cast<unsigned short>(std::min(capacity, kCapacity)))
{}

void WdbScalarTreeRecord::deleteLastValue()
{
    if (m_count == 0) {
        return;
    }
    --m_count;
    m_modified = true;
    m_indexLength = getTimeLength();
    m_largestDiff = 0;
    for (unsigned int i = 1; i < m_count; ++i) {
        m_largestDiff = std::max(m_largestDiff, saturatingSubtract(m_times[i], m_times[i - 1]));
    }
}

void WdbScalarTreeRecord::updateLastValue(unsigned char value)
{
    if (m_count != 0) {
        reinterpret_cast<unsigned char*>(m_times.get() + m_allocated)[m_count - 1] = value;
        m_modified = true;
    }
}

void WdbScalarTreeRecord::close(long long nextTime)
{
    if (m_count == 0) {
        return;
    }
    m_indexLength = saturatingSubtract(nextTime, m_times[0]);
    m_largestDiff = std::max(m_largestDiff, saturatingSubtract(nextTime, m_times[m_count - 1]));
    m_modified = true;
}

long long WdbScalarTreeRecord::getTimeLength() const
{
    return m_count == 0 ? 0 : saturatingSubtract(m_times[m_count - 1], m_times[0]);
}

void WdbScalarTreeRecord::reset()
{
    m_count = 0;
    m_indexLength = 0;
    m_largestDiff = 0;
    m_modified = false;
}

void WdbScalarTreeRecord::release()
{
    reset();
    m_times.reset();
    m_allocated = 0;
}

bool WdbScalarTreeRecord::grow()
{
    if (isFull()) {
        return false;
    }
    const unsigned int wanted = std::max(2U * m_allocated, kFirstAllocation);
    const unsigned int allocated = std::min<unsigned int>(wanted, m_capacity);
    const unsigned int bytesAsTimes = (allocated + 7) / 8;
    std::unique_ptr<long long[]> times(new long long[allocated + bytesAsTimes]);
    if (m_count != 0) {
        std::memcpy(times.get(), m_times.get(), m_count * sizeof(long long));
        std::memcpy(times.get() + allocated, getValues(), m_count);
    }
    m_times = std::move(times);
    m_allocated = static_cast<unsigned short>(allocated);
    return true;
}

void WdbScalarTreeRecordImage::assign(const WdbScalarTreeRecord& record)
{
    std::memset(static_cast<void*>(this), 0, sizeof(*this));
    indexLength = record.getIndexLength();
    largestDiff = record.getLargestDiff();
    numberOfValues = record.getNumberOfValues();
    if (numberOfValues != 0) {
        std::memcpy(pairs.times, record.getTimes(), numberOfValues * sizeof(long long));
        std::memcpy(pairs.values, record.getValues(), numberOfValues);
    }
    modified = record.isModified();
}

} // namespace Tracewell
