// SPDX-License-Identifier: BSD-3-Clause

#include "WdbScalarBTree.h"

#include "WdbScalarRecordStore.h"

namespace Tracewell {

WdbScalarBTree::WdbScalarBTree(long long address, WdbIBlockManager& manager)
    : WdbScalarBTree(address, manager, Shape())
{}

WdbScalarBTree::WdbScalarBTree(long long address, WdbIBlockManager& manager, const Shape& shape)
    : m_address(address), m_manager(&manager), m_record(shape.recordCapacity),
      m_fanOut(shape.fanOut)
{}

WdbScalarBTree::~WdbScalarBTree() = default;

void WdbScalarBTree::addValue(long long time, unsigned char value)
{
    switch (m_state) {
    case NoEvent:
        m_state = OneEvent;
        m_firstTime = time;
        break;
    case OneEvent:
        m_state = OneRecord;
        m_record.addTimeValue(m_lastTime, m_lastValue);
        appendToRecord(time, value);
        break;
    case OneRecord:
    case Stored:
        appendToRecord(time, value);
        break;
    }
    setLast(time, value);
}

void WdbScalarBTree::addFilteredValue(long long time, unsigned char value)
{
    if (m_lastTime < 0 || time != m_lastTime) {
        addValue(time, value);
        return;
    }
    updateValue(value);
    if (value == m_previousValue && m_previousTime >= 0 && m_previousTime != time) {
        deleteLastValue(); // the pulse had no width
    }
}

void WdbScalarBTree::deleteLastValue()
{
    if (m_state == OneRecord || m_state == Stored) {
        m_record.deleteLastValue();
        m_lastValue = m_previousValue;
        m_lastTime = m_previousTime;
        if (!m_record.isEmpty()) {
            return;
        }
        if (m_state == Stored) {
            // Closed records stay closed: the next value opens a new one.
            m_store->dropRecord();
            m_record.reset();
            return;
        }
        m_record.release();
    }
    m_state = NoEvent;
    m_lastTime = -1;
    m_previousTime = -1;
}

void WdbScalarBTree::updateValue(unsigned char value)
{
    if (m_state == Stored && m_record.isEmpty()) {
        m_store->updateClosedRecord(value);
    } else {
        m_record.updateLastValue(value);
    }
    m_lastValue = value;
}

void WdbScalarBTree::setBitPosition(int bitPosition)
{
    m_bitPosition = bitPosition;
    m_bitMask = bitPosition >= 0 && bitPosition < 8 ? static_cast<unsigned char>(1 << bitPosition)
                                                    : static_cast<unsigned char>(0);
}

void WdbScalarBTree::reset()
{
    m_record.release();
    m_store.reset();
    m_state = NoEvent;
    m_firstTime = 0;
    m_lastTime = -1;
    m_previousTime = -1;
    m_lastValue = 0;
    m_previousValue = 0;
}

void WdbScalarBTree::appendToRecord(long long time, unsigned char value)
{
    if (m_record.isFull()) {
        closeRecord(time);
    } else if (m_record.isEmpty() && m_store) {
        m_store->extendClosedRecord(time);
    }
    m_record.addTimeValue(time, value);
}

void WdbScalarBTree::closeRecord(long long nextTime)
{
    if (!m_store) {
        m_store = std::make_unique<WdbScalarRecordStore>(*m_manager, m_fanOut);
        m_state = Stored;
    }
    m_record.close(nextTime);
    m_store->saveRecord(m_record);
    m_store->closeRecord();
    m_record.reset();
}

} // namespace Tracewell
