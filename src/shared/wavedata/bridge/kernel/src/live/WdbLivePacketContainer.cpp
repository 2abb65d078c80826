// SPDX-License-Identifier: BSD-3-Clause

#include "WdbLivePacketContainer.h"

#include <limits>

namespace Tracewell {

// A change without a value may come with a null pointer, so only real distances are added.
WdbLivePacketContainer WdbLivePacketContainer::makePiece(unsigned long long offset,
                                                         unsigned int length) const
{
    WdbLivePacketContainer piece;
    piece.setData(m_time, length,
                  static_cast<long long>(static_cast<unsigned long long>(m_address) + offset),
                  offset == 0 ? m_value : m_value + offset);
    return piece;
}

void WdbLivePacketContainer::splitContainer(std::list<WdbLivePacketContainer>& out,
                                            unsigned int maxSize) const
{
    if (maxSize <= kPacketOverhead ||
        m_length > std::numeric_limits<unsigned int>::max() - kPacketOverhead) {
        return;
    }
    const unsigned long long total = m_length + kPacketOverhead;
    if (total < maxSize) {
        return;
    }

    unsigned long long pieces = 2 * ((total - 1 + maxSize) / maxSize);
    unsigned int chunk = static_cast<unsigned int>(m_length / pieces);
    if (chunk == 0 && total > maxSize) {
        // So small a limit that there would be more pieces than bytes: the last piece would be the
        // whole again.
        chunk = 1;
        pieces = m_length;
    }
    for (unsigned long long i = 0; i + 1 < pieces; ++i) {
        out.push_back(makePiece(i * chunk, chunk));
    }

    const unsigned long long offset = (pieces - 1) * chunk;
    const WdbLivePacketContainer last =
        makePiece(offset, static_cast<unsigned int>(m_length - offset));
    if (last.getLength() + kPacketOverhead > maxSize) {
        last.splitContainer(out, maxSize);
    } else {
        out.push_back(last);
    }
}

} // namespace Tracewell
