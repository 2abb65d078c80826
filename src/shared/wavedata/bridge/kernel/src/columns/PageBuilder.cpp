// SPDX-License-Identifier: BSD-3-Clause

#include "PageBuilder.h"

#include "ValueForms.h"

#include <algorithm>
#include <cstring>

namespace Tracewell {

namespace {

struct Steps
{
    StepForm form;
    std::uint32_t step;
};

Steps lookAtSteps(const PartColumn& part)
{
    std::uint32_t all = 0;
    std::uint32_t different = 0;
    const std::uint32_t first = part.count > 1 ? part.numbers[1] - part.numbers[0] : 0;
    for (std::uint32_t i = 1; i < part.count; ++i) {
        const std::uint32_t step = part.numbers[i] - part.numbers[i - 1];
        all |= step;
        different |= step ^ first;
    }
    if (different == 0) {
        return {StepForm::Even, first};
    }
    return {all < 1u << 8    ? StepForm::OneByte
            : all < 1u << 16 ? StepForm::TwoBytes
                             : StepForm::ThreeBytes,
            0};
}

bool isAlternating(const PartColumn& part)
{
    for (std::uint32_t i = 2; i < part.count; ++i) {
        if (part.values[i] != part.values[i - 2]) {
            return false;
        }
    }
    return true;
}

bool isSmall(const PartColumn& part)
{
    std::uint64_t all = 0;
    for (std::uint32_t i = 0; i < part.count; ++i) {
        all |= part.values[i];
    }
    return all < 16;
}

/// The form with the fewest bytes other than 0, by a sample.
ValueForm chooseForm(const PartColumn& part)
{
    constexpr std::uint32_t kSample = 128;
    const std::uint32_t stride = std::max(1u, part.count / kSample);
    unsigned int plain = 0;
    unsigned int changed = 0;
    unsigned int difference = 0;
    for (std::uint32_t i = 1; i < part.count; i += stride) {
        const std::uint64_t before = part.values[i - 1];
        const std::uint64_t now = part.values[i];
        plain += bytesSet(now);
        changed += bytesSet(now ^ before);
        difference += bytesSet(foldSign(now - before));
    }
    if (difference < plain && difference < changed) {
        return ValueForm::Difference;
    }
    return changed < plain ? ValueForm::Xor : ValueForm::Plain;
}

} // namespace

PageBuilder::PageBuilder() : m_scratch(kMostInPart) {}

void PageBuilder::add(const PartColumn& part)
{
    const std::uint32_t fieldBefore = m_parts.empty() ? part.field : m_parts.back().field;
    Steps steps = lookAtSteps(part);
    std::uint32_t distance = 0;
    if (steps.form != StepForm::Even && findSame(part, distance)) {
        steps.form = StepForm::Same;
    }
    ValueForm form = ValueForm::Alternating;
    if (!isAlternating(part)) {
        form = isSmall(part) ? ValueForm::Small : chooseForm(part);
    }

    appendNumber(m_index, part.field - fieldBefore);
    appendNumber(m_index, part.count);
    m_index.push_back(static_cast<unsigned char>(static_cast<unsigned int>(steps.form) |
                                                 static_cast<unsigned int>(form) << 4));
    if (steps.form == StepForm::Same) {
        appendNumber(m_index, distance);
    } else {
        appendNumber(m_index, part.numbers[0]);
        if (steps.form == StepForm::Even) {
            appendNumber(m_index, steps.step);
        }
    }
    appendNumber(m_index, part.values[0]);
    m_parts.push_back(part);
    addNumbers(part, steps.form, steps.step);

    switch (form) {
    case ValueForm::Alternating:
        appendNumber(m_index, part.values[part.count > 1 ? 1 : 0]);
        break;
    case ValueForm::Small:
        for (std::uint32_t i = 1; i < part.count; ++i) {
            m_streams[kSmall].push_back(static_cast<unsigned char>(part.values[i]));
        }
        m_streamBytes += part.count;
        break;
    default: {
        const std::uint64_t set = takeDifferences(form, part.values, part.count, m_scratch.data());
        addValues(part, form, set);
        break;
    }
    }
    if (part.count > kSummarized) {
        addSummary(part);
    }
}

bool PageBuilder::findSame(const PartColumn& part, std::uint32_t& distance)
{
    const std::uint32_t middle = part.numbers[part.count / 2];
    const std::uint64_t mixed =
        (std::uint64_t{part.count} << 40 ^ std::uint64_t{middle} << 20 ^
         part.numbers[part.count - 1] ^ std::uint64_t{part.numbers[0]} << 8) *
        0x9E3779B97F4A7C15u;
    std::uint32_t& remembered = m_remembered[mixed >> 56];
    const std::uint32_t own = static_cast<std::uint32_t>(m_parts.size());
    if (remembered != 0) {
        const PartColumn& other = m_parts[remembered - 1];
        if (other.count == part.count &&
            std::memcmp(other.numbers, part.numbers, part.count * sizeof *part.numbers) == 0) {
            distance = own - (remembered - 1);
            return true;
        }
    }
    remembered = own + 1;
    return false;
}

void PageBuilder::addNumbers(const PartColumn& part, StepForm form, std::uint32_t)
{
    if (form > StepForm::ThreeBytes) {
        return;
    }
    const auto bytes = static_cast<unsigned int>(form) + 1;
    const std::size_t steps = part.count - 1;
    for (unsigned int plane = 0; plane < bytes; ++plane) {
        Bytes& stream = m_streams[kSteps0 + plane];
        const std::size_t begin = stream.size();
        stream.resize(begin + steps);
        unsigned char* const out = stream.data() + begin;
        for (std::size_t i = 0; i < steps; ++i) {
            out[i] =
                static_cast<unsigned char>((part.numbers[i + 1] - part.numbers[i]) >> (8 * plane));
        }
    }
    m_streamBytes += bytes * steps;
}

/// What m_scratch holds, but for the first of it.
void PageBuilder::addValues(const PartColumn& part, ValueForm, std::uint64_t set)
{
    const std::size_t count = part.count - 1;
    unsigned int mask = 0;
    for (unsigned int plane = 0; plane < kFieldBytes; ++plane) {
        if ((set >> (8 * plane) & 0xFF) == 0) {
            continue;
        }
        mask |= 1u << plane;
        Bytes& stream = m_streams[kPlanes + plane];
        const std::size_t begin = stream.size();
        stream.resize(begin + count);
        unsigned char* const out = stream.data() + begin;
        for (std::size_t i = 0; i < count; ++i) {
            out[i] = static_cast<unsigned char>(m_scratch[i + 1] >> (8 * plane));
        }
        m_streamBytes += count;
    }
    m_index.push_back(static_cast<unsigned char>(mask));
}

void PageBuilder::addSummary(const PartColumn& part)
{
    std::uint64_t widest = 0;
    long long before = m_times[part.numbers[0]];
    const long long first = before;
    for (std::uint32_t i = 1; i < part.count; ++i) {
        const long long time = m_times[part.numbers[i]];
        widest =
            std::max(widest, static_cast<std::uint64_t>(time) - static_cast<std::uint64_t>(before));
        before = time;
    }
    appendNumber(m_index,
                 static_cast<std::uint64_t>(first) - static_cast<std::uint64_t>(m_times[0]));
    appendNumber(m_index, static_cast<std::uint64_t>(before) - static_cast<std::uint64_t>(first));
    appendNumber(m_index, widest);
    appendNumber(m_index, part.values[part.count - 1]);
}

PageRecord PageBuilder::finish(Bytes& index, Bytes& data)
{
    PageRecord record{};
    record.firstField = m_parts.front().field;
    record.lastField = m_parts.back().field;

    const std::size_t indexBegin = index.size();
    record.indexRaw = static_cast<std::uint32_t>(m_index.size());
    record.indexCodec =
        static_cast<std::uint8_t>(m_packer.append(index, m_index.data(), m_index.size()));
    record.indexStored = static_cast<std::uint32_t>(index.size() - indexBegin);
    record.indexChecksum = checksumOf(index.data() + indexBegin, record.indexStored);

    const std::size_t dataBegin = data.size();
    std::array<StreamRecord, kStreams> streams{};
    data.resize(dataBegin + sizeof streams);
    for (unsigned int i = 0; i < kStreams; ++i) {
        const std::size_t begin = data.size();
        streams[i].codec = static_cast<std::uint8_t>(
            m_packer.append(data, m_streams[i].data(), m_streams[i].size()));
        streams[i].raw = static_cast<std::uint32_t>(m_streams[i].size());
        streams[i].stored = static_cast<std::uint32_t>(data.size() - begin);
        m_streams[i].clear();
    }
    std::memcpy(data.data() + dataBegin, streams.data(), sizeof streams);
    record.dataStored = static_cast<std::uint32_t>(data.size() - dataBegin);
    record.dataChecksum = checksumOf(data.data() + dataBegin, record.dataStored);

    m_parts.clear();
    m_remembered.fill(0);
    m_index.clear();
    m_streamBytes = 0;
    return record;
}

} // namespace Tracewell
