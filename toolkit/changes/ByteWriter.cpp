// SPDX-License-Identifier: BSD-3-Clause

#include "changes/ByteWriter.h"

namespace tracewell {

namespace {

constexpr unsigned int kBitsOfGroup = 32;
constexpr unsigned int kBytesOfGroup = 8;

} // namespace

ByteWriter* ByteWriter::s_current = nullptr;

void ByteWriter::trace(long long time, unsigned int, unsigned int size, unsigned char* old,
                       unsigned char* value)
{
    s_current->write(time, old - s_current->memory(), size, value);
}

// The recorder's vectors start on a whole group and end on one, or with their last bit.
void ByteWriter::traceVector(long long time, unsigned int, unsigned int, unsigned char* old,
                             unsigned char* value, unsigned int firstBit, unsigned int endBit)
{
    const unsigned int first = firstBit / kBitsOfGroup;
    const unsigned int end = (endBit + kBitsOfGroup - 1) / kBitsOfGroup;
    s_current->write(time, old - s_current->memory() + kBytesOfGroup * first,
                     kBytesOfGroup * (end - first), value);
}

} // namespace tracewell
