// SPDX-License-Identifier: BSD-3-Clause

#include "WdbWriter.h"

#include "DataBase.h"
#include "OutputFileNames.h"

#include <cstdint>
#include <cstring>

namespace Tracewell {

namespace {

constexpr unsigned int kByteKind = 0;
constexpr unsigned int kInt32Kind = 1;
constexpr unsigned int kInt64Kind = 2;
constexpr unsigned int kRealKind = 3;
constexpr unsigned int kBitKind = 4;
constexpr unsigned int kVlogKind = 5;
constexpr unsigned int kStdLogicKind = 6;

constexpr unsigned int kBitsOfGroup = 32;
constexpr unsigned int kBytesOfGroup = 8;

template <class Number> Number load(const unsigned char* place)
{
    Number number;
    std::memcpy(&number, place, sizeof number);
    return number;
}

bool isSame(unsigned int kind, const unsigned char* old, const unsigned char* value)
{
    switch (kind) {
    case kByteKind:
        return *old == *value;
    case kInt32Kind:
        return load<std::uint32_t>(old) == load<std::uint32_t>(value);
    case kInt64Kind:
    case kRealKind:
        return load<std::uint64_t>(old) == load<std::uint64_t>(value);
    case kBitKind:
        return ((*old ^ *value) & 1) == 0;
    case kVlogKind:
        return ((*old ^ *value) & 3) == 0;
    case kStdLogicKind:
        return ((*old ^ *value) & 15) == 0;
    default:
        return true;
    }
}

void add(DataBase& dataBase, long long time, unsigned int id, unsigned int kind,
         const unsigned char* place)
{
    Value value;
    switch (kind) {
    case kByteKind:
    case kBitKind:
        value.setByte(*place);
        break;
    case kInt32Kind:
        value.setInt32(load<std::int32_t>(place));
        break;
    case kInt64Kind:
        value.setInt64(load<std::int64_t>(place));
        break;
    case kRealKind:
        value.setDouble(load<double>(place));
        break;
    case kVlogKind:
        dataBase.addVlogTransitionToDB(id, time, static_cast<char>(*place));
        return;
    case kStdLogicKind:
        dataBase.addVhdlStdLogicTransitionToDB(id, time, static_cast<char>(*place));
        return;
    default:
        return;
    }
    dataBase.addTransitionToDB(id, time, value);
}

/// The two words of a group.
struct Planes
{
    Planes(const unsigned char* vector, unsigned int group)
        : low(load<std::uint32_t>(vector + std::size_t{group} * kBytesOfGroup)),
          high(load<std::uint32_t>(vector + std::size_t{group} * kBytesOfGroup + 4))
    {}
    std::uint32_t low;
    std::uint32_t high;
};

// The masked words are compared as they stand: where the first bit is not the first of a group, a
// set bit never compares equal, and an unchanged one passes.
void addBits(DataBase& dataBase, long long time, unsigned int id, const unsigned char* old,
             const unsigned char* value, unsigned int firstBit, unsigned int endBit)
{
    for (unsigned int bit = firstBit; bit < endBit; ++bit) {
        const unsigned int place = bit - firstBit;
        const Planes now(value, place / kBitsOfGroup);
        const std::uint32_t mask = 1U << place % kBitsOfGroup;
        if (old != value) {
            const Planes before(old, bit / kBitsOfGroup);
            const std::uint32_t oldMask = 1U << bit % kBitsOfGroup;
            if ((before.low & oldMask) == (now.low & mask) &&
                (before.high & oldMask) == (now.high & mask)) {
                continue;
            }
        }
        const int code = ((now.low & mask) != 0 ? 1 : 0) + ((now.high & mask) != 0 ? 2 : 0);
        dataBase.addVlogTransitionToDB(id + bit, time, static_cast<char>(code));
    }
}

void addReals(DataBase& dataBase, long long time, unsigned int id, const unsigned char* old,
              const unsigned char* value, unsigned int firstBit, unsigned int endBit)
{
    const unsigned int count = endBit > firstBit ? (endBit - firstBit) / kBitsOfGroup : 0;
    for (unsigned int i = 0; i < count; ++i) {
        const std::size_t place = std::size_t{i} * sizeof(double);
        Value now;
        now.setDouble(load<double>(value + place));
        if (old == value || load<double>(old + place) != now.getDouble()) {
            dataBase.addTransitionToDB(id + firstBit / kBitsOfGroup + i, time, now);
        }
    }
}

} // namespace

WdbWriter* WdbWriter::s_pWriter = nullptr;

WdbWriter::WdbWriter()
{
    s_pWriter = this;
}

WdbWriter::~WdbWriter()
{
    try {
        close();
    } catch (...) {
        // Nobody is left to tell.
    }
    if (s_pWriter == this) {
        s_pWriter = nullptr;
    }
}

void WdbWriter::open(WriterMode mode, const std::string& snapshot, const std::string& wdbFile,
                     int processId)
{
    close();
    m_mode = mode;
    const DataBaseMode dataBaseMode = mode == kLiveMode   ? DataBaseMode::Feeder
                                      : mode == kPostMode ? DataBaseMode::LoggingWriter
                                                          : DataBaseMode::Writer;
    m_dataBase = std::make_unique<DataBase>(
        dataBaseMode, nullptr, snapshot,
        ZSIM::OutputFileNames::getWdbFileName(wdbFile, static_cast<unsigned int>(processId)),
        processId, m_maxTraceableSize, m_limits);
    m_dataBase->setWaitHook(m_waitHook);
}

long long WdbWriter::addString(const std::string&)
{
    return 0;
}

void WdbWriter::close()
{
    if (!m_dataBase) {
        return;
    }
    if (m_mode != kLiveMode) {
        m_dataBase->saveTransitionToDisk();
    }
    m_fileError = getFileError();
    m_dataBase.reset();
}

int WdbWriter::getFileError() const
{
    return m_dataBase && m_mode != kLiveMode ? m_dataBase->getFileError() : m_fileError;
}

void WdbWriter::restart()
{
    if (m_dataBase) {
        m_dataBase->restartDatabase();
    }
}

void WdbWriter::setMaxTraceableSize(unsigned int size)
{
    m_maxTraceableSize = size;
    if (m_dataBase) {
        m_dataBase->setMaxTraceableSize(size);
    }
}

void WdbWriter::markCurrentTime(long long time)
{
    if (DataBase* const dataBase = activeDataBase()) {
        dataBase->addTimeMarkToDB(time);
    }
}

void WdbWriter::setBaseDPOffset(long long) {}

void WdbWriter::setApplication(const std::string&) {}

void WdbWriter::setAddressSize(long long) {}

void WdbWriter::setBucketDivision(unsigned int) {}

void WdbWriter::setFilterRepeatedValue(bool) {}

bool WdbWriter::isOpen() const
{
    return m_dataBase && (m_mode != kLiveMode || m_dataBase->isChannelOpen());
}

bool WdbWriter::isViewerPresent() const
{
    return m_dataBase && m_dataBase->isPeerPresent();
}

void WdbWriter::traceVhdl(long long time, unsigned int id, unsigned int kind, unsigned char* old,
                          unsigned char* value)
{
    DataBase* const dataBase = activeDataBase();
    if (dataBase && (old == value || !isSame(kind, old, value))) {
        add(*dataBase, time, id, kind, value);
    }
}

void WdbWriter::traceVhdlScalar(long long time, unsigned int id, unsigned int kind,
                                const unsigned char* value)
{
    if (DataBase* const dataBase = activeDataBase()) {
        add(*dataBase, time, id, kind, value);
    }
}

void WdbWriter::traceVlog(long long time, unsigned int id, unsigned int kind, unsigned char* old,
                          unsigned char* value, unsigned int firstBit, unsigned int endBit)
{
    DataBase* const dataBase = activeDataBase();
    if (!dataBase) {
        return;
    }
    if (kind == kVlogKind) {
        addBits(*dataBase, time, id, old, value, firstBit, endBit);
    } else if (kind == kRealKind) {
        addReals(*dataBase, time, id, old, value, firstBit, endBit);
    }
}

void WdbWriter::traceScObject(long long, unsigned long long, unsigned char*, unsigned char*,
                              unsigned int, unsigned int)
{}

void WdbWriter::traceScVirtualObject(long long, unsigned long long, unsigned char*, unsigned int,
                                     unsigned int)
{}

} // namespace Tracewell
